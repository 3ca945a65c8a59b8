#include "CompanionApp/MenuBarApp.h"
#include "StatusNotifierHost.h"
#include "support/PanelWorld.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QThread>
#include <QWindow>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>

// The companion's icon as a StatusNotifierItem, with the test as the desktop's tray host on a session
// bus of its own: the icon registers with the host, the host's `Activate` opens the panel where it can
// be seen and a second `Activate` closes it. Run on a real Wayland compositor (Weston) and on a real X
// server (Xvfb), with screenshots of the open panel kept in the artifact folder.
namespace {

using AppTestSupport::generousMilliseconds;
using AppTestSupport::PanelWorld;
using CompanionApp::PanelWindowing;
using TrayTestSupport::StatusNotifierHost;

/// Runs the event loop until `done` holds; the bound only catches a broken setup. `done` is asked
/// once per round and its last answer returned: some predicates compare with what they saw before.
template <typename Predicate>
bool waitFor(Predicate done) {
    const QDeadlineTimer bound(generousMilliseconds);
    while (true) {
        if (done()) {
            return true;
        }
        if (bound.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
}

/// The whole screen as the display server shows it.
QImage screenshot(const QString& file) {
    QProcess shooter;
    shooter.setProcessChannelMode(QProcess::ForwardedChannels);
    shooter.start(QStringLiteral(NUVEXA_SCREENSHOT), {file});
    // The event loop keeps running: the compositor may wait for this program's next frame.
    if (!waitFor([&shooter] { return shooter.state() == QProcess::NotRunning; }) || shooter.exitCode() != 0) {
        return {};
    }
    return QImage(file).convertToFormat(QImage::Format_RGB32);
}

/// Where a picture of the screen differs from an earlier one, and whether the new part has more than
/// one colour.
struct Drawing {
    QRect box;
    qsizetype pixels = 0;
    bool varied = false;
};

Drawing drawingOver(const QImage& before, const QImage& after) {
    Drawing found;
    if (before.size() != after.size()) {
        return found;
    }
    std::optional<QRgb> seen;
    for (int y = 0; y < after.height(); ++y) {
        const auto* old = reinterpret_cast<const QRgb*>(before.constScanLine(y));
        const auto* line = reinterpret_cast<const QRgb*>(after.constScanLine(y));
        for (int x = 0; x < after.width(); ++x) {
            if (line[x] != old[x]) {
                found.box |= QRect(x, y, 1, 1);
                ++found.pixels;
                found.varied = found.varied || (seen.has_value() && *seen != line[x]);
                seen = line[x];
            }
        }
    }
    return found;
}

class StatusNotifierTrayTest : public ::testing::Test {
protected:
    // The host is there before the companion starts, as on a desktop: Qt looks for one only once.
    static void SetUpTestSuite() {
        s_host = std::make_unique<StatusNotifierHost>();
        s_hostThread = std::make_unique<QThread>();
        s_host->moveToThread(s_hostThread.get());
        s_hostThread->start();
        bool started = false;
        QMetaObject::invokeMethod(
            s_host.get(),
            [&started] {
                started = s_host->start(QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")));
            },
            Qt::BlockingQueuedConnection);
        ASSERT_TRUE(started);
        s_world = std::make_unique<PanelWorld>();
        // The pictures show the panel as a Linux user sees it.
        s_world->platformActions = s_world->linuxActions();
        s_app = std::make_unique<CompanionApp::MenuBarApp>(
            CompanionApp::MenuBarApp::Options{s_world->environment().host, s_world->environment().settings,
                                              s_world->panelOptions(), [] { return s_now; }});
    }

    static void TearDownTestSuite() {
        s_app.reset();
        s_world.reset();
        // Back on the main thread before it goes, so that nothing of it is left on the host's.
        QMetaObject::invokeMethod(
            s_host.get(),
            [] {
                s_host->stop();
                s_host->moveToThread(QCoreApplication::instance()->thread());
            },
            Qt::BlockingQueuedConnection);
        s_hostThread->quit();
        s_hostThread->wait();
        s_host.reset();
        s_hostThread.reset();
    }

    void SetUp() override {
        ASSERT_NE(s_app->trayIcon(), nullptr) << "the host was not taken for a tray";
        ASSERT_TRUE(waitFor([] { return !s_host->registeredStatusNotifierItems().isEmpty(); }))
            << "the icon never registered with the host";
        // Whatever a previous test did, this one starts long after it, with the panel closed.
        s_now += std::chrono::hours(1);
        if (s_app->panel().isVisible()) {
            s_app->togglePanel();
        }
        ASSERT_FALSE(s_app->panel().isVisible());
    }

    static QString item() { return s_host->registeredStatusNotifierItems().constLast(); }

    static bool panelIsShown() {
        const QWindow* window = s_app->panel().windowHandle();
        return s_app->panel().isVisible() && window != nullptr && window->isExposed();
    }

    static QString artifact(const QString& name) {
        QDir().mkpath(QStringLiteral(NUVEXA_TRAY_ARTIFACTS));
        // The wrapper script names the screen; the X tray's is named after Qt's platform.
        const QString platform = qEnvironmentVariable("NUVEXA_TRAY_SCREEN", QGuiApplication::platformName());
        return QStringLiteral(NUVEXA_TRAY_ARTIFACTS "/statusnotifier-%1-%2.png").arg(platform, name);
    }

    static inline std::unique_ptr<StatusNotifierHost> s_host;
    static inline std::unique_ptr<QThread> s_hostThread;
    static inline std::unique_ptr<PanelWorld> s_world;
    static inline std::unique_ptr<CompanionApp::MenuBarApp> s_app;
    static inline std::chrono::steady_clock::time_point s_now;
};

TEST_F(StatusNotifierTrayTest, TheIconRegistersWithTheHostAsAnItemOnItsOwnBusName) {
    EXPECT_TRUE(item().startsWith(QLatin1String("org.kde.StatusNotifierItem-")) || item().startsWith(u':'))
        << item().toStdString();
    EXPECT_TRUE(QSystemTrayIcon::isSystemTrayAvailable());
}

TEST_F(StatusNotifierTrayTest, ActivateOpensThePanelDrawnOnTheScreenAndASecondActivateClosesIt) {
    // The desktop as it is before the panel opens, once it has settled (Weston fades in at start):
    // two screenshots in a row are the same.
    QImage before = screenshot(artifact(QStringLiteral("closed")));
    ASSERT_TRUE(waitFor([&] {
        const QImage again = screenshot(artifact(QStringLiteral("closed")));
        const bool settled = !again.isNull() && again == before;
        before = again;
        return settled;
    })) << "the screen never settled";

    // Where the host's icon was clicked, in the top right corner like a top panel's tray.
    s_host->activate(item(), before.width() - 20, 10);
    ASSERT_TRUE(waitFor(panelIsShown)) << "the panel did not open";
    const QSize size = s_app->panel().size();
    if (s_app->windowing() == PanelWindowing::anchoredPopup) {
        const QRect screen = s_app->panel().screen()->geometry();
        EXPECT_TRUE(screen.contains(s_app->panel().frameGeometry()))
            << "the panel is off the screen at " << s_app->panel().x() << "," << s_app->panel().y();
    }

    // Drawn: the screen shows something new, in more than one colour, over
    // at least the panel's extent (what the compositor shows, not what the program believes it drew).
    // The compositor may show the first frame a little later.
    const QString openShot = artifact(QStringLiteral("panel-open"));
    Drawing drawn;
    ASSERT_TRUE(waitFor([&] {
        drawn = drawingOver(before, screenshot(openShot));
        return drawn.varied && drawn.box.width() >= size.width() && drawn.box.height() >= size.height() &&
               drawn.pixels >= qsizetype(size.width()) * size.height() / 2;
    })) << "the panel is not on the screen: "
        << drawn.pixels << " pixels drawn in a box of " << drawn.box.width() << "x" << drawn.box.height()
        << ", the panel is " << size.width() << "x" << size.height();
    EXPECT_TRUE(QRect(QPoint(0, 0), before.size()).contains(drawn.box));
    std::printf("status notifier test: screenshot %s, the panel drawn over %dx%d at %d,%d\n",
                qPrintable(openShot), drawn.box.width(), drawn.box.height(), drawn.box.x(), drawn.box.y());

    s_host->activate(item(), before.width() - 20, 10);
    ASSERT_TRUE(waitFor([] { return !s_app->panel().isVisible(); })) << "the panel did not close";

    s_host->activate(item(), before.width() - 20, 10);
    EXPECT_TRUE(waitFor(panelIsShown)) << "the panel did not open again";
}

TEST_F(StatusNotifierTrayTest, ThePanelClosesWhenAnotherWindowTakesTheFocus) {
    if (s_app->windowing() != PanelWindowing::compositorPlaced) {
        GTEST_SKIP() << "a popup closes through its pointer grab; the X tray tests click outside it";
    }
    if (qEnvironmentVariable("NUVEXA_WAYLAND_SEAT") != QLatin1String("1")) {
        GTEST_SKIP() << "the compositor has no seat, so no window can have the focus (the test on Weston "
                        "with a seat checks this)";
    }
    s_host->activate(item(), 1000, 10);
    ASSERT_TRUE(waitFor(panelIsShown));
    ASSERT_TRUE(waitFor([] { return s_app->panel().isActiveWindow(); }))
        << "the compositor did not focus the panel";

    QWidget other;
    other.resize(200, 100);
    other.show();
    other.activateWindow();
    ASSERT_TRUE(waitFor([] { return !s_app->panel().isVisible(); })) << "the panel stayed open";

    // A click on the icon that took the focus from the panel is the click that closed it: its own
    // activation, which follows at once, does not reopen it.
    int activations = 0;
    const auto counter =
        QObject::connect(s_app->trayIcon(), &QSystemTrayIcon::activated, [&activations] { ++activations; });
    s_host->activate(item(), 1000, 10);
    ASSERT_TRUE(waitFor([&activations] { return activations == 1; }));
    EXPECT_FALSE(s_app->panel().isVisible());
    // A later click opens it again.
    s_now += std::chrono::seconds(5);
    s_host->activate(item(), 1000, 10);
    ASSERT_TRUE(waitFor([&activations] { return activations == 2; }));
    QObject::disconnect(counter);
    EXPECT_TRUE(waitFor(panelIsShown));
}

} // namespace
