// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownload.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/records/connectionsmap.h>
#include <tests/support/downloadfixture.h>
#include <tests/support/testfiles.h>
#include <tests/unit/downloadswww/moodyserver.h>

#include <QRandomGenerator>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

using Record = AbstractDownloadPersistentInfo;
using Command = AbstractDownloadCommand;
using Sections = QList<AbstractDownloadSection>;

namespace
{

constexpr int kSteps = 40;
constexpr int kMostAttempts = 200;
constexpr int kPatienceMs = 60000;
constexpr int kDefaultSeeds = 300;

/// "first:count" of the environment, for campaigns and for one seed that failed.
QPair<quint32, quint32> seedsWanted()
{
    const QStringList wanted = qEnvironmentVariable("PLAIT_SEEDS").split(u':');
    if (wanted.size() != 2)
        return {1, kDefaultSeeds};
    return {wanted.at(0).toUInt(), wanted.at(1).toUInt()};
}

}

/// Downloads under random faults, commands and limits. Whatever happens, the record tells the truth at every step, and
/// the end is either the right file or an error.
class TestRandomRuns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyRunEndsWithTheRightFileOrAnError_data();
    void everyRunEndsWithTheRightFileOrAnError();
};

namespace
{

/// One run, which follows from its seed but for the order in which threads take their turns.
class RandomRun
{
public:
    explicit RandomRun(quint32 seed)
        : m_random(seed)
        , m_server(seed)
        , m_host(DownloadFixture::UseRealNetwork)
        , m_download(DownloadFixture::kDownloadId, m_host.chief, m_host.userAgents, nullptr)
    {
        m_host.watch(&m_download);
        m_download.setWritersThread(m_host.writersThread());
        Record info = m_host.record();
        info.url = m_server.url();
        info.existingFileReaction = AbstractDownloadExistingFileReaction::Overwrite;
        m_download.setInfo(info);
    }

    /// Empty, or what is wrong.
    QString run()
    {
        m_download.doCommand(Command::Start);
        for (int step = 0; step < kSteps && !m_download.info().isFinished() && m_complaint.isEmpty(); ++step) {
            waitALittle();
            act();
            check();
        }
        if (m_complaint.isEmpty())
            bringToItsEnd();
        if (m_complaint.isEmpty())
            checkEnd();
        return m_complaint.isEmpty() ? QString() : m_complaint + u" ("_s + m_server.description() + u')';
    }

private:
    /// Lets the download get somewhere; where, does not matter.
    void waitALittle() { QTest::qWait(int(m_random.bounded(12))); }

    void act()
    {
        switch (m_random.bounded(10)) {
        case 0:
        case 1:
            m_download.doCommand(Command::Stop);
            break;
        case 2:
        case 3:
            setLimits();
            break;
        case 4:
            m_server.dropConnections();
            break;
        case 5:
            if (m_random.bounded(6) == 0)
                m_server.change();
            break;
        case 6:
            m_download.doCommand(Command::CheckResource);
            break;
        default:
            m_server.letGo();
            break;
        }
        if (!m_download.isRunning())
            goOn();
    }

    void setLimits()
    {
        NetworkUsageSettings limits;
        limits.maximumConnections = int(m_random.bounded(22));
        limits.maximumConnectionsPerServer = m_random.bounded(3) == 0 ? int(m_random.bounded(6)) : 0;
        m_download.setNetworkUsageSettings(limits);
        limits.maximumConnections = m_random.bounded(3) == 0 ? int(m_random.bounded(22)) : 0;
        limits.maximumConnectionsPerServer = 0;
        m_host.chief->setUsageSettings(limits);
    }

    /// As a host does: what was changed or cannot be resumed is begun anew, all else goes on.
    void goOn()
    {
        const AbstractError error = m_download.lastError();
        const bool beginsAnew = error.category == ErrorCategory::kDownload;
        m_download.doCommand(beginsAnew ? Command::Restart : Command::Start);
    }

    void bringToItsEnd()
    {
        m_server.calmDown();
        for (int attempt = 0; attempt < kMostAttempts && !m_download.info().isFinished(); ++attempt) {
            if (!m_download.isRunning())
                goOn();
            if (!QTest::qWaitFor([this] { return !m_download.isRunning(); }, kPatienceMs)) {
                complain(u"it never ends"_s);
                return;
            }
            check();
            if (!m_complaint.isEmpty())
                return;
        }
    }

