// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/filetakeover.h>
#include <host/network/networkaccesschief.h>
#include <host/network/resourceguard.h>
#include <host/network/transfermanager.h>
#include <host/storage/renamedfile.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

/// What programs call the file of an address, with its query or without.
QStringList namesFor(const DownloadRequest &request)
{
    if (!request.outputName.isEmpty())
        return {request.outputName};
    const QString name = request.url.fileName(QUrl::FullyDecoded);
    QStringList names;
    if (request.url.hasQuery())
        names.append(name + u'?' + request.url.query(QUrl::FullyDecoded));
    names.append(name);
    names.removeIf([](const QString &one) { return one.isEmpty() || one.contains(u'/'); });
    return names;
}

}

QString DownloadSession::fileToTakeOver(const DownloadRequest &asked)
{
    Failure ignored;
    const bool isMeant = asked.takesOver && !asked.isStreamed && asked.postData.isEmpty();
    if (!isMeant || m_closing || !isServed(asked.url, &ignored))
        return {};
    DownloadRequest request = asked;
    request.url = m_chief->takeSecrets(asked.url, nullptr);
    const auto known = m_list.findUnfinished(request.url, request.folder, request.outputName);
    const auto isIt = [&request](const auto &record) { return request.isSameDownload(record); };
    if (std::any_of(known.cbegin(), known.cend(), isIt))
        return {};
    const QStringList names = namesFor(request);
    for (const QString &name : names) {
        const QFileInfo file(QDir(request.folder).filePath(name));
        if (file.isFile() && !file.isSymLink() && file.size() > 0)
            return file.filePath();
    }
    return {};
}

FileTakeOver *DownloadSession::makeTakeOver(const DownloadRequest &asked, const QString &path, QObject *parent)
{
    const DownloadRequest request = withoutSecrets(asked);
    const bool hasChecksum = !request.options.checksumAlgorithm.isEmpty();
    return new FileTakeOver(managerFor(request),
                            {path, request.url, fieldsOf(request), trustsAll(request), hasChecksum}, parent);
}

QSharedPointer<QNetworkAccessManager> DownloadSession::managerFor(const DownloadRequest &request) const
{
    const auto guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Look);
    guard->setKeptHeaders(request.options.headers);
    return m_chief->makeManager(guard);
}

bool DownloadSession::trustsAll(const DownloadRequest &request) const
{
    return m_options.ignoreSslErrors || request.options.insecure;
}

/// What a module would send along.
QList<SmallFetch::Field> DownloadSession::fieldsOf(const DownloadRequest &request) const
{
    const QString agent = request.userAgent.isEmpty() ? m_userAgentManager->userAgent() : request.userAgent;
    QList<SmallFetch::Field> fields;
    if (!agent.isEmpty())
        fields.append({"User-Agent", agent.toUtf8()});
    if (!request.referer.isEmpty())
        fields.append({"Referer", request.referer.toUtf8()});
    for (auto header = request.headers.cbegin(); header != request.headers.cend(); ++header)
        fields.append({header.key().toUtf8(), header.value().toString().toUtf8()});
    return fields;
}

/// From now on it is called as what is incomplete.
bool DownloadSession::makeIncomplete(const TakenFile &file, Failure *failure)
{
    if (file.isWhole() || RenamedFile::toIncomplete(file.path))
        return true;
    Failure::Subject subject;
    subject.path = file.path;
    *failure = Failure::make(Failure::Kind::CannotTakeOver, subject, u"it cannot be renamed"_s);
    return false;
}

/// In the list's thread.
bool DownloadSession::keepTaken(DownloadStore &list, Lease &added, const TakenFile &file)
{
    added.file = FileIdentity::of(added.record.filePath(0));
    added.memory = file.memory(added.record.url);
    return list.update(added.record, {added.file, u""_s, added.memory}, DownloadStore::Lasting::ThisRunOfTheMachine);
}
