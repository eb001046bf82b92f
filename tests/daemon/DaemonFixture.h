#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/AtomicFile.h"
#include "daemon/Daemon.h"
#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "support/RawSocket.h"
#include "support/TemporaryDirectory.h"

/// A carrier to the phones that writes down what it is asked for.
class RecordingRelay final : public RelayClient {
  public:
    RecordingRelay(std::vector<std::string>& calls, Scheduler& scheduler)
        : RelayClient({{}, scheduler}), m_calls(calls) {}

    void update(const std::optional<RelayConfig>& relay) override {
        m_calls.push_back(relay ? "update " + relay->url : "update nothing");
    }
    void schedulePush() override { m_calls.emplace_back("push"); }
    void broadcast(std::string_view kind, const JSONObject& payload) override {
        m_calls.push_back("broadcast " + std::string(kind) + " " + *payload.find("kind")->string());
    }
    void clear(const std::vector<std::string>& targets) override {
        m_calls.push_back("clear " + std::to_string(targets.size()));
        cleared = targets;
    }
    std::optional<LiveInvite> makeInvite() override {
        if (!invites)
            return std::nullopt;
        LiveInvite invite;
        invite.invite.channel = "channel" + std::to_string(++made);
        invite.invite.relayURL = "https://relay.example/";
        invite.expires = std::chrono::system_clock::now() + lifetime;
        return invite;
    }
    bool inviteIsLive(const LiveInvite& /*invite*/) const override { return live; }
    void report(const JSONValue& lastPush) { m_lastPush = lastPush; }
    void setOnline(const std::set<std::string>& devices) { m_online = devices; }

    std::vector<std::string> cleared;
    bool invites = true;
    bool live = true;
    int made = 0;
    std::chrono::seconds lifetime{600};

  private:
    std::vector<std::string>& m_calls;
};

/// A started daemon in a home of its own, asked over real connections.
class DaemonFixture : public testing::Test {
  protected:
    /// What came back for one request; empty status while nothing has.
    struct Response {
        int status = 0;
        std::string contentType;
        std::string body;

        [[nodiscard]] JSONValue json() const {
            return JSONValue::parse(body).value_or(JSONValue("not JSON"));
        }
    };

    void writeConfig(const JSONObject& settings) {
        JSONObject whole{{"port", 0}, {"token", "secret"}, {"mode", "off"}};
        for (const auto& [key, value] : settings)
            whole.set(key, value);
        atomicfile::write(m_home.path() / "config.json", json::pretty(whole));
    }

    /// Starts the daemon, and waits until it listens or has failed.
    void start(const JSONObject& settings = {}) {
        writeConfig(settings);
        m_variables["TAMSELL_HOME"] = m_home.path().string();
        const EnvironmentLookup lookup = [this](const char* name) -> std::optional<std::string> {
            const auto found = m_variables.find(name);
            return found == m_variables.end() ? std::nullopt : std::optional(found->second);
        };
        auto relay = std::make_unique<RecordingRelay>(m_calls, m_scheduler);
        m_relay = relay.get();
        m_daemon = std::make_unique<Daemon>(Daemon::Environment{
            .locations = Locations::from(lookup, m_home.path()),
            .variables = lookup,
            .log = [this](const LogMessage& message) { m_log.emplace_back(message.text); },
            .idleSeconds =
                [this] {
                    ++m_idleReadings;
                    return m_idleSeconds;
                },
            .relay = std::move(relay),
            .page = m_home.path() / "app.html",
            .bundledHook = m_home.path() / "bundled-hook"});
        m_daemon->start();
        ASSERT_TRUE(eventually(
            [this] { return m_daemon->serverState().phase != ServerState::Phase::starting; }));
    }

    [[nodiscard]] std::unique_ptr<RawSocket> send(const std::string& request) const {
        auto socket = std::make_unique<RawSocket>(m_daemon->port().value());
        socket->send(request);
        return socket;
    }

    [[nodiscard]] static std::string
    requestText(const std::string& method, const std::string& target, const std::string& body,
                const std::string& headers = "x-token: secret\r\n") {
        return method + " " + target + " HTTP/1.1\r\n" + headers +
               "content-length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    [[nodiscard]] std::unique_ptr<RawSocket> sendHook(const JSONObject& body) const {
        return send(requestText("POST", "/hook", json::compact(body).value(), ""));
    }

    [[nodiscard]] static Response responseOn(RawSocket& socket) {
        Response response;
        EXPECT_TRUE(eventually([&] { return socket.hasEnded(); }));
        const std::string& text = socket.receive();
        const std::size_t end = text.find("\r\n\r\n");
        if (end == std::string::npos)
            return response;
        response.status = std::stoi(text.substr(9, 3));
        const std::size_t type = text.find("content-type: ") + 14;
        response.contentType = text.substr(type, text.find("\r\n", type) - type);
        response.body = text.substr(end + 4);
        return response;
    }

    [[nodiscard]] Response ask(const std::string& method, const std::string& target,
                               const std::string& body = "",
                               const std::string& headers = "x-token: secret\r\n") const {
        return responseOn(*send(requestText(method, target, body, headers)));
    }

    /// Sends an event that is held; returns its open connection once it waits.
    [[nodiscard]] std::unique_ptr<RawSocket> holdHook(const JSONObject& body) {
        const std::size_t before = m_daemon->pending().size();
        auto socket = sendHook(body);
        EXPECT_TRUE(eventually([&] { return m_daemon->pending().size() > before; }));
        return socket;
    }

    [[nodiscard]] JSONObject savedConfig() const {
        return *JSONValue::parse(contentOf(m_home.path() / "config.json")).value().object();
    }

    /// Moves the file's date on, as an edit a moment later would.
    void editConfig(const JSONObject& settings) {
        writeConfig(settings);
        const auto file = m_home.path() / "config.json";
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) +
                                                   std::chrono::seconds(++m_edits));
    }

    [[nodiscard]] auto callsOf(std::string_view beginning) const {
        return std::ranges::count_if(m_calls,
                                     [&](const auto& call) { return call.starts_with(beginning); });
    }

    TemporaryDirectory m_home;
    std::map<std::string, std::string, std::less<>> m_variables;
    std::vector<std::string> m_calls;
    std::vector<std::string> m_log;
    double m_idleSeconds = 0;
    int m_idleReadings = 0;
    int m_edits = 0;
    FakeScheduler m_scheduler;
    RecordingRelay* m_relay = nullptr;
    std::unique_ptr<Daemon> m_daemon;
};
