#include "ctl/LineEditor.h"

#include <algorithm>

#include "core/Text.h"

namespace ctl {

namespace {

constexpr char controlD = 0x04;
constexpr char controlU = 0x15;
constexpr char escape = 0x1b;

bool continuesCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// How many bytes the UTF-8 character has that begins so; 1 when none does.
std::size_t lengthOf(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
}

} // namespace

std::string LineEditor::type(std::string_view bytes) {
    std::string shown;
    for (const char c : bytes) {
        // Only these go on a sequence. Any other key was pressed by itself.
        const bool continues = m_escape != Escape::none && c >= 0x20 && c <= 0x7e;
        if (!continues) {
            m_escape = Escape::none;
            put(c, shown);
        } else if (m_escape == Escape::begun) {
            m_escape = c == '[' || c == 'O' ? Escape::control : Escape::none;
        } else if (c >= 0x40 && c != '[') { // The Linux console has a second bracket.
            m_escape = Escape::none;
        }
    }
    return shown;
}

void LineEditor::put(char c, std::string& shown) {
    if (c == escape) {
        m_escape = Escape::begun;
    } else if (c == controlD) {
        m_isCancelled = true;
    } else if (c == '\x7f' || c == '\b') {
        shown += rubOut();
    } else if (c == controlU) {
        while (!m_text.empty() && m_text.back() != '\n')
            shown += rubOut();
    } else if (c == '\n' || c == '\r') {
        shown += text::visible(std::string_view(m_text).substr(m_shown)) + "\n";
        m_text += '\n';
        m_shown = m_text.size();
    } else if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') {
        m_text += c;
        if (m_text.size() - m_shown >= lengthOf(m_text[m_shown])) {
            const std::string_view character = std::string_view(m_text).substr(m_shown);
            shown += c == '\t' ? " " : text::visible(character);
            m_shown = m_text.size();
        }
    }
}

std::string LineEditor::rubOut() {
    if (m_text.empty() || m_text.back() == '\n')
        return {};
    std::size_t begin = m_text.size() - 1;
    while (begin > 0 && continuesCharacter(m_text[begin]))
        --begin;
    const std::string_view character = std::string_view(m_text).substr(begin);
    // A tab is shown as a blank, and half a character not at all.
    const std::size_t cells = begin >= m_shown    ? 0
                              : character == "\t" ? 1
                                                  : text::columns(text::visible(character));
    m_text.resize(begin);
    m_shown = std::min(m_shown, begin);
    std::string shown;
    for (std::size_t i = 0; i < cells; ++i)
        shown += "\b \b";
    return shown;
}

} // namespace ctl
