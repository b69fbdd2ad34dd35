// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <memory>

struct ssl_ctx_st;

/// Whether the other side of a TLS connection has said that nothing more comes. Without that, an end that only closing
/// tells may be anybody's who cut the connection on its way; libcurl does not tell the one from the other.
///
/// What is known belongs to the connection, which may serve several transfers. The network thread's.
namespace TlsGoodbye
{

/// Connections of this context are watched from their beginning.
void watch(ssl_ctx_st *context);

/// Of the connection that the handle's transfer uses at the moment; true once it was said. Null = none is watched.
std::shared_ptr<const bool> of(CURL *handle);

}
