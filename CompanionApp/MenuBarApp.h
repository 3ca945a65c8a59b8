#pragma once

#include "Companion/CompanionModel.h"
#include "CompanionApp/ContentView.h"

#include <QObject>
#include <QSystemTrayIcon>

#include <memory>
#include <optional>

namespace CompanionApp {

/// The running companion: one model for the life of the app, the panel that shows it, and the tray
/// or menu bar icon whose click drops the panel. Where the desktop has no tray the panel opens as a
/// small ordinary window instead, so the app is never invisible; closing that window ends the app.
class MenuBarApp : public QObject {
    Q_OBJECT

public:
    struct Options {
        Companion::CompanionModel::Environment environment;
        ContentView::Options panel;
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

    /// Drops the panel under (or above) the icon, or closes it when it is open.
    void togglePanel();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void placePanel();
    /// True for the event that must not reach the icon because the press it belongs to already
    /// closed the panel.
    bool isSecondHalfOfClosingPress(QObject* watched, QEvent* event);

    std::unique_ptr<Companion::CompanionModel> m_model;
    std::unique_ptr<ContentView> m_panel;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    /// The time stamp of the last press the open panel took.
    std::optional<quint64> m_closingPressTime;
};

} // namespace CompanionApp
