#include "CompanionApp/MenuBarIcon.h"

namespace CompanionApp::MenuBarIcon {

QIcon forTray() {
    return templateIcon();
}

} // namespace CompanionApp::MenuBarIcon
