#include "update/XMLLimits.h"

#include <algorithm>
#include <cstddef>

#include "core/DaemonError.h"
#include "core/Localized.h"

namespace xmllimits {

namespace {

// A feed of two thousand items, with ten elements each and their ends.
constexpr std::size_t maximumTags = 40'000;
// An item's description stands four deep, and may consist of elements.
constexpr std::size_t maximumDepth = 16;
// An enclosure has a dozen, and the outermost element declares the name spaces.
constexpr std::size_t maximumAttributes = 32;

[[noreturn]] void refuse() {
    throw DaemonError(localized("更新來源的結構太複雜"));
}

// What is left behind the end of the part that the text starts with.
std::string_view behind(std::string_view text, std::string_view end) {
    const std::size_t found = text.find(end);
    return text.substr(found == std::string_view::npos ? text.size() : found + end.size());
}

struct Tag {
    std::size_t length = 0; ///< with both brackets
    std::size_t attributes = 0;
};

Tag tagAt(std::string_view text) {
    Tag tag;
    char quote = 0;
    for (const char c : text) {
        ++tag.length;
        if (quote != 0)
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '=')
            ++tag.attributes;
        else if (c == '>')
            break;
    }
    return tag;
}

} // namespace

void require(std::string_view xml) {
    // No XML has this character, and without it UTF-16 and UTF-32 have no tags.
    if (xml.find('\0') != std::string_view::npos)
        throw DaemonError(localized("更新來源不是 UTF-8"));
    std::size_t tags = 0;
    std::size_t depth = 0;
    while (true) {
        xml.remove_prefix(std::min(xml.find('<'), xml.size()));
        if (xml.empty())
            return;
        if (xml.starts_with("<!--")) {
            xml = behind(xml.substr(4), "-->");
        } else if (xml.starts_with("<![CDATA[")) {
            xml = behind(xml, "]]>");
        } else if (xml.starts_with("<?")) {
            xml = behind(xml.substr(2), "?>");
        } else if (xml.starts_with("<!")) {
            throw DaemonError(localized("更新來源含有文件類型宣告，不予採用"));
        } else {
            const Tag tag = tagAt(xml);
            const std::string_view text = xml.substr(0, tag.length);
            if (text.starts_with("</"))
                depth -= std::min<std::size_t>(depth, 1);
            else if (!text.ends_with("/>"))
                ++depth;
            if (++tags > maximumTags || depth > maximumDepth || tag.attributes > maximumAttributes)
                refuse();
            xml.remove_prefix(tag.length);
        }
    }
}

} // namespace xmllimits
