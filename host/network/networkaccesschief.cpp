// SPDX-License-Identifier: MIT
#include <host/network/networkaccesschief.h>

#include <host/network/guardednetworkaccessmanager.h>
#include <host/network/sharedcookiejar.h>
#include <inet/qt/download/framework/abstractnetworkconsumersstats.h>
#include <inet/qt/download/framework/deferredpointer.h>
#include <inet/qt/download/records/connectionsmap.h>

#include <QFile>
#include <QSslConfiguration>
#include <QTimer>
#include <QUrl>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// A connection serves again only where all three are the same.
QString serverKey(const QUrl &url)
{
    const QtHostAndPort server = hostAndPortFromUrl(url);
    return url.scheme() + "://"_L1 + server.host + u':' + QString::number(server.port);
}

/// What is left to do for a manager that nobody holds any more.
void deleteWithoutReplies(GuardedNetworkAccessManager *manager)
{
    if (manager->hasLivingReplies())
        QObject::connect(manager, &GuardedNetworkAccessManager::lastReplyGone, manager, &QObject::deleteLater);
    else
        manager->deleteLater();
}

bool isTransferring(const QNetworkAccessManager *manager)
{
    return static_cast<const GuardedNetworkAccessManager *>(manager)->isTransferring();
}

}

/// A manager that waits for its next transfer.
struct NetworkAccessChief::IdleManager {
    QString server;
    QSharedPointer<QNetworkAccessManager> manager;
    DeferredPointer<QTimer> life;
};

NetworkAccessChief::NetworkAccessChief(QObject *parent)
    : AbstractNetworkAccessChief(parent)
    , m_jar(QSharedPointer<SharedCookieJar>::create())
    , m_stats(std::make_unique<AbstractNetworkConsumersStats>())
{
}

NetworkAccessChief::~NetworkAccessChief() = default;

QSharedPointer<QNetworkAccessManager> NetworkAccessChief::takeManager(const QUrl &url)
{
    const QString server = serverKey(url);
    const auto found = std::find_if(m_idle.rbegin(), m_idle.rend(), [&server](const IdleManager &idle) {
        return idle.server == server && !isTransferring(idle.manager.get());
    });
    if (found == m_idle.rend())
        return newManager();
    const QSharedPointer<QNetworkAccessManager> manager = found->manager;
    m_idle.erase(std::next(found).base());
    return manager;
}

void NetworkAccessChief::returnManager(const QSharedPointer<QNetworkAccessManager> &manager, const QUrl &url)
{
    if (!manager)
        return;
    DeferredPointer<QTimer> life(new QTimer(this));
    life->setSingleShot(true);
    life->setInterval(kIdleLifeMs);
    connect(life.get(), &QTimer::timeout, this, [this, gone = manager.get()] { letGoOf(gone); });
    life->start();
    m_idle.push_back({serverKey(url), manager, std::move(life)});
    if (m_idle.size() > kMaximumIdle)
        m_idle.erase(m_idle.begin());
}

AbstractNetworkConsumersStats *NetworkAccessChief::consumersStats() const
{
    return m_stats.get();
}

int NetworkAccessChief::idleManagersCount() const
{
    return int(m_idle.size());
}

bool NetworkAccessChief::addCaCertificates(const QString &path, QString *errorText)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *errorText = u"cannot read the certificates in \"%1\": %2."_s.arg(path, file.errorString());
        return false;
    }
    const QList<QSslCertificate> certificates = QSslCertificate::fromDevice(&file, QSsl::Pem);
    if (certificates.isEmpty()) {
        *errorText = u"cannot read the certificates in \"%1\": there are none in PEM form in it."_s.arg(path);
        return false;
    }
    if (m_caCertificates.isEmpty())
        m_caCertificates = QSslConfiguration::systemCaCertificates();
    m_caCertificates += certificates;
    return true;
}

QSharedPointer<QNetworkAccessManager> NetworkAccessChief::newManager()
{
    auto *const manager = new GuardedNetworkAccessManager(m_jar);
    manager->setCaCertificates(m_caCertificates);
    return QSharedPointer<QNetworkAccessManager>(manager, [](QNetworkAccessManager *released) {
        deleteWithoutReplies(static_cast<GuardedNetworkAccessManager *>(released));
    });
}

void NetworkAccessChief::letGoOf(const QNetworkAccessManager *manager)
{
    std::erase_if(m_idle, [manager](const IdleManager &idle) { return idle.manager.get() == manager; });
}
