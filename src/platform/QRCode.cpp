#include "platform/QRCode.h"

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

#include <qrencode.h>

namespace qr {

namespace {

constexpr std::size_t maximumSize = 2331; // Of version 40 at level M, as bytes.

struct Release {
    void operator()(QRcode* code) const { QRcode_free(code); }
};

} // namespace

Code encode(std::string_view text) {
    if (text.empty() || text.size() > maximumSize)
        throw std::length_error("a QR code holds 1 to 2331 bytes");
    const std::unique_ptr<QRcode, Release> made(
        QRcode_encodeData(static_cast<int>(text.size()),
                          reinterpret_cast<const unsigned char*>(text.data()), 0, QR_ECLEVEL_M));
    if (!made)
        throw std::system_error(errno, std::generic_category(), "QR code");
    Code code{.size = made->width, .modules = {}};
    const auto count =
        static_cast<std::size_t>(made->width) * static_cast<std::size_t>(made->width);
    code.modules.reserve(count);
    // The lowest bit of a module is its colour.
    for (std::size_t i = 0; i < count; ++i)
        code.modules.push_back((made->data[i] & 1) != 0);
    return code;
}

} // namespace qr
