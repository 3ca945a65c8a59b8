#include <QApplication>
#include <QSystemTrayIcon>

// Exits 0 when the display has a system tray that Qt will embed an icon in, by the very check the
// companion makes at start; the tray test waits for this before it starts the companion.
int main(int argc, char** argv) {
    QApplication application(argc, argv);
    return QSystemTrayIcon::isSystemTrayAvailable() ? 0 : 1;
}
