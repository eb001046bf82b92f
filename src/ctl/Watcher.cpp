#include "ctl/Watcher.h"

#include <algorithm>
#include <array>
#include <ctime>

#include "core/Clock.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Presence.h"
#include "ctl/QuestionText.h"

namespace ctl {

namespace {

// Of what came before, so much is told at the beginning.
constexpr std::size_t firstEvents = 5;
// Lines that are held back while a question stands there; a person reads no more of them.
constexpr std::size_t maximumNews = 200;
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

std::string visibleIn(const JSONValue& value, std::string_view key) {
    const JSONValue* member = value[key];
    return member && member->string() ? text::visible(*member->string()) : "";
}

std::string timeOfDay(const JSONValue& event) {
    const JSONValue* at = event["at"];
    const auto seconds = static_cast<std::time_t>(at ? at->number().value_or(0) / 1000 : 0);
    std::tm parts{};
    std::array<char, 16> text{};
    if (!::localtime_r(&seconds, &parts) ||
        std::strftime(text.data(), text.size(), "%H:%M:%S", &parts) == 0)
        return "--:--:--";
    return text.data();
}

std::string lineOf(const JSONValue& event) {
    std::string line = timeOfDay(event);
    for (const char* key : {"client", "event", "tool", "summary"}) {
        if (const std::string part = visibleIn(event, key); !part.empty())
            line += "  " + part;
    }
    return line;
}

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
        news(localized("又連上 Tamsell 了"));
    m_isLost = false;
    m_lossReason.clear();
    notePresence(snapshot);
    noteEvents(snapshot);
    std::vector<Question> before = std::exchange(m_questions, questionsIn(snapshot));
    std::erase_if(m_putAside, [&](const std::string& id) { return !contains(m_questions, id); });
    const auto tellEnd = [&](const Question& question) {
        const bool isOver = question.expiresAt <= wallclock::milliseconds();
        say(isOver ? localized("時間到了，不用回答了：%@", {titleOf(question)})
                   : localized("在別處回答了，或 agent 不等了：%@", {titleOf(question)}));
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
    flushNews();
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
    const bool isDeliberate = bytes.size() == 1 && now - m_lastMove >= rest;
    // Whatever comes too early puts the moment off, so a key that is held down never counts.
    m_lastMove = now;
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
    JSONObject body{{"id", m_decision->question.id}, {"action", m_decision->action}};
    if (m_decision->action == "reply")
        body.set("text", m_decision->text);
    else if (!m_decision->text.empty())
        body.set("message", m_decision->text);
    return body;
}

std::optional<Watcher::Clock::time_point> Watcher::wakeUp() const {
    return m_compose ? m_compose->endsAt : std::nullopt;
}

void Watcher::noteEvents(const JSONValue& snapshot) {
    const JSONValue* recent = snapshot["recent"];
    const JSONArray events = recent && recent->array() ? *recent->array() : JSONArray();
    // The list moves on at its end: what was there before is its beginning, as far as it reaches.
    std::size_t known = std::min(m_recent.size(), events.size());
    while (known > 0 && !std::equal(m_recent.end() - static_cast<std::ptrdiff_t>(known),
                                    m_recent.end(), events.begin()))
        --known;
    if (!m_hasSeenSnapshot)
        known = events.size() - std::min(events.size(), firstEvents);
    for (std::size_t i = known; i < events.size(); ++i)
        news(lineOf(events[i]));
    m_recent = events;
    m_hasSeenSnapshot = true;
}

void Watcher::notePresence(const JSONValue& snapshot) {
    const JSONValue* presence = snapshot["presence"];
    if (!presence)
        return;
    const JSONValue* mode = (*presence)["mode"];
    const JSONValue* away = (*presence)["away"];
    const std::string now = visibleIn(*presence, "mode") +
                            (away && away->boolean().value_or(false) ? " away" : " present");
    if (now == m_presence)
        return;
    const bool isFirst = std::exchange(m_presence, now).empty();
    news(presenceText(*presence));
    if (isFirst && m_style.answers && mode && mode->string() && *mode->string() == "auto")
        news(localized("在這裡按鍵也算回到電腦前；要一直在這裡回答，先執行 tamsellctl mode on"));
}

void Watcher::news(std::string line) {
    m_news.push_back(std::move(line));
    if (m_news.size() > maximumNews) {
        m_news.pop_front();
        ++m_lostNews;
    }
}

void Watcher::flushNews() {
    if (m_lostNews > 0)
        say(localized("（略過 %lld 行）", {static_cast<double>(m_lostNews)}));
    for (const std::string& line : m_news)
        say(line);
    m_news.clear();
    m_lostNews = 0;
}

void Watcher::proceed() {
    if (m_current)
        return;
    flushNews();
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
    if (const std::string directory = visibleIn(question.item, "cwd"); !directory.empty())
        say(styled(faint, directory));

    const auto lines = linesOf(question);
    std::size_t count = 0;
    std::size_t bytes = 0;
    std::size_t hidden = 0;
    for (const TextLine& line : lines) {
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
    if (hidden > 0)
        say(styled(bold,
                   localized("⚠ 後面還有 %lld 個字元沒有顯示", {static_cast<double>(hidden)}) +
                       (m_style.answers ? localized("，按 v 看全部") : "")));

    if (const auto remembered = rememberedBy(question); !remembered.empty()) {
        say(localized("總是允許會記住："));
        for (const std::string& line : remembered)
            say("  " + line);
    }
    if (!m_style.answers) {
        const std::string id = text::visible(question.shortId());
        say(question.isStop ? localized("給指示：tamsellctl reply %@ TEXT", {id})
                            : localized("回答：tamsellctl answer %@ allow|always|deny", {id}));
        return;
    }
    const auto others =
        static_cast<double>(std::ranges::count_if(m_questions, [&](const Question& other) {
            return other.id != question.id && !m_putAside.contains(other.id);
        }));
    if (others > 0)
        say(localized("（後面還有 %lld 題）", {others}));
    std::string keys = question.isStop
                           ? localized("r 給指示")
                           : localized("a 允許  ") +
                                 (question.canAlways() ? localized("A 總是允許  ") : "") +
                                 localized("d 拒絕  D 拒絕並說明");
    say(styled(bold, keys) + localized("  s 先跳過  q 離開"));
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
        decide("allow");
    } else if (key == 'A' && m_current->canAlways()) {
        decide("always");
    } else if (key == 'd') {
        decide("deny");
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
        decide("deny", text);
    } else if (text.empty()) {
        say(localized("取消了"));
        redraw();
    } else {
        decide("reply", text);
    }
}

void Watcher::decide(std::string action, std::string text) {
    m_decision = Decision{.question = *m_current, .action = std::move(action), .text = text};
}

std::string Watcher::styled(std::string_view escape, std::string_view text) const {
    if (!m_style.colours || text.empty())
        return std::string(text);
    return std::string(escape).append(text).append(plain);
}

} // namespace ctl
