// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <tests/support/downloadfixture.h>

#include <QDeadlineTimer>
#include <QTest>

#include <functional>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

using Command = AbstractDownloadCommand;
using Record = AbstractDownloadPersistentInfo;

namespace
{

/// Large enough for two sections and for taking its disk space first, too small for three.
constexpr qint64 kTwoSections = 614000;
constexpr qint64 kSmall = 10;
constexpr qint64 kPatienceMs = 20000;

QByteArray bodyOf(qint64 size)
{
    QByteArray body;
    for (qint64 i = 0; i < size; ++i)
        body.append(char('a' + i % 23));
    return body;
}

/// A download that may be gone any time, and a server that goes on with all that is asked for.
struct Bench : DownloadFixture {
    explicit Bench(qint64 size)
        : body(bodyOf(size))
        , download(new WwwDownload(kDownloadId, chief, userAgents, nullptr))
    {
        watch(download);
        const auto noteDelta = [this] {
            events.append(u"connections"_s);
            onEvent(events.last());
        };
        QObject::connect(download, &AbstractDownload::connectionsMapChangedDelta, download, noteDelta);
    }
    ~Bench() override { delete download; }

    /// Another step of every answer: the head with the half, the rest.
    void goOnAnswering()
    {
        for (const QPointer<FakeReply> &reply : QList(replies)) {
            if (reply && !reply->isFinished())
                goOnWith(reply);
        }
    }
    void goOnWith(const QPointer<FakeReply> &reply) const
    {
        const qint64 from = reply->request().rawHeader("Range").replace("bytes=", "").replace("-", "").toLongLong();
        const qint64 middle = (from + body.size()) / 2;
        if (reply->property("isHalfSent").toBool()) {
            reply->sendData(body.mid(middle));
            if (reply)
                reply->end();
            return;
        }
        reply->setProperty("isHalfSent", true);
        const QByteArray range = "bytes " + QByteArray::number(from) + '-' + QByteArray::number(body.size() - 1) + '/'
            + QByteArray::number(body.size());
        const QByteArray length = QByteArray::number(body.size() - from);
        if (from > 0)
            reply->sendHead(206, "Partial Content"_ba, {{"Content-Range"_ba, range}, {"Content-Length"_ba, length}});
        else
            reply->sendHead(200, "OK"_ba, {{"Content-Length"_ba, length}, {"Accept-Ranges"_ba, "bytes"_ba}});
        if (reply)
            reply->sendData(body.mid(from, middle - from));
    }
    bool isBusy() const
    {
        return download
            && (download->isRunning()
                || !download->findChildren<WwwDownloader *>(QString(), Qt::FindDirectChildrenOnly).isEmpty());
    }
    void tick() const
    {
        for (QTimer *timer : download->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
            if (timer->isActive())
                QMetaObject::invokeMethod(timer, "timeout");
        }
    }
    /// False when it would not end.
    bool playToTheEnd()
    {
        const QDeadlineTimer patience(kPatienceMs);
        while (isBusy() && !patience.hasExpired()) {
            goOnAnswering();
            QCoreApplication::processEvents();
            if (download)
                tick();
        }
        QCoreApplication::processEvents();
        return !isBusy();
    }

    const QByteArray body;
    QPointer<WwwDownload> download;
};

/// How a download comes to its signals.
struct Life {
    qint64 size = kSmall;
    std::function<Record(Bench &)> record;
    std::function<void(WwwDownload &)> begin;
    bool hasWritersThread = false;
};

/// What a receiver does to it in the middle of one.
using Act = std::function<void(Bench &)>;

Record usedRecord(Bench &bench)
{
    Record info = bench.recordWithPart(20, QByteArray(5, 'o'));
    info.setLastError({404, ErrorCategory::kHttp, "s", "d"});
    return info;
}

Record newRecord(Bench &bench)
{
    return bench.record();
}

Record recordInMemory(Bench &bench)
{
    Record info = bench.record();
    info.destinationType = Record::ToMemory;
    return info;
}

Record changedRecord(Bench &bench)
{
    Record info = bench.recordWithFile(1000, {{0, 1000, 500}});
    info.setFlag(Record::ResourceChanged, true);
    return info;
}

Record failedRecord(Bench &bench)
{
    Record info = bench.recordWithFile(kSmall);
    info.setLastError({404, ErrorCategory::kHttp, "s", "d"});
    return info;
}

std::function<void(WwwDownload &)> command(Command command)
{
    return [command](WwwDownload &download) { download.doCommand(command); };
}

void queryThenStart(WwwDownload &download)
{
    QObject::connect(&download, &WwwDownload::running, &download, [&download](bool isRunning) {
        if (!isRunning && !download.info().isFinished() && !download.info().lastError)
            download.doCommand(Command::Start);
    });
    download.doCommand(Command::QueryInfo);
}

void finishInTheMiddle(WwwDownload &download)
{
    QObject::connect(&download, &WwwDownload::progressChanged, &download,
                     [&download] { download.doCommand(Command::FinishNow); });
    download.doCommand(Command::Start);
}

void forgetError(WwwDownload &download)
{
    download.updateInfoFields({}, Record::FieldLastError, BitFlagsUpdateMode::Replace);
}

void checkThenRestart(WwwDownload &download)
{
    QObject::connect(&download, &WwwDownload::resourceChecked, &download,
                     [&download] { download.doCommand(Command::Restart); });
    download.doCommand(Command::CheckResource);
}

/// One life, disturbed at its event of that number. @return whether it has so many; nothing where it did not come to
/// rest
std::optional<bool> disturb(Bench &bench, const Life &life, const Act &act, qsizetype place)
{
    bench.onEvent = [](const QString &) {};
    if (life.hasWritersThread)
        bench.download->setWritersThread(bench.writersThread());
    bench.download->setInfo(life.record(bench));
    bench.events.clear();
    bool isDone = false;
    bench.onEvent = [&](const QString &) {
        if (bench.events.size() != place + 1 || std::exchange(isDone, true))
            return;
        act(bench);
    };
    life.begin(*bench.download);
    return bench.playToTheEnd() ? std::optional(isDone) : std::nullopt;
}

}
Q_DECLARE_METATYPE(Life)
Q_DECLARE_METATYPE(Act)

