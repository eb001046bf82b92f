#include "Peers.h"

#include "Loopback.h"

namespace bench {

namespace {

PeerServer started(std::uint16_t port, const Command& command) {
    PeerServer server{port, Process(command)};
    loopback::waitForListener(port);
    return server;
}

std::string nginxConfiguration(std::uint16_t port, const std::string& directory) {
    return "daemon off; master_process off; error_log /dev/null; pid " + directory +
           "/nginx.pid;\n"
           "events { worker_connections 512; }\n"
           "http { access_log off; client_body_temp_path " +
           directory + "/body; server { listen 127.0.0.1:" + std::to_string(port) +
           "; location / { return 200; } } }\n";
}

} // namespace

PeerServer startBareServer() {
    const std::uint16_t port = loopback::freePort();
    return started(port, {.arguments = {TAMSELL_BENCH_BIN "/bare-server", std::to_string(port)}});
}

std::unique_ptr<PeerServer> startNodeServer() {
    const auto node = findProgram("node");
    if (!node)
        return nullptr;
    const std::uint16_t port = loopback::freePort();
    return std::make_unique<PeerServer>(started(
        port, {.arguments = {*node, TAMSELL_BENCH_PEERS "/server.js", std::to_string(port)}}));
}

std::unique_ptr<PeerServer> startNginx(const ScratchDirectory& directory) {
    const auto nginx = findProgram("nginx");
    if (!nginx)
        return nullptr;
    const std::uint16_t port = loopback::freePort();
    const auto file =
        directory.write("nginx.conf", nginxConfiguration(port, directory.path().string()));
    return std::make_unique<PeerServer>(started(
        port, {.arguments = {*nginx, "-p", directory.path(), "-c", file, "-e", "/dev/null"}}));
}

} // namespace bench
