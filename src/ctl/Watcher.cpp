#include "ctl/Watcher.h"

#include <algorithm>
#include <utility>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Presence.h"
#include "ctl/QuestionText.h"

namespace ctl {

namespace {

// What of a question is drawn at first.
constexpr std::size_t firstLines = 200;
constexpr std::size_t firstBytes = std::size_t{64} << 10;
// Pasted lines come in one go: the text has ended when nothing follows its line feed for so long.
constexpr std::chrono::milliseconds pasteGap{80};
// What a person writes to an agent.
constexpr std::size_t maximumText = std::size_t{64} << 10;
constexpr std::size_t widestRule = 72;

constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view faint = "\x1b[2m";
constexpr std::string_view red = "\x1b[31m";
constexpr std::string_view green = "\x1b[32m";
constexpr std::string_view plain = "\x1b[0m";

std::size_t charactersIn(std::string_view utf8) {
    return static_cast<std::size_t>(
        std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

bool contains(const std::vector<Question>& questions, const std::string& id) {
    return std::ranges::find(questions, id, &Question::id) != questions.end();
}

// At most so many bytes of the text, whole characters only.
std::string_view beginningOf(std::string_view utf8, std::size_t bytes) {
    if (utf8.size() <= bytes)
        return utf8;
    while (bytes > 0 && (static_cast<unsigned char>(utf8[bytes]) & 0xC0) == 0x80)
        --bytes;
    return utf8.substr(0, bytes);
}

} // namespace

void Watcher::receive(const JSONValue& snapshot) {
    if (m_isLost)
        m_feed.add(localized("已重新連上 Tamsell"));
    m_isLost = false;
    m_lossReason.clear();
    m_feed.receive(snapshot);
    const auto presence = Presence::in(snapshot);
    if (m_style.answers && presence && !std::exchange(m_hasAdvised, true) &&
        presence->mode == AwayMode::automatic)
        m_feed.add(
            localized("在這裡按鍵也算回到電腦前；要一直在這裡回答，先執行 tamsellctl mode on"));
    std::vector<Question> before = std::exchange(m_questions, questionsIn(snapshot));
    std::erase_if(m_putAside, [&](const std::string& id) { return !contains(m_questions, id); });
    const auto tellEnd = [&](const Question& question) {
        const bool isOver = question.expiresAt <= wallclock::milliseconds();
        say(isOver ? localized("已逾時，不必回答：%@", {titleOf(question)})
                   : localized("已在別處回答，或 agent 已不再等待：%@", {titleOf(question)}));
    };
    if (!m_style.answers) {
        for (const Question& question : before) {
            if (!contains(m_questions, question.id))
                tellEnd(question);
        }
    } else if (m_current && !m_decision && !contains(m_questions, m_current->id)) {
        if (std::exchange(m_compose, std::nullopt))
            say("");
        tellEnd(*m_current);
        m_current.reset();
    }
    proceed();
}

void Watcher::lose(const std::string& reason) {
    m_questions.clear();
    if (std::exchange(m_compose, std::nullopt))
        say("");
    m_current.reset();
    m_decision.reset();
    m_output += m_feed.take();
    if (m_lossReason != reason)
        say(localized("%@；會一直重試", {text::visible(reason)}));
    m_lossReason = reason;
    m_isLost = true;
}

void Watcher::type(std::string_view bytes, Clock::time_point now) {
    if (m_compose) {
        m_compose->text += bytes;
        m_compose->endsAt.reset();
        if (m_compose->text.size() > maximumText) {
            m_compose.reset();
            say("\n" + localized("太長了，沒有送出"));
            redraw();
        } else if (m_compose->text.ends_with('\n')) {
            m_compose->endsAt = now + pasteGap;
        }
        return;
    }
    const bool isDeliberate = bytes.size() == 1 && now - m_lastActivity >= quietPeriod;
    // Whatever comes too early puts the moment off, so a key that is held down never counts.
    m_lastActivity = now;
    if (isDeliberate && !m_decision)
        press(bytes.front());
}

void Watcher::endInput() {
    if (!std::exchange(m_compose, std::nullopt)) {
        m_hasEnded = true;
        return;
    }
    say("\n" + localized("取消了"));
    redraw();
}

void Watcher::tick(Clock::time_point now) {
    if (m_compose && m_compose->endsAt && now >= *m_compose->endsAt)
        finishComposition();
}

void Watcher::redraw() {
    m_compose.reset();
    if (m_current)
        draw(*m_current, Extent::beginning);
}

void Watcher::answered(const std::optional<std::string>& error) {
    if (!m_decision)
        return;
    const Decision decision = *std::exchange(m_decision, std::nullopt);
    if (error) {
        say(localized("沒有送出：%@", {text::visible(*error)}));
    } else {
        say(styled(bold, outcomeOf(decision.question, decision.action)));
        m_putAside.insert(decision.question.id);
    }
    m_current.reset();
    proceed();
}

std::string Watcher::takeOutput() {
    return std::exchange(m_output, {});
}

std::optional<JSONObject> Watcher::takeAnswer() {
    if (!m_decision || std::exchange(m_decision->isTaken, true))
        return std::nullopt;
    return answerTo(m_decision->question, m_decision->action, m_decision->text);
}

std::optional<Watcher::Clock::time_point> Watcher::wakeUp() const {
    return m_compose ? m_compose->endsAt : std::nullopt;
}

void Watcher::proceed() {
    if (m_current)
        return;
    m_output += m_feed.take();
    for (const Question& question : m_questions) {
        if (m_putAside.contains(question.id))
            continue;
        draw(question, Extent::beginning);
        if (m_style.answers) {
            m_current = question;
            return;
        }
        m_putAside.insert(question.id);
    }
}

void Watcher::draw(const Question& question, Extent extent) {
    std::string rule;
    for (std::size_t i = 0; i < std::min(m_style.width, widestRule); ++i)
        rule += "─";
    say(styled(faint, rule));
    say("[" + text::visible(question.shortId()) + "] " + styled(bold, titleOf(question)) + "  " +
        text::visible(question.client) + "  " + remaining(question));
    const std::string* directory = json::textOf(question.item, "cwd");
    if (directory && !directory->empty())
        say(styled(faint, text::visible(*directory)));
    drawText(question, extent);
    if (const auto remembered = rememberedBy(question); !remembered.empty()) {
        say(localized("總是允許會記住："));
        for (const std::string& line : remembered)
            say("  " + line);
    }
    drawChoices(question);
}

void Watcher::drawText(const Question& question, Extent extent) {
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t hidden = 0;
    for (const TextLine& line : linesOf(question)) {
        std::string_view shown = line.text;
        if (extent == Extent::beginning)
            shown = beginningOf(shown, count < firstLines ? firstBytes - bytes : 0);
        hidden += charactersIn(std::string_view(line.text).substr(shown.size()));
        ++count;
        bytes += shown.size();
        if (shown.empty() && !line.text.empty())
            continue;
        using Kind = TextLine::Kind;
        say(line.kind == Kind::added     ? styled(green, shown)
            : line.kind == Kind::removed ? styled(red, shown)
            : line.kind == Kind::note    ? styled(bold, shown)
                                         : std::string(shown));
    }
    if (hidden == 0)
        return;
    const auto number = static_cast<double>(hidden);
    say(styled(bold, m_style.answers
                         ? localized("⚠ 後面還有 %lld 個字元沒有顯示，按 v 看全部", {number})
                         : localized("⚠ 後面還有 %lld 個字元沒有顯示", {number})));
}

void Watcher::drawChoices(const Question& question) {
    if (!m_style.answers) {
        const std::string id = text::visible(question.shortId());
        say(question.isStop ? localized("給指示：tamsellctl reply %@ TEXT", {id})
                            : localized("回答：tamsellctl answer %@ allow|always|deny", {id}));
        return;
    }
    const auto others = std::ranges::count_if(m_questions, [&](const Question& other) {
        return other.id != question.id && !m_putAside.contains(other.id);
    });
    if (others > 0)
        say(localized("（後面還有 %lld 題）", {static_cast<double>(others)}));
    const std::string keys =
        question.isStop ? localized("r 給指示  s 先跳過  q 離開")
        : question.canAlways()
            ? localized("a 允許  A 總是允許  d 拒絕  D 拒絕並說明  s 先跳過  q 離開")
            : localized("a 允許  d 拒絕  D 拒絕並說明  s 先跳過  q 離開");
    say(styled(bold, keys));
}

void Watcher::press(char key) {
    if (key == 'q') {
        m_hasEnded = true;
        return;
    }
    if (!m_current)
        return;
    if (key == 'v') {
        draw(*m_current, Extent::whole);
    } else if (key == 's') {
        say(localized("先跳過：%@（之後用代號 %@ 回答）",
                      {titleOf(*m_current), text::visible(m_current->shortId())}));
        m_putAside.insert(m_current->id);
        m_current.reset();
        proceed();
    } else if (m_current->isStop) {
        if (key == 'r')
            compose(Composition{.isDenial = false});
    } else if (key == 'a') {
        decide(Action::allow);
    } else if (key == 'A' && m_current->canAlways()) {
        decide(Action::always);
    } else if (key == 'd') {
        decide(Action::deny);
    } else if (key == 'D') {
        compose(Composition{.isDenial = true});
    }
}

void Watcher::compose(Composition composition) {
    m_output += composition.isDenial
                    ? localized("拒絕的原因（Enter 送出，可以空白；Ctrl-D 取消）：")
                    : localized("指示（Enter 送出；Ctrl-D 取消）：");
    m_compose = std::move(composition);
}

void Watcher::finishComposition() {
    const Composition composition = *std::exchange(m_compose, std::nullopt);
    const std::string text(text::trimmed(composition.text));
    if (composition.isDenial) {
        decide(Action::deny, text);
    } else if (text.empty()) {
        say(localized("取消了"));
        redraw();
    } else {
        decide(Action::reply, text);
    }
}

void Watcher::decide(Action action, const std::string& text) {
    m_decision = Decision{.question = *m_current, .action = action, .text = text};
}

std::string Watcher::styled(std::string_view escape, std::string_view text) const {
    if (!m_style.colours || text.empty())
        return std::string(text);
    return std::string(escape).append(text).append(plain);
}

} // namespace ctl
