// SPDX-License-Identifier: MIT
#include <cli/filewords.h>
#include <cli/listcommands.h>
#include <host/engine/engine.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTextStream>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

using Kind = EngineCommand::Kind;

Failure noSuch(qint64 id)
{
    return Failure::make(Failure::Kind::NoSuchDownload, Failure::Subject::of(id));
}

/// Has some downloads, refuses what it is told to refuse, and keeps what it is asked.
class ListEngine : public Engine
{
    Q_OBJECT

public:
    QList<Snapshot> rows;
    qint64 total = 0; ///< of which the rows are a page
    QMap<qint64, Failure> refusals; ///< by the download that they are about
    QList<EngineCommand> commands;

protected:
    void transmit(const EngineCommand &command) override
    {
        commands.append(command);
        EngineNews news{EngineNews::Kind::Answered};
        EngineAnswer answer;
        answer.number = command.number;
        answer.failure = refusals.value(command.id);
        for (const Snapshot &row : std::as_const(rows)) {
            if (command.kind == Kind::Snapshots || row.id == command.id)
                answer.snapshots.append(row);
        }
        answer.total = total;
        news.answer = answer;
        QMetaObject::invokeMethod(
            this, [this, news] { deliver(news); }, Qt::QueuedConnection);
    }
};

Snapshot rowOf(qint64 id, qint64 size, qint64 done, const QString &name = u"a.iso"_s)
{
    Snapshot row;
    row.id = id;
    row.url = QUrl(u"http://h/%1"_s.arg(id));
    FileSnapshot file;
    file.name = name;
    file.size = size;
    file.done = done;
    row.files = {file};
    return row;
}

Snapshot finishedRow(Assurance assurance, std::optional<ChecksumResult> checksum = {})
{
    Snapshot row = rowOf(1, 100, 100);
    row.isFinished = true;
    row.state = DownloadState::Done;
    row.assurance.assurance = assurance;
    row.checksum = checksum;
    return row;
}

}

Q_DECLARE_METATYPE(Snapshot)

/// What people and programs see of the list.
class TestListCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aLineSaysHowFarItIs_data();
    void aLineSaysHowFarItIs();
    void whatHasNoNameYetIsShownByItsAddress();
    void aPageOfTheListIsAskedFor();
    void whatThePageLeavesOutIsCounted_data();
    void whatThePageLeavesOutIsCounted();
    void programsGetAnObjectALine();
    void aDownloadIsShownByItsFacts();
    void aFinishedOneIsShownWithWhatProvesIt();
    void factsOfOneNameStandTogetherForPrograms();
    void whatIsRefusedIsSaidAndTheOthersGoOn();
    void whatIsRemovedMayGoWithItsFile();
    void aNewAddressIsTakenAndSaid();
    void thatThereIsNothingIsSaidToPeople();
    void nothingCommandsTheTerminal();

private:
    ExitStatus print(Command command, const QList<qint64> &ids = {});
    ExitStatus change(Command command, const QList<qint64> &ids);
    ExitStatus run(decltype(&ListCommands::print) what);
    QStringList lines() const { return m_answers.split(u'\n', Qt::SkipEmptyParts); }
    QJsonObject object(int line) const { return QJsonDocument::fromJson(lines().at(line).toUtf8()).object(); }
    bool has(const QString &label, const QString &text) const
    {
        return lines().contains(label.leftJustified(14) + text);
    }

    std::unique_ptr<ListEngine> m_engine;
    Arguments m_arguments;
    QString m_answers;
    QString m_notes;
};

void TestListCommands::init()
{
    m_engine = std::make_unique<ListEngine>();
    m_arguments = Arguments();
    m_arguments.sortBy = u"name"_s;
}

ExitStatus TestListCommands::run(decltype(&ListCommands::print) what)
{
    m_answers.clear();
    m_notes.clear();
    QTextStream answers(&m_answers);
    QTextStream notes(&m_notes);
    return what(m_arguments, *m_engine, {answers, notes});
}

