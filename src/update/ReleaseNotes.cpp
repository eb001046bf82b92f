#include "update/ReleaseNotes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>

#include <QString>

#include "core/Text.h"

namespace releasenotes {

namespace {

constexpr std::array<std::string_view, 28> blockTags{
    "article", "blockquote", "body", "br", "dd", "div",     "dl",    "dt", "h1", "h2",
    "h3",      "h4",         "h5",   "h6", "hr", "html",    "li",    "ol", "p",  "pre",
    "head",    "header",     "main", "td", "th", "section", "table", "tr"};
constexpr std::array<std::string_view, 27> inlineTags{
    "a",     "abbr", "b",      "big", "cite", "code", "del",  "em", "font",
    "i",     "img",  "ins",    "kbd", "link", "mark", "meta", "s",  "samp",
    "small", "span", "strong", "sub", "sup",  "tt",   "u",    "ul", "var"};
constexpr std::array<std::string_view, 3> hiddenTags{"script", "style", "title"};
// No tag that a person wrote is longer; looking further for its end would take a hostile text the
// square of its length.
constexpr std::size_t maximumTag = 2048;
constexpr std::size_t maximumReference = 10;

bool contains(const auto& names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isOneOf(std::string_view characters, char c) {
    return characters.find(c) != std::string_view::npos;
}

struct Tag {
    std::string name{};
    bool isEnd = false;
    std::size_t length = 0; ///< with both brackets
};

// What starts with "<" and is a tag of HTML.
std::optional<Tag> tagAt(std::string_view text) {
    text = text.substr(0, maximumTag);
    Tag tag{.isEnd = text.starts_with("</")};
    const std::size_t begin = tag.isEnd ? 2 : 1;
    const std::size_t end =
        std::min(text.find_first_not_of(
                     "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", begin),
                 text.size());
    tag.name = text.substr(begin, end - begin);
    std::ranges::transform(tag.name, tag.name.begin(), lowered);
    if (!contains(blockTags, tag.name) && !contains(inlineTags, tag.name) &&
        !contains(hiddenTags, tag.name))
        return std::nullopt;
    if (end == text.size() || !isOneOf(" \t\r\n/>", text[end]))
        return std::nullopt;
    char quote = 0;
    for (std::size_t at = end; at < text.size(); ++at) {
        const char c = text[at];
        if (quote != 0) {
            quote = c == quote ? '\0' : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            tag.length = at + 1;
            return tag;
        } else if (c == '<') {
            return std::nullopt; // Else every "<" would be searched as far as the first one.
        }
    }
    return std::nullopt;
}

// The character that a reference names ("&amp;", "&#8230;", "&#x2026;"), and the reference's
// length.
struct Character {
    std::string utf8;
    std::size_t length;
};

std::optional<Character> referenceAt(std::string_view text) {
    const std::size_t end = text.substr(0, maximumReference).find(';');
    if (end == std::string_view::npos)
        return std::nullopt;
    std::string_view name = text.substr(1, end - 1);
    constexpr std::array<std::pair<std::string_view, std::string_view>, 6> named{
        {{"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", " "}}};
    for (const auto& [entity, utf8] : named)
        if (name == entity)
            return Character{std::string(utf8), end + 1};
    if (!name.starts_with('#'))
        return std::nullopt;
    name.remove_prefix(1);
    const bool isHexadecimal = name.starts_with('x') || name.starts_with('X');
    name.remove_prefix(isHexadecimal ? 1 : 0);
    std::uint32_t code = 0;
    const auto read =
        std::from_chars(name.data(), name.data() + name.size(), code, isHexadecimal ? 16 : 10);
    if (read.ec != std::errc() || read.ptr != name.data() + name.size() || code == 0 ||
        code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return std::nullopt;
    const char32_t character = code;
    return Character{QString::fromUcs4(&character, 1).toStdString(), end + 1};
}

// Text as HTML lays it out: white space is one space, and a block is on lines of its own.
class Lines {
  public:
    void add(std::string_view utf8) {
        const bool isBlank = utf8.size() == 1 && isOneOf(" \t\r\n", utf8[0]);
        if (isBlank && preformatted == 0) {
            m_isSpaceDue = !m_text.empty() && m_text.back() != '\n';
            return;
        }
        if (m_isSpaceDue)
            m_text += ' ';
        m_isSpaceDue = false;
        m_text += utf8;
    }
    void endLine() {
        m_isSpaceDue = false;
        if (!m_text.empty() && m_text.back() != '\n')
            m_text += '\n';
    }
    void addEmptyLine() {
        endLine();
        m_text += '\n';
    }
    [[nodiscard]] const std::string& text() const { return m_text; }

    int preformatted = 0;

  private:
    std::string m_text;
    bool m_isSpaceDue = false;
};

void apply(Lines& lines, const Tag& tag) {
    if (tag.name == "pre")
        lines.preformatted = std::max(0, lines.preformatted + (tag.isEnd ? -1 : 1));
    if (tag.name == "p" || (tag.name.size() == 2 && tag.name[0] == 'h' && tag.name != "hr"))
        lines.addEmptyLine();
    else if (contains(blockTags, tag.name))
        lines.endLine();
    if (tag.name == "li" && !tag.isEnd)
        lines.add("• ");
}

// How much of the text nobody is to see: a comment, or what a script or a style consists of. One
// that does not end goes on to the end.
std::size_t hiddenLength(std::string_view text, const std::optional<Tag>& tag) {
    constexpr std::string_view comment = "-->";
    if (text.starts_with("<!--")) {
        const std::size_t end = text.find(comment);
        return end == std::string_view::npos ? text.size() : end + comment.size();
    }
    if (!tag || tag->isEnd || !contains(hiddenTags, tag->name))
        return 0;
    const std::string end = "</" + tag->name;
    const auto found =
        std::search(text.begin(), text.end(), end.begin(), end.end(),
                    [](char inText, char inEnd) { return lowered(inText) == inEnd; });
    return static_cast<std::size_t>(found - text.begin());
}

std::string withoutTags(std::string_view html) {
    Lines lines;
    for (std::size_t at = 0; at < html.size();) {
        const std::string_view rest = html.substr(at);
        const auto tag = rest[0] == '<' ? tagAt(rest) : std::nullopt;
        if (const std::size_t hidden = rest[0] == '<' ? hiddenLength(rest, tag) : 0) {
            at += hidden;
        } else if (tag) {
            apply(lines, *tag);
            at += tag->length;
        } else if (const auto character = rest[0] == '&' ? referenceAt(rest) : std::nullopt) {
            lines.add(character->utf8);
            at += character->length;
        } else {
            lines.add(rest.substr(0, 1));
            ++at;
        }
    }
    return lines.text();
}

bool isHTML(std::string_view text) {
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1))
        if (tagAt(text.substr(at)))
            return true;
    return false;
}

std::string replaced(std::string_view text, std::string_view what, std::string_view with) {
    std::string result;
    for (std::size_t found = text.find(what); found != std::string_view::npos;
         found = text.find(what)) {
        result.append(text.substr(0, found)).append(with);
        text.remove_prefix(found + what.size());
    }
    return result.append(text);
}

std::string visibleLines(std::string text) {
    // Ends of lines of every kind, and the blanks that people write on purpose.
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> usual{
        {{"\r\n", "\n"}, {"\r", "\n"}, {"\t", "    "}, {"\u3000", "  "}, {"\u00A0", " "}}};
    for (const auto& [what, with] : usual)
        text = replaced(text, what, with);
    std::string result;
    int emptyLines = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        emptyLines = line.empty() ? emptyLines + 1 : 0;
        if (line.empty() && (emptyLines > 1 || result.empty()))
            continue;
        result += text::visible(line) + '\n';
    }
    result.erase(result.find_last_not_of('\n') + 1);
    return result;
}

} // namespace

std::string plain(std::string_view description) {
    constexpr std::string_view more = "\n…";
    const std::string begin(text::prefix(description, maximumSize, maximumSize));
    std::string result = visibleLines(isHTML(begin) ? withoutTags(begin) : begin);
    if (begin.size() == description.size() && result.size() <= maximumSize)
        return result;
    const std::size_t room = maximumSize - more.size();
    return std::string(text::prefix(result, room, room)) + std::string(more);
}

} // namespace releasenotes
