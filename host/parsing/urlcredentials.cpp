// SPDX-License-Identifier: MIT
#include <host/parsing/urlcredentials.h>

Login Login::fromText(const QString &text)
{
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0)
        return {text, QString()};
    return {text.left(colon), text.mid(colon + 1)};
}

UrlCredentials::Split UrlCredentials::split(const QUrl &url)
{
    Split result{url, {url.userName(QUrl::FullyDecoded), url.password(QUrl::FullyDecoded)}};
    // An empty login ("http://@host/") goes, too.
    result.url.setUserInfo(QString());
    return result;
}

QByteArray UrlCredentials::withoutLogin(const QByteArray &text)
{
    const QUrl url = QUrl::fromEncoded(text.trimmed());
    if (!url.isValid() || url.authority().isEmpty() || url.userInfo().isEmpty())
        return text;
    return split(url).url.toEncoded();
}
