// Walks the road that an agent's event takes, hop by hop, with the hook that is installed.

#include <csignal>
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "crypto/Random.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"
#include "ctl/Question.h"
#include "platform/ChildProcess.h"

namespace ctl {

namespace {

using Clock = ChildProcess::Clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// Where the road broke; the hops before it have been reported.
class Broken final : public DaemonError {
  public:
    using DaemonError::DaemonError;
};

// One session for all tests, so that they do not fill the list of sessions.
constexpr std::string_view session = "tamsellctl-test";
// The hook itself gives up after two seconds what need not wait.
constexpr std::chrono::seconds hookPatience{10};
constexpr std::chrono::seconds arrivalPatience{5};
constexpr std::chrono::milliseconds pollPause{20};
// What may be read of an answer from the terminal.
constexpr std::size_t maximumLine = 4096;

void report(const std::string& hop, const std::string& text,
            std::optional<Milliseconds> took = std::nullopt) {
    std::string line = "✓ " + hop + localized("：") + text;
    if (took) {
        std::array<char, 32> time{};
        std::snprintf(time.data(), time.size(), "  %.1f ms", took->count());
        line += time.data();
    }
    output::write(line + "\n");
}

[[noreturn]] void breakAt(const std::string& hop, const std::string& text) {
    output::write("✗ " + hop + localized("：") + text + "\n");
    throw Broken(localized("路斷在「%@」：%@", {hop, text}));
}

// The command that an agent would run for the event.
std::string installedHook(const Context& context, std::string_view event) {
    const std::string hop = localized("設定檔");
    const Locations& at = context.locations;
    for (const auto& file : {at.claudeSettings, at.codexHooks}) {
        try {
            // Codex has no such event; whichever of its entries there is runs the same program.
            const JSONObject content = Hooks::readAgentFile(file);
            auto commands = Hooks::ourCommands(content, event);
            if (commands.empty() && file == at.codexHooks)
                commands = Hooks::ourCommands(content, "PreToolUse");
            if (!commands.empty()) {
                report(hop, localized("%@ 有 %@ 的 hook",
                                      {text::visible(file.string()), std::string(event)}));
                return commands.front();
            }
        } catch (const std::exception& error) {
            breakAt(hop, text::visible(error.what()));
        }
    }
    breakAt(hop, localized("%@ 裡沒有 Tamsell 的 hook；先執行 tamsellctl hooks install",
                           {text::visible(at.claudeSettings.string())}));
}

// As agents run it. They do not pass on what only this terminal has been told.
ChildProcess::Command asAgent(const std::string& hook, const JSONObject& event) {
    return {.arguments = {"sh", "-c", hook},
            .input = json::compact(event).value(),
            .withoutVariables = {"TAMSELL_HOME"}};
}

std::string nonce() {
    std::string text;
    for (const std::uint8_t byte : securerandom::bytes<8>())
        text += static_cast<char>('a' + byte % 26);
    return text;
}

void checkEnd(const std::string& hop, const ChildProcess& process) {
    const auto code = process.exitCode();
    const std::string_view errors = text::trimmed(process.errors());
    const std::string said =
        errors.empty() ? std::string() : localized("：%@", {text::visible(errors)});
    if (!code)
        breakAt(hop, localized("hook 被信號中斷") + said);
    if (*code != 0)
        breakAt(hop, localized("hook 的結束碼是 %lld", {static_cast<double>(*code)}) + said);
}

// The time of the event that the daemon recorded with that text, in milliseconds since 1970.
std::optional<double> arrivalOf(const DaemonClient& daemon, std::string_view message) {
    const JSONValue snapshot = daemon.get("/state");
    const JSONValue* recent = snapshot["recent"];
    if (!recent || !recent->array())
        return std::nullopt;
    for (const JSONValue& event : *recent->array()) {
        const JSONValue* summary = event["summary"];
        const JSONValue* at = event["at"];
        if (summary && summary->string() && *summary->string() == message && at)
            return at->number();
    }
    return std::nullopt;
}

void walk(const DaemonClient& daemon, const std::string& hook) {
    const std::string message = "tamsellctl test " + nonce();
    const JSONObject event{{"hook_event_name", "Notification"},
                           {"session_id", session},
                           {"cwd", std::filesystem::current_path().string()},
                           {"message", message}};
    const std::string run = localized("執行");
    const auto begun = Clock::now();
    const double begunAt = wallclock::milliseconds();
    ChildProcess process(asAgent(hook, event));
    if (!process.wait(begun + hookPatience))
        breakAt(run, localized("hook 十秒內沒有結束"));
    checkEnd(run, process);
    report(run, localized("sh -c %@", {text::visible(hook)}), process.ended() - begun);

    const std::string arrival = localized("送達");
    const auto at = arrivalOf(daemon, message);
    if (!at)
        breakAt(arrival, localized("hook 結束了，但 Tamsell 沒有收到事件"));
    // Recorded in whole milliseconds, so it may seem later than the end.
    const Milliseconds whole = process.ended() - begun;
    report(arrival, localized("Tamsell 記下了事件"),
           Milliseconds(std::clamp(*at - begunAt, 0.0, whole.count())));

    const std::string reply = localized("回覆");
    if (!process.output().empty())
        breakAt(reply, localized("應該是空的，卻是 %@", {text::visible(process.output())}));
    report(reply, localized("空的，agent 照常進行"));
}

// Set by a signal that asks this program to end, which first has to put the mode back.
volatile std::sig_atomic_t wasInterrupted = 0;

// Holds questions while it lives, as if the user were away.
class AwayForNow {
  public:
    explicit AwayForNow(const DaemonClient& daemon) : m_daemon(daemon) {
        const JSONValue snapshot = daemon.get("/state");
        const JSONValue* presence = snapshot["presence"];
        const JSONValue* away = presence ? (*presence)["away"] : nullptr;
        const JSONValue* mode = presence ? (*presence)["mode"] : nullptr;
        if ((away && away->boolean().value_or(false)) || !mode || !mode->string())
            return;
        struct sigaction action {};
        action.sa_handler = [](int) { wasInterrupted = 1; };
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            ::sigaction(signal, &action, nullptr);
        m_before = *mode->string();
        daemon.post("/mode", {{"mode", "on"}});
        output::write(localized("– 你在電腦前，所以暫時把模式切到「開啟」，問完切回「%@」",
                                {label(awayModeFrom(*m_before).value_or(AwayMode::automatic))}) +
                      "\n");
    }
    AwayForNow(const AwayForNow&) = delete;
    AwayForNow& operator=(const AwayForNow&) = delete;
    ~AwayForNow() {
        if (!m_before)
            return;
        try {
            // Not when somebody has chosen another one meanwhile.
            const JSONValue snapshot = m_daemon.get("/state");
            const JSONValue* presence = snapshot["presence"];
            const JSONValue* mode = presence ? (*presence)["mode"] : nullptr;
            if (mode && mode->string() && *mode->string() == "on")
                m_daemon.post("/mode", {{"mode", *m_before}});
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tamsellctl: %s\n", text::visible(error.what()).c_str());
        }
    }

