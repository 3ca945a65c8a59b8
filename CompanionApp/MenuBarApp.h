#pragma once

#include "Companion/CompanionModel.h"
#include "CompanionApp/ContentView.h"
#include "CompanionApp/PanelWindowing.h"

#include <QObject>
#include <QSystemTrayIcon>
#include <QWindow>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace CompanionApp {

/// The running companion: one model for the life of the app, the panel that shows it, and the tray
/// or menu bar icon whose click drops the panel. Where the desktop has no tray the panel opens as a
/// small ordinary window instead, so the app is never invisible; closing that window ends the app.
/// The icon is an XEmbed tray icon or a StatusNotifierItem, whichever the desktop hosts; on Wayland
/// the compositor places the panel (see `PanelWindowing`).
class MenuBarApp : public QObject {
    Q_OBJECT

public:
    struct Options {
        /// What the app reaches outside itself; its empty parts are the real ones.
        Companion::Host host;
        Companion::CompanionModel::Settings model;
        ContentView::Options panel;
        /// Tells a click on the icon that took the panel's focus from the click's own activation.
        std::function<std::chrono::steady_clock::time_point()> clock = std::chrono::steady_clock::now;
    };

    /// The real model, panel and icon.
    explicit MenuBarApp(QObject* parent = nullptr);
    explicit MenuBarApp(Options options, QObject* parent = nullptr);
    ~MenuBarApp() override;

    Companion::CompanionModel& model() { return *m_model; }
    ContentView& panel() { return *m_panel; }
    /// Absent when the desktop had no tray at start.
    QSystemTrayIcon* trayIcon() { return m_tray.get(); }

    /// True when the tray reports what a person sees as one click on the icon: each such click toggles
    /// the panel exactly once, however quickly it follows the previous one.
    static bool isClick(QSystemTrayIcon::ActivationReason reason);

    /// Where the panel of size `wanted` goes for a tray icon at `icon` (invalid when the tray does not
    /// say; `anchor` stands for it then) on a screen whose free area is `area`: inside that area, beside
    /// the icon, and no taller than the room there.
    static QRect panelGeometry(QSize wanted, const QRect& icon, QPoint anchor, const QRect& area);

    /// Drops the panel under (or above) the icon, or where the compositor places it on Wayland; closes
    /// it when it is open.
    void togglePanel();
    /// Shows the panel, or brings it forward when it is open already.
    void openPanel();
    /// How the panel is shown on this platform.
    PanelWindowing windowing() const { return m_windowing; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showPanel();
    void placePanel();
    /// True for an activation of the icon that comes right after the panel closed on losing its
    /// focus: on a desktop whose tray takes the focus on a press, that press already closed it.
    bool isActivationOfFocusLossClick();
    /// Closes the panel when the focus leaves it for a window that is not its own.
    void followFocus(QWindow* focused);
    /// True for the event that must not reach the icon because the press it belongs to already
    /// closed the panel.
    bool isSecondHalfOfClosingPress(QObject* watched, QEvent* event);

    std::unique_ptr<Companion::CompanionModel> m_model;
    std::unique_ptr<ContentView> m_panel;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    std::function<std::chrono::steady_clock::time_point()> m_clock;
    const PanelWindowing m_windowing;
    /// When the panel last closed because it lost its focus.
    std::optional<std::chrono::steady_clock::time_point> m_focusLostAt;
    bool m_panelHasFocus = false;
    /// The time stamp of the last press the open panel took.
    std::optional<quint64> m_closingPressTime;
};

} // namespace CompanionApp
