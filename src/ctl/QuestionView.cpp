#include "ctl/QuestionView.h"

#include <algorithm>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/QuestionText.h"

namespace ctl {

namespace {

constexpr std::size_t firstLines = 200;
constexpr std::size_t firstBytes = std::size_t{64} << 10;
constexpr std::size_t widestRule = 72;
// What stands below the question: how many wait, the keys, and the line of the cursor.
constexpr std::size_t rowsBelow = 3;

std::string styled(bool colours, std::string_view escape, std::string_view text) {
    if (!colours || text.empty())
        return std::string(text);
    return std::string(escape).append(text).append("\x1b[0m");
}

std::size_t charactersIn(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

// At most so many bytes of the text, whole characters only.
std::string_view beginningOf(std::string_view utf8, std::size_t bytes) {
    if (utf8.size() <= bytes)
        return utf8;
    while (bytes > 0 && (static_cast<unsigned char>(utf8[bytes]) & 0xC0) == 0x80)
        --bytes;
    return utf8.substr(0, bytes);
}

// The rows of a question. Every row of the agent's has the bar, also where a long line goes on: the
// terminal's own break would let the rest stand where this program speaks.
class Drawing {
  public:
    Drawing(const Style& style, Extent extent) : m_style(style), m_extent(extent) {}

    [[nodiscard]] std::size_t rows() const { return m_rows; }
    [[nodiscard]] std::string text() && { return std::move(m_text); }

    // Said by this program, with what is the agent's in it cut to one row.
    void say(const std::string& text) { row(text::inOneRow(text, m_style.width)); }
    void emphasize(const std::string& text) {
        row(m_style.bold(text::inOneRow(text, m_style.width)));
    }
    void addFaint(const std::string& text) {
        row(m_style.faint(text::inOneRow(text, m_style.width)));
    }

    void add(const TextLine& line) {
        if (line.kind == TextLine::Kind::warning) {
            emphasize(line.text);
            return;
        }
        std::string_view shown = line.text;
        if (m_extent == Extent::beginning)
            shown = beginningOf(shown, m_lines < firstLines ? firstBytes - m_bytes : 0);
        m_hidden += charactersIn(std::string_view(line.text).substr(shown.size()));
        m_bytes += shown.size();
        if (m_lines++ >= firstLines && m_extent == Extent::beginning)
            return;
        if (line.kind == TextLine::Kind::note)
            emphasize(std::string(shown));
        else
            addRowsOf(shown, line.kind);
    }

    // How many characters of the added lines were left out.
    [[nodiscard]] std::size_t hidden() const { return m_hidden; }

  private:
    void addRowsOf(std::string_view line, TextLine::Kind kind) {
        // The bar and its blank; the bar is two cells wide at some terminals.
        constexpr std::size_t barWidth = 4;
        const std::size_t room = m_style.width > 2 * barWidth ? m_style.width - barWidth : 0;
        do {
            const std::string_view piece = room == 0 ? line : text::fitting(line, room);
            row(m_style.faint("│ ") + coloured(piece, kind));
            line.remove_prefix(piece.size());
        } while (!line.empty());
    }

    [[nodiscard]] std::string coloured(std::string_view text, TextLine::Kind kind) const {
        if (kind == TextLine::Kind::added)
            return m_style.green(text);
        if (kind == TextLine::Kind::removed)
            return m_style.red(text);
        return std::string(text);
    }

    void row(const std::string& text) {
        m_text.append(text).append("\n");
        ++m_rows;
    }

    const Style& m_style;
    Extent m_extent;
    std::string m_text;
    std::size_t m_rows = 0;
    std::size_t m_lines = 0;
    std::size_t m_bytes = 0;
    std::size_t m_hidden = 0;
};

std::string keysFor(const Question& question) {
    if (question.isStop)
        return localized("r 給指示  s 先跳過  q 離開");
    if (question.canAlways())
        return localized("a 允許  A 總是允許  d 拒絕  D 拒絕並說明  s 先跳過  q 離開");
    return localized("a 允許  d 拒絕  D 拒絕並說明  s 先跳過  q 離開");
}

} // namespace

std::string Style::bold(std::string_view text) const {
    return styled(colours, "\x1b[1m", text);
}

std::string Style::faint(std::string_view text) const {
    return styled(colours, "\x1b[2m", text);
}

std::string Style::red(std::string_view text) const {
    return styled(colours, "\x1b[31m", text);
}

std::string Style::green(std::string_view text) const {
    return styled(colours, "\x1b[32m", text);
}

std::string drawn(const Question& question, Extent extent, const Style& style, std::size_t others) {
    Drawing drawing(style, extent);
    std::string rule;
    for (std::size_t i = 0; i < (style.width == 0 ? widestRule : std::min(style.width, widestRule));
         ++i)
        rule += "─";
    drawing.addFaint(rule);
    const std::string id = text::visible(question.shortId());
    drawing.emphasize("[" + id + "] " + remaining(question) + "  " + titleOf(question) + "  " +
                      text::visible(question.client));
    const std::string* directory = json::textOf(question.item, "cwd");
    if (directory && !directory->empty())
        drawing.addFaint(text::visible(*directory));
    for (const TextLine& line : linesOf(question))
        drawing.add(line);
    if (const auto remembered = rememberedBy(question); !remembered.empty()) {
        drawing.add({TextLine::Kind::note, localized("總是允許會記住：")});
        for (const std::string& line : remembered)
            drawing.add({TextLine::Kind::plain, line});
    }
    if (drawing.hidden() > 0) {
        const auto number = static_cast<double>(drawing.hidden());
        drawing.emphasize(style.answers
                              ? localized("⚠ 還有 %lld 個字元沒有顯示，按 v 看全部", {number})
                              : localized("⚠ 還有 %lld 個字元沒有顯示", {number}));
    }
    if (!style.answers) {
        drawing.say(question.isStop
                        ? localized("給指示：tamsellctl reply %@ TEXT", {id})
                        : localized("回答：tamsellctl answer %@ allow|always|deny", {id}));
        return std::move(drawing).text();
    }
    if (drawing.rows() + rowsBelow > style.height)
        drawing.emphasize(localized("⚠ 這一題有 %lld 行，比畫面高，請往上捲看完",
                                    {static_cast<double>(drawing.rows())}));
    if (others > 0)
        drawing.say(localized("（後面還有 %lld 題）", {static_cast<double>(others)}));
    drawing.emphasize(keysFor(question));
    return std::move(drawing).text();
}

} // namespace ctl
