// SPDX-License-Identifier: MIT
#include <host/network/resourceguard.h>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
/// Of targets that are gone, of one address in one run.
constexpr int kMostFailures = 1;

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Who answers so is not the right one to ask any more; an overloaded server (429, 503) still is.
bool isGone(int status)
{
    return status == 401 || status == 403 || status == 404 || status == 410 || isRedirect(status);
}

/// An answer that makes no sense, and one that nobody waited for, are no lack of one.
bool isUnreachable(QNetworkReply::NetworkError error)
{
    return error > QNetworkReply::NoError && error < QNetworkReply::ProxyConnectionRefusedError
        && error != QNetworkReply::OperationCanceledError;
}

}

ResourceGuard::ResourceGuard(Task task, QObject *parent)
    : QObject(parent)
    , m_task(task)
{
}

ResourceGuard::~ResourceGuard() = default;

void ResourceGuard::setMemory(const ResourceMemory &memory, bool holdsBytes)
{
    m_memory = memory;
    m_holdsBytes = holdsBytes;
    if (!holdsBytes)
        m_memory.evidence = {};
}

bool ResourceGuard::isGood(int status)
{
    return status == kOk || status == kPartialContent;
}

void ResourceGuard::expect(const QUrl &url)
{
    m_isMadeUp = !ledTo(pathTo(url, false)).isEmpty();
}

RequestPath ResourceGuard::pathTo(const QUrl &url, bool isRest)
{
    m_isMadeUp = false;
    RequestPath path{url, url};
    if (m_following && m_following->target == url) {
        path = m_following->path;
        path.url = url;
    }
    path.isRest = isRest;
    return path;
}

QUrl ResourceGuard::ledTo(const RequestPath &path) const
{
    const bool isFirst = path.url == path.address && !path.isLed && !path.wasLedBack && path.redirects == 0;
    const bool mayLead = m_task == Task::Download && m_mayLead && holdsBytes();
    if (!mayLead || !isFirst || !mayUseTarget(path.address))
        return {};
    const KnownAddress *const known = find(path.address);
    return known && known->redirects <= kMostRedirects && !isTargetOfAnother(path.address) ? known->target : QUrl();
}

QList<ResourceIdentity::Field> ResourceGuard::conditionsOf(const RequestPath &path) const
{
    const KnownAddress *const known = m_task == Task::Look ? find(path.address) : nullptr;
    return known ? known->identity.conditions() : QList<ResourceIdentity::Field>();
}

void ResourceGuard::beginRedirect(const RequestPath &path, const QUrl &target, bool isMadeUp)
{
    m_following = {path, target};
    m_isMadeUp = isMadeUp;
    RequestPath &next = m_following->path;
    if (!isMadeUp)
        ++next.redirects;
    else if (path.isLed)
        next.wasLedBack = true;
    else
        next.isLed = true;
}

void ResourceGuard::endRedirect()
{
    m_following.reset();
    m_isMadeUp = false;
}

Evidence::Answer ResourceGuard::answerOf(const RequestPath &path, const TransferPipe::Head &head)
{
    return {path.address, ResourceIdentity::of(head.status, head.fields), head.isEndKnown};
}

ResourceGuard::Judgement ResourceGuard::judge(const RequestPath &path, const TransferPipe::Head &head)
{
    const bool isWhole = path.isRest && head.status == kOk;
    if (mayBeLedBack(path) && (isGone(head.status) || isWhole)) {
        leadBack(path);
        return {Judgement::Kind::LedBack, {}, {}};
    }
    if (!isGood(head.status))
        return {};
    m_lastFields = head.fields;
    const Evidence::Answer answer = answerOf(path, head);
    const ResourceIdentity held = heldIdentity(path);
    if (const QString contradicted = held.contradiction(answer.identity); !contradicted.isEmpty())
        return refusal(answer, u"The server has another file by now: %1."_s.arg(contradicted));
    // The whole in place of the rest is of no use to anybody, and none to remember.
    if (!isWhole)
        learn(path, answer.identity);
    return {Judgement::Kind::Welcome, {}, answer, held.hasOtherDate(answer.identity)};
}

