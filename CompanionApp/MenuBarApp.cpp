#include "CompanionApp/MenuBarApp.h"

#include "CompanionApp/MenuBarIcon.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QEvent>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

namespace CompanionApp {

namespace {

/// Between the icon and the panel.
constexpr int iconGap = 4;
/// What a window manager's frame and title bar may add to the window's height.
constexpr int windowFrameAllowance = 48;
/// Longer than a press and its release on the icon take, shorter than two deliberate clicks.
constexpr std::chrono::milliseconds focusLossClickSpan{400};

} // namespace

MenuBarApp::MenuBarApp(QObject* parent)
    : MenuBarApp(Options{}, parent) {}

MenuBarApp::MenuBarApp(Options options, QObject* parent)
    : QObject(parent)
    , m_model(std::make_unique<Companion::CompanionModel>(std::move(options.host), std::move(options.model)))
    , m_clock(std::move(options.clock))
    , m_windowing(panelWindowingFor(QGuiApplication::platformName())) {
    // The terminal fallback of the install action copies its command to the desktop's clipboard.
    m_model->systemActions().setCopyText([](const std::string& text) {
        QGuiApplication::clipboard()->setText(QString::fromStdString(text));
        return true;
    });
    m_panel = std::make_unique<ContentView>(*m_model, std::move(options.panel));
    m_panel->setWindowTitle(ContentView::tr("nuvexa Companion"));
    m_panel->setWindowIcon(MenuBarIcon::applicationIcon());

    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        m_panel->setWindowFlags(Qt::Window);
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            m_panel->setMaximumPanelHeight(screen->availableGeometry().height() - windowFrameAllowance);
        }
        m_panel->show();
        return;
    }
    switch (m_windowing) {
    case PanelWindowing::anchoredPopup:
        // Closes on a click elsewhere, like a menu; the click that closes it is not passed on, so a
        // click on the icon while the panel is open only closes it.
        m_panel->setWindowFlags(Qt::Popup);
        m_panel->setAttribute(Qt::WA_NoMouseReplay);
        m_panel->setAttribute(Qt::WA_ShowWithoutActivating);
        break;
    case PanelWindowing::compositorPlaced:
        // A top-level window of its own that the compositor places where it can be seen; without a
        // frame it still looks like the panel. What a popup's grab does on X11, losing the focus
        // does here: a click elsewhere closes it.
        m_panel->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
        connect(qApp, &QGuiApplication::focusWindowChanged, this, &MenuBarApp::followFocus);
        break;
    }
    m_panel->installEventFilter(this);
    // Sees the icon's mouse events before the tray turns them into activations.
    qApp->installEventFilter(this);
    QApplication::setQuitOnLastWindowClosed(false);

    m_tray = std::make_unique<QSystemTrayIcon>(MenuBarIcon::forTray());
    m_tray->setToolTip(QString::fromLatin1(MenuBarIcon::accessibleName));
    connect(m_tray.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (isClick(reason) && !isActivationOfFocusLossClick()) {
                    togglePanel();
                }
            });
    m_tray->show();
}

MenuBarApp::~MenuBarApp() {
    // The panel observes the model: it goes first.
    m_tray.reset();
    m_panel.reset();
}

bool MenuBarApp::isClick(QSystemTrayIcon::ActivationReason reason) {
    switch (reason) {
    case QSystemTrayIcon::Trigger:
    case QSystemTrayIcon::Context:
    // An XEmbed tray and the macOS status item report a press that follows another within the
    // double-click interval as this instead of a trigger: it is a click of its own, not an extra.
    case QSystemTrayIcon::DoubleClick:
        return true;
    case QSystemTrayIcon::MiddleClick:
    case QSystemTrayIcon::Unknown:
        return false;
    }
    return false;
}

void MenuBarApp::togglePanel() {
    if (m_panel->isVisible()) {
        m_panelHasFocus = false;
        m_panel->hide();
        return;
    }
    showPanel();
}

void MenuBarApp::openPanel() {
    if (m_panel->isVisible()) {
        m_panel->raise();
        m_panel->activateWindow();
        return;
    }
    showPanel();
}

void MenuBarApp::showPanel() {
    switch (m_windowing) {
    case PanelWindowing::anchoredPopup:
        placePanel();
        m_panel->show();
        m_panel->raise();
        return;
    case PanelWindowing::compositorPlaced:
        m_focusLostAt.reset();
        m_panel->show();
        m_panel->raise();
        m_panel->activateWindow();
        return;
    }
}

