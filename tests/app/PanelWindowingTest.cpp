#include "CompanionApp/PanelWindowing.h"

#include <gtest/gtest.h>

namespace {

using CompanionApp::PanelWindowing;
using CompanionApp::panelWindowingFor;

TEST(PanelWindowingTest, OnWaylandTheCompositorPlacesThePanel) {
    EXPECT_EQ(panelWindowingFor(QStringLiteral("wayland")), PanelWindowing::compositorPlaced);
    EXPECT_EQ(panelWindowingFor(QStringLiteral("wayland-egl")), PanelWindowing::compositorPlaced);
}

TEST(PanelWindowingTest, OnX11AndMacOSTheCompanionPlacesItsPopupItself) {
    EXPECT_EQ(panelWindowingFor(QStringLiteral("xcb")), PanelWindowing::anchoredPopup);
    EXPECT_EQ(panelWindowingFor(QStringLiteral("cocoa")), PanelWindowing::anchoredPopup);
}

TEST(PanelWindowingTest, WithoutADisplayThePanelIsAPopupAsOnX11) {
    EXPECT_EQ(panelWindowingFor(QStringLiteral("offscreen")), PanelWindowing::anchoredPopup);
    EXPECT_EQ(panelWindowingFor(QStringLiteral("minimal")), PanelWindowing::anchoredPopup);
}

} // namespace
