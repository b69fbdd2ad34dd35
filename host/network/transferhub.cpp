// SPDX-License-Identifier: MIT
#include <host/network/transferhub.h>

#include <host/network/credentialstore.h>
#include <host/network/requestgate.h>
#include <host/network/sharedcookiejar.h>
#include <host/network/transferloop.h>
#include <host/policy/schemes.h>

using namespace Qt::StringLiterals;

TransferHub::TransferHub(const QSharedPointer<SharedCookieJar> &jar)
    : m_jar(jar)
    , m_credentials(std::make_unique<CredentialStore>())
    , m_means(std::make_shared<TransferMeans>())
    , m_gate(std::make_shared<RequestGate>())
{
}

TransferHub::~TransferHub() = default;

const std::shared_ptr<TransferLoop> &TransferHub::loopFor(const QUrl &url)
{
    std::shared_ptr<TransferLoop> &loop = Schemes::isFtp(url) ? m_ftpLoop : m_loop;
    if (!loop)
        loop = std::make_shared<TransferLoop>(m_means);
    if (m_isOver)
        loop->end();
    return loop;
}

void TransferHub::endTransfers()
{
    m_isOver = true;
    for (const std::shared_ptr<TransferLoop> &loop : {m_loop, m_ftpLoop}) {
        if (loop)
            loop->end();
    }
}
