#include "stories/StoryWorld.h"

#include <QApplication>

#include <csignal>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    // The platform's own screen is narrower than the main window.
    const fetra::test::TempFolder folder;
    const QString screens = folder.write(
        QStringLiteral("screens.json"),
        R"({"screens": [{"name": "1", "width": 1920, "height": 1080, "logicalDpi": 96, "dpr": 1}]})");
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.toUtf8());
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new fetra::test::StorySession);
    return RUN_ALL_TESTS();
}
