// SPDX-License-Identifier: MIT
#include <tests/support/downloadfixture.h>

#include <inet/qt/download/framework/qtappdefaultlogger.h>
#include <tests/support/fakenetworkaccessmanager.h>

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
constexpr int kAllLevels = 4;

QString withHeader(const QString &line)
{
    return u"[Download #%1] "_s.arg(DownloadFixture::kDownloadId) + line;
}
}

DownloadFixture::DownloadFixture()
    : DownloadFixture(QSharedPointer<TestAccessChief>(new TestAccessChief([this] { return makeManager(); })))
{
}

DownloadFixture::DownloadFixture(RealNetwork)
    : DownloadFixture(QSharedPointer<TestAccessChief>(new TestAccessChief))
{
}

DownloadFixture::DownloadFixture(const QSharedPointer<TestAccessChief> &accessChief)
    : chief(accessChief)
    , userAgents(QSharedPointer<QtAppSystemDefaultUserAgentManager>::create())
{
    QtAppDefaultLogger::instance()->setVerbosityLevel(kAllLevels);
    QtAppDefaultLogger::instance()->setSink([this](int level, const QString &line) {
        lines.append(line);
        linesWithLevels.append({level, line});
    });
}

DownloadFixture::~DownloadFixture()
{
    QtAppDefaultLogger::instance()->setSink({});
    QtAppDefaultLogger::instance()->setVerbosityLevel(0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_writersThread.quit();
    m_writersThread.wait();
}

QNetworkAccessManager *DownloadFixture::makeManager()
{
    return new FakeNetworkAccessManager([this](FakeReply *made) { replies.append(made); });
}

void DownloadFixture::note(const QString &event)
{
    events.append(event);
    if (onEvent)
        onEvent(event);
}

void DownloadFixture::watch(AbstractDownload *download)
{
    const auto number = [](bool on) { return QString::number(int(on)); };
    QObject::connect(download, &AbstractDownload::running, download,
                     [this, number](bool on) { note(u"running "_s + number(on)); });
    QObject::connect(download, &AbstractDownload::changed, download,
                     [this, number](bool on) { note(u"changed "_s + number(on)); });
    QObject::connect(download, &AbstractDownload::stopping, download, [this] { note(u"stopping"_s); });
    QObject::connect(download, &AbstractDownload::performingFilesOperations, download,
                     [this, number](bool on) { note(u"files "_s + number(on)); });
    QObject::connect(download, &AbstractDownload::progressChanged, download,
                     [this](qint64 done, qint64 total) { note(u"progress %1/%2"_s.arg(done).arg(total)); });
    QObject::connect(
        download, &AbstractDownload::fileExistsActionRequired, download,
        [this](int index, const QList<QString> &paths) { note(u"exists %1 %2"_s.arg(index).arg(paths.join(u' '))); });
    QObject::connect(download, &AbstractDownload::fileExistsActionApplied, download,
                     [this](int index, AbstractDownloadFileExistsAction action, const AbstractError &error) {
                         note(u"applied %1 %2 %3"_s.arg(index).arg(int(action)).arg(error.code));
                     });
    QObject::connect(download, &AbstractDownload::connectionsMapChangedDelta, download,
                     [this](const QtConnectionsMap &delta) { deltas.append(delta); });
    QObject::connect(download, &AbstractDownload::sendingRequestHeaders, download,
                     [this](qint64 id, const QList<QString> &headers) {
                         requestHeaders.append({id, headers});
                     });
    QObject::connect(download, &AbstractDownload::gotResponseHeaders, download,
                     [this](qint64 id, const QList<QString> &headers) {
                         responseHeaders.append({id, headers});
                     });
}

AbstractDownloadPersistentInfo DownloadFixture::record(const QString &url) const
{
    AbstractDownloadPersistentInfo info;
    info.url = QUrl(url);
    info.folder = m_folder.path();
    return info;
}

AbstractDownloadPersistentInfo DownloadFixture::recordWithFile(qint64 size,
                                                               const QList<AbstractDownloadSection> &sections) const
{
    AbstractDownloadFileInfo file;
    file.name = u"file.bin"_s;
    file.size = size;
    file.sections = sections;
    AbstractDownloadPersistentInfo info = record();
    info.files = {file};
    return info;
}

AbstractDownloadPersistentInfo DownloadFixture::recordWithPart(qint64 size, const QByteArray &bytes) const
{
    AbstractDownloadPersistentInfo info = recordWithFile(size, {{0, size, bytes.size()}});
    info.files.first().pathOnDisk = u"file.bin.part"_s;
    info.files.first().fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
    write(info.files.first().pathOnDisk, bytes);
    return info;
}

QString DownloadFixture::path(const QString &name) const
{
    return m_folder.filePath(name);
}

QStringList DownloadFixture::names() const
{
    return QDir(m_folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

QByteArray DownloadFixture::content(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool DownloadFixture::write(const QString &name, const QByteArray &bytes) const
{
    QFile file(path(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QThread *DownloadFixture::writersThread()
{
    if (!m_writersThread.isRunning())
        m_writersThread.start();
    return &m_writersThread;
}

FakeReply *DownloadFixture::reply(int index) const
{
    const qsizetype place = index < 0 ? replies.size() + index : index;
    return place < 0 || place >= replies.size() ? nullptr : replies.at(place).data();
}

void DownloadFixture::answer(const QByteArray &body, const QList<QNetworkReply::RawHeaderPair> &headers) const
{
    const QPointer<FakeReply> played = reply();
    begin(body.size(), body, headers);
    if (played)
        played->end();
}

void DownloadFixture::begin(qint64 length, const QByteArray &body,
                            const QList<QNetworkReply::RawHeaderPair> &headers) const
{
    const QPointer<FakeReply> played = reply();
    played->sendHead(200, "OK"_ba,
                     QList<QNetworkReply::RawHeaderPair>{{"Content-Length"_ba, QByteArray::number(length)}} + headers);
    if (played && !body.isEmpty())
        played->sendData(body);
}

void DownloadFixture::beginRange(qint64 from, qint64 total, const QByteArray &body) const
{
    const QPointer<FakeReply> played = reply();
    const QByteArray range =
        "bytes "_ba + QByteArray::number(from) + '-' + QByteArray::number(total - 1) + '/' + QByteArray::number(total);
    played->sendHead(206, "Partial Content"_ba,
                     {{"Content-Range"_ba, range}, {"Content-Length"_ba, QByteArray::number(total - from)}});
    if (played && !body.isEmpty())
        played->sendData(body);
}

bool DownloadFixture::logged(const QString &line) const
{
    return timesLogged(line) > 0;
}

int DownloadFixture::timesLogged(const QString &line) const
{
    return int(lines.count(withHeader(line)));
}

QList<int> DownloadFixture::levelsOf(const QString &line) const
{
    QList<int> levels;
    for (const auto &[level, logged] : linesWithLevels) {
        if (logged == withHeader(line))
            levels.append(level);
    }
    return levels;
}

QtConnectionsMap DownloadFixture::connections() const
{
    QtConnectionsMap sum;
    for (const QtConnectionsMap &delta : deltas)
        uniteConnectionsMaps(sum, delta);
    return sum;
}
