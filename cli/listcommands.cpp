// SPDX-License-Identifier: MIT
#include <cli/listcommands.h>

#include <cli/failurewords.h>
#include <cli/jsonline.h>
#include <cli/progressline.h>
#include <host/engine/downloadsession.h>
#include <host/policy/fileassurance.h>
#include <host/policy/shown.h>
#include <host/storage/downloadlist.h>
#include <inet/qt/download/response/fileinfoutils.h>

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

#include <algorithm>
#include <limits>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

using Output = ListCommands::Output;
using Record = AbstractDownloadPersistentInfo;

constexpr int kIdWidth = 6;
constexpr int kStateWidth = 10;
constexpr int kSizeWidth = 10;
constexpr int kLabelWidth = 14;

void complain(const Output &output, const QString &text)
{
    output.notes << "plait: " << Shown::text(text) << '\n' << Qt::flush;
}

QString nameOf(const ListEntry &entry)
{
    return entry.name.isEmpty() ? entry.url.toDisplayString() : entry.name;
}

QString checksumWord(ChecksumResult result)
{
    switch (result) {
    case ChecksumResult::NotCompared:
        break;
    case ChecksumResult::Equal:
        return u"equal"_s;
    case ChecksumResult::Different:
        return u"different"_s;
    }
    return u"not-compared"_s;
}

FileAssurance assuranceOf(const ListEntry &entry)
{
    if (!entry.finished)
        return {};
    return FileAssurance::of(entry.evidence, entry.hasChecksum ? std::optional(entry.checksumResult) : std::nullopt);
}

/// One word, or how much of it is there.
QString stateOf(const ListEntry &entry)
{
    if (entry.ownerPid != 0)
        return u"running"_s;
    if (entry.finished && entry.hasChecksum && entry.checksumResult != ChecksumResult::Equal)
        return entry.checksumResult == ChecksumResult::Different ? u"wrong"_s : u"unchecked"_s;
    if (entry.finished)
        return assuranceOf(entry).assurance == Assurance::Unproven ? u"done?"_s : u"done"_s;
    if (entry.size > 0)
        return u"%1%"_s.arg(ProgressLine::percent({entry.done, entry.size}));
    return entry.done > 0 ? u"begun"_s : u"new"_s;
}

void printLine(const ListEntry &entry, QTextStream &answers)
{
    const QString size = entry.size >= 0 ? ProgressLine::size(entry.size) : u"?"_s;
    answers << QString::number(entry.id).rightJustified(kIdWidth) << "  " << stateOf(entry).leftJustified(kStateWidth)
            << size.rightJustified(kSizeWidth) << "  " << Shown::text(nameOf(entry)) << '\n';
}

QString timeText(const QDateTime &time)
{
    return time.isValid() ? time.toUTC().toString(Qt::ISODate) : QString();
}

QJsonObject objectOf(const ListEntry &entry)
{
    const FileAssurance assurance = assuranceOf(entry);
    return {{u"event"_s, u"download"_s},
            {u"id"_s, entry.id},
            {u"name"_s, entry.name},
            {u"url"_s, entry.url.toString(QUrl::FullyEncoded)},
            {u"folder"_s, entry.folder},
            {u"size"_s, entry.size},
            {u"done"_s, entry.done},
            {u"finished"_s, entry.finished},
            {u"checksum"_s, entry.hasChecksum ? checksumWord(entry.checksumResult) : QString()},
            {u"assurance"_s, assurance.key()},
            {u"assurance_reason"_s, assurance.reason()},
            {u"error_code"_s, entry.error.code},
            {u"created"_s, timeText(entry.creationTime)}};
}

bool openList(DownloadList &list, const Arguments &arguments, const Output &output)
{
    const QString path =
        arguments.session.listPath.isEmpty() ? DownloadList::defaultPath() : arguments.session.listPath;
    const bool isOpen = list.open(path);
    if (!isOpen)
        complain(output, list.lastErrorText());
    else if (!list.warning().isEmpty())
        complain(output, list.warning());
    return isOpen;
}

/// The last operation did not do what it should; that is said.
bool hasFailed(const DownloadList &list, const Output &output)
{
    const QString errorText = list.lastErrorText();
    if (!errorText.isEmpty())
        complain(output, errorText);
    return !errorText.isEmpty();
}

/// Keys of abstractDownloadsPeristentInfoCompFunction(); 0 = the list's own order.
qint32 sortKeyOf(const QString &name)
{
    if (name == "time"_L1)
        return 1;
    if (name == "name"_L1)
        return 2;
    return name == "size"_L1 ? 3 : 0;
}

