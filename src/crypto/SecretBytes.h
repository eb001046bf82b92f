#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Overwrites memory in a way that the compiler keeps.
void scrub(std::span<std::uint8_t> bytes);

/// A key of fixed length that is overwritten when it ends or is moved away. It is never copied or
/// printed.
template <std::size_t count>
class SecretBytes {
  public:
    SecretBytes() : m_bytes{} {}
    explicit SecretBytes(std::span<const std::uint8_t, count> bytes) {
        std::ranges::copy(bytes, m_bytes.begin());
    }
    SecretBytes(SecretBytes&& other) noexcept : m_bytes(other.m_bytes) { scrub(other.m_bytes); }
    SecretBytes& operator=(SecretBytes&& other) noexcept {
        if (this != &other) {
            m_bytes = other.m_bytes;
            scrub(other.m_bytes);
        }
        return *this;
    }
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    ~SecretBytes() { scrub(m_bytes); }

    [[nodiscard]] std::span<const std::uint8_t, count> bytes() const { return m_bytes; }
    [[nodiscard]] std::span<std::uint8_t, count> writable() { return m_bytes; }

    template <typename Stream>
    friend Stream& operator<<(Stream&, const SecretBytes&) = delete;

  private:
    std::array<std::uint8_t, count> m_bytes;
};
