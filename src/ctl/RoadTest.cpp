// Walks the road that an agent's event takes, hop by hop, with the hook that is installed.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>

#include <poll.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "crypto/Random.h"
#include "ctl/AwayForNow.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Finding.h"
#include "ctl/Output.h"
#include "ctl/PushOutcome.h"
#include "ctl/Question.h"
#include "ctl/Shown.h"
#include "platform/ChildProcess.h"

namespace ctl {

namespace {

using Clock = ChildProcess::Clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// One session for all tests, so that they do not fill the list of sessions.
constexpr std::string_view session = "tamsellctl-test";
// The hook itself gives up after two seconds what need not wait.
constexpr std::chrono::seconds hookPatience{10};
constexpr std::chrono::seconds arrivalPatience{5};
constexpr std::chrono::milliseconds pollPause{20};
// Longer than any question is held.
constexpr Milliseconds longestWait = std::chrono::hours(24);
// What may be read of an answer from the terminal.
constexpr std::size_t maximumLine = 4096;

void report(const std::string& hop, const std::string& text,
            std::optional<Milliseconds> took = std::nullopt) {
    std::array<char, 32> time{};
    if (took)
        std::snprintf(time.data(), time.size(), "  %.1f ms", took->count());
    output::write(lineOf({Finding::Level::good, hop, text + time.data(), ""}) + "\n");
}

void note(const std::string& hop, const std::string& text) {
    output::write(lineOf({Finding::Level::notice, hop, text, ""}) + "\n");
}

[[noreturn]] void failAt(const std::string& hop, const std::string& text) {
    output::write(lineOf({Finding::Level::problem, hop, text, ""}) + "\n");
    throw DaemonError(localized("測試停在「%@」：%@", {hop, text}));
}

// The command that an agent would run for the event: ours as it is now, else an older one.
std::string installedHook(const Context& context, std::string_view event) {
    const std::string hop = localized("設定檔");
    const Locations& at = context.locations;
    for (const auto& [file, current] : {std::pair(at.claudeSettings, context.hooks.claudeCommand()),
                                        std::pair(at.codexHooks, context.hooks.codexCommand())}) {
        try {
            // Codex has no notifications; whichever of its entries there is runs the same program.
            const JSONObject content = Hooks::readAgentFile(file);
            auto commands = Hooks::ourCommands(content, event);
            if (commands.empty() && file == at.codexHooks)
                commands = Hooks::ourCommands(content, "PreToolUse");
            if (commands.empty())
                continue;
            report(hop, localized("%@ 有 %@ 的 hook", {shown(file), std::string(event)}));
            const bool hasCurrent = std::ranges::find(commands, current) != commands.end();
            return hasCurrent ? current : commands.front();
        } catch (const std::exception& error) {
            failAt(hop, text::visible(error.what()));
        }
    }
    failAt(hop, localized("%@ 裡沒有 Tamsell 的 hook；先執行 tamsellctl hooks install",
                          {shown(at.claudeSettings)}));
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
        failAt(hop, localized("hook 被訊號中斷") + said);
    if (*code != 0)
        failAt(hop, localized("hook 的結束碼是 %lld", {static_cast<double>(*code)}) + said);
}

// The time of the event that the daemon recorded with that text, in milliseconds since 1970.
std::optional<double> arrivalOf(const DaemonClient& daemon, std::string_view message) {
    const JSONValue snapshot = daemon.get("/state");
    for (const JSONValue& event : json::arrayOf(snapshot, "recent")) {
        const std::string* summary = json::textOf(event, "summary");
        if (summary && *summary == message)
            return json::member(event, "at").number();
    }
    return std::nullopt;
}

void testHook(const DaemonClient& daemon, const std::string& hook) {
    const std::string message = "tamsellctl test " + nonce();
    const JSONObject event{{"hook_event_name", "Notification"},
                           {"session_id", session},
                           {"cwd", text::repaired(std::filesystem::current_path().string())},
                           {"message", message}};
    const std::string run = localized("執行");
    const auto begun = Clock::now();
    const double begunAt = wallclock::milliseconds();
    ChildProcess process(asAgent(hook, event));
    if (!process.wait(begun + hookPatience))
        failAt(run, localized("hook 十秒內沒有結束"));
    checkEnd(run, process);
    report(run, "sh -c " + text::visible(hook), process.ended() - begun);

    const std::string arrival = localized("送達");
    const auto at = arrivalOf(daemon, message);
    if (!at)
        failAt(arrival, localized("hook 結束了，但 Tamsell 沒有收到事件"));
    // Recorded in whole milliseconds, so it may seem later than the end.
    const Milliseconds whole = process.ended() - begun;
    report(arrival, localized("Tamsell 記下了事件"),
           Milliseconds(std::clamp(*at - begunAt, 0.0, whole.count())));

    const std::string reply = localized("回覆");
    if (!process.output().empty())
        failAt(reply, localized("應該是空的，卻是 %@", {text::visible(process.output())}));
    report(reply, localized("空的，agent 照常進行"));
}

void stopIfInterrupted() {
    if (AwayForNow::wasInterrupted())
        throw DaemonError(localized("中斷了"));
}

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
            failAt(hop, localized("問題沒有被保留：hook 馬上結束了"));
        }
    } while (Clock::now() < deadline && !AwayForNow::wasInterrupted());
    stopIfInterrupted();
    failAt(hop, localized("問題沒有送到 Tamsell"));
}