    void complain(const QString &text)
    {
        if (m_complaint.isEmpty())
            m_complaint = text;
    }

    static QString textOf(const Sections &sections)
    {
        QStringList parts;
        for (const AbstractDownloadSection &section : sections)
            parts.append(u"%1+%2(%3)"_s.arg(section.offset).arg(section.size).arg(section.downloaded));
        return parts.join(u' ');
    }

    Sections liveSections() const
    {
        Sections result;
        for (const auto &section : m_download.sortedSections(false))
            result.append(section->section());
        return result;
    }

    void check()
    {
        checkMirrors();
        if (m_download.runningSectionCount() > SectionScheduling::kMaximumRunningSections)
            complain(u"%1 sections run"_s.arg(m_download.runningSectionCount()));
        const Sections live = liveSections();
        m_download.serializeSections(true);
        const Record info = m_download.info();
        if (!info.files.isEmpty()) {
            const Sections recorded = info.files.constFirst().sections;
            if (!live.isEmpty() && recorded != live)
                complain(u"the record says %1, there are %2"_s.arg(textOf(recorded), textOf(live)));
            checkSections(recorded, info.files.constFirst().size);
        }
        if (!m_download.isRunning())
            checkIdle(info);
    }

    void checkMirrors()
    {
        int held = 0;
        for (const auto &section : m_download.sections(true))
            held += int(section->isUsingMirror());
        int counted = 0;
        for (const auto &mirror : m_download.mirrors().mirrors())
            counted += mirror.connectionCount;
        if (held != counted)
            complain(u"%1 sections hold a source, %2 are counted"_s.arg(held).arg(counted));
    }

    /// They follow upon each other without a hole from the first byte to the last.
    void checkSections(const Sections &sections, qint64 size)
    {
        qint64 expected = 0;
        for (const AbstractDownloadSection &section : sections) {
            const bool isUnbounded = section.size == -1 && size == -1 && sections.size() == 1;
            const bool isInside = section.size >= 0 && section.downloaded <= section.size;
            if (section.offset != expected || section.downloaded < 0 || !(isUnbounded || isInside))
                complain(u"sections do not fit: "_s + textOf(sections));
            expected = section.end();
        }
        if (size >= 0 && !sections.isEmpty() && expected != size)
            complain(u"sections end at %1 of %2: %3"_s.arg(expected).arg(size).arg(textOf(sections)));
    }

    void checkIdle(const Record &info)
    {
        if (unitedEntry(m_download.connectionsMap()).count != 0 || unitedEntry(m_host.connections()).count != 0)
            complain(u"connections are left over while it is idle"_s);
        if (info.files.isEmpty() || !info.files.constFirst().isOnDisk())
            return;
        const std::optional<QByteArray> content = m_server.contentNamedBy(info);
        if (!content) {
            complain(u"the validators name no version"_s);
            return;
        }
        const QByteArray onDisk = TestFiles::readFile(info.filePath(0));
        for (const AbstractDownloadSection &section : info.files.constFirst().sections) {
            const QByteArray bytes = onDisk.mid(section.offset, section.downloaded);
            if (bytes != content->mid(section.offset, section.downloaded))
                complain(u"on disk are other bytes than the record says in section %1"_s.arg(textOf({section})));
        }
    }

    void checkEnd()
    {
        const Record info = m_download.info();
        if (!info.isFinished()) {
            if (!info.lastError)
                complain(u"neither finished nor failed"_s);
            return;
        }
        if (info.files.size() != 1) {
            complain(u"finished without a file"_s);
            return;
        }
        const std::optional<QByteArray> content = m_server.contentNamedBy(info);
        if (!content || TestFiles::readFile(info.filePath(0)) != *content)
            complain(u"a wrong file is called finished"_s);
    }

    QRandomGenerator m_random;
    MoodyServer m_server;
    DownloadFixture m_host;
    WwwDownload m_download;
    QString m_complaint;
};

}

void TestRandomRuns::everyRunEndsWithTheRightFileOrAnError_data()
{
    QTest::addColumn<quint32>("seed");
    const auto [first, count] = seedsWanted();
    for (quint32 seed = first; seed < first + count; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void TestRandomRuns::everyRunEndsWithTheRightFileOrAnError()
{
    QFETCH(quint32, seed);
    RandomRun run(seed);
    const QString complaint = run.run();
    QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
}

QTEST_GUILESS_MAIN(TestRandomRuns)
#include "tst_randomruns.moc"
