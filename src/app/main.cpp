#include <cstdio>
#include <exception>

#include <QCoreApplication>

#include "app/Options.h"
#include "daemon/Daemon.h"
#include "daemon/StatusFile.h"
#include "platform/Bundle.h"
#include "platform/CoreDumps.h"
#include "platform/DescriptorLimit.h"
#include "platform/IdleSources.h"
#include "platform/IdleTime.h"
#include "platform/QtScheduler.h"
#include "platform/QtWebSocketTask.h"
#include "platform/TerminationSignals.h"

namespace {

constexpr const char* usage = "usage: tamsell [--headless] [--help] [--version]\n"
                              "  --headless  run the daemon alone, without an interface\n";

int runDaemon(int argc, char* argv[]) {
    // GLib's event loop brings nothing here and costs memory. Programs started from here are not
    // to be told.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    qunsetenv("QT_NO_GLIB");
    QCoreApplication::setApplicationName(QStringLiteral("tamsell"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TAMSELL_VERSION));

    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &application,
                     [] { QCoreApplication::quit(); });

    const Locations locations = Locations::from(processEnvironment, homeDirectory());
    IdleTime idleTime(idleSourcesOfSystem(processEnvironment));
    StatusFile statusFile(locations.statusFile);
    idleTime.onSourceChanged([&](const std::string& name) {
        statusFile.set("idleSource", name);
        logging::writeToStandardOutput("tamsell: idle time from " +
                                       (name.empty() ? std::string("no source") : name));
    });
    const auto idleSeconds = [&] {
        return std::chrono::duration<double>(idleTime.sinceLastInput()).count();
    };

    QtScheduler scheduler;
    auto relay = std::make_unique<RelayClient>(RelayClient::Environment{
        QtWebSocketTask::opener(scheduler, QtWebSocketTask::Options::from(processEnvironment)),
        scheduler});

    const Bundle bundle = Bundle::ofThisProcess();
    Daemon daemon(
        {.locations = locations,
         .idleSeconds = idleSeconds,
         .relay = std::move(relay),
         .page = bundle.resource("app.html"),
         .bundledHook = bundle.auxiliaryExecutable("tamsell-hook"),
         .selfCheck = {
             .stuckIdleSources = [&] { return idleTime.stuckSources(); },
             .note = [&](const JSONObject& all) { return statusFile.set("troubles", all); }}});
    QObject::connect(&daemon, &Daemon::changed, &application, [&] {
        const auto port = daemon.port();
        statusFile.set("port", port ? JSONValue(*port) : JSONValue());
    });
    daemon.start();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char* argv[]) {
    std::string error;
    const auto options = Options::parse({argv + 1, argv + argc}, error);
    if (!options) {
        std::fprintf(stderr, "tamsell: %s\n%s", error.c_str(), usage);
        return 2;
    }
    if (options->action == Options::Action::help) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (options->action == Options::Action::version) {
        std::puts("tamsell " TAMSELL_VERSION);
        return 0;
    }
    disableCoreDumps();
    const DescriptorLimit descriptorLimit;
    if (!options->isHeadless)
        logging::writeToStandardOutput("tamsell: no interface is installed, running without one");
    try {
        return runDaemon(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tamsell: %s\n", failure.what());
        return 1;
    }
}
