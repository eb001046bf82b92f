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

// Collects the lines, and counts the rows that they take.
class Drawing {
  public:
    explicit Drawing(const Style& style) : m_style(style) {}

    [[nodiscard]] const Style& style() const { return m_style; }
    [[nodiscard]] std::size_t rows() const { return m_rows; }
    [[nodiscard]] std::string text() && { return std::move(m_text); }

    void add(std::string_view plain, const std::string& shown) {
        const std::size_t cells = std::max<std::size_t>(text::columns(plain), 1);
        m_rows += (cells - 1) / m_style.width + 1;
        m_text.append(shown).append("\n");
    }
    void add(std::string_view plain) { add(plain, std::string(plain)); }
    void note(std::string_view text) { add(text, m_style.bold(text)); }
    void ofAgent(const TextLine& line, std::string_view shown) {
        using Kind = TextLine::Kind;
        add("│ " + std::string(shown),
            m_style.faint("│ ") + (line.kind == Kind::added     ? m_style.green(shown)
                                   : line.kind == Kind::removed ? m_style.red(shown)
                                                                : std::string(shown)));
    }

  private:
    const Style& m_style;
    std::string m_text;
    std::size_t m_rows = 0;
};

void addText(Drawing& drawing, const Question& question, Extent extent) {
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t hidden = 0;
    for (const TextLine& line : linesOf(question)) {
        if (line.kind == TextLine::Kind::note) {
            drawing.note(line.text);
            continue;
        }
        std::string_view shown = line.text;
        if (extent == Extent::beginning)
            shown = beginningOf(shown, count < firstLines ? firstBytes - bytes : 0);
        hidden += charactersIn(std::string_view(line.text).substr(shown.size()));
        bytes += shown.size();
        if (count++ < firstLines || extent == Extent::whole)
            drawing.ofAgent(line, shown);
    }
    if (hidden == 0)
        return;
    const auto number = static_cast<double>(hidden);
    drawing.note(drawing.style().answers
                     ? localized("⚠ 後面還有 %lld 個字元沒有顯示，按 v 看全部", {number})
                     : localized("⚠ 後面還有 %lld 個字元沒有顯示", {number}));
}

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
    Drawing drawing(style);
    std::string rule;
    for (std::size_t i = 0; i < std::min(style.width, widestRule); ++i)
        rule += "─";
    drawing.add(rule, style.faint(rule));
    const std::string id = text::visible(question.shortId());
    const std::string title = titleOf(question);
    const std::string rest = "  " + text::visible(question.client) + "  " + remaining(question);
    drawing.add("[" + id + "] " + title + rest, "[" + id + "] " + style.bold(title) + rest);
    const std::string* directory = json::textOf(question.item, "cwd");
    if (directory && !directory->empty())
        drawing.add(text::visible(*directory), style.faint(text::visible(*directory)));
    addText(drawing, question, extent);
    if (const auto remembered = rememberedBy(question); !remembered.empty()) {
        drawing.add(localized("總是允許會記住："));
        for (const std::string& line : remembered)
            drawing.add("  " + line);
    }
    if (!style.answers) {
        drawing.add(question.isStop
                        ? localized("給指示：tamsellctl reply %@ TEXT", {id})
                        : localized("回答：tamsellctl answer %@ allow|always|deny", {id}));
        return std::move(drawing).text();
    }
    if (drawing.rows() + rowsBelow > style.height)
        drawing.note(localized("⚠ 這一題有 %lld 行，比畫面高，請往上捲看完",
                               {static_cast<double>(drawing.rows())}));
    if (others > 0)
        drawing.add(localized("（後面還有 %lld 題）", {static_cast<double>(others)}));
    drawing.note(keysFor(question));
    return std::move(drawing).text();
}

} // namespace ctl
