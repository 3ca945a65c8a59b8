#include <QApplication>

#include <gtest/gtest.h>

// The panel is made of widgets, so every test runs inside a QApplication: offscreen, as CTest's
// environment says, and also when the list of tests is read at build time without that environment.
// No translation is installed: the texts are the Spanish keys unless a test installs one.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
