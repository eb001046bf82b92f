#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Overwrites memory in a way that the compiler keeps.
void scrub(std::span<std::uint8_t> bytes);

/// A key of fixed length that is overwritten when it ends. Copies are keys too.
template <std::size_t count>
class SecretBytes {
  public:
    SecretBytes() : m_bytes{} {}
    explicit SecretBytes(std::span<const std::uint8_t, count> bytes) {
        std::ranges::copy(bytes, m_bytes.begin());
    }
    SecretBytes(const SecretBytes&) = default;
    SecretBytes& operator=(const SecretBytes&) = default;
    ~SecretBytes() { scrub(m_bytes); }

    [[nodiscard]] std::span<const std::uint8_t, count> bytes() const { return m_bytes; }
    [[nodiscard]] std::span<std::uint8_t, count> writable() { return m_bytes; }

  private:
    std::array<std::uint8_t, count> m_bytes;
};
