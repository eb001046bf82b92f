#include "StatusNotifierHost.h"

#include <cstdint>
#include <stdexcept>
#include <system_error>

#include <systemd/sd-bus.h>

namespace bench {

namespace {

constexpr const char* watcher = "org.kde.StatusNotifierWatcher";
constexpr const char* item = "org.kde.StatusNotifierItem";
constexpr const char* properties = "org.freedesktop.DBus.Properties";

// Qt believes in a property only when it is described.
constexpr const char* description = R"(<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface></node>)";

int checked(int result, const char* what) {
    if (result < 0)
        throw std::system_error(-result, std::system_category(), what);
    return result;
}

} // namespace

class StatusNotifierHost::Bus {
  public:
    explicit Bus(const std::string& address) {
        checked(sd_bus_new(&m_bus), "bus");
        try {
            checked(sd_bus_set_address(m_bus, address.c_str()), "address of the bus");
            checked(sd_bus_set_bus_client(m_bus, 1), "bus");
            checked(sd_bus_start(m_bus), "connection to the bus");
            checked(sd_bus_add_object(m_bus, nullptr, "/StatusNotifierWatcher", &Bus::handle, this),
                    "tray on the bus");
            checked(sd_bus_request_name(m_bus, watcher, 0), watcher);
        } catch (...) {
            sd_bus_unref(m_bus);
            throw;
        }
    }
    ~Bus() { sd_bus_flush_close_unref(m_bus); }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    std::optional<Item> registeredItem;

    void handleFor(std::chrono::microseconds patience) {
        if (checked(sd_bus_process(m_bus, nullptr), "bus") == 0)
            checked(sd_bus_wait(m_bus, static_cast<std::uint64_t>(patience.count())), "bus");
    }
    template <typename... Arguments>
    void call(const Item& to, const char* interface, const char* method, const char* types,
              Arguments... arguments) {
        checked(sd_bus_call_method(m_bus, to.owner.c_str(), "/StatusNotifierItem", interface,
                                   method, nullptr, nullptr, types, arguments...),
                method);
    }

  private:
    static int handle(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
        const auto is = [message](const char* interface, const char* method) {
            return sd_bus_message_is_method_call(message, interface, method) > 0;
        };
        if (is("org.freedesktop.DBus.Introspectable", "Introspect"))
            return sd_bus_reply_method_return(message, "s", description);
        if (is(properties, "Get"))
            return answerProperty(message);
        if (!is(watcher, "RegisterStatusNotifierItem"))
            return 0; // sd-bus says that there is no such thing.
        static_cast<Bus*>(self)->registeredItem = {.owner = sd_bus_message_get_sender(message),
                                                   .registered = std::chrono::steady_clock::now()};
        return sd_bus_reply_method_return(message, nullptr);
    }

    static int answerProperty(sd_bus_message* message) {
        const char* interface = nullptr;
        const char* name = nullptr;
        const int result = sd_bus_message_read(message, "ss", &interface, &name);
        if (result < 0)
            return result;
        if (std::string(name) == "IsStatusNotifierHostRegistered")
            return sd_bus_reply_method_return(message, "v", "b", 1);
        if (std::string(name) == "ProtocolVersion")
            return sd_bus_reply_method_return(message, "v", "i", 0);
        return 0;
    }

    sd_bus* m_bus = nullptr;
};

StatusNotifierHost::StatusNotifierHost(const std::string& bus)
    : m_bus(std::make_unique<Bus>(bus)) {}

StatusNotifierHost::~StatusNotifierHost() = default;

StatusNotifierHost::Item StatusNotifierHost::awaitItem() {
    constexpr std::chrono::seconds patience{30};
    const auto end = std::chrono::steady_clock::now() + patience;
    m_bus->registeredItem.reset();
    while (!m_bus->registeredItem) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("no icon has come to the tray");
        m_bus->handleFor(std::chrono::seconds(1));
    }
    Item result = *m_bus->registeredItem;
    m_bus->call(result, properties, "GetAll", "s", item);
    return result;
}

void StatusNotifierHost::activate(const Item& icon) {
    m_bus->call(icon, item, "Activate", "ii", 100, 0);
}

} // namespace bench
