// SPDX-License-Identifier: MIT
#include <host/network/tlsgoodbye.h>

#include <openssl/ssl.h>

namespace
{

using Said = std::shared_ptr<bool>;

constexpr int kAlertMask = 0xff;

void forget(void *, void *said, CRYPTO_EX_DATA *, int, long, void *)
{
    delete static_cast<Said *>(said);
}

/// Where a connection keeps what is known of it.
int index()
{
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, &forget);
    return index;
}

void onState(const SSL *connection, int where, int alert)
{
    auto *const ssl = const_cast<SSL *>(connection);
    if ((where & SSL_CB_HANDSHAKE_START) != 0 && !SSL_get_ex_data(ssl, index()))
        SSL_set_ex_data(ssl, index(), new Said(std::make_shared<bool>(false)));
    const bool isGoodbye = where == SSL_CB_READ_ALERT && (alert & kAlertMask) == SSL_AD_CLOSE_NOTIFY;
    if (const auto *const said = static_cast<const Said *>(SSL_get_ex_data(ssl, index())); isGoodbye && said)
        **said = true;
}

}

void TlsGoodbye::watch(SSL_CTX *context)
{
    SSL_CTX_set_info_callback(context, &onState);
}

std::shared_ptr<const bool> TlsGoodbye::of(CURL *handle)
{
    curl_tlssessioninfo *session = nullptr;
    curl_easy_getinfo(handle, CURLINFO_TLS_SSL_PTR, &session);
    if (!session || session->backend != CURLSSLBACKEND_OPENSSL || !session->internals)
        return nullptr;
    const auto *const said =
        static_cast<const Said *>(SSL_get_ex_data(static_cast<SSL *>(session->internals), index()));
    return said ? *said : nullptr;
}
