#include "platform/IdleSourceKinds.h"

#include <cstdint>

#include <systemd/sd-bus.h>

#include "platform/IdleBus.h"
#include "platform/IdleUnit.h"

namespace {

// The draft and KDE differ in the path too.
constexpr const char* paths[] = {"/org/freedesktop/ScreenSaver", "/ScreenSaver"};

class ScreenSaverIdleSource final : public IdleSource {
  public:
    ScreenSaverIdleSource(std::shared_ptr<IdleBus> bus, idle::SteadyClock now)
        : m_bus(std::move(bus)), m_now(std::move(now)) {}

    [[nodiscard]] std::string_view name() const override { return "org.freedesktop.ScreenSaver"; }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        const auto deadline = std::chrono::steady_clock::now() + idle::callBound;
        for (const char* path : paths) {
            const auto reply = m_bus->call({"org.freedesktop.ScreenSaver", path,
                                            "org.freedesktop.ScreenSaver", "GetSessionIdleTime"},
                                           deadline);
            std::uint32_t count = 0;
            if (reply && sd_bus_message_read_basic(reply.get(), SD_BUS_TYPE_UINT32, &count) > 0)
                return m_unit.duration(count, m_now());
        }
        m_unit = IdleUnit();
        return std::nullopt;
    }

  private:
    std::shared_ptr<IdleBus> m_bus;
    idle::SteadyClock m_now;
    IdleUnit m_unit;
};

} // namespace

std::unique_ptr<IdleSource> idle::screenSaverIdleSource(std::shared_ptr<IdleBus> sessionBus,
                                                        SteadyClock now) {
    return std::make_unique<ScreenSaverIdleSource>(std::move(sessionBus), std::move(now));
}
