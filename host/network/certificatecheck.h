// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/certificateproblem.h>

#include <QByteArray>
#include <QList>

#include <curl/curl.h>

struct x509_store_ctx_st;

/// Whether the other side of a TLS connection is whom it should be, and if not, why.
///
/// libcurl tells neither the certificates that it refused nor all that is wrong with them; so the chain is judged here,
/// by OpenSSL, while the connection is made. The name of the host is libcurl's to compare; here it only adds to what is
/// wrong otherwise, so that nobody accepts more than he was told. How the connection ends is watched from here on
/// (TlsGoodbye).
///
/// Used by one transfer, in the network thread, and outlives its handle.
class CertificateCheck
{
    Q_DISABLE_COPY_MOVE(CertificateCheck)

public:
    /// @param authorities DER of certificates to rest on, besides the system's
    /// @param pinned DER of the only certificate of the server that will do, whatever is wrong with it; empty = any
    /// without a problem
    /// @param host whose certificate it should be, as it stands in the URL
    /// @param hasProxy there is TLS between here and a proxy, which nobody is asked to trust
    CertificateCheck(const QByteArray &host, const QList<QByteArray> &authorities, const QByteArray &pinned,
                     bool hasProxy);

    /// For the connections that the handle makes.
    void install(CURL *handle);

    /// All that is wrong; empty, too, where only the host's name does not fit.
    const QList<CertificateProblem> &problems() const { return m_problems; }
    /// The server's or the proxy's own, DER; empty = it has shown none.
    const QByteArray &certificate() const { return m_certificate; }
    /// It was the proxy with which hands were shaken last.
    bool isProxys() const { return m_isProxys; }

private:
    static CURLcode onContext(CURL *handle, void *context, void *self);
    static int onChain(x509_store_ctx_st *chain, void *self);
    static int onStep(int isFine, x509_store_ctx_st *chain);

    void addAuthorities(void *context) const;
    void begin(CURL *handle);
    bool isPinned(x509_store_ctx_st *chain);
    bool verifies(x509_store_ctx_st *chain);
    void checkHost(x509_store_ctx_st *chain);

    const QByteArray m_host;
    const QList<QByteArray> m_authorities;
    const QByteArray m_pinned;
    const bool m_hasProxy; ///< that speaks TLS itself
    bool m_isProxys = false;
    long m_connections = 0; ///< that the handle had made by then
    QList<CertificateProblem> m_problems;
    QByteArray m_certificate;
};
