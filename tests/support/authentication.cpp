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
    return Authentication::answersDigest(request.header("Authorization"), request.method, request.target, login);
}
}

bool Authentication::answersDigest(const QByteArray &header, const QByteArray &method, const QByteArray &target,
                                   const QByteArray &login)
{
    const QHash<QByteArray, QByteArray> fields = fieldsOf(header);
    const auto algorithm =
        fields.value("algorithm") == "SHA-256" ? QCryptographicHash::Sha256 : QCryptographicHash::Md5;
    const auto hashed = [algorithm](const QByteArray &text) {
        return QCryptographicHash::hash(text, algorithm).toHex();
    };
    const QByteArray user = login.left(login.indexOf(':'));
    const QByteArray password = login.mid(login.indexOf(':') + 1);
    const QByteArray who = hashed(user + ":realm:" + password);
    const QByteArray what = hashed(method + ':' + target);
    const QByteArray answer =
        hashed(who + ':' + kNonce + ':' + fields.value("nc") + ':' + fields.value("cnonce") + ":auth:" + what);
    return header.startsWith("Digest ") && fields.value("username") == user && fields.value("nonce") == kNonce
        && fields.value("uri") == target && fields.value("response") == answer;
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

ScriptBook::Handler Authentication::challenged(const QByteArray &login, const QList<QByteArray> &fields,
                                               const ScriptedResponse &response)
{
    return [login, fields, response](const ScriptedRequest &request) {
        if (request.header("Authorization") == basicHeader(login) || knowsDigest(request, login)) {
            return response;
        }
        ScriptedResponse refusal = ScriptedResponse::error(401);
        for (const QByteArray &field : fields) {
            refusal.withHeader("WWW-Authenticate", field);
        }
        return refusal;
    };
}

ScriptBook::Handler Authentication::bearer(const QByteArray &token, const ScriptedResponse &response)
{
    return [token, response](const ScriptedRequest &request) {
        return request.header("Authorization") == "Bearer " + token ? response : challenge("Bearer");
    };
}