// What the person types, or nothing once the hook has ended.
std::optional<Action> typedAnswer(ChildProcess& process, const Question& question) {
    std::string typed;
    for (;;) {
        output::write(localized("  輸入 a 允許、d 拒絕，再按 Enter："));
        while (typed.find('\n') == std::string::npos) {
            const auto left = std::chrono::milliseconds(static_cast<std::int64_t>(std::clamp(
                question.expiresAt - wallclock::milliseconds(), 0.0, longestWait.count())));
            const bool hasEnded = process.wait(Clock::now() + left + hookPatience, STDIN_FILENO);
            stopIfInterrupted();
            pollfd ready{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
            if (hasEnded || ::poll(&ready, 1, 0) <= 0)
                return std::nullopt;
            std::array<char, 256> piece{};
            const ssize_t count = ::read(STDIN_FILENO, piece.data(), piece.size());
            if (count <= 0 || typed.size() > maximumLine)
                throw DaemonError(localized("沒有讀到回答"));
            typed.append(piece.data(), static_cast<std::size_t>(count));
        }
        const std::size_t end = typed.find('\n');
        const std::string word(text::trimmed(std::string_view(typed).substr(0, end)));
        typed.erase(0, end + 1);
        if (word == "a" || word == "d")
            return word == "a" ? Action::allow : Action::deny;
    }
}

void ask(const DaemonClient& daemon, const std::string& hook) {
    const AwayForNow away(daemon);
    if (away.before())
        output::write(localized("– 你在電腦前，所以暫時把模式切到「開啟」，問完切回「%@」",
                                {label(*away.before())}) +
                      "\n");
    const std::string mark = "tamsellctl test " + nonce();
    const JSONObject event{{"hook_event_name", "PermissionRequest"},
                           {"session_id", session},
                           {"cwd", text::repaired(std::filesystem::current_path().string())},
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
        failAt(hop, localized("已在別處回答，或逾時了"));
    }
    const auto answered = Clock::now();
    daemon.post("/answer", answerTo(question, *action));
    if (!process.wait(answered + hookPatience)) {
        stopIfInterrupted();
        failAt(hop, localized("hook 沒有收到回答"));
    }
    checkEnd(hop, process);
    const JSONValue reply = JSONValue::parse(process.output()).value_or(JSONValue());
    const std::string expected = *action == Action::allow ? "allow" : "deny";
    const std::string* behavior = json::textOf(
        json::member(json::member(reply, "hookSpecificOutput"), "decision"), "behavior");
    if (!behavior || *behavior != expected)
        failAt(hop, localized("agent 收到的是 %@", {text::visible(process.output())}));
    report(hop, localized("agent 收到 %@", {expected}), process.ended() - answered);
}

enum class RelayTest {
    connection,
    push ///< sends the phones a notification, which the relay reports on
};

// The last hop: from Tamsell to the phones' relay.
void testRelay(const DaemonClient& daemon, RelayTest kind) {
    const std::string hop = localized("中繼");
    const JSONValue snapshot = daemon.get("/state");
    const JSONValue& relay = json::member(snapshot, "relay");
    if (!json::isTrue(relay, "configured")) {
        note(hop, localized("還沒設定，略過"));
        return;
    }
    if (!json::isTrue(relay, "connected"))
        failAt(hop, localized("還沒連上中繼；用 tamsellctl doctor 查看"));
    report(hop, localized("已連線"));
    if (kind == RelayTest::connection)
        return;
    const std::string push = localized("推播");
    const double begunAt = wallclock::milliseconds();
    const PushOutcome outcome = sendTestPush(daemon);
    if (!outcome.report)
        failAt(push, outcome.text);
    const std::string answer = localized("中繼有回應，%@", {outcome.text});
    if (outcome.isDelivered)
        report(push, answer, Milliseconds(std::max(outcome.report->at - begunAt, 0.0)));
    else
        note(push, answer);
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
        failAt(subject, text::visible(error.message()));
    }
    if (arguments.ask)
        ask(daemon, hook);
    else
        testHook(daemon, hook);
    // A question is notified to the phones by itself.
    testRelay(daemon, arguments.ask ? RelayTest::connection : RelayTest::push);
    output::write(localized("整個流程都正常") + "\n");
    return 0;
}

} // namespace ctl
