// SPDX-License-Identifier: MIT
#include <host/policy/redaction.h>

#include <host/policy/secretheaders.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// Up to the line's end, as the value of a header may hold anything. A name may stand in quotes, as in JSON.
QRegularExpression headerPattern()
{
    QStringList names = SecretHeaders::names();
    names << u"set-cookie"_s << u"set-cookie2"_s;
    return QRegularExpression(u"(?<![\\w-])(%1)([\"']?\\s*:)[^\\r\\n]+"_s.arg(names.join(u'|')),
                              QRegularExpression::CaseInsensitiveOption);
}

}

QString Redaction::line(const QString &text)
{
    static const QRegularExpression header = headerPattern();
    static const QRegularExpression login(u"([a-z][a-z0-9+.-]*://)[^\\s/?#]*@"_s,
                                          QRegularExpression::CaseInsensitiveOption);
    QString shown = text;
    shown.replace(header, u"\\1\\2 ***"_s);
    shown.replace(login, u"\\1***@"_s);
    return shown;
}
