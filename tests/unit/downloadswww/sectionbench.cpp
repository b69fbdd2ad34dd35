// SPDX-License-Identifier: MIT
#include <tests/unit/downloadswww/sectionbench.h>

#include <inet/qt/download/framework/memorydataasyncwriter.h>
#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <inet/qt/download/framework/qtapplogger.h>
#include <tests/support/fakenetworkaccessmanager.h>

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kSectionLogLevel = 4;

QNetworkReply::RawHeaderPair header(const QByteArray &name, const QByteArray &value)
{
    return {name, value};
}

}

SectionBench::SectionBench()
    : chief(new TestAccessChief(
        [this] { return new FakeNetworkAccessManager([this](FakeReply *made) { replies.append(made); }); }))
{
    setUp();
}

SectionBench::SectionBench(TestAccessChief *realChief)
    : chief(realChief)
{
    setUp();
}

SectionBench::~SectionBench()
{
    qApp->removeEventFilter(this);
    atEvent = {};
    section.reset();
    // Writers that were let go are deleted by their threads.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    if (m_writersThread) {
        m_writersThread->quit();
        m_writersThread->wait();
    }
}

void SectionBench::setUp()
{
    info.reset(new AbstractDownloadPersistentInfo);
    info->url = QUrl(u"http://a.test/dir/file.bin"_s);
    info->userAgent = u"bench/1"_s;
    info->destinationType = AbstractDownloadPersistentInfo::ToMemory;
    mirrors.reset(new DownloadMirrorsUsageManager);
    mirrors->setMirrors(info->sourceInfo(), {});
    qApp->installEventFilter(this);
}

void SectionBench::useFolder()
{
    info->destinationType = AbstractDownloadPersistentInfo::ToFolder;
    info->folder = m_folder.path();
}

QThread *SectionBench::writersThread()
{
    if (!m_writersThread) {
        m_writersThread = std::make_unique<QThread>();
        m_writersThread->start();
    }
    return m_writersThread.get();
}

AbstractDownloadFileInfo &SectionBench::addFile(qint64 size, const QList<AbstractDownloadSection> &ranges, quint8 flags)
{
    AbstractDownloadFileInfo file;
    file.name = u"file.bin"_s;
    file.size = size;
    file.sections = ranges;
    file.fileFlags = flags;
    info->files = {file};
    if ((flags & AbstractDownloadFileInfo::CreatedOnDisk) != 0)
        QFile(path(file.name)).open(QIODevice::ReadWrite);
    return info->files.first();
}

void SectionBench::addMirror(const QString &url)
{
    m_mirrors.append({QUrl(url), {}});
    mirrors->setMirrors(info->sourceInfo(), m_mirrors);
}

WwwDownloadSection *SectionBench::make(const AbstractDownloadSection &range, bool resourceCheck)
{
    section = std::make_unique<WwwDownloadSection>(++m_lastSectionId, u"D: "_s, range, info, chief, resourceCheck,
                                                   mirrors, nullptr);
    record(section.get());
    return section.get();
}

void SectionBench::destroySection()
{
    section.reset();
}

SectionBench::Headers SectionBench::headersFor(qint64 length, const Headers &more)
{
    return Headers{header("Content-Length"_ba, QByteArray::number(length)), header("Accept-Ranges"_ba, "bytes"_ba)}
    + more;
}

SectionBench::Headers SectionBench::headersForRange(qint64 first, qint64 total, const Headers &more)
{
    const QByteArray range =
        "bytes "_ba + QByteArray::number(first) + '-' + QByteArray::number(total - 1) + '/' + QByteArray::number(total);
    return Headers{header("Content-Length"_ba, QByteArray::number(total - first)), header("Content-Range"_ba, range)}
    + more;
}

void SectionBench::answerWhole(qint64 length, const Headers &more)
{
    reply()->sendHead(200, "OK"_ba, headersFor(length, more));
}

void SectionBench::answerPart(qint64 first, qint64 total, const Headers &more)
{
    reply()->sendHead(206, "Partial Content"_ba, headersForRange(first, total, more));
}

void SectionBench::finishWith(const QByteArray &body)
{
    const QPointer<FakeReply> answer = reply();
    answer->sendData(body);
    // A transfer that has all that it wants lets its reply go.
    if (answer && !answer->wasAborted())
        answer->end();
}

