// SPDX-License-Identifier: MIT
#include <host/parsing/clause.h>

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <iterator>
#include <tuple>

using namespace Qt::StringLiterals;

namespace
{

using Kind = Clause::Kind;

constexpr std::pair<Kind, QLatin1StringView> kKeys[] = {
    {Kind::None, "none"_L1},
    {Kind::Told, "told"_L1},
    {Kind::Unknown, "unknown"_L1},
    {Kind::NoSuchFile, "no-such-file"_L1},
    {Kind::AFolder, "a-folder"_L1},
    {Kind::ANamedPipe, "a-named-pipe"_L1},
    {Kind::ASocket, "a-socket"_L1},
    {Kind::ADevice, "a-device"_L1},
    {Kind::ALinkToNothing, "a-link-to-nothing"_L1},
    {Kind::NotAFile, "not-a-file"_L1},
    {Kind::NotAFileBeside, "not-a-file-beside"_L1},
    {Kind::NoList, "no-list"_L1},
    {Kind::NoHomeFolder, "no-home-folder"_L1},
    {Kind::FolderNotMade, "folder-not-made"_L1},
    {Kind::FolderNotWritable, "folder-not-writable"_L1},
    {Kind::FileNotWritable, "file-not-writable"_L1},
    {Kind::ListNotOpen, "list-not-open"_L1},
    {Kind::ListInUse, "list-in-use"_L1},
    {Kind::NotOfThisProcess, "not-of-this-process"_L1},
    {Kind::ProcessAtWork, "process-at-work"_L1},
    {Kind::CannotSetAside, "cannot-set-aside"_L1},
    {Kind::CannotSetAsideDamaged, "cannot-set-aside-damaged"_L1},
    {Kind::JustSetAside, "just-set-aside"_L1},
    {Kind::Damaged, "damaged"_L1},
    {Kind::SaidByCheck, "said-by-check"_L1},
    {Kind::FileNotChecked, "file-not-checked"_L1},
    {Kind::StrayRows, "stray-rows"_L1},
    {Kind::DownloadUnreadable, "download-unreadable"_L1},
    {Kind::DownloadsUnreadable, "downloads-unreadable"_L1},
    {Kind::UnusableColumn, "unusable-column"_L1},
    {Kind::ObjectMissing, "object-missing"_L1},
    {Kind::ObjectChanged, "object-changed"_L1},
    {Kind::ObjectOfOthers, "object-of-others"_L1},
    {Kind::ObjectTooEarly, "object-too-early"_L1},
    {Kind::TablesOfVersion, "tables-of-version"_L1},
    {Kind::OfLaterVersion, "of-later-version"_L1},
    {Kind::OfLaterTables, "of-later-tables"_L1},
    {Kind::OfAnotherProgram, "of-another-program"_L1},
    {Kind::NoTableOfDownloads, "no-table-of-downloads"_L1},
    {Kind::NoColumnOfDownloads, "no-column-of-downloads"_L1},
    {Kind::FilesOfOthers, "files-of-others"_L1},
    {Kind::TracesOnly, "traces-only"_L1},
    {Kind::WithoutTable, "without-table"_L1},
    {Kind::WithoutProgress, "without-progress"_L1},
    {Kind::Renumbered, "renumbered"_L1},
    {Kind::UnknownCommand, "unknown-command"_L1},
    {Kind::EngineNotOpen, "engine-not-open"_L1},
    {Kind::EngineOpen, "engine-open"_L1},
    {Kind::EngineEnding, "engine-ending"_L1},
    {Kind::QueueClosed, "queue-closed"_L1},
    {Kind::WaitsOrRuns, "waits-or-runs"_L1},
    {Kind::WaitsOrRunsAlready, "waits-or-runs-already"_L1},
    {Kind::WaitsOrHasBegun, "waits-or-has-begun"_L1},
    {Kind::NeitherWaitsNorBegan, "neither-waits-nor-began"_L1},
    {Kind::NotInQueue, "not-in-queue"_L1},
    {Kind::NotPaused, "not-paused"_L1},
    {Kind::Running, "running"_L1},
    {Kind::RunningOrEnding, "running-or-ending"_L1},
    {Kind::BeingStopped, "being-stopped"_L1},
    {Kind::BeingRemoved, "being-removed"_L1},
    {Kind::OtherBegun, "other-begun"_L1},
    {Kind::Finished, "finished"_L1},
    {Kind::Streamed, "streamed"_L1},
    {Kind::NotStreamed, "not-streamed"_L1},
    {Kind::NotSoMuchThere, "not-so-much-there"_L1},
    {Kind::QuestionClosed, "question-closed"_L1},
    {Kind::NothingThere, "nothing-there"_L1},
    {Kind::SeveralConnections, "several-connections"_L1},
    {Kind::HasGaps, "has-gaps"_L1},
    {Kind::NoOtherAddress, "no-other-address"_L1},
    {Kind::FileGone, "file-gone"_L1},
    {Kind::FileEndsEarly, "file-ends-early"_L1},
    {Kind::NotDeleted, "not-deleted"_L1},
    {Kind::NotRenamed, "not-renamed"_L1},
    {Kind::AnotherFile, "another-file"_L1},
    {Kind::NoFolderMade, "no-folder-made"_L1},
    {Kind::FileEmpty, "file-empty"_L1},
    {Kind::FileHasHoles, "file-has-holes"_L1},
    {Kind::ChangedWhileCompared, "changed-while-compared"_L1},
    {Kind::NoteOfOthers, "note-of-others"_L1},
    {Kind::BegunBeside, "begun-beside"_L1},
    {Kind::BytesThere, "bytes-there"_L1},
    {Kind::SentCompressed, "sent-compressed"_L1},
    {Kind::ChangedJustNow, "changed-just-now"_L1},
    {Kind::LengthUnsaid, "length-unsaid"_L1},
    {Kind::LongerThanServers, "longer-than-servers"_L1},
    {Kind::RestNotSent, "rest-not-sent"_L1},
    {Kind::NoPartsToCompare, "no-parts-to-compare"_L1},
    {Kind::ChangedSince, "changed-since"_L1},
    {Kind::OtherBytes, "other-bytes"_L1},
    {Kind::OnlySizeSaid, "only-size-said"_L1},
    {Kind::NothingComparable, "nothing-comparable"_L1},
    {Kind::OtherSize, "other-size"_L1},
    {Kind::SilentTooLong, "silent-too-long"_L1},
    {Kind::EndsAfterFewBytes, "ends-after-few-bytes"_L1},
    {Kind::HttpStatus, "http-status"_L1},
    {Kind::AnsweredWith, "answered-with"_L1},
    {Kind::OtherFile, "other-file"_L1},
    {Kind::NotTheRestAlone, "not-the-rest-alone"_L1},
    {Kind::NoReason, "no-reason"_L1},
    {Kind::NotFetched, "not-fetched"_L1},
    {Kind::TooLargeForChecksums, "too-large-for-checksums"_L1},
    {Kind::NoListOfChecksums, "no-list-of-checksums"_L1},
    {Kind::NoChecksumOf, "no-checksum-of"_L1},
    {Kind::ChecksumIs, "checksum-is"_L1},
    {Kind::DigestIs, "digest-is"_L1},
    {Kind::NoEntryIn, "no-entry-in"_L1},
    {Kind::OtherInterface, "other-interface"_L1},
    {Kind::NoModuleIn, "no-module-in"_L1},
    {Kind::NamesNoHost, "names-no-host"_L1},
    {Kind::NoKindOfProxy, "no-kind-of-proxy"_L1},
    {Kind::OfVariable, "of-variable"_L1},
    {Kind::FarTooLarge, "far-too-large"_L1},
    {Kind::NoCertificates, "no-certificates"_L1},
    {Kind::NoCertificate, "no-certificate"_L1},
    {Kind::NoKey, "no-key"_L1},
    {Kind::KeyOfAnother, "key-of-another"_L1},
    {Kind::MachineHas, "machine-has"_L1},
    {Kind::InLine, "in-line"_L1},
    {Kind::NoCookieInLine, "no-cookie-in-line"_L1},
    {Kind::StrayWord, "stray-word"_L1},
    {Kind::NoWordBehind, "no-word-behind"_L1},
    {Kind::BeforeFirstMachine, "before-first-machine"_L1},
    {Kind::NumberOfFields, "number-of-fields"_L1},
    {Kind::NoDomain, "no-domain"_L1},
    {Kind::SecondFieldNoTruth, "second-field-no-truth"_L1},
    {Kind::FourthFieldNoTruth, "fourth-field-no-truth"_L1},
    {Kind::FifthFieldNoSeconds, "fifth-field-no-seconds"_L1},
    {Kind::SymbolicLink, "symbolic-link"_L1},
    {Kind::NoPlainFile, "no-plain-file"_L1},
    {Kind::HasOtherName, "has-other-name"_L1},
    {Kind::OfSomebodyElse, "of-somebody-else"_L1},
    {Kind::NoNumberFrom, "no-number-from"_L1},
    {Kind::NoNumberBetween, "no-number-between"_L1},
    {Kind::NoTruth, "no-truth"_L1},
    {Kind::NoRate, "no-rate"_L1},
    {Kind::NoHours, "no-hours"_L1},
    {Kind::NoSeconds, "no-seconds"_L1},
    {Kind::NoChoice, "no-choice"_L1},
    {Kind::LineBreak, "line-break"_L1},
    {Kind::NoHeader, "no-header"_L1},
    {Kind::RangeIsOurs, "range-is-ours"_L1},
    {Kind::LengthIsOurs, "length-is-ours"_L1},
    {Kind::HostIsOfOne, "host-is-of-one"_L1},
    {Kind::NoProxy, "no-proxy"_L1},
    {Kind::NoHostAddress, "no-host-address"_L1},
    {Kind::NoFileThere, "no-file-there"_L1},
    {Kind::NoJsonValue, "no-json-value"_L1},
    {Kind::NoOption, "no-option"_L1},
    {Kind::ValueOf, "value-of"_L1},
    {Kind::NoUrl, "no-url"_L1},
    {Kind::NoChecksum, "no-checksum"_L1},
    {Kind::ChecksumOfOtherLength, "checksum-of-other-length"_L1},
    {Kind::NamesNoFile, "names-no-file"_L1},
    {Kind::NameOfDevice, "name-of-device"_L1},
    {Kind::NameTooLong, "name-too-long"_L1},
};

Kind kindFrom(const QString &key)
{
    const auto found =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&key](const auto &row) { return row.second == key; });
    return found == std::end(kKeys) ? Kind::Unknown : found->first;
}

}