/// A record of what a line shows, for the comparisons that know records.
Record sortable(const ListEntry &entry)
{
    Record record;
    record.creationTime = entry.creationTime;
    record.customTitle = nameOf(entry);
    AbstractDownloadFileInfo file;
    file.size = entry.size;
    record.files = {file};
    return record;
}

void sortEntries(QList<ListEntry> &entries, qint32 key)
{
    const auto precedes = abstractDownloadsPeristentInfoCompFunction({key, 0});
    QList<QPair<Record, qsizetype>> order;
    for (qsizetype i = 0; i < entries.size(); ++i)
        order.append({sortable(entries.at(i)), i});
    std::stable_sort(order.begin(), order.end(),
                     [&precedes](const auto &a, const auto &b) { return precedes(a.first, b.first); });
    QList<ListEntry> sorted;
    for (const auto &[record, index] : std::as_const(order))
        sorted.append(entries.at(index));
    entries = sorted;
}

ExitStatus printList(const Arguments &arguments, DownloadList &list, const Output &output)
{
    const qint32 key = sortKeyOf(arguments.sortBy);
    const int limit = arguments.limit > 0 ? arguments.limit : std::numeric_limits<int>::max();
    QList<ListEntry> entries = list.page(arguments.filter, key == 0 ? limit : std::numeric_limits<int>::max());
    if (hasFailed(list, output))
        return ExitStatus::Unknown;
    if (key != 0) {
        sortEntries(entries, key);
        entries = entries.first(std::min<qsizetype>(limit, entries.size()));
    }
    for (const ListEntry &entry : std::as_const(entries)) {
        if (arguments.json)
            output.answers << JsonLine::of(objectOf(entry));
        else
            printLine(entry, output.answers);
    }
    const qint64 all = list.count(arguments.filter);
    if (!arguments.json && !arguments.quiet && all > entries.size())
        output.notes << "… and " << all - entries.size() << " more; -n 0 shows them all\n";
    output.answers.flush();
    return hasFailed(list, output) ? ExitStatus::Unknown : ExitStatus::Done;
}

/// All that the list has of a download.
struct Known {
    Record record;
    DownloadOptions options;
    QString contentEncoding;
    ResourceMemory memory;
};

using Facts = QList<QPair<QString, QString>>;

void addFact(Facts &facts, const QString &label, const QString &text)
{
    if (!text.isEmpty())
        facts.append({label, text});
}

/// By what the rest of the file is known for that of the same one.
void addIdentities(Facts &facts, const ResourceMemory &memory)
{
    for (const KnownAddress &known : memory.addresses) {
        const ResourceIdentity &identity = known.identity;
        addFact(facts, u"address"_s, known.url.toDisplayString());
        addFact(facts, u"target"_s, known.target.toDisplayString());
        addFact(facts, u"etag"_s, QString::fromUtf8(identity.etag));
        addFact(facts, u"etag"_s,
                identity.weakEtag.isEmpty() ? QString() : u"W/"_s + QString::fromUtf8(identity.weakEtag));
        addFact(facts, u"date"_s, timeText(identity.lastModified));
        addFact(facts, u"digest"_s, QString::fromUtf8(identity.digest));
    }
}

void addAssurance(Facts &facts, const Known &known)
{
    const bool isGiven = !known.options.checksumAlgorithm.isEmpty();
    const auto checksum = isGiven ? std::optional(known.options.checksumResult) : std::nullopt;
    const ChecksumResult digest = known.memory.evidence.digest;
    const std::optional<Checksum> servers = known.memory.digest();
    if (servers && digest != ChecksumResult::NotCompared)
        addFact(facts, u"digest"_s, u"%1, %2"_s.arg(servers->toText(), checksumWord(digest)));
    const FileAssurance assurance = FileAssurance::of(known.memory.evidence, checksum);
    addFact(facts, u"assurance"_s, assurance.key());
    addFact(facts, u"doubt"_s, assurance.reason());
}