/// Receivers that delete, stop and restart a download from inside each of its signals.
class TestWwwDownloadReentry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void deletedAtOnceItSaysAndKeepsNothingMore_data();
    void deletedAtOnceItSaysAndKeepsNothingMore();
    void whateverItIsToldItComesToRest_data();
    void whateverItIsToldItComesToRest();
};

void TestWwwDownloadReentry::deletedAtOnceItSaysAndKeepsNothingMore_data()
{
    QTest::addColumn<Life>("life");
    QTest::newRow("a restart over a part") << Life{kSmall, usedRecord, command(Command::Restart)};
    QTest::newRow("the same with a thread for writers") << Life{kSmall, usedRecord, command(Command::Restart), true};
    QTest::newRow("a file whose space is taken first") << Life{kTwoSections, newRecord, command(Command::Start)};
    QTest::newRow("two sections") << Life{kTwoSections, recordInMemory, command(Command::Start)};
    QTest::newRow("a query, and a start behind it") << Life{kTwoSections, newRecord, queryThenStart};
    QTest::newRow("content with what is there") << Life{kTwoSections, newRecord, finishInTheMiddle};
    QTest::newRow("a check, and a restart behind it") << Life{1001, changedRecord, checkThenRestart};
    QTest::newRow("an error that is forgotten") << Life{kSmall, failedRecord, forgetError};
}

void TestWwwDownloadReentry::deletedAtOnceItSaysAndKeepsNothingMore()
{
    QFETCH(Life, life);
    bool isDisturbed = true;
    for (qsizetype place = 0; isDisturbed; ++place) {
        Bench bench(life.size);
        const auto outcome = disturb(
            bench, life, [](Bench &host) { delete host.download; }, place);
        QVERIFY(outcome);
        isDisturbed = *outcome;
        QCOMPARE(!bench.download, isDisturbed);
        QCOMPARE(bench.events.size() == place + 1, isDisturbed);
        delete bench.download;
        // A section's transfer goes behind it.
        for (int i = 0; i < 2; ++i)
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(bench.chief->outCount(), 0);
        QVERIFY(isDisturbed || place > 0);
    }
}

void TestWwwDownloadReentry::whateverItIsToldItComesToRest_data()
{
    deletedAtOnceItSaysAndKeepsNothingMore_data();
}

void TestWwwDownloadReentry::whateverItIsToldItComesToRest()
{
    QFETCH(Life, life);
    const auto stop = [](Bench &host) { host.download->doCommand(Command::Stop); };
    const auto startAnew = [&stop](Bench &host) {
        stop(host);
        host.download->doCommand(Command::Start);
    };
    const auto restart = [&stop](Bench &host) {
        stop(host);
        host.download->doCommand(Command::Restart);
    };
    for (const Act &act : {Act(stop), Act(startAnew), Act(restart)}) {
        bool isDisturbed = true;
        for (qsizetype place = 0; isDisturbed; ++place) {
            Bench bench(life.size);
            const auto outcome = disturb(bench, life, act, place);
            QVERIFY(outcome);
            isDisturbed = *outcome;
            const QByteArray told = bench.events.join(u", "_s).toUtf8();
            QVERIFY2(!bench.download->isStopping() && !bench.download->isFinalizing(), told.constData());
            QCOMPARE(bench.download->runningSectionCount(), 0);
            QVERIFY2(bench.connections().isEmpty(), told.constData());
            QVERIFY2(bench.events.count(u"running 1"_s) == bench.events.count(u"running 0"_s), told.constData());
            QVERIFY2(bench.events.count(u"files 1"_s) == bench.events.count(u"files 0"_s), told.constData());
            const Record info = bench.download->info();
            if (info.isFinished() && info.files.first().size == life.size)
                QCOMPARE(info.destinationType == Record::ToMemory ? info.content : bench.content(u"file.bin"_s),
                         bench.body);
        }
    }
}

QTEST_GUILESS_MAIN(TestWwwDownloadReentry)
#include "tst_wwwdownload_reentry.moc"
