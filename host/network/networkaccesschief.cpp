// SPDX-License-Identifier: MIT
#include <host/network/networkaccesschief.h>

#include <host/network/credentialstore.h>
#include <host/network/sharedcookiejar.h>
#include <host/network/transferhub.h>
#include <host/network/transfermanager.h>
#include <host/parsing/netscapecookies.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QSslCertificate>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// Larger files are none that people write, nor browsers.
constexpr qint64 kMaximumFileSize = 64 * 1024 * 1024;

Failure unusable(Failure::Kind kind, const QString &fileName, const Clause &reason = {})
{
    Failure::Subject subject;
    subject.path = fileName;
    return Failure::make(kind, subject, reason);
}

/// Nothing, with a reason, when it cannot be read.
std::optional<QByteArray> contentOf(const QString &fileName, Clause *reason)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *reason = file.errorString();
        return std::nullopt;
    }
    if (file.size() > kMaximumFileSize) {
        *reason = Clause::Kind::FarTooLarge;
        return std::nullopt;
    }
    return file.readAll();
}

QString defaultNetrcFile(const QProcessEnvironment &environment)
{
    const QString home = environment.value(u"HOME"_s);
    return environment.value(u"NETRC"_s, QDir::isAbsolutePath(home) ? home + "/.netrc"_L1 : QString());
}

}

NetworkAccessChief::NetworkAccessChief(QObject *parent)
    : AbstractNetworkAccessChief(parent)
    , m_hub(std::make_shared<TransferHub>(QSharedPointer<SharedCookieJar>::create()))
    , m_stats(std::make_unique<AbstractNetworkConsumersStats>())
    , m_manager(new TransferManager(m_hub), &QObject::deleteLater)
{
    // What lies in memory is neither on disk nor free for what comes next.
    setProperty(kEarlyHandOutSize, qint64(1));
}

NetworkAccessChief::~NetworkAccessChief() = default;

QSharedPointer<QNetworkAccessManager> NetworkAccessChief::takeManager(const QUrl &)
{
    return m_manager;
}

void NetworkAccessChief::returnManager(const QSharedPointer<QNetworkAccessManager> &, const QUrl &) {}

QSharedPointer<TransferManager> NetworkAccessChief::makeManager(const std::shared_ptr<ResourceGuard> &guard) const
{
    return {new TransferManager(m_hub, guard), &QObject::deleteLater};
}

void NetworkAccessChief::endTransfers()
{
    m_hub->endTransfers();
}

AbstractNetworkConsumersStats *NetworkAccessChief::consumersStats() const
{
    return m_stats.get();
}

void NetworkAccessChief::setUsageSettings(const NetworkUsageSettings &settings)
{
    if (settings == m_usageSettings)
        return;
    m_usageSettings = settings;
    announceLimits();
}

/// By the news that every connection's end makes, of servers whose numbers are what they were.
void NetworkAccessChief::announceLimits()
{
    if (std::exchange(m_areLimitsToBeAnnounced, true))
        return;
    const auto announce = [this] {
        m_areLimitsToBeAnnounced = false;
        QtConnectionsMap delta = m_stats->connectionsMap();
        for (QtConnectionsMapEntry &entry : delta)
            entry.count = 0;
        if (!delta.isEmpty())
            Q_EMIT m_stats->connectionsMapChangedDelta(delta);
    };
    QMetaObject::invokeMethod(this, announce, Qt::QueuedConnection);
}

bool NetworkAccessChief::addCaCertificates(const QString &path, Failure *failure)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *failure = unusable(Failure::Kind::CertificatesUnusable, path, file.errorString());
        return false;
    }
    const QList<QSslCertificate> certificates = QSslCertificate::fromDevice(&file, QSsl::Pem);
    if (certificates.isEmpty()) {
        *failure = unusable(Failure::Kind::CertificatesUnusable, path, Clause::Kind::NoCertificates);
        return false;
    }
    for (const QSslCertificate &certificate : certificates)
        m_authorities.append(certificate.toDer());
    m_hub->setAuthorities(m_authorities);
    return true;
}

bool NetworkAccessChief::apply(const NetworkOptions &options, Failure *failure)
{
    m_warnings.clear();
    for (const Credential &credential : options.credentials)
        m_hub->credentials().add(credential);
    if (!applyProxies(options, failure))
        return false;
    if (*failure = options.path.problem(); failure->kind != Failure::Kind::None)
        return false;
    m_hub->setPath(options.path);
    if (!options.cookiesFile.isEmpty() && !loadCookies(options.cookiesFile, failure))
        return false;
    if (!options.netrc)
        return true;
    if (!options.netrcFile.isEmpty())
        return loadNetrc(options.netrcFile, true, failure);
    return loadNetrc(defaultNetrcFile(QProcessEnvironment::systemEnvironment()), false, failure);
}

QUrl NetworkAccessChief::takeSecrets(const QUrl &url, QVariantMap *headers)
{
    return m_hub->credentials().takeSecrets(url, headers);
}

CredentialStore &NetworkAccessChief::credentials() const
{
    return m_hub->credentials();
}

QString NetworkAccessChief::userFor(const QUrl &url) const
{
    return m_hub->credentials().loginFor(url).user;
}

QUrl NetworkAccessChief::proxyFor(const QUrl &url) const
{
    return m_hub->proxyFor(url);
}

bool NetworkAccessChief::applyProxies(const NetworkOptions &options, Failure *failure)
{
    ProxyChoice::Settings settings;
    const bool isGiven = !options.proxy.isEmpty() || !options.proxy.errorString().isEmpty();
    if (options.useEnvironmentProxies) {
        ProxyChoice::Settings environment;
        const bool usable =
            ProxyChoice::fromEnvironment(QProcessEnvironment::systemEnvironment(), &environment, failure);
        // Variables that are not asked need not be right.
        if (!usable && !isGiven)
            return false;
        settings = environment;
    }
    if (isGiven) {
        Clause reason;
        const QString text = options.proxy.toString(QUrl::FullyEncoded);
        settings.everywhere = ProxyChoice::checkedProxy(text, &reason);
        if (settings.everywhere.isEmpty()) {
            *failure = ProxyChoice::unusable(text, reason);
            return false;
        }
    }
    m_hub->setProxySettings(settings);
    return true;
}

bool NetworkAccessChief::loadNetrc(const QString &fileName, bool mustExist, Failure *failure)
{
    if (!mustExist && !QFileInfo::exists(fileName))
        return true;
    Clause reason;
    const std::optional<QByteArray> text = contentOf(fileName, &reason);
    const std::optional<QList<Netrc::Entry>> entries = text ? Netrc::parse(*text, &reason) : std::nullopt;
    if (!entries) {
        *failure = unusable(Failure::Kind::LoginsUnusable, fileName, reason);
        return false;
    }
    m_hub->credentials().setNetrc(*entries);
    if (Netrc::isExposed(QFile::permissions(fileName), *entries))
        m_warnings.append(unusable(Failure::Kind::LoginsExposed, fileName));
    return true;
}

bool NetworkAccessChief::loadCookies(const QString &fileName, Failure *failure)
{
    Clause reason;
    const std::optional<QByteArray> text = contentOf(fileName, &reason);
    const std::optional<QList<QNetworkCookie>> cookies =
        text ? NetscapeCookies::parse(*text, QDateTime::currentDateTimeUtc(), &reason) : std::nullopt;
    if (!cookies) {
        *failure = unusable(Failure::Kind::CookiesUnusable, fileName, reason);
        return false;
    }
    for (const QNetworkCookie &cookie : *cookies)
        m_hub->jar().insertCookie(cookie);
    return true;
}