/// What is known of a download, as label and text.
Facts factsOf(const Known &known)
{
    const auto &[record, options, contentEncoding, memory] = known;
    Facts facts{{u"id"_s, QString::number(record.id)}, {u"url"_s, record.url.toDisplayString()}};
    const auto add = [&facts](const QString &label, const QString &text) { addFact(facts, label, text); };
    add(u"final url"_s, record.finalUrl.toDisplayString());
    for (const AbstractDownloadMirrorInfo &mirror : record.mirrors)
        add(u"mirror"_s, mirror.url.toDisplayString());
    add(u"folder"_s, QDir::toNativeSeparators(record.folder));
    if (!record.files.isEmpty()) {
        const AbstractDownloadFileInfo &file = record.files.first();
        add(u"name"_s, file.name);
        add(u"file"_s, file.isOnDisk() ? QDir::toNativeSeparators(record.filePath(0)) : QString());
        add(u"size"_s, file.size < 0 ? u"unknown"_s : u"%1 bytes"_s.arg(file.size));
        add(u"downloaded"_s, u"%1 bytes"_s.arg(file.bytesDownloaded()));
        add(u"type"_s, file.contentType);
        add(u"encoding"_s, contentEncoding);
        add(u"last modified"_s, timeText(file.lastModified));
        for (const AbstractDownloadSection &section : file.sections)
            add(u"section"_s,
                u"%1 of %2 bytes from %3"_s.arg(section.downloaded).arg(section.size).arg(section.offset));
    }
    if (!options.checksumAlgorithm.isEmpty())
        add(u"checksum"_s,
            u"%1=%2, %3"_s.arg(options.checksumAlgorithm, options.checksumHex, checksumWord(options.checksumResult)));
    for (const SecretHeader &header : options.headers)
        add(u"header"_s, header.name + (header.value.isNull() ? u", value not kept"_s : u", kept"_s));
    if (!record.isFinished())
        addIdentities(facts, memory);
    add(u"state"_s, record.isFinished() ? u"done"_s : u"unfinished"_s);
    if (record.isFinished())
        addAssurance(facts, known);
    add(u"created"_s, timeText(record.creationTime));
    add(u"finished"_s, timeText(record.finishedTime));
    if (record.lastError)
        add(u"last error"_s, FailureWords::sentence(Failure::of(record.lastError, record)));
    return facts;
}

ExitStatus show(const Arguments &arguments, DownloadList &list, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    for (const qint64 id : arguments.ids) {
        const std::optional<Record> record = list.load(id);
        if (hasFailed(list, output))
            return ExitStatus::Unknown;
        if (!record) {
            const auto failure = Failure::make(Failure::Kind::NoSuchDownload, Failure::Subject::of(id));
            complain(output, FailureWords::sentence(failure));
            status = ExitStatus::Unknown;
            continue;
        }
        QJsonObject object{{u"event"_s, u"download"_s}};
        for (const auto &[label, text] :
             factsOf({*record, list.options(id), list.contentEncoding(id), list.memory(id)})) {
            if (!arguments.json)
                output.answers << label.leftJustified(kLabelWidth) << Shown::text(text) << '\n';
            QJsonArray values = object.value(label).toArray();
            values.append(text);
            object.insert(label, values);
        }
        if (arguments.json)
            output.answers << JsonLine::of(object);
    }
    output.answers.flush();
    return status;
}

ExitStatus setUrl(const Arguments &arguments, DownloadSession &session, const Output &output)
{
    Failure failure;
    const qint64 id = arguments.ids.first();
    if (!session.setUrl(id, arguments.requests.first(), &failure)) {
        complain(output, FailureWords::sentence(failure));
        return ExitStatus::Unknown;
    }
    if (!arguments.quiet)
        output.notes << "download " << id << " goes on from its new address with \"plait resume " << id << "\"\n";
    return ExitStatus::Done;
}

ExitStatus remove(const Arguments &arguments, DownloadSession &session, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    for (const qint64 id : arguments.ids) {
        Failure failure;
        if (session.remove(id, arguments.withFile, &failure))
            continue;
        complain(output, FailureWords::sentence(failure));
        status = ExitStatus::Unknown;
    }
    return status;
}

}

ExitStatus ListCommands::print(const Arguments &arguments, const Output &output)
{
    DownloadList list;
    if (!openList(list, arguments, output))
        return ExitStatus::Unknown;
    return arguments.command == Arguments::Command::Show ? show(arguments, list, output)
                                                         : printList(arguments, list, output);
}

ExitStatus ListCommands::change(const Arguments &arguments, DownloadSession &session, const Output &output)
{
    return arguments.command == Arguments::Command::SetUrl ? setUrl(arguments, session, output)
                                                           : remove(arguments, session, output);
}

ExitStatus ListCommands::printSettings(const Arguments &arguments, const Output &output)
{
    const QString list =
        arguments.session.listPath.isEmpty() ? DownloadList::defaultPath() : arguments.session.listPath;
    output.answers << "# settings file: " << Shown::text(arguments.configFile) << '\n'
                   << "# list: " << Shown::text(list) << '\n'
                   << "# log: " << Shown::text(arguments.logFile) << '\n'
                   << arguments.settings << '\n'
                   << Qt::flush;
    return ExitStatus::Done;
}
