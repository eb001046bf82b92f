#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <QApplication>
#include <QPalette>
#include <QPixmap>

/// The main of a program that takes pictures of one window, in both themes and at twice the size or
/// QT_SCALE_FACTOR, into the directory that it is given: WINDOW-NAME-light.png and
/// WINDOW-NAME-dark.png.
///
/// @param shots makes, once there is an application, what has a name and what is to be seen
/// @param draw gives the picture of one of them
template <typename Shots, typename Draw>
int takeShots(int argc, char** argv, const char* window, Shots shots, Draw draw) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s-shots DIRECTORY\n", window);
        return 2;
    }
    const std::filesystem::path directory = argv[1];
    std::filesystem::create_directories(directory);
    // A screen that is high enough for every window.
    const std::filesystem::path screen = directory / ".screen.json";
    std::ofstream(screen)
        << R"({"screens": [{"name": "screen", "x": 0, "y": 0, "width": 1600,)"
           R"( "height": 2400, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + QByteArray(screen.c_str()));
    if (qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", "2");
    const QApplication application(argc, argv);
    for (const char* theme : {"light", "dark"}) {
        const bool isDark = std::string(theme) == "dark";
        QApplication::setPalette(isDark ? QPalette(QColor(0x30, 0x30, 0x30))
                                        : QPalette(QColor(0xF0, 0xF0, 0xF0)));
        for (const auto& shot : shots()) {
            const std::string file = std::string(window) + "-" + shot.name + "-" + theme + ".png";
            const QPixmap picture = draw(shot);
            if (!picture.save(QString::fromStdString((directory / file).string())))
                return 1;
        }
    }
    return 0;
}
