#include "CompanionApp/PanelWindowing.h"

namespace CompanionApp {

PanelWindowing panelWindowingFor(const QString& platformName) {
    // "wayland", and "wayland-egl" or "wayland-brcm" where Qt names its plug-in by its buffer kind.
    if (platformName.startsWith(QLatin1String("wayland"))) {
        return PanelWindowing::compositorPlaced;
    }
    return PanelWindowing::anchoredPopup;
}

} // namespace CompanionApp