void SectionBench::runQuery(qint64 length)
{
    section->query(false);
    answerWhole(length);
    QVERIFY(!section->isRunning());
    QCOMPARE(transfers().size(), 1);
    events.clear();
}

bool SectionBench::waitUntilIdle()
{
    return QTest::qWaitFor([this] { return !section->isRunning(); }, 10000);
}

QList<WwwDownloader *> SectionBench::transfers() const
{
    return section->findChildren<WwwDownloader *>(QString(), Qt::FindDirectChildrenOnly);
}

WwwDownloader *SectionBench::transfer() const
{
    const QList<WwwDownloader *> all = transfers();
    return all.isEmpty() ? nullptr : all.last();
}

MemoryDataAsyncWriter *SectionBench::memoryWriter() const
{
    return section->findChild<MemoryDataAsyncWriter *>(QString(), Qt::FindDirectChildrenOnly);
}

QTimer *SectionBench::queryKeptTimer() const
{
    const QList<QTimer *> timers = section->findChildren<QTimer *>();
    const auto it = std::find_if(timers.cbegin(), timers.cend(), [](const QTimer *timer) {
        return timer->interval() == WwwDownloadSection::kQueryTransferKeptMs;
    });
    return it == timers.cend() ? nullptr : *it;
}

QByteArray SectionBench::range(int order) const
{
    return replies.value(order) ? replies.value(order)->request().rawHeader("Range"_ba) : QByteArray();
}

QtConnectionsMap SectionBench::connections() const
{
    QtConnectionsMap sum;
    for (const QtConnectionsMap &delta : deltas)
        uniteConnectionsMaps(sum, delta);
    return sum;
}

AbstractError SectionBench::anError(int code)
{
    return {code, ErrorCategory::kGeneric, "bench", "as told"};
}

bool SectionBench::eventFilter(QObject *object, QEvent *event)
{
    // One that is about to move to its own thread gets an event here too, but does not answer here.
    if (event->type() != QEvent::MetaCall)
        return false;
    if (auto *writer = qobject_cast<FileDataAsyncWriter *>(object)) {
        m_fileWriter = writer;
        m_hadFileWriterHere = true;
    }
    return false;
}

void SectionBench::note(const QString &event)
{
    if (event != "connections"_L1)
        events.append(event);
    // A copy, for it may be replaced while it works.
    if (const auto action = atEvent)
        action(event);
}

void SectionBench::record(WwwDownloadSection *made)
{
    connect(made, &WwwDownloadSection::running, this,
            [this](bool isRunning) { note(isRunning ? u"running"_s : u"idle"_s); });
    connect(made, &WwwDownloadSection::gotOkResponse, this, [this] { note(u"gotOkResponse"_s); });
    connect(made, &WwwDownloadSection::persistentInfoChanged, this, [this] { note(u"persistentInfoChanged"_s); });
    connect(made, &WwwDownloadSection::waitingFileCreate, this, [this] { note(u"waitingFileCreate"_s); });
    connect(made, &WwwDownloadSection::preallocatingFile, this, [this](qint64 size) {
        preallocated.append(size);
        note(u"preallocatingFile"_s);
    });
    connect(made, &WwwDownloadSection::filePreallocated, this, [this] { note(u"filePreallocated"_s); });
    connect(made, &WwwDownloadSection::timedOut, this, [this] { note(u"timedOut"_s); });
    connect(made, &WwwDownloadSection::requestHeaders, this, [this] { note(u"requestHeaders"_s); });
    connect(made, &WwwDownloadSection::responseHeaders, this, [this] { note(u"responseHeaders"_s); });
    connect(made, &WwwDownloadSection::connectionsMapChangedDelta, this, [this](const QtConnectionsMap &delta) {
        deltas.append(delta);
        note(u"connections"_s);
    });
}

LogCapture::LogCapture()
{
    QtAppLogger *const logger = QtAppDefaultLogger::instance();
    logger->setVerbosityLevel(kSectionLogLevel);
    logger->setSink([this](int level, const QString &line) {
        lines.append(line);
        levels.append(level);
    });
}

LogCapture::~LogCapture()
{
    QtAppDefaultLogger::instance()->setSink({});
    QtAppDefaultLogger::instance()->setVerbosityLevel(0);
}
