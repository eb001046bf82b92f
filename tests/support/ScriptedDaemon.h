#pragma once

#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "core/JSONValue.h"
#include "support/FakeDaemon.h"

/// A listener that gives every caller the reply that a function makes of the request, in a thread
/// of its own. What the function uses is guarded by the test.
class ScriptedDaemon {
  public:
    using Script = std::function<std::string(const std::string& request)>;

    explicit ScriptedDaemon(Script script)
        : m_thread([this, script = std::move(script)](const std::stop_token& stop) {
              while (!stop.stop_requested()) {
                  const Descriptor connection = m_daemon.accept();
                  if (connection.isValid() && !stop.stop_requested())
                      send(connection, script(requestOf(connection)));
              }
          }) {}
    ~ScriptedDaemon() {
        m_thread.request_stop();
        (void)m_daemon.call(); // Ends its waiting.
    }
    ScriptedDaemon(const ScriptedDaemon&) = delete;
    ScriptedDaemon& operator=(const ScriptedDaemon&) = delete;

    [[nodiscard]] const TemporaryDirectory& home() const { return m_daemon.home; }
    [[nodiscard]] std::uint16_t port() const { return m_daemon.port(); }

    /// Whether a request is of that kind: "GET /state".
    [[nodiscard]] static bool asks(const std::string& request, std::string_view what) {
        return request.starts_with(std::string(what) + " ");
    }
    [[nodiscard]] static std::string reply(const JSONValue& value) {
        return okReply(json::compact(value).value());
    }

  private:
    FakeDaemon m_daemon;
    std::jthread m_thread;
};
