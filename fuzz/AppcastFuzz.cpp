#include <compare>
#include <cstdint>
#include <string_view>

#include "core/DaemonError.h"
#include "core/Text.h"
#include "update/Appcast.h"
#include "update/ReleaseNotes.h"
#include "update/VersionComparison.h"

#include "Require.h"

namespace {

bool isOneVisibleLine(const std::string& text) {
    return !text.empty() && text::visible(text) == text;
}

bool areVisibleLines(std::string_view text) {
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        if (text::visible(text.substr(0, end)) != text.substr(0, end))
            return false;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return true;
}

} // namespace

// The input is a feed. Whatever it says, it is refused in words, or its items have what an update
// needs and nothing in them hides; and the newest is later than all others.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    // The notes as they stand, which a feed in the corpus reaches only behind its XML.
    const std::string notes = releasenotes::plain(text::repaired(bytes));
    require(notes.size() <= releasenotes::maximumSize && areVisibleLines(notes));
    try {
        const auto items = appcast::parse(bytes);
        const auto newest = appcast::newest(items, "0");
        for (const AppcastItem& item : items) {
            require(isOneVisibleLine(item.version) && isOneVisibleLine(item.displayVersion));
            require(!item.url.empty() && item.length != 0 && areVisibleLines(item.notes));
            require(item.notes.size() <= releasenotes::maximumSize);
            require(std::is_lteq(compareVersions(item.version, newest ? newest->version : "0")));
        }
    } catch (const DaemonError& error) {
        require(isOneVisibleLine(error.message()));
    }
    return 0;
}