ExitStatus TestListCommands::print(Command command, const QList<qint64> &ids)
{
    m_arguments.command = command;
    m_arguments.ids = ids;
    return run(&ListCommands::print);
}

ExitStatus TestListCommands::change(Command command, const QList<qint64> &ids)
{
    m_arguments.command = command;
    m_arguments.ids = ids;
    return run(&ListCommands::change);
}

void TestListCommands::aLineSaysHowFarItIs_data()
{
    QTest::addColumn<Snapshot>("row");
    QTest::addColumn<QString>("line");
    using Result = ChecksumResult;
    const auto row = [](const char *name, const Snapshot &snapshot, const QString &line) {
        QTest::newRow(name) << snapshot << line;
    };
    Snapshot running = rowOf(1, 2048, 0);
    running.state = DownloadState::Running;
    Snapshot halfway = rowOf(1, 2048, 1024);
    halfway.state = DownloadState::Running;
    Snapshot failed = rowOf(1, 2048, 1024);
    failed.state = DownloadState::Failed;
    Snapshot others = rowOf(1, 2048, 0);
    others.ownerPid = 7;
    row("nothing is there", rowOf(1, -1, 0), u"1 new ? a.iso"_s);
    row("nothing of a known size", rowOf(1, 2048, 0), u"1 0% 2.0 KiB a.iso"_s);
    row("a part", rowOf(1, 2048, 1024), u"1 50% 2.0 KiB a.iso"_s);
    row("a part of nobody knows how much", rowOf(1, -1, 1024), u"1 begun ? a.iso"_s);
    row("it runs", running, u"1 running 2.0 KiB a.iso"_s);
    row("it runs, and a part is there", halfway, u"1 running 50% 2.0 KiB a.iso"_s);
    row("it failed", failed, u"1 failed 50% 2.0 KiB a.iso"_s);
    row("another process is at work on it", others, u"1 running 2.0 KiB a.iso"_s);
    row("it is done", finishedRow(Assurance::Consistent), u"1 done 100 B a.iso"_s);
    row("it is done, and nothing proves it", finishedRow(Assurance::Unproven), u"1 done? 100 B a.iso"_s);
    row("its checksum is right", finishedRow(Assurance::Verified, Result::Equal), u"1 done 100 B a.iso"_s);
    row("its checksum is wrong", finishedRow(Assurance::Consistent, Result::Different), u"1 wrong 100 B a.iso"_s);
    row("nobody has looked yet", finishedRow(Assurance::Consistent, Result::NotCompared), u"1 unchecked 100 B a.iso"_s);
}

void TestListCommands::aLineSaysHowFarItIs()
{
    QFETCH(Snapshot, row);
    m_engine->rows = {row};
    QCOMPARE(print(Command::List), ExitStatus::Done);
    QTEST(m_answers.simplified(), "line");
}

void TestListCommands::whatHasNoNameYetIsShownByItsAddress()
{
    Snapshot row = rowOf(3, -1, 0, {});
    row.url = QUrl(u"http://anna:secret@h/x"_s);
    m_engine->rows = {row};
    print(Command::List);
    QVERIFY2(m_answers.contains(u"h/x"_s) && !m_answers.contains(u"secret"_s), qPrintable(m_answers));
}

void TestListCommands::aPageOfTheListIsAskedFor()
{
    m_arguments.filter = ListFilter::Unfinished;
    m_arguments.limit = 7;
    print(Command::List);
    const SnapshotQuery some = m_engine->commands.constFirst().query.value_or(SnapshotQuery());
    QCOMPARE(some.first, 0);
    QCOMPARE(some.count, 7);
    QCOMPARE(some.filter, ListFilter::Unfinished);
    QCOMPARE(some.order, SnapshotQuery::Order::Name);
    m_arguments.limit = 0;
    m_arguments.sortBy = u"size"_s;
    print(Command::List);
    const SnapshotQuery all = m_engine->commands.constLast().query.value_or(SnapshotQuery());
    QCOMPARE(all.count, -1);
    QCOMPARE(all.order, SnapshotQuery::Order::Size);
}

