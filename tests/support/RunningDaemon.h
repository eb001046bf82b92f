#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "support/Client.h"
#include "support/Process.h"
#include "support/TemporaryDirectory.h"

/// The real daemon in a home of its own, listening. The destructor asks it to end and fails the
/// test when it does not end well.
class RunningDaemon {
  public:
    enum class Port {
        any,           ///< the system's choice; nobody finds it in the configuration
        inTheSettings, ///< a free one below those that the system hands out
    };

    /// @param settings what config.json holds beside the port
    /// @throws std::runtime_error when it does not get to listen
    explicit RunningDaemon(JSONObject settings = {}, Port port = Port::any,
                           rlim_t descriptorLimit = 0);
    ~RunningDaemon();
    RunningDaemon(const RunningDaemon&) = delete;
    RunningDaemon& operator=(const RunningDaemon&) = delete;

    [[nodiscard]] std::uint16_t port() const { return m_port; }
    [[nodiscard]] Process& process() { return *m_process; }
    [[nodiscard]] const TemporaryDirectory& home() const { return m_home; }
    /// The access token that config.json holds now.
    [[nodiscard]] std::string token() const;
    /// The header line with it.
    [[nodiscard]] std::string tokenHeader() const { return "x-token: " + token() + "\r\n"; }

    [[nodiscard]] Response get(std::string_view target) const;
    Response post(std::string_view target, const JSONValue& body) const;
    /// What an agent's event is answered with.
    Response event(std::string_view body) const;
    [[nodiscard]] JSONValue state() const { return get("/state").json(); }
    /// The waiting items, once there are so many; however many there are when it takes too long.
    [[nodiscard]] JSONArray pending(std::size_t count) const;
    Response answer(const JSONValue& item, JSONObject answer) const;

    /// Begins it anew with the port that it has, after it has ended.
    void restart();
    /// Begins another one in the same home.
    [[nodiscard]] std::unique_ptr<Process> startAnother() const;
    /// What an agent of that name gets that runs the real hook on an event.
    [[nodiscard]] std::unique_ptr<Process> runHook(std::string_view agent,
                                                   std::string_view event) const;
    /// The command line by which that agent shows itself.
    [[nodiscard]] static std::string agentCommandLine(std::string_view agent);

  private:
    [[nodiscard]] std::unique_ptr<Process> launch(rlim_t descriptorLimit) const;

    TemporaryDirectory m_home;
    std::unique_ptr<Process> m_process;
    std::uint16_t m_port = 0;
};

/// A permission request of one's own.
[[nodiscard]] std::string permissionRequest(std::string_view session);
