#include "CompanionApp/MenuBarApp.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"

#include <QApplication>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

using AppTestSupport::PanelWorld;

TEST(MenuBarAppTest, WithoutATrayThePanelOpensAsASmallOrdinaryWindow) {
    // The offscreen platform has no system tray, like a desktop without one.
    ASSERT_FALSE(QSystemTrayIcon::isSystemTrayAvailable());
    PanelWorld world;
    CompanionApp::MenuBarApp app(
        {world.environment().host, world.environment().settings, world.panelOptions()});
    QSignalSpy refreshes(&app.model(), &Companion::CompanionModel::refreshed);
    EXPECT_EQ(app.trayIcon(), nullptr);
    auto& panel = app.panel();
    EXPECT_TRUE(panel.isVisible());
    EXPECT_TRUE(panel.isWindow());
    EXPECT_EQ(panel.windowType(), Qt::Window);
    EXPECT_EQ(panel.windowTitle(), QStringLiteral("nuvexa Companion"));
    EXPECT_EQ(panel.width(), 348);
    // Closing the window is then the way out, so the app never runs unseen.
    EXPECT_TRUE(QApplication::quitOnLastWindowClosed());
    while (refreshes.count() < 2) {
        ASSERT_TRUE(refreshes.wait(AppTestSupport::generousMilliseconds));
    }
    AppTestSupport::saveArtifact(panel);
}

TEST(MenuBarAppTest, TogglingThePanelHidesAndShowsItAgain) {
    PanelWorld world;
    CompanionApp::MenuBarApp app(
        {world.environment().host, world.environment().settings, world.panelOptions()});
    ASSERT_TRUE(app.panel().isVisible());
    app.togglePanel();
    EXPECT_FALSE(app.panel().isVisible());
    app.togglePanel();
    EXPECT_TRUE(app.panel().isVisible());
}

TEST(MenuBarAppTest, EveryActivationThatIsOneClickTogglesThePanel) {
    // A press that follows another within the double-click interval arrives as DoubleClick: it is
    // still one click, and dropping it lost every quick second click.
    EXPECT_TRUE(CompanionApp::MenuBarApp::isClick(QSystemTrayIcon::Trigger));
    EXPECT_TRUE(CompanionApp::MenuBarApp::isClick(QSystemTrayIcon::DoubleClick));
    EXPECT_TRUE(CompanionApp::MenuBarApp::isClick(QSystemTrayIcon::Context));
    EXPECT_FALSE(CompanionApp::MenuBarApp::isClick(QSystemTrayIcon::MiddleClick));
    EXPECT_FALSE(CompanionApp::MenuBarApp::isClick(QSystemTrayIcon::Unknown));
}

} // namespace

namespace {

/// A 1280×800 screen at 2×, with a 28-point top bar whose right end holds the tray.
const QRect smallScreenArea(0, 28, 640, 372);
const QRect topTrayIcon(600, 2, 24, 24);

} // namespace

TEST(MenuBarAppTest, APanelTallerThanTheScreenStaysInsideItAndOffTheTray) {
    const QRect placed = CompanionApp::MenuBarApp::panelGeometry({348, 583}, topTrayIcon,
                                                                 topTrayIcon.center(), smallScreenArea);
    EXPECT_TRUE(smallScreenArea.contains(placed))
        << placed.x() << "," << placed.y() << " " << placed.width() << "×" << placed.height();
    EXPECT_GT(placed.top(), topTrayIcon.bottom()) << "the panel covers the tray";
    EXPECT_EQ(placed.width(), 348);
    EXPECT_LT(placed.height(), 583);
}

TEST(MenuBarAppTest, APanelThatFitsDropsUnderTheIconAtItsOwnHeight) {
    const QRect area(0, 28, 1280, 772);
    const QRect placed =
        CompanionApp::MenuBarApp::panelGeometry({348, 583}, topTrayIcon, topTrayIcon.center(), area);
    EXPECT_EQ(placed.size(), QSize(348, 583));
    EXPECT_EQ(placed.top(), topTrayIcon.bottom() + 4);
    EXPECT_TRUE(area.contains(placed));
}

TEST(MenuBarAppTest, OverABottomTrayTheTallPanelRisesNoHigherThanTheScreen) {
    const QRect area(0, 0, 640, 372);
    const QRect icon(600, 374, 24, 24);
    const QRect placed = CompanionApp::MenuBarApp::panelGeometry({348, 583}, icon, icon.center(), area);
    EXPECT_TRUE(area.contains(placed));
    EXPECT_LT(placed.bottom(), icon.top());
}

TEST(MenuBarAppTest, APanelShorterThanItsContentScrollsToItsLastButton) {
    PanelWorld world;
    world.buildAndShow();
    auto& panel = world.panel();
    const int natural = panel.height();
    panel.setMaximumPanelHeight(natural / 2);
    EXPECT_EQ(panel.height(), natural / 2);
    EXPECT_EQ(panel.contentHeight(), natural);
    auto& scrolled = panel.scrollArea();
    EXPECT_TRUE(scrolled.verticalScrollBar()->isVisible());
    scrolled.ensureWidgetVisible(&panel.quitButton());
    const QRect quit(panel.quitButton().mapTo(scrolled.viewport(), QPoint(0, 0)), panel.quitButton().size());
    EXPECT_TRUE(scrolled.viewport()->rect().contains(quit)) << "the last button cannot be scrolled to";
    AppTestSupport::saveArtifact(panel);

    panel.setMaximumPanelHeight(std::nullopt);
    EXPECT_EQ(panel.height(), natural);
    EXPECT_FALSE(scrolled.verticalScrollBar()->isVisible());
}

TEST(MenuBarAppTest, WithoutATrayThePanelWindowFitsTheScreen) {
    PanelWorld world;
    CompanionApp::MenuBarApp app(
        {world.environment().host, world.environment().settings, world.panelOptions()});
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    ASSERT_TRUE(app.panel().maximumPanelHeight().has_value());
    EXPECT_LE(app.panel().height(), area.height());
}
