#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ctl {

/// A text that a person types at a terminal which neither shows nor edits it: what the keys mean,
/// and what is to be shown. Unlike the system's own editing it has no limit of its own.
class LineEditor {
  public:
    /// Bytes as they were read; a character may come in pieces. Backspace rubs out the last
    /// character, Ctrl-U the last line; arrows and other keys with no meaning do nothing.
    /// @return what is to be written
    [[nodiscard]] std::string type(std::string_view bytes);

    /// In UTF-8, with the line feeds of Return. A paste may have several.
    [[nodiscard]] const std::string& text() const { return m_text; }
    /// Whether Return was the last key.
    [[nodiscard]] bool isEnded() const { return m_text.ends_with('\n'); }
    /// Whether Ctrl-D was typed.
    [[nodiscard]] bool isCancelled() const { return m_isCancelled; }

  private:
    // Where in a key's escape sequence the input is (ECMA-48 section 5.4).
    enum class Escape { none, begun, control };

    [[nodiscard]] std::string rubOut();
    void put(char c, std::string& shown);

    std::string m_text;
    std::size_t m_shown = 0; // bytes of the text that are shown; the rest is half a character
    Escape m_escape = Escape::none;
    bool m_isCancelled = false;
};

} // namespace ctl
