// SPDX-License-Identifier: MIT
#include <cli/closingwords.h>

#include <cli/filewords.h>
#include <cli/progressline.h>
#include <cli/summary.h>
#include <cli/tally.h>
#include <cli/textcolumns.h>

#include <QDir>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

using Page = ClosingWords::Page;

/// More failures than that are only counted: each was told of when it happened.
constexpr qsizetype kMostFailures = 20;
constexpr qsizetype kMostStopped = 3;
constexpr int kNarrowest = 10;
const QString kIndent = u"  "_s;

QString ellipsis(const Page &page)
{
    return page.unicode ? u"…"_s : u"..."_s;
}

QString fitted(const QString &text, int columns, const Page &page)
{
    return page.columns > 0 ? TextColumns::shortened(text, std::max(columns, kNarrowest), ellipsis(page)) : text;
}

/// The folder is of no use to whoever stands in it.
QString shownPath(const QString &path, const Page &page)
{
    const QString below = page.folder.isEmpty() ? path : QDir(page.folder).relativeFilePath(path);
    const bool isBelow = below != ".."_L1 && !below.startsWith("../"_L1);
    return QDir::toNativeSeparators(isBelow ? below : path);
}

QString inTime(qint64 bytes, double seconds)
{
    const QString time = u" in "_s + ProgressLine::span(seconds);
    if (bytes <= 0 || seconds <= 0)
        return time;
    return time + u" (%1/s)"_s.arg(ProgressLine::size(qint64(double(bytes) / seconds)));
}

QString amountOf(const Summary &summary)
{
    const QString all = ProgressLine::size(summary.bytes);
    const bool isPart = summary.fetched > 0 && summary.fetched < summary.bytes;
    const QString now = isPart ? u", %1 of it"_s.arg(ProgressLine::size(summary.fetched)) : QString();
    return all + now + inTime(summary.fetched, summary.seconds);
}

QString checksumOf(const Summary &summary)
{
    if (summary.assurance.assurance == Assurance::Verified)
        return u"checksum verified"_s;
    return summary.checksum ? u"checksum not compared"_s : u"no checksum"_s;
}

QStringList factsOf(const Summary &summary)
{
    if (summary.isUpToDate)
        return {u"it is up to date"_s};
    if (summary.isThere)
        return {u"it is there already"_s, u"--again fetches it again"_s};
    QStringList facts{amountOf(summary), checksumOf(summary)};
    for (const QString &fact :
         {summary.connectionsNote, summary.encodingNote, FileWords::ofAssurance(summary.assurance)}) {
        if (!fact.isEmpty())
            facts.append(fact);
    }
    return facts;
}

QStringList countsOf(const Tally &tally)
{
    QStringList counts{u"%1 done"_s.arg(tally.done)};
    if (!tally.failed.isEmpty())
        counts.append(u"%1 failed"_s.arg(tally.failed.size()));
    if (tally.skipped > 0)
        counts.append(u"%1 skipped"_s.arg(tally.skipped));
    // Of what had not begun it was said already.
    const QString command =
        tally.areListed ? u" (run the same command again to resume)"_s : u" (the same command begins anew)"_s;
    const QString next = tally.unbegun > 0 ? QString() : command;
    if (!tally.stopped.isEmpty())
        counts.append(u"%1 stopped"_s.arg(tally.stopped.size()) + next);
    if (tally.unbegun > 0)
        counts.append(u"%1 not begun"_s.arg(tally.unbegun));
    return counts;
}

void append(QStringList &lines, const QString &text, int columns)
{
    const bool fits = !lines.isEmpty() && TextColumns::width(lines.last()) + 1 + TextColumns::width(text) <= columns;
    if (fits)
        lines.last() += u' ' + text;
    else
        lines.append(text);
}

/// One that has no room in any line is cut between its words.
QStringList packed(const QStringList &facts, int columns)
{
    QStringList lines;
    for (qsizetype i = 0; i < facts.size(); ++i) {
        const QString fact = facts.at(i) + (i + 1 < facts.size() ? u","_s : QString());
        const QStringList pieces = TextColumns::width(fact) <= columns ? QStringList{fact} : fact.split(u' ');
        for (const QString &piece : pieces)
            append(lines, piece, columns);
    }
    return lines;
}

QStringList indented(const QStringList &facts, const Page &page)
{
    QStringList lines = packed(facts, std::max(kNarrowest, page.columns - int(kIndent.size())));
    for (QString &line : lines)
        line.prepend(kIndent);
    return lines;
}

QString headOf(const Summary &summary, const QString &name)
{
    if (summary.isThere)
        return u"Skipped \"%1\":"_s.arg(name);
    return (summary.isStreamed ? u"Wrote \"%1\" to standard output:"_s : u"Saved \"%1\":"_s).arg(name);
}

bool fits(const QString &line, const Page &page)
{
    return page.columns <= 0 || TextColumns::width(line) <= page.columns;
}

/// What could not be read as an address has no name: its reason says where it stands.
QString failureLine(const Tally::Failed &failed, const Page &page)
{
    if (failed.name.isEmpty())
        return fitted(kIndent + failed.reason, page.columns, page);
    const QString name = fitted(failed.name, page.columns / 2, page);
    return fitted(u"%1%2: %3"_s.arg(kIndent, name, failed.reason), page.columns, page);
}

/// In one line, however many they are.
QString stoppedLine(const QStringList &names, const Page &page)
{
    const QStringList told = names.first(std::min(names.size(), kMostStopped));
    const qsizetype rest = names.size() - told.size();
    const QString more = rest > 0 ? u" and %1 more"_s.arg(rest) : QString();
    const QString line = u"%1stopped: %2"_s.arg(kIndent, told.join(", "_L1));
    return fitted(line, page.columns - TextColumns::width(more), page) + more;
}

}

QStringList ClosingWords::ofOne(const Summary &summary, const Page &page)
{
    const QStringList facts = factsOf(summary);
    const QString name = summary.isStreamed ? summary.name : shownPath(summary.path, page);
    const QString line = headOf(summary, name) + u' ' + facts.join(u", "_s);
    if (fits(line, page))
        return {line};
    const int room = page.columns - TextColumns::width(headOf(summary, {}));
    return QStringList{headOf(summary, TextColumns::middleShortened(name, room, ellipsis(page)))}
    + indented(facts, page);
}

QStringList ClosingWords::ofAll(const Tally &tally, double seconds, const Page &page)
{
    const QStringList facts = countsOf(tally) << ProgressLine::size(tally.fetched) + inTime(tally.fetched, seconds);
    const QString line = facts.join(u", "_s);
    QStringList lines = fits(line, page) ? QStringList{line} : packed(facts, page.columns);
    for (const Tally::Failed &failed : tally.failed.first(std::min(tally.failed.size(), kMostFailures)))
        lines.append(failureLine(failed, page));
    if (tally.failed.size() > kMostFailures)
        lines.append(u"%1%2 and %3 more"_s.arg(kIndent, ellipsis(page)).arg(tally.failed.size() - kMostFailures));
    if (!tally.stopped.isEmpty())
        lines.append(stoppedLine(tally.stopped, page));
    return lines;
}
