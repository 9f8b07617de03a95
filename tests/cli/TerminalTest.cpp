// The real program drawing on a pseudo-terminal.

#include "cli/FetraRun.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 size = 6'000'000;

class TerminalTest : public ::testing::Test {
protected:
    FetraRun::Setup setup(const Terminal& terminal, const QStringList& environment = {}) {
        return {
            .arguments = {server_.url("/disk.iso").toString()},
            .folder = folder_.path(),
            .environment = environment,
            .inChild = [end = terminal.programEnd()] { ::dup2(end, STDERR_FILENO); },
        };
    }
    /// Whether `part` came to be seen.
    static bool isShown(FetraRun& run, Terminal& terminal, const QString& part) {
        return run.runUntil([&] {
            terminal.update();
            return terminal.lines().join(u'\n').contains(part);
        });
    }
    static std::optional<int> end(FetraRun& run, Terminal& terminal) {
        static_cast<void>(run.runUntil([&] {
            terminal.update();
            return false;
        }));
        const std::optional<int> status = run.exitStatus();
        terminal.update();
        return status;
    }

    const ServerFile file_ = ServerFile::ofSize(size);
    ScriptedServer server_{serve(file_, {.totalBytesPerSecond = 3e6}, {.what = When::What::Data})};
    TempFolder folder_;
};

TEST_F(TerminalTest, DrawsInPlaceAndLeavesOneLine) {
    for (const int columns : {20, 80, 200}) {
        TempFolder folder;
        Terminal terminal(columns, 24);
        FetraRun::Setup how = setup(terminal);
        how.folder = folder.path();
        FetraRun run(how);
        EXPECT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
        EXPECT_FALSE(terminal.isCursorVisible());
        EXPECT_TRUE(isShown(run, terminal, u"█"_s));
        EXPECT_LE(terminal.lines().size(), columns < 80 ? 7 : 3) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_FALSE(terminal.wasOverrun());
        EXPECT_EQ(end(run, terminal), 0);
        ASSERT_EQ(terminal.lines().size(), 1) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_TRUE(terminal.lines().first().startsWith("disk.iso: 5.72 MB in "_L1));
        EXPECT_TRUE(terminal.isCursorVisible());
        EXPECT_EQ(run.output(), (folder.path(u"disk.iso"_s) + u'\n').toUtf8());
    }
}

TEST_F(TerminalTest, FollowsTheWidth) {
    Terminal terminal(100, 24);
    FetraRun run(setup(terminal));
    ASSERT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
    terminal.resize(30, 24);
    run.send(SIGWINCH);
    EXPECT_TRUE(run.runUntil([&] {
        terminal.update();
        const QStringList lines = terminal.lines();
        return lines.size() > 3 &&
               std::all_of(lines.begin(), lines.end(), [](const QString& l) { return l.size() < 30; });
    })) << qPrintable(terminal.lines().join(u'\n'));
}

TEST_F(TerminalTest, GivesTheCursorBackOnEveryWayOut) {
    struct Case {
        const char* name;
        int signal;
        int status;
        const char16_t* lastLine;
    };
    for (const Case& c : {
             Case{"Ctrl-C", SIGINT, 130, u"; the same command continues from there."},
             {"the terminal is closed", SIGHUP, 130, u"; the same command continues from there."},
             {"quit", SIGQUIT, 130, u""},
         }) {
        TempFolder folder;
        Terminal terminal(80, 24);
        FetraRun::Setup how = setup(terminal);
        how.folder = folder.path();
        FetraRun run(how);
        ASSERT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s)) << c.name;
        run.send(c.signal);
        EXPECT_EQ(end(run, terminal), c.status) << c.name;
        EXPECT_TRUE(terminal.wasCursorHidden());
        EXPECT_TRUE(terminal.isCursorVisible()) << c.name;
        const QString lastLine = QString::fromUtf16(c.lastLine);
        EXPECT_EQ(terminal.lines().size(), lastLine.isEmpty() ? 0 : 1)
            << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_TRUE(terminal.lines().join(u'\n').contains(lastLine))
            << qPrintable(terminal.lines().join(u'\n'));
    }
}

TEST_F(TerminalTest, ASuspendedProgramLeavesTheTerminalUsable) {
    Terminal terminal(80, 24);
    FetraRun run(setup(terminal));
    ASSERT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
    run.send(SIGTSTP);
    EXPECT_TRUE(run.runUntil([&] {
        terminal.update();
        return terminal.isCursorVisible() && terminal.lines().isEmpty();
    }));
    run.send(SIGCONT);
    EXPECT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
    EXPECT_EQ(end(run, terminal), 0);
    EXPECT_TRUE(terminal.isCursorVisible());
}

TEST_F(TerminalTest, MessagesStandAboveTheBlock) {
    Terminal terminal(120, 24);
    FetraRun::Setup how = setup(terminal);
    // A mirror that has another file.
    ScriptedServer mirror(serve(ServerFile::ofSize(size - 1)));
    how.arguments += {u"-m"_s, mirror.url("/disk.iso").toString()};
    FetraRun run(how);
    ASSERT_TRUE(isShown(run, terminal, u"[WRN] mirror skipped"_s));
    EXPECT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
    EXPECT_TRUE(terminal.lines().first().startsWith("[WRN] mirror skipped"_L1))
        << qPrintable(terminal.lines().join(u'\n'));
    EXPECT_EQ(end(run, terminal), 0);
    EXPECT_EQ(terminal.lines().size(), 2) << qPrintable(terminal.lines().join(u'\n'));
}

TEST_F(TerminalTest, ColourIsForTerminalsThatWantIt) {
    struct Case {
        QStringList environment;
        bool colour;
        bool moves;
        bool ascii;
    };
    for (const Case& c : {
             Case{{}, true, true, false},
             {{u"NO_COLOR=1"_s}, false, true, false},
             {{u"NO_COLOR="_s}, true, true, false},
             {{u"TERM=dumb"_s}, false, false, false},
             {{u"LANG=C"_s}, true, true, true},
         }) {
        TempFolder folder;
        Terminal terminal(80, 24);
        FetraRun::Setup how = setup(terminal, c.environment);
        how.folder = folder.path();
        FetraRun run(how);
        ASSERT_TRUE(isShown(run, terminal, u"5.72 MB"_s));
        run.send(SIGINT);
        ASSERT_EQ(end(run, terminal), 130);
        EXPECT_EQ(terminal.raw().contains("\x1b[1m"), c.colour) << qPrintable(c.environment.join(u' '));
        EXPECT_EQ(terminal.raw().contains('\x1b'), c.moves) << qPrintable(c.environment.join(u' '));
        const bool onlyAscii = std::all_of(terminal.raw().begin(), terminal.raw().end(),
                                           [](char byte) { return uchar(byte) < 0x80; });
        EXPECT_EQ(onlyAscii, c.ascii || !c.moves) << qPrintable(c.environment.join(u' '));
    }
}

} // namespace
} // namespace fetra::test
