// SPDX-License-Identifier: MIT
#include <tests/unit/host/fakedownload.h>

#include <tests/unit/host/fakemodule.h>

#include <QDir>
#include <QFile>

using namespace Qt::StringLiterals;

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
    case AbstractDownloadCommand::Stop:
        if (m_running) {
            Q_EMIT stopping();
            end(operationAbortedError("fake,1"));
        }
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
    return m_running ? QtConnectionsMap{{{u"a"_s, 80}, {2}}, {{u"b"_s, 80}, {1}}} : QtConnectionsMap();
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
}

void FakeDownload::finish()
{
    using File = AbstractDownloadFileInfo;
    File file = m_info.files.value(0);
    if (file.name.isEmpty())
        file.name = u"fake.bin"_s;
    file.size = kSize;
    file.sections = {{0, kSize, kSize}};
    file.fileFlags = File::CreatedOnDisk | File::FinalOnDisk;
    m_info.files = {file};
    m_info.setFinished(true, true);
    QFile target(m_info.filePath(0));
    if (m_info.url.path() == FakePaths::kDone && target.open(QIODevice::WriteOnly))
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