Clause::Clause(const QString &told)
    : kind(told.isEmpty() ? Kind::None : Kind::Told)
    , values(told.isEmpty() ? QStringList() : QStringList{told})
{
}

Clause::Clause(Kind which, const QStringList &words)
    : kind(which)
    , values(words)
{
}

Clause::Clause(Kind which, const QStringList &words, const Clause &within)
    : kind(which)
    , values(words)
{
    if (!within.isEmpty())
        of = {within};
}

QString Clause::keyOf(Kind kind)
{
    const auto found =
        std::find_if(std::begin(kKeys), std::end(kKeys), [kind](const auto &row) { return row.first == kind; });
    return found == std::end(kKeys) ? QString() : QString(found->second);
}

QString Clause::plain() const
{
    QStringList parts = values;
    for (const Clause &inner : of)
        parts.append(inner.plain());
    const QString inside = parts.join(", "_L1);
    if (kind == Kind::Told || kind == Kind::None)
        return inside;
    if (parts.isEmpty())
        return keyOf(kind);
    return keyOf(kind) + u'(' + inside + u')';
}

QJsonValue Clause::toJson() const
{
    if (kind == Kind::None || kind == Kind::Told)
        return values.value(0);
    QJsonObject object{{u"kind"_s, keyOf(kind)}};
    if (!values.isEmpty())
        object.insert("values"_L1, QJsonArray::fromStringList(values));
    if (!of.isEmpty())
        object.insert("of"_L1, of.first().toJson());
    return object;
}

Clause Clause::fromJson(const QJsonValue &value)
{
    if (!value.isObject())
        return value.toString();
    const QJsonObject object = value.toObject();
    QStringList values;
    for (const QJsonValue &one : object.value("values"_L1).toArray())
        values.append(one.toString());
    return {kindFrom(object.value("kind"_L1).toString()), values, fromJson(object.value("of"_L1))};
}

bool operator==(const Clause &one, const Clause &other)
{
    return one.kind == other.kind && one.values == other.values && one.of == other.of;
}

bool operator<(const Clause &one, const Clause &other)
{
    const auto key = [](const Clause &clause) { return std::tuple(clause.kind, clause.values, clause.of); };
    return key(one) < key(other);
}
