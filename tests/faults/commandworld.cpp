// SPDX-License-Identifier: MIT
#include <tests/faults/commandworld.h>

#include <tests/support/testfiles.h>

#include <QRandomGenerator>
#include <QStringList>

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>

using namespace Qt::StringLiterals;

namespace
{

using Kind = CommandStep::Kind;
using Manner = CommandFile::Manner;

constexpr int kFewestFiles = 2;
constexpr int kMostFiles = 6;
constexpr int kFewestSteps = 8;
constexpr int kMostSteps = 36;
constexpr int kSmallest = 2000;
constexpr int kLargest = 400000;
constexpr int kLongestBusyMs = 120;

struct KindRow {
    Kind kind;
    const char *name;
    int weight; ///< how often it comes, beside the others
};

constexpr KindRow kKinds[] = {
    {Kind::Add, "add", 12},
    {Kind::Pause, "pause", 12},
    {Kind::Resume, "resume", 14},
    {Kind::Restart, "restart", 6},
    {Kind::FinishNow, "finish now", 4},
    {Kind::Remove, "remove", 6},
    {Kind::Check, "check", 5},
    {Kind::Query, "query", 2},
    {Kind::SetUrl, "set the address", 3},
    {Kind::Move, "move", 8},
    {Kind::SetLimits, "set limits", 6},
    {Kind::SetOptions, "set options", 4},
    {Kind::PauseAll, "pause all", 3},
    {Kind::ResumeAll, "resume all", 6},
    {Kind::SetGlobalLimits, "set global limits", 4},
    {Kind::SetMostAtOnce, "set most at once", 4},
    {Kind::Answer, "answer", 5},
    {Kind::Look, "look", 6},
    {Kind::Busy, "list busy", 3},
    {Kind::Close, "close", 2},
    {Kind::Kill, "kill", 3},
};
static_assert(std::size(kKinds) == CommandWorld::kKinds);

constexpr const char *kManners[] = {"sound",     "slow",    "cut",       "changed", "missing", "busy",
                                    "no ranges", "chunked", "no length", "silent",  "stalled"};

Kind pickKind(QRandomGenerator &chance)
{
    static const int sum = std::accumulate(std::begin(kKinds), std::end(kKinds), 0,
                                           [](int before, const KindRow &row) { return before + row.weight; });
    int left = chance.bounded(sum);
    const auto picked = std::find_if(std::begin(kKinds), std::end(kKinds), [&left](const KindRow &row) {
        left -= row.weight;
        return left < 0;
    });
    return picked->kind;
}

/// Many at once, some in between, a few after a while.
int pickDelay(QRandomGenerator &chance)
{
    const int percent = chance.bounded(100);
    if (percent < 40)
        return 0;
    return percent < 85 ? chance.bounded(15) : chance.bounded(80);
}

qint64 pickValue(Kind kind, QRandomGenerator &chance)
{
    switch (kind) {
    case Kind::Busy:
        return chance.bounded(kLongestBusyMs);
    case Kind::SetLimits:
    case Kind::SetGlobalLimits:
        return chance.bounded(2) * qint64(chance.bounded(20000, 2000000));
    case Kind::SetMostAtOnce:
        return chance.bounded(1, 6);
    default:
        return chance.bounded(12);
    }
}

CommandStep pickStep(QRandomGenerator &chance)
{
    CommandStep step;
    step.kind = pickKind(chance);
    step.afterMs = pickDelay(chance);
    step.which = chance.bounded(64);
    step.value = pickValue(step.kind, chance);
    step.flag = chance.bounded(100) < 70;
    return step;
}

CommandFile pickFile(quint64 content, QRandomGenerator &chance)
{
    CommandFile file;
    file.content = content;
    file.manner = Manner(chance.bounded(int(std::size(kManners))));
    file.size = chance.bounded(kSmallest, kLargest);
    const bool isSlow = file.manner == Manner::Slow || chance.bounded(3) == 0;
    file.bytesPerSecond = isSlow ? chance.bounded(200000, 4000000) : 0;
    file.laterSize = chance.bounded(2) == 0 ? file.size : chance.bounded(kSmallest, kLargest);
    file.wrongAnswers = 1 + chance.bounded(4);
    file.hasChecksum = file.manner != Manner::Changed && chance.bounded(4) == 0;
    file.isInTheWay = chance.bounded(8) == 0;
    file.onExists = file.isInTheWay ? chance.bounded(1, 4) : 0;
    file.onChanged = chance.bounded(3);
    file.onUnresumable = chance.bounded(3);
    return file;
}

}

