#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace {

using namespace std::chrono_literals;
using Clients = std::vector<std::unique_ptr<Client>>;

const JSONObject awayForLong{{"mode", "on"}, {"permissionWait", 600}};
const std::string plainEvent = R"({"hook_event_name":"Notification","session_id":"plain"})";

/// Raises this process's own limit to at least that, if it may.
bool mayOpen(rlim_t descriptors) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < descriptors)
        return false;
    limit.rlim_cur = std::max(limit.rlim_cur, descriptors);
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

void ask(Clients& agents, const RunningDaemon& daemon, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        agents.push_back(std::make_unique<Client>(daemon.port()));
        ASSERT_TRUE(agents.back()->send(
            requestText("POST", "/hook", {}, permissionRequest(std::to_string(i)))));
    }
}

std::size_t openDescriptors(pid_t process) {
    std::error_code ignored;
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(process) + "/fd",
                                                      ignored);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// The processor time that a process has used, in user and in system mode.
std::chrono::duration<double> processorTime(pid_t process) {
    std::string stat = contentOf("/proc/" + std::to_string(process) + "/stat");
    stat.erase(0, stat.rfind(')') + 2);
    std::istringstream fields(stat);
    std::string skipped;
    for (int field = 3; field < 14; ++field)
        fields >> skipped;
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return std::chrono::duration<double>((user + system) /
                                         static_cast<double>(::sysconf(_SC_CLK_TCK)));
}

} // namespace

TEST(Load, ManyHeldAtOnceGetEachItsOwnReply) {
    constexpr std::size_t count = 300;
    const RunningDaemon daemon(awayForLong);
    Clients agents;
    ask(agents, daemon, count);
    JSONArray pending = daemon.pending(count);
    ASSERT_EQ(pending.size(), count);
    std::ranges::reverse(pending);
    for (const JSONValue& item : pending)
        ASSERT_EQ(daemon
                      .answer(item, {{"action", "deny"},
                                     {"message", "no, " + *item["sessionId"]->string()}})
                      .body,
                  R"({"ok":true})");
    for (std::size_t i = 0; i < count; ++i) {
        const JSONValue reply = agents[i]->response().json();
        ASSERT_TRUE(reply["hookSpecificOutput"]) << i;
        EXPECT_EQ(*(*(*reply["hookSpecificOutput"])["decision"])["message"],
                  JSONValue("no, " + std::to_string(i)));
    }
    EXPECT_TRUE(daemon.pending(0).empty());
}

TEST(Load, ThousandsHeldStandInNobodysWay) {
    constexpr std::size_t count = 5000;
    if (!mayOpen(count + 200))
        GTEST_SKIP() << "each side needs " << count + 200 << " descriptors (see ulimit -Hn)";
    const RunningDaemon daemon(awayForLong);
    Clients agents;
    ask(agents, daemon, count);
    const JSONArray pending = daemon.pending(count);
    ASSERT_EQ(pending.size(), count);
    EXPECT_EQ(daemon.event(plainEvent).statusLine, "HTTP/1.1 200 OK");

    const std::size_t answered = std::stoul(*pending[count / 2]["sessionId"]->string());
    (void)daemon.answer(pending[count / 2], {{"action", "allow"}});
    EXPECT_NE(agents[answered]->response().body, "");
    agents.clear();
    EXPECT_TRUE(daemon.pending(0).empty());
    EXPECT_EQ(daemon.event(plainEvent).statusLine, "HTTP/1.1 200 OK");
}

TEST(Load, WithoutDescriptorsTheDaemonWaitsForSome) {
    constexpr std::size_t limit = 64;
    RunningDaemon daemon({{"mode", "off"}}, RunningDaemon::Port::any, limit);
    const pid_t id = daemon.process().id();
    const std::string token = daemon.tokenHeader();
    Clients idle;
    for (std::size_t i = 0; i < 2 * limit; ++i)
        idle.push_back(std::make_unique<Client>(daemon.port()));
    ASSERT_TRUE(until([&] { return openDescriptors(id) == limit; })) << openDescriptors(id);

    const auto before = processorTime(id);
    EXPECT_FALSE(until([&] { return !daemon.process().isRunning(); }, 1s));
    // Ten attempts cost nothing to speak of, and one without a pause takes all that it can get.
    EXPECT_LT(processorTime(id) - before, 100ms);

    // Those that it has are served. Its settings cannot be saved then, but count.
    idle.front()->send(requestText("POST", "/mode", token, R"({"mode":"on"})"));
    EXPECT_EQ(idle.front()->response().statusLine, "HTTP/1.1 200 OK");
    EXPECT_NE(daemon.process().output().find("cannot save config: "), std::string::npos)
        << daemon.process().output();

    idle.clear();
    Client agent(daemon.port());
    agent.send(requestText("POST", "/hook", {}, permissionRequest("asking")));
    EXPECT_EQ(daemon.pending(1).size(), 1U);
}
