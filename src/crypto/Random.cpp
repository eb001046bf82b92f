#include "crypto/Random.h"

#include <cerrno>
#include <system_error>

#include <sys/random.h>

namespace securerandom {

void fill(std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = getrandom(bytes.data(), bytes.size(), 0);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            throw std::system_error(errno, std::generic_category(), "no random bytes");
        }
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
}

std::string uuid() {
    auto raw = bytes<16>();
    raw[6] = static_cast<std::uint8_t>((raw[6] & 0x0f) | 0x40); // version 4
    raw[8] = static_cast<std::uint8_t>((raw[8] & 0x3f) | 0x80); // the RFC's variant
    constexpr char digits[] = "0123456789abcdef";
    std::string result;
    result.reserve(36);
    for (std::size_t i = 0; i < raw.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            result += '-';
        result += digits[raw[i] >> 4];
        result += digits[raw[i] & 15];
    }
    return result;
}

} // namespace securerandom
