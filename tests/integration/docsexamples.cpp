// SPDX-License-Identifier: MIT
#include <tests/integration/docsexamples.h>

#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

QList<DocsExample> DocsExample::of(const QString &name, const QString &markdown)
{
    static const QRegularExpression promise(u"# .*\\(status (\\d+)\\)$"_s);
    static const QRegularExpression remark(u"(^| +)# .*$"_s);
    QList<DocsExample> examples;
    bool isInside = false;
    const QStringList lines = markdown.split(u'\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines.at(i).startsWith("```"_L1)) {
            isInside = !isInside && lines.at(i) == "```sh"_L1;
            continue;
        }
        const QString command = QString(lines.at(i)).remove(remark).trimmed();
        const int status = promise.match(lines.at(i)).captured(1).toInt();
        if (isInside && !command.isEmpty())
            examples.append({u"%1:%2"_s.arg(name).arg(i + 1), command, status});
    }
    return examples;
}

QList<int> DocsExample::ids() const
{
    static const QRegularExpression command(u"^plait (?:show|resume|restart|check|finish|set-url|remove)\\b(.*)$"_s);
    static const QRegularExpression number(u"(?<= )\\d+(?= |$)"_s);
    QList<int> ids;
    const QString words = command.match(line).captured(1);
    for (const QRegularExpressionMatch &match : number.globalMatch(words))
        ids.append(match.captured().toInt());
    return ids;
}
