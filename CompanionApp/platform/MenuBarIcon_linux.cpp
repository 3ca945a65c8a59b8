#include "CompanionApp/MenuBarIcon.h"

namespace CompanionApp::MenuBarIcon {

QIcon forTray(const QPalette& palette) {
    // A tray's bar follows the desktop's theme; the icon keeps its square visible on it.
    return isDark(palette) ? lightIcon() : applicationIcon();
}

} // namespace CompanionApp::MenuBarIcon
