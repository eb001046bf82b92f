#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ChildProcess.h"

/// A message bus of its own, run by dbus-daemon, that is able to start Mutter's service (by making
/// a file).
class PrivateBus {
  public:
    PrivateBus();

    [[nodiscard]] const std::string& address() const { return m_address; }
    /// Whether a service was started because somebody called it.
    [[nodiscard]] bool hasStartedService() const;
    void stop() { m_daemon.reset(); }
    void start();

  private:
    TemporaryDirectory m_directory;
    std::string m_address;
    std::unique_ptr<ChildProcess> m_daemon;
};

struct LoginSession {
    std::uint32_t userId = 0;
    const char* type = "tty";
    const char* sessionClass = "user";
    const char* state = "active";
    int isRemote = 0;
    int isIdle = 0;
    /// Microseconds since 1970.
    std::uint64_t idleSince = 0;
};

/// What the fake service says, and what it saw.
struct ServiceState {
    std::atomic<std::uint64_t> idleTime = 0;
    std::atomic<bool> isSilent = false;
    std::atomic<int> calls = 0;
    std::atomic<int> sessionCount = 0;
    std::array<LoginSession, 8> sessions;
};

enum class ServiceKind { mutter, screenSaver, oldScreenSaver, login };

/// A service in a process of its own, with the methods and signatures of the real one.
class FakeService {
  public:
    /// Returns once it has its name on the bus.
    FakeService(const PrivateBus& bus, ServiceKind kind);

    Shared<ServiceState> state;

  private:
    std::unique_ptr<ChildProcess> m_process;
};
