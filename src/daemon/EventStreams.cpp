#include "daemon/EventStreams.h"

namespace {

constexpr std::chrono::seconds pingInterval{20};

} // namespace

void EventStreams::add(const std::shared_ptr<HTTPConnection>& connection,
                       std::shared_ptr<const std::string> firstRecord) {
    connection->startEventStream();
    connection->sendState(std::move(firstRecord));
    if (!connection->isOpen())
        return;
    HTTPConnection* identity = connection.get();
    auto ping = std::make_unique<QTimer>();
    ping->setTimerType(Qt::PreciseTimer);
    QObject::connect(ping.get(), &QTimer::timeout, ping.get(),
                     [identity] { identity->keepAlive(": ping\n\n"); });
    ping->start(pingInterval);
    m_streams.emplace(identity, Stream{connection, std::move(ping)});
    connection->addCloseHandler([identity, self = std::weak_ptr(m_self)] {
        if (const auto alive = self.lock())
            (*alive)->m_streams.erase(identity);
    });
}

void EventStreams::broadcast(const std::shared_ptr<const std::string>& record) {
    for (const auto& [identity, stream] : m_streams)
        stream.connection->sendState(record);
}
