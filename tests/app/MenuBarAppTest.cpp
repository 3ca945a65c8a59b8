#include "CompanionApp/MenuBarApp.h"
#include "support/PanelElements.h"
#include "support/PanelWorld.h"

#include <QApplication>
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
