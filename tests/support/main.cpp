#include <QCoreApplication>

#include <csignal>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