void TestListCommands::whatThePageLeavesOutIsCounted_data()
{
    QTest::addColumn<qint64>("total");
    QTest::addColumn<bool>("isQuiet");
    QTest::addColumn<bool>("isJson");
    QTest::addColumn<QString>("note");
    QTest::newRow("nothing") << qint64(2) << false << false << QString();
    QTest::newRow("some") << qint64(5) << false << false << u"… and 3 more; -n 0 shows them all\n"_s;
    QTest::newRow("nobody wants to hear of it") << qint64(5) << true << false << QString();
    QTest::newRow("a program counts by itself") << qint64(5) << false << true << QString();
}

void TestListCommands::whatThePageLeavesOutIsCounted()
{
    m_engine->rows = {rowOf(1, 1, 0), rowOf(2, 1, 0)};
    m_arguments.limit = 2;
    QFETCH(qint64, total);
    m_engine->total = total;
    QFETCH(bool, isQuiet);
    m_arguments.quiet = isQuiet;
    QFETCH(bool, isJson);
    m_arguments.json = isJson;
    print(Command::List);
    QCOMPARE(lines().size(), 2);
    QTEST(m_notes, "note");
}

void TestListCommands::programsGetAnObjectALine()
{
    Snapshot done = finishedRow(Assurance::Verified, ChecksumResult::Equal);
    done.folder = u"/tmp"_s;
    done.created = QDateTime(QDate(2024, 2, 29), QTime(12, 0), Qt::UTC);
    m_engine->rows = {done, rowOf(2, -1, 5)};
    m_arguments.json = true;
    QCOMPARE(print(Command::List), ExitStatus::Done);
    QCOMPARE(lines().size(), 2);
    const QJsonObject first = object(0);
    QCOMPARE(first.value("event"_L1), QJsonValue(u"download"_s));
    QCOMPARE(first.value("id"_L1), QJsonValue(1));
    QCOMPARE(first.value("name"_L1), QJsonValue(u"a.iso"_s));
    QCOMPARE(first.value("url"_L1), QJsonValue(u"http://h/1"_s));
    QCOMPARE(first.value("folder"_L1), QJsonValue(u"/tmp"_s));
    QCOMPARE(first.value("size"_L1), QJsonValue(100));
    QCOMPARE(first.value("finished"_L1), QJsonValue(true));
    QCOMPARE(first.value("checksum"_L1), QJsonValue(u"equal"_s));
    QCOMPARE(first.value("assurance"_L1), QJsonValue(u"verified"_s));
    QCOMPARE(first.value("created"_L1), QJsonValue(u"2024-02-29T12:00:00Z"_s));
    const QJsonObject second = object(1);
    QCOMPARE(second.value("size"_L1), QJsonValue(-1));
    QCOMPARE(second.value("done"_L1), QJsonValue(5));
    QCOMPARE(second.value("checksum"_L1), QJsonValue(QString()));
    QCOMPARE(second.value("created"_L1), QJsonValue(QString()));
}

