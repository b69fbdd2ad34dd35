// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/regexpmatches.h>

#include <QRegularExpression>

QList<QString> regExpMatches(const QString &pattern, const QString &text, int group)
{
    QList<QString> captures;
    const QRegularExpression expression(pattern, QRegularExpression::CaseInsensitiveOption);
    if (!expression.isValid())
        return captures;

    for (auto matches = expression.globalMatch(text); matches.hasNext();)
        captures.append(matches.next().captured(group));
    return captures;
}