QString inWords(CommandStep::Kind kind)
{
    const auto row =
        std::find_if(std::begin(kKinds), std::end(kKinds), [kind](const KindRow &known) { return known.kind == kind; });
    return QString::fromLatin1(row->name);
}

bool CommandFile::isVersion(const QByteArray &bytes) const
{
    return isBeginning(bytes) && (bytes.size() == size || (manner == Manner::Changed && bytes.size() == laterSize));
}

bool CommandFile::isBeginning(const QByteArray &bytes) const
{
    const auto begins = [&bytes](quint64 seed, qint64 length) {
        return bytes.size() <= length && bytes == TestFiles::content(seed, 0, bytes.size());
    };
    return begins(content, size) || (manner == Manner::Changed && begins(content + 1, laterSize));
}

bool CommandFile::isMixture(const QByteArray &bytes) const
{
    if (manner != Manner::Changed || size != laterSize || bytes.size() != size)
        return false;
    const QByteArray first = TestFiles::content(content, 0, size);
    const QByteArray later = TestFiles::content(content + 1, 0, size);
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes.at(i) != first.at(i) && bytes.at(i) != later.at(i))
            return false;
    }
    return true;
}

QString CommandFile::inWords() const
{
    QStringList words{QString::fromLatin1(kManners[int(manner)]), u"%1 bytes"_s.arg(size)};
    if (bytesPerSecond > 0)
        words.append(u"%1 bytes/s"_s.arg(bytesPerSecond));
    words.append(u"%1 wrong answers"_s.arg(wrongAnswers));
    if (hasChecksum)
        words.append(u"has a checksum"_s);
    if (isInTheWay)
        words.append(u"its name is taken (%1)"_s.arg(onExists));
    words.append(u"policies %1, %2"_s.arg(onChanged).arg(onUnresumable));
    return words.join(u", "_s);
}

QString CommandStep::inWords() const
{
    return u"after %1 ms: %2 (which %3, value %4, flag %5)"_s.arg(QString::number(afterMs), ::inWords(kind),
                                                                  QString::number(which), QString::number(value),
                                                                  QString::number(int(flag)));
}

CommandWorld CommandWorld::fromSeed(quint32 seed)
{
    QRandomGenerator chance(seed);
    CommandWorld world;
    const int files = chance.bounded(kFewestFiles, kMostFiles + 1);
    for (int i = 0; i < files; ++i)
        world.files.append(pickFile(quint64(seed) * kMostFiles * 2 + quint64(i) * 2, chance));
    world.canAsk = chance.bounded(3) > 0;
    world.atOnce = chance.bounded(1, 4);
    world.connections = chance.bounded(1, 4);
    for (int i = 0; i < files; ++i)
        world.steps.append({Kind::Add, pickDelay(chance), i, 0, chance.bounded(5) > 0});
    const int steps = chance.bounded(kFewestSteps, kMostSteps + 1);
    for (int i = 0; i < steps; ++i)
        world.steps.append(pickStep(chance));
    return world;
}

QString CommandWorld::nameOf(int file)
{
    return u"file%1.bin"_s.arg(file);
}

QString CommandWorld::inWords() const
{
    QStringList lines{u"%1 at once, %2 connections, %3"_s.arg(QString::number(atOnce), QString::number(connections),
                                                              canAsk ? u"somebody is there"_s : u"nobody to ask"_s)};
    for (qsizetype i = 0; i < files.size(); ++i)
        lines.append(nameOf(int(i)) + u": "_s + files.at(i).inWords());
    return lines.join(u"\n  "_s);
}
