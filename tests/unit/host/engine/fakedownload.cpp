// SPDX-License-Identifier: MIT
#include <tests/unit/host/engine/fakedownload.h>

#include <inet/qt/download/framework/downloaddetails.h>
#include <tests/unit/host/engine/fakemodule.h>

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Each run has a download of its own, so that nobody else remembers.
QString nextStepOf(const QUrl &url)
{
    static QHash<QUrl, int> taken;
    const QStringList steps = url.query(QUrl::FullyDecoded).split(u';');
    return steps.value(std::min<qsizetype>(taken[url]++, steps.size() - 1));
}

}

FakeDownload::FakeDownload(qint64 id, QObject *parent)
    : AbstractDownload(id, parent)
{
}

FakeDownload::~FakeDownload() = default;

void FakeDownload::begin()
{
    m_running = true;
    Q_EMIT running(true);
}

void FakeDownload::end(const AbstractError &error)
{
    m_info.lastError = error;
    m_running = false;
    Q_EMIT running(false);
}

void FakeDownload::change(bool significantly, const std::function<void(AbstractDownloadPersistentInfo &)> &how)
{
    how(m_info);
    Q_EMIT changed(significantly);
}

void FakeDownload::doCommand(AbstractDownloadCommand command)
{
    switch (command) {
    case AbstractDownloadCommand::QueryInfo:
    case AbstractDownloadCommand::QueryInfoMinimal:
        query();
        break;
    case AbstractDownloadCommand::Start:
        start();
        break;
    case AbstractDownloadCommand::Restart:
        restart();
        break;
    case AbstractDownloadCommand::Stop:
        if (m_running) {
            Q_EMIT stopping();
            end(operationAbortedError("fake,1"));
        }
        break;
    case AbstractDownloadCommand::CheckResource:
        m_isChecking = m_info.url.path() == FakePaths::kChecksForEver;
        break;
    default:
        break;
    }
}

void FakeDownload::fileExistsAction(int fileIndex, AbstractDownloadFileExistsAction action)
{
    Q_EMIT fileExistsActionApplied(fileIndex, action, {});
}

bool FakeDownload::setInfo(const AbstractDownloadPersistentInfo &info)
{
    m_info = info;
    m_info.moduleId = u"downloadswww"_s;
    Q_EMIT changed(false);
    return true;
}

bool FakeDownload::setWritersThread(QThread *thread)
{
    m_writersThread = thread;
    return thread != nullptr;
}

QMap<int, AbstractDownload::Progress> FakeDownload::tasksProgress() const
{
    return m_running ? QMap<int, Progress>{{DownloadingTask, {1, kSize}}, {AllocatingFileTask, {7, kSize}}}
                     : QMap<int, Progress>();
}

QtConnectionsMap FakeDownload::connectionsMap() const
{
    return m_running && !m_silent ? QtConnectionsMap{{{u"a"_s, 80}, {2}}, {{u"b"_s, 80}, {1}}} : QtConnectionsMap();
}

qint64 FakeDownload::speed(NetworkTrafficDirection direction, bool) const
{
    return m_running && direction == NetworkTrafficDirection::Download ? 50 : 0;
}

void FakeDownload::query()
{
    begin();
    Q_EMIT gotResponseHeaders(1, {u"HTTP/1.1 200 OK"_s, u"Accept-Ranges: bytes"_s});
    AbstractDownloadFileInfo file;
    file.name = u"queried.bin"_s;
    file.size = kSize;
    m_info.files = {file};
    end({});
}

void FakeDownload::start()
{
    const QString path = m_info.url.path();
    if (path == FakePaths::kNothing)
        return;
    begin();
    if (!m_info.files.isEmpty() && m_info.files.first().isComplete())
        giveFinalName();
    else if (path == FakePaths::kDone || path == FakePaths::kLies)
        finish();
    else if (path == FakePaths::kFails)
        fail();
    else if (path == FakePaths::kSteps)
        takeStep();
}

void FakeDownload::restart()
{
    if (m_info.url.path() == FakePaths::kNothing)
        return;
    m_info.setFinished(false, true);
    for (AbstractDownloadFileInfo &file : m_info.files) {
        QFile::remove(QDir(m_info.folder).filePath(file.pathOnDisk.isEmpty() ? file.name : file.pathOnDisk));
        file.sections = {{0, kSize, 0}};
        file.fileFlags = 0;
    }
    m_info.effectiveUrl.clear();
    start();
}

