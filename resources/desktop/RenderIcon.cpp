#include <cstdio>
#include <cstdlib>

#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

// Of the build only: makes a PNG of a drawing in each of the sizes given.

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s DRAWING.svg OUT-%%1.png SIZE...\n", argv[0]);
        return 2;
    }
    QSvgRenderer drawing(QString::fromLocal8Bit(argv[1]));
    if (!drawing.isValid()) {
        std::fprintf(stderr, "%s: not a drawing\n", argv[1]);
        return 1;
    }
    for (int i = 3; i < argc; ++i) {
        const int side = std::atoi(argv[i]);
        QImage picture(side, side, QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        drawing.render(&painter);
        painter.end();
        const QString file = QString::fromLocal8Bit(argv[2]).arg(side);
        if (!picture.save(file)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
