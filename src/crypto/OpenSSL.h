#pragma once

#include <memory>
#include <stdexcept>

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
