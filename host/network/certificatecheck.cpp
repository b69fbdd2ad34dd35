// SPDX-License-Identifier: MIT
#include <host/network/certificatecheck.h>

#include <host/network/tlsgoodbye.h>

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>
#include <utility>

namespace
{

constexpr long kHundred = 100;
constexpr long kSuccess = 2;

struct CertificateDelete {
    void operator()(X509 *certificate) const { X509_free(certificate); }
};

QByteArray derOf(X509 *certificate)
{
    const int size = certificate ? i2d_X509(certificate, nullptr) : 0;
    if (size <= 0)
        return {};
    QByteArray der(size, '\0');
    auto *end = reinterpret_cast<unsigned char *>(der.data());
    i2d_X509(certificate, &end);
    return der;
}

std::unique_ptr<X509, CertificateDelete> certificateFrom(const QByteArray &der)
{
    const auto *begin = reinterpret_cast<const unsigned char *>(der.constData());
    return std::unique_ptr<X509, CertificateDelete>(d2i_X509(nullptr, &begin, der.size()));
}

/// Where a chain keeps whose check it is.
int selfIndex()
{
    static const int index = X509_STORE_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

}

CertificateCheck::CertificateCheck(const QByteArray &host, const QList<QByteArray> &authorities,
                                   const QByteArray &pinned, bool hasProxy)
    : m_host(host)
    , m_authorities(authorities)
    , m_pinned(pinned)
    , m_hasProxy(hasProxy)
{
}

void CertificateCheck::install(CURL *handle)
{
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &CertificateCheck::onContext);
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, this);
    curl_easy_setopt(handle, CURLOPT_SSLVERSION, long(CURL_SSLVERSION_TLSv1_2)); // or a later one
    curl_easy_setopt(handle, CURLOPT_PROXY_SSLVERSION, long(CURL_SSLVERSION_TLSv1_2));
}

CURLcode CertificateCheck::onContext(CURL *handle, void *context, void *self)
{
    static_cast<CertificateCheck *>(self)->begin(handle);
    auto *const ssl = static_cast<SSL_CTX *>(context);
    SSL_CTX_set_cert_verify_callback(ssl, &CertificateCheck::onChain, self);
    TlsGoodbye::watch(ssl);
    // The connection may outlive this object: nobody asks it again.
    SSL_CTX_set_options(ssl, SSL_OP_NO_RENEGOTIATION);
    static_cast<CertificateCheck *>(self)->addAuthorities(context);
    return CURLE_OK;
}

int CertificateCheck::onChain(X509_STORE_CTX *chain, void *self)
{
    auto *const check = static_cast<CertificateCheck *>(self);
    check->m_problems.clear();
    check->m_certificate = derOf(X509_STORE_CTX_get0_cert(chain));
    const bool isAnyGood = check->m_isProxys || check->m_pinned.isEmpty();
    return (isAnyGood ? check->verifies(chain) : check->isPinned(chain)) ? 1 : 0;
}

/// On one connection hands may be shaken twice, and the proxy's turn is over once it has let us through. What it has
/// said on the connection before is still known on the next one.
void CertificateCheck::begin(CURL *handle)
{
    long answer = 0;
    curl_easy_getinfo(handle, CURLINFO_HTTP_CONNECTCODE, &answer);
    long connections = 0;
    curl_easy_getinfo(handle, CURLINFO_NUM_CONNECTS, &connections);
    const bool isFirst = std::exchange(m_connections, connections) != connections;
    m_isProxys = m_hasProxy && (isFirst || answer / kHundred != kSuccess);
    m_problems.clear();
    m_certificate.clear();
}

/// Goes on whatever is wrong, to find out all of it.
int CertificateCheck::onStep(int isFine, X509_STORE_CTX *chain)
{
    auto *const check = static_cast<CertificateCheck *>(X509_STORE_CTX_get_ex_data(chain, selfIndex()));
    if (isFine == 0)
        check->m_problems.append({X509_STORE_CTX_get_error(chain), derOf(X509_STORE_CTX_get_current_cert(chain))});
    return 1;
}

/// The system's are in one store that all connections share; what is there already is not added twice.
void CertificateCheck::addAuthorities(void *context) const
{
    X509_STORE *const store = SSL_CTX_get_cert_store(static_cast<SSL_CTX *>(context));
    for (const QByteArray &der : m_authorities) {
        if (const auto certificate = certificateFrom(der))
            X509_STORE_add_cert(store, certificate.get());
    }
}

bool CertificateCheck::isPinned(X509_STORE_CTX *chain)
{
    const bool isTheOne = m_certificate == m_pinned;
    X509_STORE_CTX_set_error(chain, isTheOne ? X509_V_OK : X509_V_ERR_CERT_REJECTED);
    if (!isTheOne)
        m_problems.append({X509_V_ERR_CERT_REJECTED, m_certificate});
    return isTheOne;
}

bool CertificateCheck::verifies(X509_STORE_CTX *chain)
{
    X509_STORE_CTX_set_ex_data(chain, selfIndex(), this);
    X509_STORE_CTX_set_verify_cb(chain, &CertificateCheck::onStep);
    const bool isVerified = X509_verify_cert(chain) == 1 && m_problems.isEmpty();
    if (!m_problems.isEmpty()) {
        X509_STORE_CTX_set_error(chain, m_problems.constFirst().code);
        if (!m_isProxys)
            checkHost(chain);
    }
    return isVerified;
}

void CertificateCheck::checkHost(X509_STORE_CTX *chain)
{
    X509 *const certificate = X509_STORE_CTX_get0_cert(chain);
    const bool isItsName = X509_check_host(certificate, m_host.constData(), size_t(m_host.size()), 0, nullptr) == 1
        || X509_check_ip_asc(certificate, m_host.constData(), 0) == 1;
    if (!isItsName)
        m_problems.append({X509_V_ERR_HOSTNAME_MISMATCH, m_certificate});
}