void FakeDownload::takeStep()
{
    const QStringList fields = nextStepOf(m_info.downloadUrl()).split(u'/');
    m_silent = fields.first() == "silent"_L1;
    if (fields.first() == "done"_L1) {
        finish();
    } else if (fields.first() == "fail"_L1) {
        failAs(fields);
    } else if (fields.first() == "taken"_L1) {
        AbstractDownloadFileInfo file;
        file.name = u"taken.bin"_s;
        m_info.files = {file};
        m_info.existingFileReaction = AbstractDownloadExistingFileReaction::Skip;
        end({QFileDevice::OpenError, ErrorCategory::kFile, "fake,3", "it is to be left alone"});
    }
}

void FakeDownload::failAs(const QStringList &fields)
{
    static const QRegularExpression digits(u"^\\d+"_s);
    const QString kept = fields.value(3);
    if (kept.contains(u'+'))
        m_info.resumeSupport = AbstractDownloadPersistentInfo::ResumeSupported;
    if (!kept.isEmpty())
        keep(digits.match(kept).captured().toLongLong(), !kept.contains(u'?'));
    if (fields.size() > 4)
        Q_EMIT gotResponseHeaders(1, {u"HTTP/1.1 503 Busy"_s, fields.at(4)});
    m_failedSource = m_info.downloadUrl();
    end({fields.value(2).toInt(), fields.value(1).toStdString(), "fake,4", "it broke"});
}

/// What the record says is on the disk, too; else nobody believes it at the next start.
void FakeDownload::keep(qint64 bytes, bool isSizeKnown)
{
    AbstractDownloadFileInfo file;
    file.name = u"%1.bin"_s.arg(id());
    file.size = isSizeKnown ? kSize : -1;
    file.sections = {{0, file.size, bytes}};
    file.pathOnDisk = file.name + u".part"_s;
    file.fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
    m_info.files = {file};
    QFile part(m_info.filePath(0));
    if (part.open(QIODevice::WriteOnly))
        part.write(QByteArray(bytes, 'x'));
}

QVariant FakeDownload::details() const
{
    DownloadDetails details;
    details.failedSource = m_failedSource;
    details.isChecking = m_isChecking;
    return QVariant::fromValue(details);
}

void FakeDownload::finish()
{
    using File = AbstractDownloadFileInfo;
    File file = m_info.files.value(0);
    if (file.name.isEmpty())
        file.name = m_info.url.path() == FakePaths::kSteps ? u"%1.bin"_s.arg(id()) : u"fake.bin"_s;
    file.pathOnDisk.clear();
    file.size = kSize;
    file.sections = {{0, kSize, kSize}};
    // It writes a file of its own, whatever lay there: who keeps the record has to hear of that first.
    file.fileFlags = 0;
    m_info.files = {file};
    Q_EMIT performingFilesOperations(true);
    m_info.files.first().fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
    m_info.setFinished(true, true);
    QFile target(m_info.filePath(0));
    if (m_info.url.path() != FakePaths::kLies && target.open(QIODevice::WriteOnly))
        target.write(QByteArray(kSize, 'x'));
    target.close();
    Q_EMIT progressChanged(kSize, kSize);
    end({});
}

/// What is complete needs nothing from the network.
void FakeDownload::giveFinalName()
{
    AbstractDownloadFileInfo &file = m_info.files.first();
    QFile::rename(m_info.filePath(0), QDir(m_info.folder).filePath(file.name));
    file.pathOnDisk.clear();
    file.fileFlags |= AbstractDownloadFileInfo::FinalOnDisk;
    m_info.setFinished(true, true);
    end({});
}

void FakeDownload::fail()
{
    AbstractDownloadFileInfo file;
    file.name = u"fake.bin"_s;
    file.size = kSize;
    file.sections = {{0, kSize, 10}};
    file.pathOnDisk = u"fake.bin.part"_s;
    file.fileFlags = AbstractDownloadFileInfo::CreatedOnDisk;
    m_info.files = {file};
    end({404, ErrorCategory::kHttp, "fake,2", ""});
}
