#include "relayd/Metrics.h"

#include <string_view>

namespace {

class Page {
  public:
    void add(std::string_view name, std::string_view type, std::string_view help,
             std::uint64_t value) {
        begin(name, type, help);
        line(name, {}, value);
    }

    void begin(std::string_view name, std::string_view type, std::string_view help) {
        m_text.append("# HELP tamsell_relay_").append(name).append(" ").append(help);
        m_text.append("\n# TYPE tamsell_relay_").append(name).append(" ").append(type).append("\n");
    }

    void line(std::string_view name, std::string_view labels, std::uint64_t value) {
        m_text.append("tamsell_relay_").append(name).append(labels);
        m_text.append(" ").append(std::to_string(value)).append("\n");
    }

    [[nodiscard]] std::string take() { return std::move(m_text); }

  private:
    std::string m_text;
};

} // namespace

std::string Metrics::text() const {
    Page page;
    page.add("connections", "gauge", "Open connections.", connections);
    page.begin("parties", "gauge", "Admitted connections by what they are.");
    page.line("parties", R"({role="computer"})", computers);
    page.line("parties", R"({role="phone"})", phones);
    page.line("parties", R"({role="pairing"})", pairing);
    page.add("channels", "gauge", "Channels with somebody connected.", channels);
    page.add("unsent_bytes", "gauge", "Bytes that wait to be sent.", unsentBytes);
    page.add("received_in_part_bytes", "gauge", "Bytes of frames whose end has not come.",
             receivedInPartBytes);
    page.add("connections_total", "counter", "Connections accepted.", connectionsTotal);
    page.begin("frames_total", "counter", "Frames by direction.");
    page.line("frames_total", R"({direction="from_computer"})", framesFromComputers);
    page.line("frames_total", R"({direction="from_phone"})", framesFromPhones);
    page.line("frames_total", R"({direction="to_computer"})", framesToComputers);
    page.line("frames_total", R"({direction="to_phone"})", framesToPhones);
    page.add("received_bytes_total", "counter", "Bytes of frames received.", bytesReceived);
    page.add("sent_bytes_total", "counter", "Bytes of frames sent.", bytesSent);
    page.add("frames_too_long_total", "counter", "Frames thrown away for their length.",
             framesTooLong);
    page.add("slow_readers_total", "counter", "Connections closed for not reading.", slowReaders);
    page.add("channels_registered_total", "counter", "Channels registered.", channelsRegistered);
    page.add("devices_added_total", "counter", "Phones added.", devicesAdded);
    page.add("store_failures_total", "counter", "Failures of the database.", storeFailures);
    page.begin("refused_total", "counter", "Handshakes and requests refused, by status.");
    page.line("refused_total", R"({status="400"})", refusedBadRequest);
    page.line("refused_total", R"({status="401"})", refusedUnauthorized);
    page.line("refused_total", R"({status="429"})", refusedTooMany);
    page.line("refused_total", R"({status="503"})", refusedUnavailable);
    return page.take();
}
