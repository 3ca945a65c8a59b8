#include <QApplication>

#include <gtest/gtest.h>

// Runs on the X display that with_x_tray.sh starts, with its tray.
int main(int argc, char** argv) {
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