void TestListCommands::aDownloadIsShownByItsFacts()
{
    Snapshot row = rowOf(3, 100, 30);
    row.folder = u"/tmp"_s;
    AbstractDownloadSection section;
    section.offset = 10;
    section.size = 90;
    section.downloaded = 20;
    row.files[0].sections = {section};
    SnapshotDetails details;
    details.finalUrl = QUrl(u"http://i/3"_s);
    details.mirrors = {QUrl(u"http://m/3"_s)};
    details.path = u"/tmp/a.iso.part"_s;
    details.contentType = u"text/plain"_s;
    details.options.headers = {{u"Cookie"_s, {}, {}}, {u"X-Token"_s, {}, {}}};
    details.keptHeaders = {u"X-Token"_s};
    KnownAddress known;
    known.url = QUrl(u"http://h/3"_s);
    known.identity.weakEtag = "\"7\"";
    details.memory.addresses = {known};
    details.lastFailure = Failure::make(Failure::Kind::NotFound, {});
    row.details = details;
    m_engine->rows = {row};
    QCOMPARE(print(Command::Show, {3}), ExitStatus::Done);
    QVERIFY2(has(u"id"_s, u"3"_s) && has(u"url"_s, u"http://h/3"_s), qPrintable(m_answers));
    QVERIFY2(has(u"final url"_s, u"http://i/3"_s) && has(u"mirror"_s, u"http://m/3"_s), qPrintable(m_answers));
    QVERIFY2(has(u"folder"_s, u"/tmp"_s) && has(u"file"_s, u"/tmp/a.iso.part"_s), qPrintable(m_answers));
    QVERIFY2(has(u"size"_s, u"100 bytes"_s) && has(u"downloaded"_s, u"30 bytes"_s), qPrintable(m_answers));
    QVERIFY2(has(u"section"_s, u"20 of 90 bytes from 10"_s), qPrintable(m_answers));
    QVERIFY2(has(u"header"_s, u"Cookie, value not kept"_s) && has(u"header"_s, u"X-Token, kept"_s),
             qPrintable(m_answers));
    QVERIFY2(has(u"address"_s, u"http://h/3"_s) && has(u"etag"_s, u"W/\"7\""_s), qPrintable(m_answers));
    QVERIFY2(has(u"state"_s, u"unfinished"_s) && m_answers.contains(u"\nlast error"_s), qPrintable(m_answers));
    QVERIFY2(!m_answers.contains(u"assurance"_s) && !m_answers.contains(u"encoding"_s), qPrintable(m_answers));
    m_engine->rows[0].state = DownloadState::Failed;
    QCOMPARE(print(Command::Show, {3}), ExitStatus::Done);
    QVERIFY2(has(u"state"_s, u"failed"_s), qPrintable(m_answers));
}

void TestListCommands::thatThereIsNothingIsSaidToPeople()
{
    QCOMPARE(print(Command::List), ExitStatus::Done);
    QCOMPARE(m_notes, u"plait: there is nothing in the list\n"_s);
    m_arguments.text = u"iso"_s;
    QCOMPARE(print(Command::List), ExitStatus::Done);
    QCOMPARE(m_notes, u"plait: there is no such download in the list\n"_s);
    m_arguments.json = true;
    QCOMPARE(print(Command::List), ExitStatus::Done);
    QVERIFY(m_notes.isEmpty() && m_answers.isEmpty());
}

void TestListCommands::aFinishedOneIsShownWithWhatProvesIt()
{
    Snapshot row = finishedRow(Assurance::Unproven);
    SnapshotDetails details;
    details.options.checksumAlgorithm = u"md5"_s;
    details.options.checksumHex = u"00"_s;
    details.options.checksumResult = ChecksumResult::Equal;
    KnownAddress known;
    known.identity.etag = "\"7\"";
    details.memory.addresses = {known};
    row.details = details;
    m_engine->rows = {row};
    print(Command::Show, {1});
    QVERIFY2(has(u"checksum"_s, u"md5=00, equal"_s) && has(u"assurance"_s, u"verified"_s), qPrintable(m_answers));
    QVERIFY2(has(u"state"_s, u"done"_s) && !m_answers.contains(u"etag"_s), qPrintable(m_answers));
    details.options = DownloadOptions();
    details.memory.evidence.answers = 2;
    details.memory.evidence.doubt = Evidence::Doubt::SeveralAddresses;
    m_engine->rows[0].details = details;
    print(Command::Show, {1});
    QVERIFY2(has(u"assurance"_s, u"unproven"_s)
                 && has(u"doubt"_s, FileWords::ofDoubt(Evidence::Doubt::SeveralAddresses)),
             qPrintable(m_answers));
}

void TestListCommands::factsOfOneNameStandTogetherForPrograms()
{
    Snapshot row = rowOf(3, 100, 30);
    SnapshotDetails details;
    details.mirrors = {QUrl(u"http://m/3"_s), QUrl(u"http://n/3"_s)};
    row.details = details;
    m_engine->rows = {row};
    m_arguments.json = true;
    print(Command::Show, {3});
    QCOMPARE(lines().size(), 1);
    QCOMPARE(object(0).value("mirror"_L1), QJsonValue(QJsonArray{u"http://m/3"_s, u"http://n/3"_s}));
    QCOMPARE(object(0).value("id"_L1), QJsonValue(QJsonArray{u"3"_s}));
}

