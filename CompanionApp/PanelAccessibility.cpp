#include "CompanionApp/PanelAccessibility.h"

#include <QAccessibleObject>
#include <QAccessibleWidget>
#include <QApplication>
#include <QFrame>
#include <QWidget>
#include <QWindow>

namespace CompanionApp::PanelAccessibility {

namespace {

/// The windows an assistive technology finds under the application: every top level, a shown popup
/// included (the panel dropped from the tray is one).
QList<QWindow*> accessibleWindows() {
    QList<QWindow*> windows;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->type() == Qt::Desktop || (window->type() == Qt::Popup && !window->isVisible())) {
            continue;
        }
        if (QAccessibleInterface* root = window->accessibleRoot(); root != nullptr && root->object()) {
            windows.append(window);
        }
    }
    return windows;
}

class ApplicationAccessible final : public QAccessibleObject {
public:
    ApplicationAccessible()
        : QAccessibleObject(qApp) {}

    QWindow* window() const override { return nullptr; }
    int childCount() const override { return static_cast<int>(accessibleWindows().size()); }
    int indexOfChild(const QAccessibleInterface* child) const override {
        if (child == nullptr || child->window() == nullptr) {
            return -1;
        }
        return static_cast<int>(accessibleWindows().indexOf(child->window()));
    }
    QAccessibleInterface* parent() const override { return nullptr; }
    QAccessibleInterface* child(int index) const override {
        const auto windows = accessibleWindows();
        return index >= 0 && index < windows.size() ? windows.at(index)->accessibleRoot() : nullptr;
    }
    QAccessibleInterface* focusChild() const override {
        if (QWidget* popup = QApplication::activePopupWidget()) {
            return QAccessible::queryAccessibleInterface(popup);
        }
        QWindow* focused = QGuiApplication::focusWindow();
        return focused != nullptr ? focused->accessibleRoot() : nullptr;
    }
    QString text(QAccessible::Text kind) const override {
        switch (kind) {
        case QAccessible::Name:
            return QGuiApplication::applicationDisplayName();
        case QAccessible::Description:
            return QCoreApplication::applicationFilePath();
        default:
            return {};
        }
    }
    QAccessible::Role role() const override { return QAccessible::Application; }
    QAccessible::State state() const override { return {}; }
};

/// A widget whose work is under way for as long as it is shown.
class BusyAccessible final : public QAccessibleWidget {
public:
    explicit BusyAccessible(QWidget* widget)
        : QAccessibleWidget(widget, QAccessible::Animation) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.busy = !state.invisible;
        return state;
    }
};

QAccessibleInterface* factory(const QString& className, QObject* object) {
    if (object == qApp && className == QLatin1String("QApplication")) {
        return new ApplicationAccessible;
    }
    auto* widget = qobject_cast<QWidget*>(object);
    if (widget == nullptr) {
        return nullptr;
    }
    // The panel's dividers are lines, not unnamed frames.
    if (auto* frame = qobject_cast<QFrame*>(widget);
        frame != nullptr && className == QLatin1String("QFrame") && frame->frameShape() == QFrame::HLine) {
        return new QAccessibleWidget(widget, QAccessible::Separator);
    }
    if (className == QLatin1String("CompanionApp::ContentView")) {
        return new QAccessibleWidget(widget, widget->isWindow() ? QAccessible::Window : QAccessible::Pane);
    }
    if (className == QLatin1String("CompanionApp::StatusSymbol")) {
        return new QAccessibleWidget(widget, QAccessible::Graphic);
    }
    if (className == QLatin1String("CompanionApp::BusyIndicator")) {
        return new BusyAccessible(widget);
    }
    if (className == QLatin1String("CompanionApp::ElidedLabel")) {
        return new QAccessibleWidget(widget, QAccessible::StaticText);
    }
    if (className == QLatin1String("CompanionApp::CheckRow")) {
        return new QAccessibleWidget(widget, QAccessible::Grouping);
    }
    return nullptr;
}

} // namespace

void install() {
    static const bool installed = [] {
        QAccessible::installFactory(factory);
        return true;
    }();
    Q_UNUSED(installed);
}

void setName(QWidget& widget, const QString& name) {
    if (widget.accessibleName() != name) {
        widget.setAccessibleName(name);
    }
}

void setDescription(QWidget& widget, const QString& description) {
    if (widget.accessibleDescription() != description) {
        widget.setAccessibleDescription(description);
    }
}

} // namespace CompanionApp::PanelAccessibility
