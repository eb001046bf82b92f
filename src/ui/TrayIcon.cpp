#include "ui/TrayIcon.h"

#include <algorithm>
#include <array>

#include <QFontMetricsF>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include "ui/Drawing.h"
#include "ui/Theme.h"

namespace {

constexpr auto symbolicName = "tamsell-symbolic";
constexpr std::size_t mostShown = 99;

// What hosts ask for: the drawings' own sizes, 24 for those that have no 22, and twice as many
// pixels.
constexpr std::array sizes{16, 22, 24, 32, 44, 48, 64};

// A pixel grid that there are drawings for.
struct Grid {
    int side;
    QRectF tag;
    double numeral; ///< the size of its font, in pixels
};

const std::array grids{Grid{16, {8.5, 3, 7.5, 10}, 8}, Grid{22, {12.5, 5, 9.5, 12}, 10.5},
                       Grid{32, {18.5, 7.5, 13.5, 17}, 15}};

struct Placed {
    const Grid* grid;
    double factor;
};

// What fills a square best without reaching over it, a pixel of the grid being a whole number of
// the square's. Beyond twice its size a finer grid does better.
Placed placedIn(int side) {
    Placed best{grids.data(), std::min(1.0, side / 16.0)};
    for (const Grid& grid : grids) {
        const int most = &grid == &grids.back() ? side / grid.side : 2;
        const int factor = std::min(side / grid.side, most);
        if (factor > 0 && grid.side * factor >= best.grid->side * best.factor)
            best = {&grid, static_cast<double>(factor)};
    }
    return best;
}

QString numeralOf(std::size_t waiting) {
    return waiting > mostShown ? QStringLiteral("%1+").arg(mostShown) : QString::number(waiting);
}

// As large as the grid says, narrower where it must be to stay inside the tag, and smaller where
// that is not enough. Its capitals' height is in the middle, not its line.
void paintNumeral(QPainter& painter, const Grid& grid, const QString& numeral) {
    constexpr double lessForMoreDigits = 1.5;
    constexpr double narrowest = 0.65;
    // The outline is taken from a large font: small ones have their measures rounded.
    constexpr int outlineSize = 128;
    QFont font = theme::emphasized(theme::Style::body);
    font.setPixelSize(outlineSize);
    font.setWeight(QFont::Bold);
    font.setHintingPreference(QFont::PreferNoHinting);
    QPainterPath outline;
    outline.addText(0, 0, font, numeral);
    const QRectF ink = outline.boundingRect();

    const double room = grid.tag.width() - grid.side / 16.0;
    double height = (grid.numeral - (numeral.size() > 1 ? lessForMoreDigits : 0)) / outlineSize;
    height = std::min(height, room / (ink.width() * narrowest));
    const double width = std::min(height, room / ink.width());

    painter.translate(grid.tag.center());
    painter.scale(width, height);
    painter.translate(-ink.center().x(), QFontMetricsF(font).capHeight() / 2);
    painter.fillPath(outline, theme::light().onAccent);
}

class TrayIconEngine final : public QIconEngine {
  public:
    TrayIconEngine(std::size_t waiting, TrayGround ground)
        : m_waiting(waiting),
          m_color(ground == TrayGround::dark ? theme::dark().text : theme::light().text) {}

    [[nodiscard]] QIconEngine* clone() const override { return new TrayIconEngine(*this); }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode /*mode*/,
               QIcon::State /*state*/) override {
        const Placed placed = placedIn(std::min(rect.width(), rect.height()));
        const Grid& grid = *placed.grid;
        const int side = static_cast<int>(grid.side * placed.factor);
        painter->save();
        // On whole pixels: the drawing is made for them.
        QRect square(0, 0, side, side);
        square.moveCenter(rect.center());
        painter->translate(square.topLeft());
        painter->scale(placed.factor, placed.factor);
        paintDrawing(*painter,
                     QStringLiteral("tray-%1-%2")
                         .arg(m_waiting == 0 ? QStringLiteral("idle") : QStringLiteral("waiting"))
                         .arg(grid.side),
                     m_color, QRectF(0, 0, grid.side, grid.side));
        if (m_waiting > 0)
            paintNumeral(*painter, grid, numeralOf(m_waiting));
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1);
    }

    // The size is in the screen's pixels; which drawing it is depends on what it is on the screen,
    // so that two screens show the same.
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state,
                         qreal scale) override {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.scale(scale, scale);
        paint(&painter, QRect(QPoint(), (QSizeF(size) / scale).toSize()), mode, state);
        return picture;
    }

    QList<QSize> availableSizes(QIcon::Mode /*mode*/, QIcon::State /*state*/) override {
        QList<QSize> all;
        for (const int side : sizes)
            all.append(QSize(side, side));
        return all;
    }

    // Who has the name draws that icon, not these pictures, so it must not hide a number.
    QString iconName() override {
        const QString name = QString::fromLatin1(symbolicName);
        return m_waiting == 0 && QIcon::hasThemeIcon(name) ? name : QString();
    }

    bool isNull() override { return false; }

  private:
    std::size_t m_waiting;
    QColor m_color;
};

} // namespace

bool isGNOME(const QString& desktop) {
    return desktop.split(QLatin1Char(':')).contains(QLatin1String("GNOME"));
}

TrayGround trayGround(const QString& desktop) {
    return isGNOME(desktop) || &theme::current() == &theme::dark() ? TrayGround::dark
                                                                   : TrayGround::light;
}

QIcon trayIcon(std::size_t waiting, TrayGround ground) {
    return QIcon(new TrayIconEngine(waiting, ground));
}
