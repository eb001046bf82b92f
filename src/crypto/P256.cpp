#include "crypto/P256.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/param_build.h>
#include <openssl/params.h>

#include "crypto/OpenSSL.h"
#include "crypto/Random.h"

namespace {

using Number = OpenSSLPointer<BIGNUM, BN_clear_free>;
using NumberContext = OpenSSLPointer<BN_CTX, BN_CTX_free>;
using Group = OpenSSLPointer<EC_GROUP, EC_GROUP_free>;
using Point = OpenSSLPointer<EC_POINT, EC_POINT_clear_free>;
using Key = OpenSSLPointer<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = OpenSSLPointer<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Parameters = OpenSSLPointer<OSSL_PARAM, OSSL_PARAM_free>;
using ParameterBuilder = OpenSSLPointer<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using DigestContext = OpenSSLPointer<EVP_MD_CTX, EVP_MD_CTX_free>;
using SignaturePair = OpenSSLPointer<ECDSA_SIG, ECDSA_SIG_free>;

constexpr std::uint8_t uncompressed = 4;
constexpr int coordinateSize = 32;
/// SEQUENCE of two INTEGERs, each of 33 bytes at most (RFC 3279 section 2.2.3).
constexpr std::size_t longestDER = 72;

const unsigned char* bytesOf(std::string_view text) {
    // An empty view may point nowhere.
    return reinterpret_cast<const unsigned char*>(text.empty() ? "" : text.data());
}

const EC_GROUP* curve() {
    static const Group group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
    requireOpenSSL(group != nullptr, "OpenSSL has no P-256");
    return group.get();
}

Number numberOf(std::span<const std::uint8_t> bytes) {
    Number number(BN_secure_new());
    requireOpenSSL(number && BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), number.get()),
                   "OpenSSL gave no number");
    return number;
}

// The scalar may be null: then it is a public key.
Key keyOf(const P256PublicKey& publicKey, const BIGNUM* scalar) {
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    requireOpenSSL(
        builder &&
            OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "P-256",
                                            0) == 1 &&
            OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY,
                                             publicKey.bytes().data(), P256PublicKey::size) == 1 &&
            (!scalar ||
             OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, scalar) == 1),
        "OpenSSL gave no parameters");
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* key = nullptr;
    requireOpenSSL(parameters && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
                       EVP_PKEY_fromdata(context.get(), &key,
                                         scalar ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY,
                                         parameters.get()) == 1,
                   "OpenSSL refused a P-256 key");
    return Key(key);
}

} // namespace

P256PublicKey::P256PublicKey(std::span<const std::uint8_t, size> bytes) : m_bytes() {
    std::ranges::copy(bytes, m_bytes.begin());
}

std::optional<P256PublicKey> P256PublicKey::from(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != size || bytes.front() != uncompressed)
        return std::nullopt;
    const OpenSSLErrors errors;
    const Point point(EC_POINT_new(curve()));
    requireOpenSSL(point != nullptr, "OpenSSL gave no point");
    // It checks both coordinates against the field, and the point against the curve's equation.
    if (EC_POINT_oct2point(curve(), point.get(), bytes.data(), bytes.size(), nullptr) != 1)
        return std::nullopt;
    return P256PublicKey(bytes.first<size>());
}

bool P256PublicKey::verify(std::string_view message, const ES256Signature& signature) const {
    const OpenSSLErrors errors;
    const auto bytes = std::span(signature);
    Number r = numberOf(bytes.first(coordinateSize));
    Number s = numberOf(bytes.last(coordinateSize));
    const SignaturePair pair(ECDSA_SIG_new());
    requireOpenSSL(pair && ECDSA_SIG_set0(pair.get(), r.get(), s.get()) == 1,
                   "OpenSSL gave no signature");
    // They are the pair's from here on.
    static_cast<void>(r.release());
    static_cast<void>(s.release());
    std::array<std::uint8_t, longestDER> der{};
    unsigned char* end = der.data();
    const int length = i2d_ECDSA_SIG(pair.get(), &end);
    const Key key = keyOf(*this, nullptr);
    const DigestContext context(EVP_MD_CTX_new());
    requireOpenSSL(length > 0 && context &&
                       EVP_DigestVerifyInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr,
                                               key.get(), nullptr) == 1,
                   "OpenSSL refused to set up ES256");
    return EVP_DigestVerify(context.get(), der.data(), static_cast<std::size_t>(length),
                            bytesOf(message), message.size()) == 1;
}

