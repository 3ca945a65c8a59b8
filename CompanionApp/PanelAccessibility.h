#pragma once

class QString;
class QWidget;

namespace CompanionApp::PanelAccessibility {

/// Gives the panel's drawn widgets their roles for assistive technology (the panel a window, the
/// status symbols graphics, the busy indicators busy animations, the elided lines labels), and lists
/// the panel among the application's windows while it is shown as a popup, which Qt leaves out.
/// Idempotent; must run before anything asks for the application's accessible interface.
void install();

/// Sets `widget`'s accessible name; unchanged names are not announced again.
void setName(QWidget& widget, const QString& name);
/// Sets `widget`'s accessible description; unchanged ones are not announced again.
void setDescription(QWidget& widget, const QString& description);

} // namespace CompanionApp::PanelAccessibility
