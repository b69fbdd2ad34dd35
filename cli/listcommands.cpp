// SPDX-License-Identifier: MIT
#include <cli/listcommands.h>

#include <cli/answerof.h>
#include <cli/failurewords.h>
#include <cli/filewords.h>
#include <cli/jsonline.h>
#include <cli/nextcommand.h>
#include <cli/progressline.h>
#include <host/engine/engine.h>
#include <host/policy/fileassurance.h>
#include <host/policy/shown.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTextStream>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

using Output = ListCommands::Output;

constexpr int kIdWidth = 6;
constexpr int kStateWidth = 12;
constexpr int kSizeWidth = 10;
constexpr int kLabelWidth = 14;

void complain(const Output &output, const QString &text)
{
    output.notes << "plait: " << Shown::text(text) << '\n' << Qt::flush;
}

QString nameOf(const Snapshot &row)
{
    return row.name().isEmpty() ? row.url.toDisplayString() : row.name();
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

QString percentOf(const Snapshot &row)
{
    return u"%1%"_s.arg(ProgressLine::percent(row.done(), row.size()));
}

/// Of which a part is there.
QString withPart(const QString &word, const Snapshot &row)
{
    return row.done() > 0 && row.size() > 0 ? word + u' ' + percentOf(row) : word;
}

/// Every byte is there. What was to be compared is the file only where that says so.
QString finishedWord(const Snapshot &row)
{
    if (!row.checksum || *row.checksum == ChecksumResult::Equal)
        return u"done"_s;
    return *row.checksum == ChecksumResult::Different ? u"wrong"_s : u"unchecked"_s;
}

QString unfinishedWord(const Snapshot &row)
{
    if (row.ownerPid != 0 || row.state == DownloadState::Running)
        return u"running"_s;
    return row.state == DownloadState::Failed ? u"failed"_s : u"unfinished"_s;
}

/// A word, and how much of it is there.
QString stateOf(const Snapshot &row)
{
    if (row.ownerPid != 0 || row.state == DownloadState::Running)
        return withPart(u"running"_s, row);
    if (row.state == DownloadState::Done && row.assurance.assurance == Assurance::Unproven)
        return u"done?"_s;
    if (row.isFinished)
        return finishedWord(row);
    if (row.state == DownloadState::Failed)
        return withPart(u"failed"_s, row);
    if (row.size() > 0)
        return percentOf(row);
    return row.done() > 0 ? u"begun"_s : u"new"_s;
}

void printLine(const Snapshot &row, QTextStream &answers)
{
    const QString size = row.size() >= 0 ? ProgressLine::size(row.size()) : u"?"_s;
    answers << QString::number(row.id).rightJustified(kIdWidth) << "  " << stateOf(row).leftJustified(kStateWidth)
            << size.rightJustified(kSizeWidth) << "  " << Shown::text(nameOf(row)) << '\n';
}

QString timeText(const QDateTime &time)
{
    return time.isValid() ? time.toUTC().toString(Qt::ISODate) : QString();
}

QJsonObject objectOf(const Snapshot &row)
{
    return {{u"event"_s, u"download"_s},
            {u"id"_s, row.id},
            {u"name"_s, row.name()},
            {u"url"_s, row.url.toString(QUrl::FullyEncoded)},
            {u"folder"_s, row.folder},
            {u"size"_s, row.size()},
            {u"done"_s, row.done()},
            {u"finished"_s, row.isFinished},
            {u"failed"_s, row.state == DownloadState::Failed},
            {u"checksum"_s, row.checksum ? checksumWord(*row.checksum) : QString()},
            {u"assurance"_s, row.assurance.key()},
            {u"assurance_reason"_s, FileWords::ofDoubt(row.assurance.doubt)},
            {u"error_code"_s, row.error.code},
            {u"created"_s, timeText(row.created)}};
}

SnapshotQuery::Order orderOf(const QString &name)
{
    if (name == "time"_L1)
        return SnapshotQuery::Order::Created;
    if (name == "name"_L1)
        return SnapshotQuery::Order::Name;
    return name == "size"_L1 ? SnapshotQuery::Order::Size : SnapshotQuery::Order::Position;
}

/// True, and said, where the command was not done. Of several failures the first one decides.
bool hasFailed(const EngineAnswer &answer, const Output &output, ExitStatus &status)
{
    if (answer.isOk())
        return false;
    complain(output, FailureWords::sentence(answer.failure));
    if (status == ExitStatus::Done)
        status = exitStatusOf(answer.failure);
    return true;
}

bool isMeant(const Snapshot &row, const Arguments &arguments)
{
    if (arguments.failed && row.state != DownloadState::Failed)
        return false;
    return row.name().contains(arguments.text, Qt::CaseInsensitive)
        || row.url.toDisplayString().contains(arguments.text, Qt::CaseInsensitive);
}

using Order = SnapshotQuery::Order;

/// Of what the engine knows no filter for. In the order of the list the newest stand last.
EngineAnswer search(const Arguments &arguments, Engine &engine, Order order)
{
    const SnapshotQuery all{0, -1, arguments.filter, order};
    EngineAnswer page = answerOf([&](const Engine::Callback &done) { engine.snapshots(all, done); });
    page.snapshots.removeIf([&arguments](const Snapshot &row) { return !isMeant(row, arguments); });
    page.total = page.snapshots.size();
    const qsizetype count = arguments.limit > 0 ? std::min<qsizetype>(arguments.limit, page.total) : page.total;
    page.snapshots = order == Order::Position ? page.snapshots.last(count) : page.snapshots.first(count);
    return page;
}

EngineAnswer newest(const Arguments &arguments, Engine &engine)
{
    SnapshotQuery query{0, 0, arguments.filter, Order::Position};
    const EngineAnswer none = answerOf([&](const Engine::Callback &done) { engine.snapshots(query, done); });
    if (!none.isOk())
        return none;
    query.first = std::max<qint64>(0, none.total - arguments.limit);
    query.count = arguments.limit;
    return answerOf([&](const Engine::Callback &done) { engine.snapshots(query, done); });
}

EngineAnswer chosen(const Arguments &arguments, Engine &engine)
{
    const Order order = orderOf(arguments.sortBy);
    if (arguments.failed || !arguments.text.isEmpty())
        return search(arguments, engine, order);
    if (order == Order::Position && arguments.limit > 0)
        return newest(arguments, engine);
    const SnapshotQuery query{0, arguments.limit > 0 ? arguments.limit : -1, arguments.filter, order};
    return answerOf([&](const Engine::Callback &done) { engine.snapshots(query, done); });
}

/// A list that shows nothing looks like one that was not read.
QString emptiness(const Arguments &arguments)
{
    const bool isChosen = arguments.failed || !arguments.text.isEmpty() || arguments.filter != ListFilter::All;
    return isChosen ? u"there is no such download in the list"_s : u"there is nothing in the list"_s;
}

ExitStatus printList(const Arguments &arguments, Engine &engine, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    const EngineAnswer page = chosen(arguments, engine);
    if (hasFailed(page, output, status))
        return status;
    for (const Snapshot &row : page.snapshots) {
        if (arguments.json)
            output.answers << JsonLine::of(objectOf(row));
        else
            printLine(row, output.answers);
    }
    if (!arguments.json && !arguments.quiet && page.snapshots.isEmpty())
        output.notes << "plait: " << emptiness(arguments) << '\n';
    if (!arguments.json && !arguments.quiet && page.total > page.snapshots.size())
        output.notes << "… and " << page.total - page.snapshots.size() << " more; -n 0 shows them all\n";
    output.answers.flush();
    return ExitStatus::Done;
}

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

void addAssurance(Facts &facts, const SnapshotDetails &details)
{
    const DownloadOptions &options = details.options;
    const bool isGiven = !options.checksumAlgorithm.isEmpty();
    const auto checksum = isGiven ? std::optional(options.checksumResult) : std::nullopt;
    const ChecksumResult digest = details.memory.evidence.digest;
    const std::optional<Checksum> servers = details.memory.digest();
    const bool isToBeCompared = !isGiven && details.memory.evidence.doubt != Evidence::Doubt::FinishedEarly;
    if (servers && (isToBeCompared || digest != ChecksumResult::NotCompared))
        addFact(facts, u"digest"_s, u"%1, %2"_s.arg(servers->toText(), checksumWord(digest)));
    const FileAssurance assurance = FileAssurance::of(details.memory.evidence, checksum);
    addFact(facts, u"assurance"_s, assurance.key());
    addFact(facts, u"doubt"_s, FileWords::ofDoubt(assurance.doubt));
}

void addFile(Facts &facts, const FileSnapshot &file, const SnapshotDetails &details)
{
    addFact(facts, u"name"_s, file.name);
    addFact(facts, u"file"_s, details.path.isEmpty() ? QString() : QDir::toNativeSeparators(details.path));
    addFact(facts, u"size"_s, file.size < 0 ? u"unknown"_s : u"%1 bytes"_s.arg(file.size));
    addFact(facts, u"downloaded"_s, u"%1 bytes"_s.arg(file.done));
    addFact(facts, u"type"_s, details.contentType);
    addFact(facts, u"encoding"_s, details.contentEncoding);
    addFact(facts, u"last modified"_s, timeText(details.lastModified));
    for (const AbstractDownloadSection &section : file.sections)
        addFact(facts, u"section"_s,
                u"%1 of %2 bytes from %3"_s.arg(section.downloaded).arg(section.size).arg(section.offset));
}

void addOptions(Facts &facts, const SnapshotDetails &details)
{
    const DownloadOptions &options = details.options;
    if (!options.checksumAlgorithm.isEmpty())
        addFact(
            facts, u"checksum"_s,
            u"%1=%2, %3"_s.arg(options.checksumAlgorithm, options.checksumHex, checksumWord(options.checksumResult)));
    for (const SecretHeader &header : options.headers)
        addFact(facts, u"header"_s,
                header.name + (details.keptHeaders.contains(header.name) ? u", kept"_s : u", value not kept"_s));
}

/// What is known of a download, as label and text.
Facts factsOf(const Snapshot &row)
{
    const SnapshotDetails details = row.details.value_or(SnapshotDetails());
    Facts facts{{u"id"_s, QString::number(row.id)}, {u"url"_s, row.url.toDisplayString()}};
    const auto add = [&facts](const QString &label, const QString &text) { addFact(facts, label, text); };
    add(u"final url"_s, details.finalUrl.toDisplayString());
    for (const QUrl &mirror : details.mirrors)
        add(u"mirror"_s, mirror.toDisplayString());
    add(u"folder"_s, QDir::toNativeSeparators(row.folder));
    if (!row.files.isEmpty())
        addFile(facts, row.files.first(), details);
    addOptions(facts, details);
    if (!row.isFinished)
        addIdentities(facts, details.memory);
    add(u"state"_s, row.isFinished ? finishedWord(row) : unfinishedWord(row));
    if (row.isFinished)
        addAssurance(facts, details);
    add(u"created"_s, timeText(row.created));
    add(u"finished"_s, timeText(row.finished));
    add(u"last error"_s, FailureWords::sentence(details.lastFailure));
    return facts;
}

void printFacts(const Facts &facts, bool asJson, QTextStream &answers)
{
    QJsonObject object{{u"event"_s, u"download"_s}};
    for (const auto &[label, text] : facts) {
        if (!asJson)
            answers << label.leftJustified(kLabelWidth) << Shown::text(text) << '\n';
        QJsonArray values = object.value(label).toArray();
        values.append(text);
        object.insert(label, values);
    }
    if (asJson)
        answers << JsonLine::of(object);
}

ExitStatus show(const Arguments &arguments, Engine &engine, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    for (const qint64 id : arguments.ids) {
        const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { engine.snapshot(id, done); });
        if (!hasFailed(answer, output, status))
            printFacts(factsOf(answer.snapshots.first()), arguments.json, output.answers);
    }
    output.answers.flush();
    return status;
}

