#include <QCoreApplication>

#include <gtest/gtest.h>

// The companion's objects live on a Qt event loop, so every test runs inside a QCoreApplication.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
