// SPDX-License-Identifier: MIT
#include <host/network/transferreply.h>

#include <host/network/fieldnames.h>
#include <host/network/resourceguard.h>
#include <host/network/transfermanager.h>
#include <inet/qt/download/framework/runguard.h>

#include <QNetworkCookie>
#include <QNetworkCookieJar>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kTemporaryRedirect = 307;

bool isRedirect(int status)
{
    return status == 301 || status == 302 || status == 303 || status == kTemporaryRedirect || status == 308;
}

}

void TransferReply::onHead(const TransferPipe::Head &head)
{
    TransferPipe::Head told = head;
    if (m_way.guard && !isWelcome(told))
        return;
    if (m_isHeadHeld)
        m_heldHead = told;
    else
        tellHead(told);
}

void TransferReply::tellHeldHead()
{
    m_isHeadHeld = false;
    tellHead(m_heldHead);
}

/// False also where somebody has ended this reply at the news that it is not. @param head loses what nobody is to hear
bool TransferReply::isWelcome(TransferPipe::Head &head)
{
    using Kind = ResourceGuard::Judgement::Kind;
    const RunGuard run(this, m_runsEnded);
    const std::shared_ptr<ResourceGuard> guard = m_way.guard;
    const ResourceGuard::Judgement judgement = guard->judge(m_way.path, head);
    if (!run)
        return false;
    switch (judgement.kind) {
    case Kind::Welcome:
        break;
    case Kind::LedBack:
        leadTo(m_way.path.address);
        return false;
    case Kind::Refused:
        leave();
        endWith(ContentConflictError, judgement.reason);
        return false;
    }
    if (ResourceGuard::isGood(head.status)) {
        m_answer = head;
        m_evidence = judgement.answer;
        m_isAnswering = true;
        m_isHeadHeld = guard->needsBytes(m_way.path);
        guard->beginAnswer();
    }
    // It would be taken for a change.
    if (judgement.hasOtherDate)
        head.fields.removeIf(
            [](const RawHeaderPair &field) { return field.first.compare("Last-Modified", Qt::CaseInsensitive) == 0; });
    return true;
}

void TransferReply::tellHead(const TransferPipe::Head &head)
{
    const RunGuard run(this, m_runsEnded);
    setAttribute(QNetworkRequest::ConnectionEncryptedAttribute, head.isEncrypted);
    if (head.isEncrypted)
        Q_EMIT encrypted();
    if (!run)
        return;
    setAttribute(QNetworkRequest::HttpStatusCodeAttribute, head.status);
    setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, head.reason);
    takeFields(head);
    keepCookies(head.cookies);
    takeRedirect(head.status);
    if (const QUrl target = attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl(); !target.isEmpty())
        tellRedirect(target);
    else
        Q_EMIT metaDataChanged();
    if (!run || !m_transfer)
        return;
    m_transfer->pipe().headIsTold();
    afterRead(0);
}

/// Who follows it does so at once.
void TransferReply::tellRedirect(const QUrl &target)
{
    const std::shared_ptr<ResourceGuard> guard = m_way.guard;
    if (guard)
        guard->beginRedirect(m_way.path, url().resolved(target), m_isLeading);
    Q_EMIT metaDataChanged();
    if (guard)
        guard->endRedirect();
}

/// By a redirect that no server sent.
void TransferReply::leadTo(const QUrl &target)
{
    leave();
    m_isLeading = true;
    const RunGuard run(this, m_runsEnded);
    tellHead({kTemporaryRedirect, ResourceGuard::kMadeUpReason, {{"Location", target.toEncoded()}}, {}});
    if (run)
        endWith(NoError, {});
}

/// Where no answer came, and there is somebody else to ask.
bool TransferReply::leadsBack(NetworkError error)
{
    const bool isAnswered = m_answer || attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (!m_way.guard || isAnswered || !m_way.guard->isLedBack(m_way.path, error))
        return false;
    leadTo(m_way.path.address);
    return true;
}

/// A target that takes connections and says nothing, or not even that, would be remembered and asked for ever.
void TransferReply::onSilence()
{
    if (!isFinished())
        leadsBack(TimeoutError);
}

void TransferReply::endAnswer()
{
    if (std::exchange(m_isAnswering, false))
        m_way.guard->endAnswer();
}

void TransferReply::takeFields(const TransferPipe::Head &head)
{
    for (const RawHeaderPair &field : head.fields) {
        const QByteArray name = FieldNames::usual(field.first);
        setRawHeader(name, FieldNames::usualValue(name, field.second));
    }
}

void TransferReply::takeRedirect(int status)
{
    const QByteArray location = rawHeader("Location");
    if (!isRedirect(status) || location.isEmpty())
        return;
    const QUrl target = QUrl::fromEncoded(location);
    const QUrl shownTarget = UrlCredentials::split(target).url;
    if (!target.userInfo().isEmpty()) {
        setRawHeader("Location", shownTarget.toEncoded());
        Q_EMIT redirectedWithLogin(target);
    }
    setAttribute(QNetworkRequest::RedirectionTargetAttribute, shownTarget);
}

void TransferReply::keepCookies(const QList<QByteArray> &lines)
{
    const bool isManual =
        request().attribute(QNetworkRequest::CookieSaveControlAttribute).toInt() == QNetworkRequest::Manual;
    if (isManual || !m_manager)
        return;
    for (const QByteArray &line : lines)
        m_manager->cookieJar()->setCookiesFromUrl(QNetworkCookie::parseCookies(line), url());
}
