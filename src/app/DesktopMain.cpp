#include <cstdio>
#include <exception>

#include <QApplication>
#include <QStyleFactory>

#include "app/DesktopProgram.h"
#include "app/Options.h"
#include "app/TamsellMacApp.h"
#include "platform/CoreDumps.h"
#include "platform/LaunchSocket.h"
#include "platform/TerminationSignals.h"
#include "ui/LaunchNotice.h"
#include "ui/TrayIcon.h"

namespace {

using namespace std::chrono_literals;

// The first launch answers from its event loop, which nothing holds up for longer.
constexpr auto launchPatience = 3s;

// Qt ends the process when none of its platforms comes up. With this one behind the others it comes
// up without a screen, and the daemon can go on.
constexpr const char* noScreen = "offscreen";

// The order in which Qt would try them by itself.
QByteArray platforms() {
    const bool isWayland =
        qgetenv("XDG_SESSION_TYPE") == "wayland" ||
        (qEnvironmentVariableIsEmpty("DISPLAY") && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    return QByteArray(isWayland && !isGNOME(desktop) ? "wayland;xcb;" : "xcb;wayland;") + noScreen;
}

void setUp(QApplication& application) {
    QApplication::setApplicationName(QStringLiteral("tamsell"));
    QApplication::setApplicationVersion(QStringLiteral(TAMSELL_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("tamsell"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("tamsell")));
    QApplication::setQuitOnLastWindowClosed(false);
    // What is not drawn by us is drawn plainly; the desktop's style would mix in its own sizes.
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    application.setLayoutDirection(Qt::LeftToRight);
}

int showNotice(const LaunchAnswer& first) {
    LaunchNotice notice(first);
    QObject::connect(&notice, &LaunchNotice::closed, qApp, [] { QCoreApplication::quit(); });
    notice.open();
    return QCoreApplication::exec();
}

struct Launch {
    std::unique_ptr<FirstLaunch> first; ///< this one
    std::optional<LaunchAnswer> answer; ///< of the one that is
};

// Neither where there is no socket to be had: nothing but later launches depends on it.
Launch beginLaunch() {
    const Locations locations = Locations::from(processEnvironment, homeDirectory());
    const auto socket = launchSocketPath(processEnvironment, locations.dataDirectory);
    const auto claim = [&] { return FirstLaunch::claim(socket, FirstLaunch::Interface::present); };
    try {
        std::filesystem::create_directories(socket.parent_path());
        if (auto claimed = claim())
            return {.first = std::move(claimed), .answer = {}};
        const std::string token = qgetenv("XDG_ACTIVATION_TOKEN").toStdString();
        const LaunchAnswer answer = askFirstLaunch(socket, token, launchPatience);
        // One that says nothing may have just ended.
        if (answer.kind == LaunchAnswer::Kind::silent)
            if (auto claimed = claim())
                return {.first = std::move(claimed), .answer = {}};
        return {.first = nullptr, .answer = answer};
    } catch (const std::system_error& failure) {
        logging::writeToStandardOutput("tamsell: another launch will not find this one: " +
                                       std::string(failure.what()));
        return {};
    }
}

int runDesktop(int argc, char* argv[], const DescriptorLimit& descriptorLimit) {
    // Somebody else's choice comes first.
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    const bool isOurChoice = !chosen.contains(noScreen);
    if (isOurChoice)
        qputenv("QT_QPA_PLATFORM", chosen.isEmpty() ? platforms() : chosen + ';' + platforms());
    QApplication application(argc, argv);
    if (isOurChoice) {
        // Programs started from here choose for themselves.
        if (chosen.isEmpty())
            qunsetenv("QT_QPA_PLATFORM");
        else
            qputenv("QT_QPA_PLATFORM", chosen);
        if (QGuiApplication::platformName() == QLatin1String(noScreen)) {
            logging::writeToStandardOutput(
                "tamsell: Qt cannot use the display, running without an interface");
            becomeHeadless(Bundle::ofThisProcess());
        }
    }
    setUp(application);

    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &application,
                     [] { QCoreApplication::quit(); });

    const Launch launch = beginLaunch();
    if (launch.answer)
        return launch.answer->kind == LaunchAnswer::Kind::shown ? 0 : showNotice(*launch.answer);
    ProcessDaemon process;
    TamsellMacApp app(process, descriptorLimit);
    if (launch.first)
        QObject::connect(launch.first.get(), &FirstLaunch::asked, &application,
                         [&app](const QString& token) { app.launchedAgain(token); });
    app.finishLaunching();
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char* argv[]) {
    const Options options = Options::ofProgram({argv + 1, argv + argc});
    if (options.exitCode)
        return *options.exitCode;
    disableCoreDumps();
    try {
        if (options.isHeadless)
            becomeHeadless(Bundle::ofThisProcess());
        const DescriptorLimit descriptorLimit;
        return runDesktop(argc, argv, descriptorLimit);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tamsell: %s\n", failure.what());
        return 1;
    }
}
