#include "CompanionApp/MenuBarApp.h"
#include "support/PanelWorld.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QProcess>
#include <QStandardPaths>
#include <QStyleHints>
#include <QSystemTrayIcon>
#include <QWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>

// The companion's tray icon on a real X display with an XEmbed tray, clicked by the X server's test
// extension as a person would. Every click must toggle the panel exactly once, whether the tray
// reports it as a trigger or as the second half of a double click, and whether the press lands on the
// icon or on the open panel's pointer grab. The double-click interval is set to its two extremes so
// that each path is taken on purpose, never by how fast the machine happens to be.
namespace {

using AppTestSupport::generousMilliseconds;
using AppTestSupport::PanelWorld;

/// Counts how often the panel was shown or hidden.
class ToggleCounter : public QObject {
public:
    int toggles = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show || event->type() == QEvent::Hide) {
            ++toggles;
        }
        return QObject::eventFilter(watched, event);
    }
};

class TrayClickTest : public ::testing::Test {
protected:
    // One app and one icon for the whole suite: a tray re-lays its icons out while an old one leaves,
    // and a click aimed at a new icon during that would land elsewhere.
    static void SetUpTestSuite() {
        s_world = std::make_unique<PanelWorld>();
        s_app = std::make_unique<CompanionApp::MenuBarApp>(CompanionApp::MenuBarApp::Options{
            s_world->environment().host, s_world->environment().settings, s_world->panelOptions()});
    }

    static void TearDownTestSuite() {
        s_app.reset();
        s_world.reset();
    }

    void SetUp() override {
        ASSERT_TRUE(QSystemTrayIcon::isSystemTrayAvailable()) << "run inside with_x_tray.sh";
        m_xdotool = QStandardPaths::findExecutable(QStringLiteral("xdotool"));
        ASSERT_FALSE(m_xdotool.isEmpty());
        ASSERT_NE(s_app->trayIcon(), nullptr);
        // The icon can be clicked once the tray has embedded it and shown it; until then its place is
        // not known.
        waitForTheIcon();
        ASSERT_TRUE(iconIsShown());
        ASSERT_NO_FATAL_FAILURE(makeSureTheIconAnswersClicks());
        if (s_app->panel().isVisible()) {
            s_app->togglePanel();
        }
        ASSERT_FALSE(s_app->panel().isVisible());
        s_app->panel().installEventFilter(&m_counter);
    }

    void TearDown() override {
        s_app->panel().removeEventFilter(&m_counter);
        QGuiApplication::styleHints()->setMouseDoubleClickInterval(m_defaultInterval);
    }

    QRect iconArea() const { return s_app->trayIcon()->geometry(); }

    /// Once per suite, before anything is counted: a tray that has just embedded the icon may still
    /// be settling it, and a first press can go to the tray instead. The icon is clicked until it
    /// answers, again after a pause while it does not (the pause only spaces the tries; no verdict
    /// depends on it), and every press sent is handled before the tests count.
    void makeSureTheIconAnswersClicks() {
        if (s_answersClicks) {
            return;
        }
        ToggleCounter answers;
        s_app->panel().installEventFilter(&answers);
        const QDeadlineTimer bound(generousMilliseconds);
        int tries = 0;
        while (answers.toggles == 0 && !bound.hasExpired()) {
            ++tries;
            click();
            const QDeadlineTimer pause(pauseBetweenTriesMilliseconds);
            while (answers.toggles == 0 && !pause.hasExpired()) {
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
            }
        }
        // A round trip to the X server: every press sent so far has reached this program.
        QGuiApplication::sync();
        QCoreApplication::processEvents();
        s_app->panel().removeEventFilter(&answers);
        ASSERT_GT(answers.toggles, 0) << "the icon never answered a click";
        std::printf("tray click test: the icon answered after %d click(s)\n", tries);
        s_answersClicks = true;
    }

    /// The tray icon's own window, once it is on screen where the icon reports itself to be (until
    /// the tray has embedded it, that is nowhere).
    QWidget* iconWindow() const {
        const auto windows = QApplication::topLevelWidgets();
        const auto found = std::find_if(windows.begin(), windows.end(), [this](QWidget* window) {
            return window != &s_app->panel() && window->windowHandle() != nullptr &&
                   window->windowHandle()->isExposed() &&
                   QRect(window->mapToGlobal(QPoint(0, 0)), window->size()) == iconArea();
        });
        return found == windows.end() ? nullptr : *found;
    }

