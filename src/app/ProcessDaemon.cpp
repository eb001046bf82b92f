#include "app/ProcessDaemon.h"

#include "platform/IdleSources.h"
#include "platform/QtWebSocketTask.h"

ProcessDaemon::ProcessDaemon()
    : m_locations(Locations::from(processEnvironment, homeDirectory())),
      m_bundle(Bundle::ofThisProcess()),
      m_idleTime(idleSourcesOfSystem(processEnvironment)),
      m_statusFile(m_locations.statusFile),
      m_daemon(environment()) {
    m_idleTime.onSourceChanged([this](const std::string& name) {
        m_statusFile.set("idleSource", name);
        logging::writeToStandardOutput("tamsell: idle time from " +
                                       (name.empty() ? std::string("no source") : name));
    });
    QObject::connect(&m_daemon, &Daemon::changed, &m_daemon, [this] {
        const auto port = m_daemon.port();
        m_statusFile.set("port", port ? JSONValue(*port) : JSONValue());
    });
}

Daemon::Environment ProcessDaemon::environment() {
    const auto idleSeconds = [this] {
        return std::chrono::duration<double>(m_idleTime.sinceLastInput()).count();
    };
    return {
        .locations = m_locations,
        .idleSeconds = idleSeconds,
        .relay = std::make_unique<RelayClient>(RelayClient::Environment{
            QtWebSocketTask::opener(m_scheduler,
                                    QtWebSocketTask::Options::from(processEnvironment)),
            m_scheduler}),
        .page = m_bundle.resource("app.html"),
        .bundledHook = m_bundle.auxiliaryExecutable("tamsell-hook"),
        .selfCheck = {
            .stuckIdleSources = [this] { return m_idleTime.stuckSources(); },
            .note = [this](const JSONObject& all) { return m_statusFile.set("troubles", all); }}};
}
