#pragma once

#include <memory>
#include <stdexcept>

#include <openssl/err.h>

/// What OpenSSL hands out, given back when it is not needed any more:
/// `OpenSSLPointer<EVP_MD_CTX, EVP_MD_CTX_free>`.
template <typename Type, void (*release)(Type*)>
struct OpenSSLRelease {
    void operator()(Type* pointer) const { release(pointer); }
};

template <typename Type, void (*release)(Type*)>
using OpenSSLPointer = std::unique_ptr<Type, OpenSSLRelease<Type, release>>;

/// What OpenSSL's calls say about themselves: 1 when they worked.
/// @throws std::runtime_error with `what` otherwise
inline void requireOpenSSL(bool worked, const char* what) {
    if (!worked)
        throw std::runtime_error(what);
}

/// Takes what fails while it lives back out of the thread's queue of errors. A TLS connection of
/// the same thread would take it for a failure of its own (SSL_get_error(3)).
class OpenSSLErrors {
  public:
    OpenSSLErrors() { ERR_set_mark(); }
    ~OpenSSLErrors() { ERR_pop_to_mark(); }
    OpenSSLErrors(const OpenSSLErrors&) = delete;
    OpenSSLErrors& operator=(const OpenSSLErrors&) = delete;
};
