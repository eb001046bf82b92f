#include "ctl/Watcher.h"

#include <algorithm>
#include <utility>

#include "core/Clock.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Presence.h"

namespace ctl {

namespace {

// Pasted lines come in one go: the text has ended when nothing follows its line feed for so long.
constexpr std::chrono::milliseconds pasteGap{80};
// What a person writes to an agent.
constexpr std::size_t maximumText = std::size_t{64} << 10;

bool contains(const std::vector<Question>& questions, const std::string& id) {
    return std::ranges::find(questions, id, &Question::id) != questions.end();
}

std::string endOf(const Question& question) {
    if (question.expiresAt <= wallclock::milliseconds())
        return localized("已逾時，不必回答：%@", {titleOf(question)});
    return localized("已在別處回答，或 agent 已不再等待：%@", {titleOf(question)});
}

} // namespace

void Watcher::receive(const JSONValue& snapshot) {
    if (m_isLost)
        m_feed.add(localized("已重新連上 Tamsell"));
    m_isLost = false;
    m_lossReason.clear();
    m_feed.receive(snapshot);
    const auto presence = Presence::in(snapshot);
    if (m_style.answers && presence && presence->mode == AwayMode::automatic &&
        !std::exchange(m_hasAdvised, true))
        m_feed.add(
            localized("在這裡按鍵也算回到電腦前；要一直在這裡回答，先執行 tamsellctl mode on"));
    std::vector<Question> before = std::exchange(m_questions, questionsIn(snapshot));
    std::erase_if(m_putAside, [&](const std::string& id) { return !contains(m_questions, id); });
    if (!m_style.answers) {
        for (const Question& question : before) {
            if (!contains(m_questions, question.id))
                say(endOf(question));
        }
    } else if (m_current && !m_decision && !contains(m_questions, m_current->id)) {
        breakOff();
        say(endOf(*m_current));
        m_current.reset();
    }
    proceed();
}

void Watcher::lose(const std::string& reason) {
    m_questions.clear();
    breakOff();
    m_current.reset();
    m_decision.reset();
    m_output += m_feed.take(m_style.width);
    if (m_lossReason != reason)
        say(localized("%@；會一直重試", {text::visible(reason)}));
    m_lossReason = reason;
    m_isLost = true;
}

void Watcher::type(std::string_view bytes, Clock::time_point now) {
    if (m_compose) {
        compose(bytes, now);
    } else if (m_waitsForReturn) {
        m_waitsForReturn = bytes.find_first_of("\r\n") == std::string_view::npos;
        proceed();
    } else if (!m_current && bytes == "q") {
        m_hasEnded = true;
    } else {
        m_gate.type(bytes, now);
    }
}

bool Watcher::opens(Clock::time_point now) {
    return m_current && !m_compose && !m_decision && m_output.empty() && m_gate.opens(now);
}

void Watcher::tick(Clock::time_point now) {
    // A key was pressed for what stands there, not for what is about to be written.
    if (!m_output.empty())
        return;
    if (m_compose && m_compose->endsAt && now >= *m_compose->endsAt)
        finishComposition();
    if (const auto key = m_gate.key(now); key && m_current && !m_compose && !m_decision)
        press(*key);
}

void Watcher::restyle(const Style& style) {
    m_style = style;
    redraw();
}

void Watcher::redraw() {
    if (!m_current)
        return;
    draw(Extent::beginning);
    if (m_compose)
        m_output += m_compose->prompt + text::visible(m_compose->editor.text());
}

void Watcher::answered() {
    if (!m_decision)
        return;
    const Decision decision = *std::exchange(m_decision, std::nullopt);
    say(m_style.bold(outcomeOf(decision.question, decision.action)));
    m_putAside.insert(decision.question.id);
    m_current.reset();
    proceed();
}

void Watcher::refused(const std::string& sentence) {
    m_decision.reset();
    say(text::visible(sentence));
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
    if (m_compose)
        return m_compose->endsAt;
    return m_current && !m_decision ? m_gate.wakeUp() : std::nullopt;
}

void Watcher::proceed() {
    if (m_current || m_waitsForReturn)
        return;
    m_output += m_feed.take(m_style.width);
    for (const Question& question : m_questions) {
        if (m_putAside.contains(question.id))
            continue;
        m_current = question;
        draw(Extent::beginning);
        if (m_style.answers)
            return;
        m_putAside.insert(question.id);
        m_current.reset();
    }
}

void Watcher::draw(Extent extent) {
    const auto others = std::ranges::count_if(m_questions, [&](const Question& other) {
        return other.id != m_current->id && !m_putAside.contains(other.id);
    });
    m_output += drawn(*m_current, extent, m_style, static_cast<std::size_t>(others));
}

void Watcher::breakOff() {
    if (!std::exchange(m_compose, std::nullopt))
        return;
    // Who types on does not mean the next question; only Return shows that this was read.
    say("\n" + localized("剛才寫的文字沒有送出；按 Enter 繼續"));
    m_waitsForReturn = true;
}

void Watcher::press(char key) {
    if (key == 'q') {
        m_hasEnded = true;
    } else if (key == 'v') {
        draw(Extent::whole);
    } else if (key == 's') {
        say(localized("先跳過：%@（之後用代號 %@ 回答）",
                      {titleOf(*m_current), text::visible(m_current->shortId())}));
        m_putAside.insert(m_current->id);
        m_current.reset();
        proceed();
    } else if (m_current->isStop) {
        if (key == 'r')
            beginComposition(Action::reply, localized("指示（Enter 送出；Ctrl-D 取消）："));
    } else if (key == 'a') {
        decide(Action::allow);
    } else if (key == 'A' && m_current->canAlways()) {
        decide(Action::always);
    } else if (key == 'd') {
        decide(Action::deny);
    } else if (key == 'D') {
        beginComposition(Action::deny,
                         localized("拒絕的原因（Enter 送出，可以空白；Ctrl-D 取消）："));
    }
}

void Watcher::beginComposition(Action action, const std::string& prompt) {
    m_output += prompt;
    m_compose = Composition{.action = action, .prompt = prompt, .editor = {}, .endsAt = {}};
}

void Watcher::compose(std::string_view bytes, Clock::time_point now) {
    m_output += m_compose->editor.type(bytes);
    m_compose->endsAt.reset();
    if (m_compose->editor.isCancelled())
        cancelComposition(localized("取消了"));
    else if (m_compose->editor.text().size() > maximumText)
        cancelComposition(localized("太長了，沒有送出"));
    else if (m_compose->editor.isEnded())
        m_compose->endsAt = now + pasteGap;
}

void Watcher::cancelComposition(const std::string& why) {
    m_compose.reset();
    say("\n" + why);
    redraw();
}

void Watcher::finishComposition() {
    const std::string text = text::repaired(text::trimmed(m_compose->editor.text()));
    if (text.empty() && m_compose->action == Action::reply) {
        cancelComposition(localized("取消了"));
        return;
    }
    decide(std::exchange(m_compose, std::nullopt)->action, text);
}

void Watcher::decide(Action action, const std::string& text) {
    m_decision = Decision{.question = *m_current, .action = action, .text = text};
}

} // namespace ctl
