#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace bench {

/// AES-256-GCM with nothing around OpenSSL's calls: the algorithm is fetched once, the output has
/// its memory already, and only the tag is checked.
class RawCipher {
  public:
    enum class Context {
        fresh, ///< set up and freed for each message, as for keys that change with each
        reused ///< one for all messages, with the key expanded once; each sets its nonce alone
    };

    /// @param key 32 bytes
    RawCipher(Context context, std::span<const std::uint8_t> key);
    RawCipher(const RawCipher&) = delete;
    RawCipher& operator=(const RawCipher&) = delete;
    ~RawCipher();

    /// Ciphertext and tag. It lives until the next call.
    [[nodiscard]] std::span<const std::uint8_t> seal(std::span<const std::uint8_t> nonce,
                                                     std::string_view associatedData,
                                                     std::string_view plaintext);
    /// The plaintext, if the tag fits; else nothing. It lives until the next call.
    [[nodiscard]] std::string_view open(std::span<const std::uint8_t> nonce,
                                        std::string_view associatedData,
                                        std::span<const std::uint8_t> sealed);

  private:
    struct OpenSSL;

    [[nodiscard]] unsigned char* room(std::size_t size);

    Context m_context;
    std::vector<std::uint8_t> m_key;
    std::vector<std::uint8_t> m_output;
    std::unique_ptr<OpenSSL> m_openSSL;
};

} // namespace bench