ExitStatus setUrl(const Arguments &arguments, Engine &engine, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    const qint64 id = arguments.ids.first();
    const EngineAnswer answer =
        answerOf([&](const Engine::Callback &done) { engine.setUrl(id, arguments.requests.first(), true, done); });
    if (!hasFailed(answer, output, status) && !arguments.quiet)
        output.notes << "download " << id << " goes on from its new address with \""
                     << NextCommand::line(u"resume %1"_s.arg(id)) << "\"\n";
    return status;
}

/// False for what has nothing on the disk that could be gone.
bool isGone(const Snapshot &row, Engine &engine)
{
    if (row.done() == 0 && !row.isFinished)
        return false;
    const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { engine.snapshot(row.id, done); });
    if (!answer.isOk() || !answer.snapshots.first().details)
        return false;
    const QString path = answer.snapshots.first().details->path;
    return path.isEmpty() || !QFileInfo::exists(path);
}

ExitStatus clean(const Arguments &arguments, Engine &engine, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    const SnapshotQuery all{0, -1, ListFilter::All, SnapshotQuery::Order::Position};
    const EngineAnswer page = answerOf([&](const Engine::Callback &done) { engine.snapshots(all, done); });
    hasFailed(page, output, status);
    qint64 cleaned = 0;
    for (const Snapshot &row : page.snapshots) {
        if (row.ownerPid != 0 || (row.state != DownloadState::Done && !isGone(row, engine)))
            continue;
        const EngineAnswer answer = answerOf([&](const Engine::Callback &done) { engine.remove(row.id, false, done); });
        cleaned += hasFailed(answer, output, status) ? 0 : 1;
    }
    if (arguments.json)
        output.answers << JsonLine::of({{u"event"_s, u"cleaned"_s}, {u"count"_s, cleaned}}) << Qt::flush;
    else if (!arguments.quiet)
        output.notes << (cleaned == 1 ? u"1 download is"_s : u"%1 downloads are"_s.arg(cleaned))
                     << " off the list; files stay\n"
                     << Qt::flush;
    return status;
}

