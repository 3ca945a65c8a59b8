#include "support/PrivateSessionBus.h"

#include <QApplication>

#include <gtest/gtest.h>

// On a session bus of the test's own, started before Qt connects to one, with the test as its tray
// host; on whichever display the wrapper script started (Weston or Xvfb).
int main(int argc, char** argv) {
    TestSupport::PrivateSessionBus bus;
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
