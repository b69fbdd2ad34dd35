// SPDX-License-Identifier: MIT
#pragma once

#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <tests/support/downloadfixture.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QTest>

#include <functional>
#include <memory>

/// A download of "/file.bin", whose every answer is held before its head and before its body. The number of a request
/// is the id of its section, as long as no section is started twice.
struct SchedulingBench : DownloadFixture {
    using Command = AbstractDownloadCommand;
    using Ranges = QList<AbstractDownloadSection>;
    using Record = AbstractDownloadPersistentInfo;
    /// Makes the answer to the request of that number, from 1, another one.
    using Change = std::function<void(int, ScriptedResponse &)>;

    static constexpr quint64 kSeed = 32;
    static constexpr int kPatienceMs = 20000;
    /// More than any test makes.
    static constexpr int kMostRequests = 40;

    explicit SchedulingBench(qint64 size, const Change &change = {})
        : DownloadFixture(UseRealNetwork)
        , fileSize(size)
    {
        watch(&download);
        server.setHandler("/file.bin", [size, change, count = std::make_shared<int>(0)](const ScriptedRequest &) {
            ScriptedResponse response = ScriptedResponse::file(kSeed, size);
            const int number = ++*count;
            response.headGate = head(number);
            response.holdAfter = 0;
            response.holdGate = body(number);
            if (change)
                change(number, response);
            return response;
        });
        server.setResponse("/other.bin", heldOther());
    }

    /// Gates.
    static QString head(int number) { return QStringLiteral("head %1").arg(number); }
    static QString body(int number) { return QStringLiteral("body %1").arg(number); }
    /// Where the bodies are held that a test lets go all at once.
    static QString anyBody() { return QStringLiteral("body"); }

    /// All heads come at once, and all bodies stand at one gate.
    static void openHeads(int, ScriptedResponse &response)
    {
        response.headGate.clear();
        response.holdGate = anyBody();
    }
    /// Says that it honours ranges, and sends the whole.
    static void answerSecondWithTheWhole(int number, ScriptedResponse &response)
    {
        response.honoursRanges = number != 2;
        response.withHeader("Accept-Ranges", "bytes");
    }
    static void tellNoSize(int, ScriptedResponse &response)
    {
        response.honoursRanges = false;
        response.framing = ScriptedResponse::Framing::Chunked;
        response.withHeader("Accept-Ranges", "bytes");
    }

    static void refuse(int, ScriptedResponse &response) { response = ScriptedResponse::error(503); }
    static void refuseThird(int number, ScriptedResponse &response)
    {
        if (number == 3)
            refuse(number, response);
    }
    static ScriptedResponse heldOther()
    {
        ScriptedResponse response = ScriptedResponse::file(kSeed, 1000);
        response.holdAfter = 0;
        response.holdGate = QStringLiteral("other");
        return response;
    }

    Record recordAt(const QString &path, qint32 destinationType) const
    {
        Record info = record(server.url(path).toString());
        info.destinationType = destinationType;
        return info;
    }
    Record inMemory(const Ranges &ranges = {}) const
    {
        Record info = recordAt(QStringLiteral("/file.bin"), Record::ToMemory);
        if (!ranges.isEmpty())
            info.files = recordWithFile(fileSize, ranges).files;
        return info;
    }
    /// Of a server that is known to honour ranges, so that there is nothing to test.
    Record resumable(qint32 destinationType = Record::ToMemory) const
    {
        Record info = recordAt(QStringLiteral("/file.bin"), destinationType);
        info.resumeSupport = Record::ResumeSupported;
        return info;
    }
    void start(const Record &info, Command command = Command::Start)
    {
        download.setInfo(info);
        download.doCommand(command);
    }
    void limit(qint64 connections, qint64 perServer = 0)
    {
        download.setNetworkUsageSettings({.maximumConnections = connections, .maximumConnectionsPerServer = perServer});
    }
    /// Lets the head of that answer through, and waits for what the download does about it.
    void admit(int number)
    {
        server.release(head(number));
        QTRY_VERIFY(logged(QStringLiteral("section #%1 got ok response").arg(number)));
    }
    void release(const QList<int> &numbers)
    {
        for (const int number : numbers) {
            server.release(head(number));
            server.release(body(number));
        }
    }
    /// Whatever is held is let go, now and later.
    void runToTheEnd()
    {
        server.release(anyBody());
        for (int number = 1; number <= kMostRequests; ++number)
            release({number});
        QTRY_VERIFY_WITH_TIMEOUT(!download.isRunning(), kPatienceMs);
        const Record info = download.info();
        QCOMPARE(info.lastError, AbstractError());
        QVERIFY(info.isFinished());
        const QByteArray bytes =
            info.destinationType == Record::ToMemory ? info.content : content(QStringLiteral("file.bin"));
        QCOMPARE(TestFiles::sha256(bytes), TestFiles::sha256OfContent(kSeed, fileSize));
        QCOMPARE(recordedRanges(), (Ranges{{0, fileSize, fileSize}}));
    }

    int requestCount() const { return int(server.requests("/file.bin").size()); }
    QByteArray rangeOfRequest(int number) const
    {
        return server.requests("/file.bin").value(number - 1).header("Range");
    }
    Ranges recordedRanges() const { return download.info().files.value(0).sections; }
    Ranges ranges() const
    {
        Ranges result;
        for (const auto &section : download.sortedSections(true))
            result.append(section->section());
        return result;
    }
    int creatingId() const
    {
        const auto creating = download.creatingSection();
        return creating ? int(creating->id()) : 0;
    }
    DownloadDetails details() const { return download.details().value<DownloadDetails>(); }
    int connectionsOfAll() const { return unitedEntry(chief->consumersStats()->connectionsMap()).count; }
    bool wasRemoved(int id, const QString &reason) const
    {
        return timesLogged(QStringLiteral("removing creating section #%1. Reason:").arg(id) + reason) == 1;
    }

    const qint64 fileSize;
    ScriptedServer server;
    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};

/// Another download of the same application; it holds one connection.
struct OtherDownload {
    explicit OtherDownload(SchedulingBench &bench)
        : download(DownloadFixture::kDownloadId + 1, bench.chief, bench.userAgents, nullptr)
    {
        download.setInfo(bench.recordAt(QStringLiteral("/other.bin"), AbstractDownloadPersistentInfo::ToMemory));
        download.doCommand(AbstractDownloadCommand::Start);
        QVERIFY(bench.server.waitForHeld(QStringLiteral("other")));
    }
    void stop() { download.doCommand(AbstractDownloadCommand::Stop); }

    WwwDownload download;
};

/// A download whose answers the test plays, so that nothing happens between its steps.
struct PlayedBench : DownloadFixture {
    PlayedBench() { watch(&download); }

    /// The first answer, as far as `done` bytes of it.
    void begin(qint64 size, qint32 destinationType, qint64 done = 0)
    {
        AbstractDownloadPersistentInfo info = record();
        info.destinationType = destinationType;
        download.setInfo(info);
        download.doCommand(AbstractDownloadCommand::Start);
        DownloadFixture::begin(size, QByteArray(done, 'a'),
                               {{QByteArrayLiteral("Accept-Ranges"), QByteArrayLiteral("bytes")}});
    }
    ConnectionsBound bound() const { return download.details().value<DownloadDetails>().bound; }

    WwwDownload download{kDownloadId, chief, userAgents, nullptr};
};
