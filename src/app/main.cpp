#include <cstdio>
#include <exception>

#include <QCoreApplication>

#include "app/DesktopProgram.h"
#include "app/Launch.h"
#include "app/Options.h"
#include "app/ProcessDaemon.h"
#include "platform/CoreDumps.h"
#include "platform/DescriptorLimit.h"
#include "platform/TerminationSignals.h"

namespace {

using namespace std::chrono_literals;

// A display that is not up by then will not be.
constexpr auto displayPatience = 10s;

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

    ProcessDaemon process;
    const Launch launch = Launch::headless(process.locations());
    process.daemon().start();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char* argv[]) {
    const Options options = Options::ofProgram({argv + 1, argv + argc});
    if (options.exitCode)
        return *options.exitCode;
    disableCoreDumps();
    if (!options.isHeadless)
        becomeDesktopProgram(Bundle::ofThisProcess(), argv, displayPatience);
    const DescriptorLimit descriptorLimit;
    try {
        return runDaemon(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tamsell: %s\n", failure.what());
        return 1;
    }
}
