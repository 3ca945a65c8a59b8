#include "CompanionApp/MenuBarIcon.h"

namespace CompanionApp::MenuBarIcon {

QIcon forTray(const QPalette& /*palette*/) {
    // The menu bar tints a template image for its own appearance.
    return templateIcon();
}

} // namespace CompanionApp::MenuBarIcon
