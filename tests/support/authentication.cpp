// SPDX-License-Identifier: MIT
#include <tests/support/authentication.h>

#include <QCryptographicHash>
#include <QHash>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{
const QByteArray kNonce = QByteArrayLiteral("f00dcafe");

ScriptedResponse challenge(const QByteArray &words)
{
    return ScriptedResponse::error(401).withHeader("WWW-Authenticate", words);
}

QByteArray md5(const QByteArray &text)
{
    return QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex();
}

/// name="value" or name=value, with commas between them.
QHash<QByteArray, QByteArray> fieldsOf(const QByteArray &header)
{
    static const QRegularExpression field(u"(\\w+)=(?:\"([^\"]*)\"|([^\\s,]*))"_s);
    QHash<QByteArray, QByteArray> fields;
    auto found = field.globalMatch(QString::fromUtf8(header));
    while (found.hasNext()) {
        const QRegularExpressionMatch match = found.next();
        fields.insert(match.captured(1).toUtf8(), (match.captured(2) + match.captured(3)).toUtf8());
    }
    return fields;
}

bool knowsDigest(const ScriptedRequest &request, const QByteArray &login)
{
    const QByteArray header = request.header("Authorization");
    const QHash<QByteArray, QByteArray> fields = fieldsOf(header);
    const QByteArray user = login.left(login.indexOf(':'));
    const QByteArray password = login.mid(login.indexOf(':') + 1);
    const QByteArray who = md5(user + ":realm:" + password);
    const QByteArray what = md5(request.method + ':' + request.target);
    const QByteArray answer =
        md5(who + ':' + kNonce + ':' + fields.value("nc") + ':' + fields.value("cnonce") + ":auth:" + what);
    return header.startsWith("Digest ") && fields.value("username") == user && fields.value("nonce") == kNonce
        && fields.value("uri") == request.target && fields.value("response") == answer;
}
}

QByteArray Authentication::basicHeader(const QByteArray &login)
{
    return "Basic " + login.toBase64();
}

ScriptBook::Handler Authentication::basic(const QByteArray &login, const ScriptedResponse &response)
{
    return [login, response](const ScriptedRequest &request) {
        return request.header("Authorization") == basicHeader(login) ? response : challenge("Basic realm=\"realm\"");
    };
}

ScriptBook::Handler Authentication::digest(const QByteArray &login, const ScriptedResponse &response)
{
    return [login, response](const ScriptedRequest &request) {
        return knowsDigest(request, login)
            ? response
            : challenge("Digest realm=\"realm\", qop=\"auth\", algorithm=MD5, nonce=\"" + kNonce + '"');
    };
}

ScriptBook::Handler Authentication::bearer(const QByteArray &token, const ScriptedResponse &response)
{
    return [token, response](const ScriptedRequest &request) {
        return request.header("Authorization") == "Bearer " + token ? response : challenge("Bearer");
    };
}
