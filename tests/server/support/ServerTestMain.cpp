#include <QCoreApplication>

#include <gtest/gtest.h>

// The server and the test's own clients share this thread's event loop.
int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