P256PrivateKey P256PrivateKey::generate() {
    // By rejection (FIPS 186-5 A.2.2): one in four thousand million does not fit.
    SecretBytes<size> scalar;
    for (;;) {
        securerandom::fill(scalar.writable());
        if (auto key = from(scalar.bytes()))
            return std::move(*key);
    }
}

std::optional<P256PrivateKey> P256PrivateKey::from(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != size)
        return std::nullopt;
    const OpenSSLErrors errors;
    const Number scalar = numberOf(bytes);
    if (BN_is_zero(scalar.get()) || BN_cmp(scalar.get(), EC_GROUP_get0_order(curve())) >= 0)
        return std::nullopt;
    const NumberContext numbers(BN_CTX_secure_new());
    const Point point(EC_POINT_new(curve()));
    std::array<std::uint8_t, P256PublicKey::size> encoded{};
    // Multiples of the generator alone take the same time for every scalar.
    requireOpenSSL(numbers && point &&
                       EC_POINT_mul(curve(), point.get(), scalar.get(), nullptr, nullptr,
                                    numbers.get()) == 1 &&
                       EC_POINT_point2oct(curve(), point.get(), POINT_CONVERSION_UNCOMPRESSED,
                                          encoded.data(), encoded.size(),
                                          numbers.get()) == encoded.size(),
                   "OpenSSL gave no P-256 public key");
    return P256PrivateKey(bytes.first<size>(), P256PublicKey(encoded));
}

SecretBytes<P256PrivateKey::size> P256PrivateKey::sharedSecret(const P256PublicKey& other) const {
    const OpenSSLErrors errors;
    const Key own = keyOf(m_publicKey, numberOf(bytes()).get());
    const Key peer = keyOf(other, nullptr);
    const KeyContext context(EVP_PKEY_CTX_new(own.get(), nullptr));
    SecretBytes<size> secret;
    std::size_t length = size;
    requireOpenSSL(context && EVP_PKEY_derive_init(context.get()) == 1 &&
                       EVP_PKEY_derive_set_peer(context.get(), peer.get()) == 1 &&
                       EVP_PKEY_derive(context.get(), secret.writable().data(), &length) == 1 &&
                       length == size,
                   "OpenSSL gave no P-256 secret");
    return secret;
}

ES256Signature P256PrivateKey::sign(std::string_view message) const {
    const OpenSSLErrors errors;
    const Key key = keyOf(m_publicKey, numberOf(bytes()).get());
    const DigestContext context(EVP_MD_CTX_new());
    std::array<std::uint8_t, longestDER> der{};
    std::size_t length = der.size();
    requireOpenSSL(context &&
                       EVP_DigestSignInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr,
                                             key.get(), nullptr) == 1 &&
                       EVP_DigestSign(context.get(), der.data(), &length, bytesOf(message),
                                      message.size()) == 1,
                   "OpenSSL could not sign");
    const unsigned char* begin = der.data();
    const SignaturePair pair(d2i_ECDSA_SIG(nullptr, &begin, static_cast<long>(length)));
    ES256Signature signature{};
    requireOpenSSL(pair &&
                       BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), signature.data(),
                                    coordinateSize) == coordinateSize &&
                       BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), signature.data() + coordinateSize,
                                    coordinateSize) == coordinateSize,
                   "OpenSSL gave no signature");
    return signature;
}
