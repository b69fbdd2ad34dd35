// SPDX-License-Identifier: MIT
#include <host/engine/resourcecheck.h>

#include <host/engine/downloadsession.h>
#include <host/network/resourceguard.h>
#include <host/policy/contentencoding.h>
#include <inet/qt/download/framework/abstractdownload.h>
#include <inet/qt/download/framework/downloaddetails.h>

#include <QThread>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kOk = 200;
constexpr int kNotModified = 304;
constexpr int kFirstRefusal = 400;

/// Without anything, where nothing is known.
ResourceIdentity knownIdentity(const ResourceMemory &memory, const QUrl &address)
{
    const auto known = std::find_if(memory.addresses.cbegin(), memory.addresses.cend(),
                                    [&address](const KnownAddress &one) { return one.url == address; });
    return known == memory.addresses.cend() ? ResourceIdentity() : known->identity;
}

/// Empty = none.
QString encodingIn(const QList<ResourceIdentity::Field> &fields)
{
    QList<QString> lines{u"HTTP/1.1 200 OK"_s};
    for (const auto &[name, value] : fields)
        lines.append(QString::fromLatin1(name + ": " + value));
    const auto answer = ContentEncoding::of(lines);
    return answer ? answer->encoding : QString();
}

}

ResourceCheck::ResourceCheck(DownloadSession &session, QObject *parent)
    : QObject(parent)
    , m_session(session)
{
}

ResourceCheck::~ResourceCheck() = default;

void ResourceCheck::begin(const AbstractDownloadPersistentInfo &record)
{
    Q_ASSERT(QThread::currentThread() == thread());
    Q_ASSERT_X(!m_download, "ResourceCheck", "one check at a time");
    ++m_number;
    m_guard = std::make_shared<ResourceGuard>(ResourceGuard::Task::Look);
    m_guard->setMemory(m_session.list().memory(record.id), true);
    const DownloadOptions options = m_session.options(record.id);
    m_guard->setKeptHeaders(options.headers);
    Result unserved;
    if (!m_session.isServed(record.url, &unserved.failure)) {
        const auto tell = [this, unserved, number = m_number] {
            if (number == m_number)
                Q_EMIT checked(unserved);
        };
        QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
        return;
    }
    m_download.reset(m_session.createDownload(record, m_guard, nullptr));
    m_session.prepare(*m_download, record, options);
    m_download->setInfo(record);
    connect(m_download.get(), &AbstractDownload::resourceChecked, this, &ResourceCheck::look);
    m_download->doCommand(AbstractDownloadCommand::CheckResource);
    // Where there is nothing to compare with, none has begun.
    QMetaObject::invokeMethod(this, &ResourceCheck::look, Qt::QueuedConnection);
}

void ResourceCheck::stop()
{
    ++m_number;
    m_download.reset();
}

void ResourceCheck::look()
{
    if (!m_download || m_download->details().value<DownloadDetails>().isChecking)
        return;
    const Result found = result();
    m_download.release()->deleteLater();
    Q_EMIT checked(found);
}

ResourceCheck::Result ResourceCheck::result() const
{
    const AbstractDownloadPersistentInfo info = m_download->info();
    const auto details = m_download->details().value<DownloadDetails>();
    Result result;
    const bool isOther = info.hasFlag(AbstractDownloadPersistentInfo::ResourceChanged) && !isOnlySizeUnsaid(info);
    if (isOther || m_guard->hasFoundChange()) {
        result.finding = Finding::Changed;
        return result;
    }
    result.error = details.checkError;
    if (details.checkStatus >= kFirstRefusal)
        result.error = {details.checkStatus, ErrorCategory::kHttp, errorSourceHere(), {}};
    if (result.error || details.checkStatus < 0) {
        result.failure = result.error ? Failure::of(result.error, info)
                                      : Failure::make(Failure::Kind::NothingToCompare, Failure::Subject::of(info),
                                                      Clause::Kind::NothingComparable);
        return result;
    }
    result.finding = Finding::Same;
    result.isProven = details.checkStatus == kNotModified
        || knownIdentity(m_guard->memory(), info.downloadUrl())
               .isComparableWith(ResourceIdentity::of(kOk, m_guard->lastFields()));
    return result;
}

/// A module takes that for another file, and a resume does not, which asks for the rest: of that, servers say the size
/// even where they say none of the whole.
bool ResourceCheck::isOnlySizeUnsaid(const AbstractDownloadPersistentInfo &info) const
{
    const QList<ResourceIdentity::Field> &fields = m_guard->lastFields();
    const bool isSizeSaid = ResourceIdentity::of(kOk, fields).total >= 0;
    const bool isSizeKnown = !info.files.isEmpty() && info.files.first().size >= 0;
    return m_guard->knows(info.downloadUrl()) && isSizeSaid != isSizeKnown
        && encodingIn(fields) == m_session.list().contentEncoding(info.id);
}
