// The least that a Qt program with an icon in the tray can be.

#include <QApplication>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QPixmap square(22, 22);
    square.fill(Qt::white);
    QMenu menu;
    QSystemTrayIcon icon{QIcon(square)};
    icon.setContextMenu(&menu);
    icon.show();
    return QApplication::exec();
}
