// SPDX-License-Identifier: MIT
#include <tests/support/socksproxy.h>

using namespace Qt::StringLiterals;

QUrl SocksProxy::url(const QString &scheme, const QString &userInfo) const
{
    QUrl url(u"%1://127.0.0.1:%2"_s.arg(scheme).arg(firstPort()));
    url.setUserInfo(userInfo);
    return url;
}

QByteArrayList SocksProxy::targets() const
{
    static const QByteArray words = QByteArrayLiteral(": connected to ");
    QByteArrayList targets;
    const QByteArrayList lines = output().split('\n');
    for (const QByteArray &line : lines) {
        if (const qsizetype place = line.indexOf(words); place != -1) {
            targets.append(line.mid(place + words.size()).trimmed());
        }
    }
    return targets;
}

QString SocksProxy::program() const
{
    return u"microsocks"_s;
}

QStringList SocksProxy::arguments(const QString &) const
{
    const QStringList place{u"-i"_s, u"127.0.0.1"_s, u"-p"_s, QString::number(firstPort())};
    if (m_access == Access::Anybody) {
        return place;
    }
    const QString login = QString::fromLatin1(kLogin);
    return place + QStringList{u"-u"_s, login.section(u':', 0, 0), u"-P"_s, login.section(u':', 1)};
}
