#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/Ed25519.h"

/// One release that a feed offers for this system.
struct AppcastItem {
    std::string version;        ///< what is compared: "42", "1.4.0"
    std::string displayVersion; ///< what people read: "1.4"; never empty
    std::string notes;          ///< plain text, line feeds kept, everything else that hides visible
    std::string url; ///< of the file, as the feed has it: absolute or relative to the feed
    std::optional<std::uint64_t> length;         ///< bytes of the file
    std::optional<ed25519::Signature> signature; ///< over the whole file; nothing when it has none

    bool operator==(const AppcastItem&) const = default;
};

/// The feed of releases: RSS 2.0 with enclosures, whose attributes beyond RSS are known by their
/// local names, whatever their name space. docs/releasing.md describes it.
namespace appcast {

/// A feed has some kilobytes. What is longer is not read.
inline constexpr std::size_t maximumSize = std::size_t{1} << 20;

/// The items that fit this system, in the feed's order.
/// @throws DaemonError when it is no such feed, or has a document type, because a document type can
///         declare entities
[[nodiscard]] std::vector<AppcastItem> parse(std::string_view bytes);

/// The item with the highest version, if that is higher than the current one.
[[nodiscard]] std::optional<AppcastItem> newest(const std::vector<AppcastItem>& items,
                                                std::string_view currentVersion);

} // namespace appcast
