// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/engine/checksumsearch.h>
#include <host/engine/filetakeover.h>
#include <host/network/networkaccesschief.h>
#include <host/network/resourceguard.h>
#include <host/network/transfermanager.h>
#include <host/parsing/checksumlist.h>
#include <host/storage/renamedfile.h>
#include <host/storage/replacedfile.h>
#include <inet/qt/download/framework/qtappsystemdefaultuseragentmanager.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
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

/// The first file that is there under such a name, empty or not; empty = there is none.
QString fileThere(const DownloadRequest &request, bool isEmpty)
{
    const QStringList names = namesFor(request);
    for (const QString &name : names) {
        const QFileInfo file(QDir(request.folder).filePath(name));
        if (file.isFile() && !file.isSymLink() && (file.size() == 0) == isEmpty)
            return file.filePath();
    }
    return {};
}

Failure cannotTakeOver(const TakenFile &file, const Clause &reason)
{
    Failure::Subject subject;
    subject.path = file.path;
    return Failure::make(Failure::Kind::CannotTakeOver, subject, reason);
}

}

QString DownloadSession::fileToTakeOver(const DownloadRequest &asked)
{
    Failure ignored;
    const bool isMeant = (asked.takesOver || asked.isToAsk) && !asked.isStreamed && asked.postData.isEmpty();
    if (!isMeant || m_closing || !isServed(asked.url, &ignored))
        return {};
    DownloadRequest request = asked;
    request.url = m_chief->takeSecrets(asked.url, nullptr);
    const auto known = m_list.findUnfinished(request.url, request.folder, request.outputName);
    const auto isIt = [&request](const auto &record) { return request.isSameDownload(record); };
    if (std::any_of(known.cbegin(), known.cend(), isIt))
        return {};
    return fileThere(request, false);
}

/// What is empty is the beginning of anything, and there is nothing to compare: whatever comes takes its place.
void DownloadSession::planEmpty(const DownloadRequest &request, AbstractDownloadPersistentInfo &record)
{
    const QString path = fileThere(request, true);
    if (!path.isEmpty())
        ReplacedFile::planEmpty(record, path);
}

FileTakeOver *DownloadSession::makeTakeOver(const DownloadRequest &asked, const QString &path,
                                            const SmallFetch::Patience &patience, QObject *parent)
{
    const DownloadRequest request = withoutSecrets(asked);
    const DownloadOptions &options = request.options;
    const bool hasChecksum = !options.checksumAlgorithm.isEmpty();
    return new FileTakeOver(
        managerFor(options),
        {path, request.url, fieldsOf(request.newRecord()), trustsAll(options), hasChecksum, patience}, parent);
}

ChecksumSearch *DownloadSession::makeChecksumSearch(const AbstractDownloadPersistentInfo &record,
                                                    const DownloadOptions &options,
                                                    const SmallFetch::Patience &patience)
{
    const QUrl named = m_chief->takeSecrets(QUrl(options.checksumSource), nullptr);
    const bool isBeside = options.checksumSource == "auto"_L1;
    trustServers(record, options);
    Failure ignored;
    QList<QUrl> lists;
    if (isBeside)
        lists = ChecksumList::neighboursOf(record.url);
    else if (named.isLocalFile() || (named.isValid() && isServed(named, &ignored)))
        lists = {named};
    QStringList names{record.url.fileName(QUrl::FullyDecoded), record.finalSource().fileName(QUrl::FullyDecoded)};
    for (const AbstractDownloadFileInfo &file : record.files)
        names.append(file.name);
    names.removeAll(QString());
    names.removeDuplicates();
    return new ChecksumSearch(managerFor(options),
                              {lists, record.url, names, fieldsOf(record), trustsAll(options), patience});
}

QSharedPointer<QNetworkAccessManager> DownloadSession::managerFor(const DownloadOptions &options) const
{
    const auto guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Look);
    guard->setKeptHeaders(options.headers);
    return m_chief->makeManager(guard);
}

bool DownloadSession::trustsAll(const DownloadOptions &options) const
{
    return m_options.ignoreSslErrors || options.insecure;
}

/// What a module would send along.
QList<SmallFetch::Field> DownloadSession::fieldsOf(const AbstractDownloadPersistentInfo &record) const
{
    const QString agent = record.userAgent.isEmpty() ? m_userAgentManager->userAgent() : record.userAgent;
    QList<SmallFetch::Field> fields;
    if (!agent.isEmpty())
        fields.append({"User-Agent", agent.toUtf8()});
    if (!record.referer.isEmpty())
        fields.append({"Referer", record.referer.toUtf8()});
    const QVariantMap headers = record.parameters.value(u"headers"_s).toMap();
    for (auto header = headers.cbegin(); header != headers.cend(); ++header)
        fields.append({header.key().toUtf8(), header.value().toString().toUtf8()});
    return fields;
}

/// In the list's thread. To compare it took answers of a server, and meanwhile somebody else may have gone on with it.
bool DownloadSession::isStillFree(DownloadStore &list, const DownloadRequest &request, const TakenFile &file,
                                  Failure *failure) const
{
    if (file.isAsCompared() && !(request.onlyOnce && findDone(list, request)))
        return true;
    *failure = cannotTakeOver(file, Clause::Kind::ChangedWhileCompared);
    return false;
}

/// From now on it is called as what is incomplete.
bool DownloadSession::makeIncomplete(const TakenFile &file, Failure *failure)
{
    if (file.isWhole() || RenamedFile::toIncomplete(file.path))
        return true;
    *failure = cannotTakeOver(file, {Clause::Kind::NotRenamed, {}, qt_error_string(errno)});
    return false;
}

/// In the list's thread.
bool DownloadSession::keepTaken(DownloadStore &list, Lease &added, const TakenFile &file)
{
    added.file = FileIdentity::of(added.record.filePath(0));
    added.memory = file.memory(added.record.url);
    return list.update(added.record, {added.file, u""_s, added.memory}, DownloadStore::Lasting::ThisRunOfTheMachine);
}
