#pragma once

#include <QIcon>
#include <QPalette>
#include <QString>

/// The icon the companion shows in the menu bar or the system tray.
namespace CompanionApp::MenuBarIcon {

/// The embedded glyph: a terminal prompt in a rounded square, black on transparent (with an "@2x"
/// companion for dense screens).
inline constexpr const char* resourcePath = ":/icons/MenuBarIcon.png";
/// The coloured application icon in two sizes, for trays that show icons as they are: a dark square,
/// which stands out on a light bar.
inline constexpr const char* applicationIconPaths[] = {":/icons/AppIcon-32.png", ":/icons/AppIcon-64.png"};
/// Its light variant, a light square with a dark prompt, which stands out on a dark bar.
inline constexpr const char* lightIconPaths[] = {":/icons/AppIcon-light-32.png",
                                                 ":/icons/AppIcon-light-64.png"};
/// The name given to the icon for assistive technologies and tooltips.
inline constexpr const char* accessibleName = "nuvexa";

/// The embedded glyph as a template image (tinted by the menu bar for light and dark bars), made
/// once on first use; a drawn terminal glyph when the resource is missing.
const QIcon& templateIcon();

/// The image at `path` as a template image, or the drawn terminal glyph when it cannot be loaded.
QIcon load(const QString& path);

/// The terminal glyph drawn at run time: the desktop theme's terminal icon when it has one,
/// otherwise a prompt in a rounded square painted here.
QIcon fallback();

/// The coloured application icon.
QIcon applicationIcon();

/// The application icon's light variant.
QIcon lightIcon();

/// Whether `palette` is a dark desktop's: its windows are darker than their text.
bool isDark(const QPalette& palette);

/// The icon for this platform's tray on a desktop of `palette`: the template glyph in the macOS menu
/// bar, which tints it itself; in Linux trays the application icon, light on a dark desktop and dark
/// on a light one. Without a palette, the application's.
QIcon forTray(const QPalette& palette);
QIcon forTray();

} // namespace CompanionApp::MenuBarIcon