void TestListCommands::whatIsRefusedIsSaidAndTheOthersGoOn()
{
    m_engine->rows = {rowOf(3, 100, 30)};
    m_engine->refusals = {{2, noSuch(2)}};
    QCOMPARE(print(Command::Show, {2, 3}), exitStatusOf(noSuch(2)));
    QVERIFY2(m_notes.startsWith(u"plait: "_s) && m_notes.contains(u"2"_s) && m_notes.count(u'\n') == 1,
             qPrintable(m_notes));
    QVERIFY2(has(u"id"_s, u"3"_s), qPrintable(m_answers));
    const auto unreadable = Failure::make(Failure::Kind::FileFailed, Failure::Subject::of(3), u"the disk is gone"_s);
    m_engine->refusals = {{3, unreadable}, {4, noSuch(4)}};
    QCOMPARE(change(Command::Remove, {2, 3, 4, 5}), ExitStatus::FileError);
    QCOMPARE(m_engine->commands.constLast().id, 5);
    Snapshot done = finishedRow(Assurance::Consistent);
    done.id = 3;
    m_engine->rows = {done};
    QCOMPARE(change(Command::Clean, {}), ExitStatus::FileError);
    m_engine->refusals = {{0, Failure::make(Failure::Kind::CannotReadList, {}, u"it is gone"_s)}};
    QVERIFY(print(Command::List) != ExitStatus::Done);
    QVERIFY2(m_notes.contains(u"it is gone"_s) && m_answers.isEmpty(), qPrintable(m_notes));
}

void TestListCommands::whatIsRemovedMayGoWithItsFile()
{
    for (const bool withFile : {false, true}) {
        m_engine->commands.clear();
        m_arguments.withFile = withFile;
        QCOMPARE(change(Command::Remove, {4, 5}), ExitStatus::Done);
        QCOMPARE(m_engine->commands.size(), 2);
        for (const EngineCommand &command : std::as_const(m_engine->commands))
            QVERIFY(command.kind == Kind::Remove && command.flag == withFile);
        QVERIFY(m_answers.isEmpty() && m_notes.isEmpty());
    }
}

void TestListCommands::aNewAddressIsTakenAndSaid()
{
    DownloadRequest request;
    request.url = QUrl(u"http://new/x"_s);
    m_arguments.requests = {request};
    QCOMPARE(change(Command::SetUrl, {4}), ExitStatus::Done);
    const EngineCommand command = m_engine->commands.constLast();
    QVERIFY(command.kind == Kind::SetUrl && command.id == 4 && command.flag);
    QCOMPARE(command.request.value_or(DownloadRequest()).url, request.url);
    QCOMPARE(m_notes, u"download 4 goes on from its new address with \"plait resume 4\"\n"_s);
    m_arguments.quiet = true;
    QCOMPARE(change(Command::SetUrl, {4}), ExitStatus::Done);
    QVERIFY(m_notes.isEmpty());
    m_engine->refusals = {{4, Failure::make(Failure::Kind::UnsupportedUrl, Failure::Subject::of(4))}};
    QCOMPARE(change(Command::SetUrl, {4}), ExitStatus::BadOption);
    QVERIFY(m_notes.startsWith(u"plait: "_s));
}

void TestListCommands::nothingCommandsTheTerminal()
{
    Snapshot row = rowOf(3, 100, 30, u"a\u001b[2J\u202eb"_s);
    row.details = SnapshotDetails();
    m_engine->rows = {row};
    for (const bool isJson : {false, true}) {
        m_arguments.json = isJson;
        for (const Command command : {Command::List, Command::Show}) {
            print(command, {3});
            QVERIFY(!m_answers.isEmpty());
            QVERIFY2(!m_answers.contains(u'\u001b') && !m_answers.contains(u'\u202e'), qPrintable(m_answers));
        }
    }
}

QTEST_GUILESS_MAIN(TestListCommands)
#include "tst_listcommands.moc"
