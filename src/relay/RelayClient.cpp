#include "relay/RelayClient.h"

void RelayClient::update(const std::optional<RelayConfig>& /*relay*/) {}

JSONValue RelayClient::status() const {
    JSONObject result{
        {"configured", false}, {"connected", m_connected}, {"phones", 0}, {"devices", 0}};
    if (m_lastPush)
        result.set("lastPush", *m_lastPush);
    return result;
}

void RelayClient::schedulePush() {}

void RelayClient::broadcast(std::string_view /*kind*/, const JSONObject& /*payload*/) {}

void RelayClient::clear(const std::vector<std::string>& /*targets*/) {}

std::optional<RelayClient::LiveInvite> RelayClient::makeInvite() {
    return std::nullopt;
}

bool RelayClient::inviteIsLive(const LiveInvite& /*invite*/) const {
    return false;
}
