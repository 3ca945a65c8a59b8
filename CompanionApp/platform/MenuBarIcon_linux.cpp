#include "CompanionApp/MenuBarIcon.h"

namespace CompanionApp::MenuBarIcon {

QIcon forTray() {
    return applicationIcon();
}

} // namespace CompanionApp::MenuBarIcon
