#pragma once

#include <QString>

namespace CompanionApp {

/// How the panel's window is shown, by what the windowing system lets a program do with its windows.
enum class PanelWindowing {
    /// X11 and macOS: a popup the companion places next to its icon itself. Its pointer grab closes it
    /// on a click anywhere else.
    anchoredPopup,
    /// Wayland: a frameless window that the compositor places. A program cannot move its own windows
    /// there, and a popup without a parent window is refused; the panel closes when it loses focus.
    compositorPlaced,
};

/// The windowing for the Qt platform plug-in of that name (`QGuiApplication::platformName()`).
PanelWindowing panelWindowingFor(const QString& platformName);

} // namespace CompanionApp
