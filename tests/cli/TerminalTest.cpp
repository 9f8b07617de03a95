// The real program drawing on a pseudo-terminal.

#include "cli/FetraRun.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <csignal>
#include <list>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 size = 6'000'000;

class TerminalTest : public ::testing::Test {
protected:
    /// Downloads into a folder of its own.
    FetraRun::Setup setup(const Terminal& terminal, const QStringList& environment = {}) {
        return {.arguments = {server_.url("/disk.iso").toString()},
                .folder = folders_.emplace_back().path(),
                .environment = environment,
                .inChild = [end = terminal.programEnd()] { ::dup2(end, STDERR_FILENO); }};
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
    std::list<TempFolder> folders_;
};

TEST_F(TerminalTest, DrawsInPlaceAndLeavesOneLine) {
    for (const int columns : {20, 80, 200}) {
        Terminal terminal(columns, 24);
        FetraRun run(setup(terminal));
        EXPECT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
        EXPECT_FALSE(terminal.isCursorVisible());
        EXPECT_TRUE(isShown(run, terminal, u"█"_s));
        EXPECT_LE(terminal.lines().size(), columns < 80 ? 7 : 3) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_FALSE(terminal.wasOverrun());
        EXPECT_EQ(end(run, terminal), 0);
        ASSERT_EQ(terminal.lines().size(), 1) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_TRUE(terminal.lines().first().startsWith("disk.iso: 5.72 MB in "_L1));
        EXPECT_TRUE(terminal.isCursorVisible());
        EXPECT_EQ(run.output(), (folders_.back().path(u"disk.iso"_s) + u'\n').toUtf8());
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
    const QString saved = u"; the same command continues from there."_s;
    const std::pair<int, QString> cases[] = {{SIGINT, saved}, {SIGHUP, saved}, {SIGQUIT, {}}};
    for (const auto& [signal, lastLine] : cases) {
        SCOPED_TRACE(signal);
        Terminal terminal(80, 24);
        FetraRun run(setup(terminal));
        ASSERT_TRUE(isShown(run, terminal, u"of 5.72 MB"_s));
        run.send(signal);
        EXPECT_EQ(end(run, terminal), 130);
        EXPECT_TRUE(terminal.wasCursorHidden());
        EXPECT_TRUE(terminal.isCursorVisible());
        const QString lines = terminal.lines().join(u'\n');
        EXPECT_EQ(terminal.lines().size(), lastLine.isEmpty() ? 0 : 1) << qPrintable(lines);
        EXPECT_TRUE(lines.contains(lastLine)) << qPrintable(lines);
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
        QString environment;
        bool colour;
        bool moves;
        bool ascii;
    };
    for (const Case& c : {
             Case{u"NO_COLOR=1"_s, false, true, false},
             {u"NO_COLOR="_s, true, true, false},
             {u"TERM=dumb"_s, false, false, true},
             {u"LANG=C"_s, true, true, true},
         }) {
        SCOPED_TRACE(c.environment.toStdString());
        Terminal terminal(80, 24);
        FetraRun run(setup(terminal, {c.environment}));
        ASSERT_TRUE(isShown(run, terminal, u"5.72 MB"_s));
        run.send(SIGINT);
        ASSERT_EQ(end(run, terminal), 130);
        EXPECT_EQ(terminal.raw().contains("\x1b[1m"), c.colour);
        EXPECT_EQ(terminal.raw().contains('\x1b'), c.moves);
        const bool onlyAscii = std::all_of(terminal.raw().begin(), terminal.raw().end(),
                                           [](char byte) { return uchar(byte) < 0x80; });
        EXPECT_EQ(onlyAscii, c.ascii);
    }
}

} // namespace
} // namespace fetra::test
