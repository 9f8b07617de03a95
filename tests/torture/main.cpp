#include <QCoreApplication>
#include <QFileInfo>

#include <csignal>
#include <gtest/gtest.h>

/// Thousands of small files come and go: they belong in memory.
static void keepTemporaryFilesInMemory() {
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    if (memory.isDir() && memory.isWritable() && !qEnvironmentVariableIsSet("TMPDIR"))
        qputenv("TMPDIR", "/dev/shm");
}

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    keepTemporaryFilesInMemory();
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