    bool iconIsShown() const { return iconWindow() != nullptr; }

    /// Runs the event loop until the icon is on screen (a tray may hide it a moment while it lays its
    /// icons out again). The bound only catches a broken setup.
    void waitForTheIcon() const {
        const QDeadlineTimer bound(generousMilliseconds);
        while (!iconIsShown() && !bound.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        }
    }

    /// Presses and releases the left button over the icon `count` times in one go, in the middle of
    /// its window wherever the X server has it (the tray may have moved it since Qt last heard).
    void click(int count = 1) {
        waitForTheIcon();
        const QWidget* icon = iconWindow();
        ASSERT_NE(icon, nullptr);
        const int status = QProcess::execute(
            m_xdotool,
            {QStringLiteral("mousemove"), QStringLiteral("--window"), QString::number(icon->winId()),
             QString::number(icon->width() / 2), QString::number(icon->height() / 2), QStringLiteral("click"),
             QStringLiteral("--repeat"), QString::number(count), QStringLiteral("--delay"),
             QStringLiteral("1"), QStringLiteral("1")});
        ASSERT_EQ(status, 0);
    }

    /// Runs the event loop until the panel has been toggled `count` times since the start. The bound
    /// only catches a broken setup.
    void waitForToggles(int count) {
        const QDeadlineTimer bound(generousMilliseconds);
        while (m_counter.toggles < count && !bound.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        }
        ASSERT_EQ(m_counter.toggles, count);
    }

    /// Clicks `clicks` times, one after the other, each once the previous one has toggled the panel.
    void clickOneAtATime(int clicks) {
        for (int done = 1; done <= clicks; ++done) {
            click();
            waitForToggles(m_counter.toggles + 1);
            EXPECT_EQ(s_app->panel().isVisible(), done % 2 == 1) << "after click " << done;
        }
    }

    static constexpr int pauseBetweenTriesMilliseconds = 2000;

    static inline std::unique_ptr<PanelWorld> s_world;
    static inline std::unique_ptr<CompanionApp::MenuBarApp> s_app;
    static inline bool s_answersClicks = false;
    ToggleCounter m_counter;
    QString m_xdotool;
    const int m_defaultInterval = QGuiApplication::styleHints()->mouseDoubleClickInterval();
};

TEST_F(TrayClickTest, TheIconTurnsLightWhenTheDesktopTurnsDarkAndBack) {
    const auto squareLightness = [] {
        const QImage image =
            s_app->trayIcon()->icon().pixmap(QSize(32, 32)).toImage().convertToFormat(QImage::Format_ARGB32);
        return image.pixelColor(6, 6).lightness();
    };
    const QPalette before = QApplication::palette();
    EXPECT_LT(squareLightness(), 80);
    QPalette dark = before;
    dark.setColor(QPalette::Window, QColor(0x2a, 0x2a, 0x2a));
    dark.setColor(QPalette::WindowText, QColor(0xee, 0xee, 0xee));
    QApplication::setPalette(dark);
    EXPECT_GT(squareLightness(), 200);
    QApplication::setPalette(before);
    EXPECT_LT(squareLightness(), 80);
}

TEST_F(TrayClickTest, EveryClickTogglesThePanelWhenEachPressFollowsTheLastWithinADoubleClick) {
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(24 * 60 * 60 * 1000);
    clickOneAtATime(6);
}

TEST_F(TrayClickTest, EveryClickTogglesThePanelWhenNoPressCountsAsADoubleClick) {
    QGuiApplication::styleHints()->setMouseDoubleClickInterval(0);
    clickOneAtATime(6);
}

TEST_F(TrayClickTest, TwoClicksInQuickSuccessionOpenAndCloseThePanel) {
    click(2);
    waitForToggles(2);
    EXPECT_FALSE(s_app->panel().isVisible());
    // Nothing more came of the pair: the next click is the third toggle and opens the panel.
    clickOneAtATime(1);
    EXPECT_EQ(m_counter.toggles, 3);
}

} // namespace
