// SPDX-License-Identifier: MIT
#include <host/engine/downloadsession.h>

#include <host/network/credentialstore.h>
#include <host/network/networkaccesschief.h>
#include <host/parsing/urlcredentials.h>
#include <host/policy/harmlessheaders.h>
#include <host/policy/origin.h>

#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace
{

using Record = AbstractDownloadPersistentInfo;

const QString kHeaders = u"headers"_s;

QString originOf(const QUrl &url)
{
    return Origin::of(url).toString();
}

QList<SecretHeader> secretOnes(QVariantMap *headers, const QString &origin)
{
    const QVariantMap others = HarmlessHeaders::takeOthersFrom(headers);
    QList<SecretHeader> secret;
    for (auto it = others.cbegin(); it != others.cend(); ++it)
        secret.append({it.key(), it->toString().isNull() ? u""_s : it->toString(), origin});
    return secret;
}

/// Those that are there already, in whatever spelling, are replaced.
void putHarmless(const QVariantMap &headers, QVariantMap &into)
{
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        into.removeIf([&it](const std::pair<const QString &, QVariant &> &other) {
            return other.first.compare(it.key(), Qt::CaseInsensitive) == 0;
        });
        const bool isReferer = it.key().compare("referer"_L1, Qt::CaseInsensitive) == 0;
        into.insert(it.key(),
                    isReferer ? QString::fromUtf8(UrlCredentials::withoutLogin(it->toString().toUtf8())) : *it);
    }
}

/// The secret ones. @param harmless gets the others
QList<SecretHeader> sorted(const QUrl &url, const QVariantMap &own, const QVariantMap &forAll, QVariantMap *harmless)
{
    QVariantMap ownOnes = own;
    QVariantMap ones = forAll;
    const QList<SecretHeader> secret =
        secretOnes(&ones, SecretHeader::kEverywhere) + secretOnes(&ownOnes, originOf(url));
    putHarmless(ones, *harmless);
    putHarmless(ownOnes, *harmless);
    return secret;
}

}

/// What is left in the request's headers is harmless, and goes everywhere.
QList<SecretHeader> DownloadSession::takeHeaders(const QUrl &url, const QVariantMap &own, const QVariantMap &forAll,
                                                 QVariantMap *harmless)
{
    const QList<SecretHeader> secret = sorted(url, own, forAll, harmless);
    remember(secret);
    return secret;
}

void DownloadSession::remember(const QList<SecretHeader> &headers)
{
    for (const SecretHeader &header : headers)
        m_chief->credentials().add(header);
}

void DownloadSession::takeHeaders(AbstractDownloadPersistentInfo &record, OptionChanges &changes)
{
    QVariantMap harmless;
    changes.secretHeaders = takeHeaders(record.url, changes.headers, changes.headersForAll, &harmless);
    addHarmless(harmless, record);
}

void DownloadSession::addHarmless(const QVariantMap &headers, AbstractDownloadPersistentInfo &record)
{
    if (headers.isEmpty())
        return;
    QVariantMap all = record.parameters.value(kHeaders).toMap();
    putHarmless(headers, all);
    record.parameters.insert(kHeaders, all);
}

bool DownloadSession::renew(qint64 id, const OptionChanges &given, Failure *failure)
{
    OptionChanges changes = given;
    std::optional<Record> record = m_list.load(id);
    if (!record) {
        *failure = listFailure();
        return !*failure;
    }
    const QVariantMap before = record->parameters;
    QVariantMap harmless;
    changes.secretHeaders = sorted(record->url, changes.headers, changes.headersForAll, &harmless);
    addHarmless(harmless, *record);
    const auto putAll = [&](Lease &fresh) {
        fresh.record.parameters = record->parameters;
        changes.applyTo(fresh.options);
        return Failure();
    };
    const bool isOfRecord = record->parameters != before;
    const bool isDone = isOfRecord ? change(id, putAll, failure) : renewOptions(id, changes, failure);
    if (isDone)
        remember(changes.secretHeaders);
    return isDone;
}

/// What is as it was is not written again.
bool DownloadSession::renewOptions(qint64 id, const OptionChanges &changes, Failure *failure)
{
    const DownloadOptions known = options(id);
    *failure = lease(id) ? Failure() : listFailure();
    if (*failure)
        return false;
    DownloadOptions changed = known;
    changes.applyTo(changed);
    return changed == known || setOptions(id, changed, failure);
}

QList<SecretHeader> DownloadSession::missingHeaders(qint64 id)
{
    const QList<SecretHeader> begunWith = options(id).headers;
    const std::optional<Record> record = begunWith.isEmpty() ? std::nullopt : m_list.load(id);
    if (!record)
        return {};
    QList<SecretHeader> missing;
    for (const SecretHeader &header : begunWith) {
        const bool isForIt = header.isEverywhere() || header.origin.isEmpty() || header.origin == originOf(record->url);
        if (isForIt && header.value.isNull() && !m_chief->credentials().hasHeaderFor(record->url, header.name))
            missing.append(header);
    }
    return missing;
}

/// Another server has no claim to what was given for the one before.
void DownloadSession::forgetSecretsOf(const QUrl &before, const QUrl &after, DownloadOptions &options)
{
    if (Origin::of(before) == Origin::of(after))
        return;
    options.headers.removeIf([](const SecretHeader &header) { return !header.isEverywhere(); });
    options.user.clear();
    options.password.clear();
}
