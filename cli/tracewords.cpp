// SPDX-License-Identifier: MIT
#include <cli/tracewords.h>

#include <host/policy/redaction.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

bool is(const char *pattern, const QString &text)
{
    return QRegularExpression(QLatin1StringView(pattern), QRegularExpression::CaseInsensitiveOption)
        .match(text)
        .hasMatch();
}

/// What of a head says where something is asked for, or where an answer leads.
QString ofHead(const QString &text)
{
    if (is("^[A-Z]+ \\S+ HTTP/|^(Host|Range|If-Range): ", text))
        return u"> "_s + text;
    return is("^HTTP/|^(Location|Content-Length|Content-Range|Content-Encoding|Retry-After): ", text) ? u"< "_s + text
                                                                                                      : QString();
}

/// Of an error as the log has it, with its numbers, the words alone where there are any.
QString ofError(const QString &text)
{
    static const QRegularExpression error(
        u"^(section #\\d+) error: \\{ERROR: \\|CODE\\|: (-?\\d+), \\|CATEGORY\\|: (\\w+), .*\\|DESCRIPTION\\|: (.*)\\}$"_s);
    const QRegularExpressionMatch found = error.match(text);
    if (!found.hasMatch())
        return {};
    const QString words = found.captured(4);
    return found.captured(1) + u" failed: "_s
        + (words.isEmpty() ? found.captured(3) + u' ' + found.captured(2) : words);
}

QString ofEvent(const QString &text)
{
    return is("^section #\\d+ (started|stopped|finished|timed out)|^resource is changed|^checking if resource", text)
        ? text
        : QString();
}

}

QString TraceWords::of(const QString &logLine)
{
    static const QRegularExpression line(u"^\\[Download #(\\d+)\\] (.*)$"_s);
    const QRegularExpressionMatch found = line.match(Redaction::line(logLine));
    if (!found.hasMatch())
        return {};
    const QString text = found.captured(2);
    for (const auto &words : {ofHead(text), ofError(text), ofEvent(text)}) {
        if (!words.isEmpty())
            return u"[%1] "_s.arg(found.captured(1)) + words;
    }
    return {};
}
