#include "ui/TrayIcon.h"

#include <array>
#include <cmath>
#include <fstream>

#include <gmock/gmock.h>

#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>

namespace {

using testing::ElementsAre;

QImage pixels(std::size_t waiting, int side, double ratio = 1) {
    return trayIcon(waiting, TrayGround::light)
        .pixmap(QSize(side, side), ratio)
        .toImage()
        .convertToFormat(QImage::Format_ARGB32);
}

// Where the tag is in a picture, in the pixels of its drawing.
struct Tag {
    int side;
    double x, y, width, height;
};

constexpr std::array tags{Tag{16, 8.5, 3, 7.5, 10}, Tag{22, 12.5, 5, 9.5, 12},
                          Tag{24, 13.5, 6, 9.5, 12}, Tag{32, 18.5, 7.5, 13.5, 17}};

// The box of what is more white than tag inside a tag that is so many times as large, in pixels.
QRect numeralBox(const QImage& picture, const Tag& tag, int times) {
    QRect box;
    // One pixel off the left edge, which may be mixed with the ground.
    for (int x = static_cast<int>(std::ceil(tag.x * times)) + 1; x < (tag.x + tag.width) * times;
         ++x)
        for (int y = static_cast<int>(tag.y * times) + 1; y < (tag.y + tag.height) * times - 1; ++y)
            if (picture.pixelColor(x, y).red() > 0xA0)
                box |= QRect(x, y, 1, 1);
    return box;
}

TEST(TrayIcon, OffersTheSizesThatHostsAskFor) {
    std::vector<int> sides;
    for (const QSize& size : trayIcon(2, TrayGround::dark).availableSizes())
        sides.push_back(size.width());
    EXPECT_THAT(sides, ElementsAre(16, 22, 24, 32, 44, 48, 64));
    for (const int side : sides) {
        EXPECT_EQ(pixels(2, side).size(), QSize(side, side));
        const QImage doubled = pixels(2, side, 2);
        EXPECT_EQ(doubled.size(), QSize(2 * side, 2 * side));
        EXPECT_EQ(doubled.devicePixelRatio(), 2);
    }
    // A grid that is doubled stays that grid, and one with a margin has nothing in it.
    EXPECT_EQ(pixels(2, 44).pixelColor(25, 11), pixels(2, 22, 2).pixelColor(25, 11));
    const QImage padded = pixels(0, 24);
    EXPECT_EQ(padded.copy(1, 1, 22, 22), pixels(0, 22));
}

TEST(TrayIcon, CentresTheNumeralInsideTheTag) {
    for (const Tag& tag : tags) {
        for (const int times : {1, 2}) {
            for (const std::size_t waiting : {2U, 8U, 12U, 99U, 100U}) {
                SCOPED_TRACE(testing::Message() << tag.side << " x" << times << ": " << waiting);
                const QImage picture = pixels(waiting, tag.side, times);
                // Below the numeral.
                EXPECT_EQ(picture.pixelColor(static_cast<int>((tag.x + tag.width / 2) * times),
                                             static_cast<int>((tag.y + tag.height - 1) * times)),
                          QColor(0x2C, 0x74, 0xBE));
                // What is narrow at 1x has no pixel that is white.
                if (waiting >= 100 && times == 1)
                    continue;
                const QRectF box = numeralBox(picture, tag, times);
                ASSERT_FALSE(box.isEmpty());
                EXPECT_NEAR(box.center().y() / times, tag.y + tag.height / 2, 1);
                EXPECT_NEAR(box.center().x() / times, tag.x + tag.width / 2, 1);
                EXPECT_LT(box.width(), tag.width * times);
            }
        }
    }
    // The exact count is for words.
    EXPECT_EQ(pixels(100, 32, 2), pixels(5000, 32, 2));
    EXPECT_NE(pixels(99, 32, 2), pixels(100, 32, 2));
}

TEST(TrayIcon, NamesTheSymbolicIconOnlyWhereItSaysAll) {
    const QTemporaryDir themes;
    const QStringList paths = QIcon::themeSearchPaths();
    const QString name = QIcon::themeName();
    ASSERT_TRUE(QDir(themes.path()).mkpath(QStringLiteral("scratch/symbolic")));
    const std::string scratch = themes.filePath(QStringLiteral("scratch")).toStdString();
    std::ofstream(scratch + "/index.theme")
        << "[Icon Theme]\nName=scratch\nDirectories=symbolic\n\n"
           "[symbolic]\nSize=16\nMinSize=8\nMaxSize=512\nType=Scalable\n";
    QIcon::setThemeSearchPaths({themes.path()});
    QIcon::setThemeName(QStringLiteral("empty"));
    EXPECT_EQ(trayIcon(0, TrayGround::dark).name(), QString());

    std::ofstream(scratch + "/symbolic/tamsell-symbolic.svg")
        << R"(<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16"/>)";
    QIcon::setThemeName(QStringLiteral("scratch"));
    EXPECT_EQ(trayIcon(0, TrayGround::dark).name(), QStringLiteral("tamsell-symbolic"));
    EXPECT_EQ(trayIcon(1, TrayGround::dark).name(), QString());
    QIcon::setThemeSearchPaths(paths);
    QIcon::setThemeName(name);
}

TEST(TrayIcon, TellsWhatItIsDrawnOn) {
    const auto outline = [](TrayGround ground) {
        return trayIcon(0, ground)
            .pixmap(QSize(32, 32), 1.0)
            .toImage()
            .pixelColor(16, 4)
            .lightness();
    };
    EXPECT_LT(outline(TrayGround::light), 0x40);
    EXPECT_GT(outline(TrayGround::dark), 0xC0);
    EXPECT_EQ(trayGround(QStringLiteral("ubuntu:GNOME")), TrayGround::dark);
    EXPECT_EQ(trayGround(QStringLiteral("KDE")), TrayGround::light);
}

} // namespace
