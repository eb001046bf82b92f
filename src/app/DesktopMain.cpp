#include <cstdio>
#include <exception>

#include <QApplication>
#include <QStyleFactory>

#include "app/DesktopProgram.h"
#include "app/Launch.h"
#include "app/Options.h"
#include "app/TamsellMacApp.h"
#include "platform/ColorScheme.h"
#include "platform/CoreDumps.h"
#include "platform/TerminationSignals.h"
#include "ui/LaunchNotice.h"
#include "ui/Theme.h"
#include "ui/TrayIcon.h"

namespace {

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

void wear(ColorScheme::Wish wish) {
    switch (wish) {
    case ColorScheme::Wish::none:
        return theme::resetColors();
    case ColorScheme::Wish::dark:
        return theme::setColors(theme::dark());
    case ColorScheme::Wish::light:
        return theme::setColors(theme::light());
    }
}

int showNotice(const LaunchAnswer& first) {
    LaunchNotice notice(first);
    QObject::connect(&notice, &LaunchNotice::closed, qApp, [] { QCoreApplication::quit(); });
    notice.open();
    return QCoreApplication::exec();
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

    const ColorScheme colorScheme;
    QObject::connect(&colorScheme, &ColorScheme::changed, &application,
                     [&colorScheme] { wear(colorScheme.wish()); });

    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &application,
                     [] { QCoreApplication::quit(); });

    const Launch launch =
        Launch::withInterface(Locations::from(processEnvironment, homeDirectory()));
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
