#include "platform/IdleSourceKinds.h"

#include <cstdint>
#include <limits>

#include <systemd/sd-bus.h>

#include "platform/IdleBus.h"

namespace {

class MutterIdleSource final : public IdleSource {
  public:
    explicit MutterIdleSource(std::shared_ptr<IdleBus> bus) : m_bus(std::move(bus)) {}

    [[nodiscard]] std::string_view name() const override { return "GNOME Mutter"; }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        const auto reply =
            m_bus->call({"org.gnome.Mutter.IdleMonitor", "/org/gnome/Mutter/IdleMonitor/Core",
                         "org.gnome.Mutter.IdleMonitor", "GetIdletime"},
                        std::chrono::steady_clock::now() + idle::callBound);
        std::uint64_t milliseconds = 0;
        if (!reply ||
            sd_bus_message_read_basic(reply.get(), SD_BUS_TYPE_UINT64, &milliseconds) <= 0)
            return std::nullopt;
        // Room for what is counted on from it.
        constexpr std::uint64_t largest = std::numeric_limits<std::int32_t>::max() * 1000ull;
        if (milliseconds > largest)
            return std::nullopt;
        return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
    }

  private:
    std::shared_ptr<IdleBus> m_bus;
};

} // namespace

std::unique_ptr<IdleSource> idle::mutterIdleSource(std::shared_ptr<IdleBus> sessionBus) {
    return std::make_unique<MutterIdleSource>(std::move(sessionBus));
}
