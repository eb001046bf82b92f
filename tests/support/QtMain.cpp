#include <QCoreApplication>

#include <gtest/gtest.h>

// The main of test programs whose tests need Qt's event loop.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