ExitStatus remove(const Arguments &arguments, Engine &engine, const Output &output)
{
    ExitStatus status = ExitStatus::Done;
    for (const qint64 id : arguments.ids) {
        const EngineAnswer answer =
            answerOf([&](const Engine::Callback &done) { engine.remove(id, arguments.withFile, done); });
        hasFailed(answer, output, status);
    }
    return status;
}

}

ExitStatus ListCommands::print(const Arguments &arguments, Engine &engine, const Output &output)
{
    return arguments.command == Arguments::Command::Show ? show(arguments, engine, output)
                                                         : printList(arguments, engine, output);
}

ExitStatus ListCommands::change(const Arguments &arguments, Engine &engine, const Output &output)
{
    switch (arguments.command) {
    case Arguments::Command::SetUrl:
        return setUrl(arguments, engine, output);
    case Arguments::Command::Clean:
        return clean(arguments, engine, output);
    default:
        return remove(arguments, engine, output);
    }
}

ExitStatus ListCommands::printSettings(const Arguments &arguments, const Output &output)
{
    const auto shown = [](const QString &path) {
        return path.isEmpty() ? u"none, for there is no home folder"_s : Shown::text(path);
    };
    const QString list = EngineOptions{arguments.session, arguments.queue}.listPath();
    output.answers << "# settings file: " << shown(arguments.configFile) << '\n'
                   << "# list: " << shown(list) << '\n'
                   << "# log: " << shown(arguments.logFile) << '\n'
                   << arguments.settings << '\n'
                   << Qt::flush;
    return ExitStatus::Done;
}