ResourceGuard::Judgement ResourceGuard::refusal(const Evidence::Answer &answer, const QString &reason)
{
    const bool isNews = !hasFoundChange();
    if (isNews)
        m_changedAddress = answer.address;
    if (m_task == Task::Look)
        return {Judgement::Kind::Welcome, {}, answer};
    if (isNews)
        Q_EMIT refused(reason);
    return {Judgement::Kind::Refused, reason, {}};
}

bool ResourceGuard::isLedBack(const RequestPath &path, QNetworkReply::NetworkError error)
{
    if (!mayBeLedBack(path) || !isUnreachable(error))
        return false;
    leadBack(path);
    return true;
}

bool ResourceGuard::needsBytes(const RequestPath &path) const
{
    return m_task == Task::Download && (path.isRest || holdsBytes());
}

void ResourceGuard::takeBytes(const Evidence::Answer &answer)
{
    m_holdsBytes = true;
    note(answer);
}

KnownAddress *ResourceGuard::find(const QUrl &address)
{
    // What was given away shares the list: it has to stay as it was given.
    const auto found = std::find_if(m_memory.addresses.begin(), m_memory.addresses.end(),
                                    [&address](const KnownAddress &known) { return known.url == address; });
    return found == m_memory.addresses.end() ? nullptr : &*found;
}

const KnownAddress *ResourceGuard::find(const QUrl &address) const
{
    const auto found = std::find_if(m_memory.addresses.cbegin(), m_memory.addresses.cend(),
                                    [&address](const KnownAddress &known) { return known.url == address; });
    return found == m_memory.addresses.cend() ? nullptr : &*found;
}

/// A second target that is gone, too, shows that they are good for one request each.
bool ResourceGuard::mayUseTarget(const QUrl &address) const
{
    return !m_forsaken.contains(address) && m_failures.value(address) <= kMostFailures;
}

/// Asked in that one's place, it is asked itself.
bool ResourceGuard::isTargetOfAnother(const QUrl &address) const
{
    return std::any_of(m_memory.addresses.cbegin(), m_memory.addresses.cend(),
                       [&address](const KnownAddress &known) { return known.target == address; });
}

bool ResourceGuard::mayBeLedBack(const RequestPath &path) const
{
    return path.isLed && !path.wasLedBack && path.redirects == 0;
}

void ResourceGuard::leadBack(const RequestPath &path)
{
    const KnownAddress *const known = find(path.address);
    // Many may be on their way to a target when it goes, and some learn of it when there is another already.
    if (!known || known->target != path.url || m_forsaken.contains(path.address))
        return;
    ++m_failures[path.address];
    m_forsaken.insert(path.address);
}

/// What an answer to this is held against. Sizes and digests count for all addresses: a file has one. Validators are
/// each server's own.
ResourceIdentity ResourceGuard::heldIdentity(const RequestPath &path) const
{
    if (!holdsBytes())
        return {};
    const KnownAddress *const known = find(path.address);
    ResourceIdentity held = known ? known->identity : ResourceIdentity();
    const bool hasTotal = held.total >= 0;
    for (const KnownAddress &other : m_memory.addresses) {
        if (!hasTotal)
            held.total = std::max(held.total, other.identity.total);
        // Of each algorithm the first counts, so that its own come before the others'.
        if (&other != known && !other.identity.digest.isEmpty())
            held.digest += (held.digest.isEmpty() ? "" : ", ") + other.identity.digest;
    }
    return held;
}

void ResourceGuard::learn(const RequestPath &path, const ResourceIdentity &identity)
{
    if (m_task == Task::Look)
        return;
    if (!find(path.address))
        m_memory.addresses.append({path.address, {}, 0, {}});
    if (!holdsBytes())
        forgetIdentities();
    KnownAddress &known = *find(path.address);
    known.identity = known.identity.completed(identity);
    if (path.isLed && !path.wasLedBack)
        return;
    known.target = path.redirects > 0 && path.url != path.address ? path.url : QUrl();
    known.redirects = path.redirects;
    m_forsaken.remove(path.address);
}

/// Without bytes there is nothing yet that others would have to fit.
void ResourceGuard::forgetIdentities()
{
    for (KnownAddress &known : m_memory.addresses)
        known.identity = {};
}