void MenuBarApp::followFocus(QWindow* focused) {
    if (!m_panel->isVisible()) {
        m_panelHasFocus = false;
        return;
    }
    // A dialog the panel opens (the revoke confirmation) keeps it open.
    bool ofPanel = false;
    for (const QWindow* window = focused; window != nullptr && !ofPanel; window = window->transientParent()) {
        ofPanel = window == m_panel->windowHandle();
    }
    if (ofPanel) {
        m_panelHasFocus = true;
        return;
    }
    // Only a panel that had the focus can lose it: a compositor may show it without giving it any.
    if (m_panelHasFocus) {
        m_panelHasFocus = false;
        m_panel->hide();
        m_focusLostAt = m_clock();
    }
}

bool MenuBarApp::isActivationOfFocusLossClick() {
    if (!m_focusLostAt.has_value()) {
        return false;
    }
    const bool sameClick = m_clock() - *m_focusLostAt < focusLossClickSpan;
    m_focusLostAt.reset();
    return sameClick;
}

bool MenuBarApp::eventFilter(QObject* watched, QEvent* event) {
    if (isSecondHalfOfClosingPress(watched, event)) {
        return true;
    }
    // A desktop switched between light and dark while the app runs: the tray icon follows it.
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && m_tray) {
        m_tray->setIcon(MenuBarIcon::forTray());
    }
    // The panel's height follows its content; it stays attached to the icon as it grows.
    if (watched == m_panel.get() && event->type() == QEvent::Resize && m_panel->isVisible() &&
        m_windowing == PanelWindowing::anchoredPopup) {
        placePanel();
    }
    return QObject::eventFilter(watched, event);
}

bool MenuBarApp::isSecondHalfOfClosingPress(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        // While the panel is open it takes every press (its pointer grab) and closes on one outside it.
        if (watched == m_panel.get() && m_panel->isVisible()) {
            m_closingPressTime = static_cast<QMouseEvent*>(event)->timestamp();
        }
        return false;
    case QEvent::MouseButtonDblClick: {
        // When that press also completes a double click, Qt hands the double-click half of the very
        // same press to the window under the pointer once the panel is gone: on the icon it would
        // reopen the panel, toggling twice for one click.
        const auto* click = static_cast<QMouseEvent*>(event);
        const bool echo = m_closingPressTime.has_value() && click->timestamp() == *m_closingPressTime &&
                          qobject_cast<QWindow*>(watched) != nullptr && watched != m_panel->windowHandle();
        if (echo) {
            m_closingPressTime.reset();
        }
        return echo;
    }
    default:
        return false;
    }
}

QRect MenuBarApp::panelGeometry(QSize wanted, const QRect& icon, QPoint anchor, const QRect& area) {
    // Below an icon in the upper half of the screen (a menu bar, a top panel), above one in the lower.
    const bool below = anchor.y() < area.center().y();
    const int start = icon.isValid() ? (below ? icon.bottom() + iconGap : icon.top() - iconGap)
                                     : (below ? anchor.y() + iconGap : anchor.y() - iconGap);
    // As tall as its content where the screen leaves room beside the icon; where it does not, the
    // panel scrolls, and it never takes less than half the screen.
    const int room = below ? area.bottom() + 1 - start : start - area.top();
    const int height = std::min({wanted.height(), std::max(room, area.height() / 2), area.height()});
    const int top = below ? start : start - height;
    const int left = anchor.x() - wanted.width() / 2;
    const int x = std::clamp(left, area.left(), std::max(area.left(), area.right() + 1 - wanted.width()));
    const int y = std::clamp(top, area.top(), std::max(area.top(), area.bottom() + 1 - height));
    return {x, y, wanted.width(), height};
}

void MenuBarApp::placePanel() {
    const QRect icon = m_tray ? m_tray->geometry() : QRect();
    const QPoint anchor = icon.isValid() ? icon.center() : QCursor::pos();
    QScreen* screen = QGuiApplication::screenAt(anchor);
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen == nullptr) {
        return;
    }
    const QRect placed = panelGeometry({m_panel->width(), m_panel->contentHeight()}, icon, anchor,
                                       screen->availableGeometry());
    m_panel->setMaximumPanelHeight(placed.height());
    m_panel->move(placed.topLeft());
}

} // namespace CompanionApp