  private:
    const DaemonClient& m_daemon;
    std::optional<std::string> m_before;
};

// Waits for the question to be held.
Question heldQuestion(const DaemonClient& daemon, std::string_view mark, ChildProcess& process) {
    const std::string hop = localized("等待");
    const auto deadline = Clock::now() + arrivalPatience;
    do {
        for (const Question& question : questionsIn(daemon.get("/state"))) {
            if (question.summary().find(mark) != std::string::npos)
                return question;
        }
        if (process.wait(Clock::now() + pollPause)) {
            checkEnd(hop, process);
            breakAt(hop, localized("問題沒有等：hook 馬上結束了"));
        }
    } while (Clock::now() < deadline && wasInterrupted == 0);
    breakAt(hop, localized("問題沒有送到 Tamsell"));
}

// "allow" or "deny" as the person types it, or nothing once the hook has ended.
std::optional<std::string> typedAnswer(ChildProcess& process, const Question& question) {
    std::string typed;
    for (;;) {
        output::write(localized("  打 a 允許，打 d 拒絕，再按 Enter："));
        while (typed.find('\n') == std::string::npos) {
            const auto left = std::chrono::milliseconds(static_cast<std::int64_t>(
                std::max(0.0, question.expiresAt - wallclock::milliseconds())));
            const bool hasEnded = process.wait(Clock::now() + left + hookPatience, STDIN_FILENO);
            if (wasInterrupted != 0)
                throw Broken(localized("中斷了"));
            pollfd ready{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
            if (hasEnded || ::poll(&ready, 1, 0) <= 0)
                return std::nullopt;
            std::array<char, 256> piece{};
            const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
            if (count <= 0 || typed.size() > maximumLine)
                throw Broken(localized("沒有讀到回答"));
            typed.append(piece.data(), static_cast<std::size_t>(count));
        }
        const std::size_t end = typed.find('\n');
        const std::string word(text::trimmed(std::string_view(typed).substr(0, end)));
        typed.erase(0, end + 1);
        if (word == "a" || word == "d")
            return word == "a" ? "allow" : "deny";
    }
}

void ask(const DaemonClient& daemon, const std::string& hook) {
    const AwayForNow away(daemon);
    const std::string mark = "tamsellctl test " + nonce();
    const JSONObject event{{"hook_event_name", "PermissionRequest"},
                           {"session_id", session},
                           {"cwd", std::filesystem::current_path().string()},
                           {"tool_name", "Bash"},
                           {"tool_input", JSONObject{{"command", "echo " + mark}}}};
    const auto begun = Clock::now();
    ChildProcess process(asAgent(hook, event));
    const Question question = heldQuestion(daemon, mark, process);
    report(
        localized("等待"),
        localized("問題 %@ 在等你（%@）", {text::visible(question.shortId()), remaining(question)}),
        Clock::now() - begun);
    output::write("  " + titleOf(question) + localized("：") + text::visible(question.summary()) +
                  localized("（只是測試，不會真的執行）") + "\n");

    const std::string hop = localized("回答");
    const auto action = typedAnswer(process, question);
    if (!action) {
        output::write("\n");
        breakAt(hop, localized("在別處回答了，或逾時了"));
    }
    const auto answered = Clock::now();
    daemon.post("/answer", {{"id", question.id}, {"action", *action}});
    if (!process.wait(answered + hookPatience))
        breakAt(hop, localized("hook 沒有拿到回答"));
    checkEnd(hop, process);
    const auto reply = JSONValue::parse(process.output());
    const JSONValue* output = reply ? (*reply)["hookSpecificOutput"] : nullptr;
    const JSONValue* decision = output ? (*output)["decision"] : nullptr;
    const JSONValue* behavior = decision ? (*decision)["behavior"] : nullptr;
    if (!behavior || !behavior->string() || *behavior->string() != *action)
        breakAt(hop, localized("agent 拿到的是 %@", {text::visible(process.output())}));
    report(hop, localized("agent 拿到 %@", {*action}), process.ended() - answered);
}

} // namespace

int test(const Context& context, const Arguments& arguments) {
    const std::string hook =
        installedHook(context, arguments.ask ? "PermissionRequest" : "Notification");
    const std::string subject = "Tamsell";
    const DaemonClient daemon(context);
    try {
        const auto health = daemon.health();
        (void)daemon.get("/state");
        report(subject, localized("%@ 有回應", {daemon.address()}), health.took);
    } catch (const DaemonError& error) {
        breakAt(subject, text::visible(error.message()));
    }
    if (arguments.ask)
        ask(daemon, hook);
    else
        walk(daemon, hook);
    output::write(localized("整條路都通") + "\n");
    return 0;
}

} // namespace ctl
