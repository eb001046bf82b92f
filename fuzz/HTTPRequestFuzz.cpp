#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "http/HTTPRequestParser.h"

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool areEqual(const HTTPRequest& left, const HTTPRequest& right) {
    return left.method == right.method && left.path == right.path && left.query == right.query &&
           left.headers == right.headers && left.body == right.body;
}

} // namespace

/// The input is a request. Its split positions are taken from its own bytes too, so that seeds are
/// plain requests and the fuzzer still moves the splits. However it is split, the request is the
/// same as from one piece.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    HTTPRequestParser whole;
    const std::optional<HTTPRequest> expected = whole.feed(bytes);

    for (const std::size_t longestPiece : {std::size_t{1}, std::size_t{3}, std::size_t{200}}) {
        HTTPRequestParser split;
        std::optional<HTTPRequest> got;
        std::size_t position = 0;
        while (position < size && !got) {
            const std::size_t wish = 1 + data[size - 1 - position] % longestPiece;
            const std::size_t length = std::min(wish, size - position);
            got = split.feed(bytes.substr(position, length));
            position += length;
        }
        require(got.has_value() == expected.has_value());
        if (got) {
            require(areEqual(*got, *expected));
        }
    }

    if (expected) {
        // Nothing is read that was not sent.
        require(expected->body.size() <= size);
        require(!expected->method.empty());
        require(expected->method.find(' ') == std::string::npos);
        (void)expected->jsonObject();
    }
    return 0;
}
