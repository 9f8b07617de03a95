// The real program drawing on a pseudo-terminal.

#include "cli/FetraRun.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <list>

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
                .inChild = terminal.connect()};
    }

    const ServerFile file_ = ServerFile::ofSize(size);
    ScriptedServer server_{serve(file_, {.totalBytesPerSecond = 3e6}, {.what = When::What::Data})};
    std::list<TempFolder> folders_;
};

TEST_F(TerminalTest, DrawsInPlaceAndLeavesOneLine) {
    for (const int columns : {20, 80, 200}) {
        Terminal terminal(columns, 24);
        FetraRun run(setup(terminal));
        EXPECT_TRUE(terminal.shows(run, u"█"_s));
        EXPECT_LE(terminal.lines().size(), columns < 80 ? 7 : 3) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_FALSE(terminal.wasOverrun());
        EXPECT_EQ(terminal.end(run), 0);
        ASSERT_EQ(terminal.lines().size(), 1) << qPrintable(terminal.lines().join(u'\n'));
        EXPECT_TRUE(terminal.lines().first().startsWith("disk.iso: 5.72 MB in "_L1));
        EXPECT_TRUE(terminal.isCursorVisible());
        EXPECT_EQ(run.output(), (folders_.back().path(u"disk.iso"_s) + u'\n').toUtf8());
    }
}

TEST_F(TerminalTest, GivesTheCursorBackOnEveryWayOut) {
    const QString saved = u"; the same command continues from there."_s;
    const std::pair<int, QString> cases[] = {{SIGINT, saved}, {SIGHUP, saved}, {SIGQUIT, {}}};
    for (const auto& [signal, lastLine] : cases) {
        SCOPED_TRACE(signal);
        Terminal terminal(80, 24);
        FetraRun run(setup(terminal));
        ASSERT_TRUE(terminal.shows(run, u"of 5.72 MB"_s));
        EXPECT_FALSE(terminal.isCursorVisible());
        run.send(signal);
        EXPECT_EQ(terminal.end(run), 130);
        EXPECT_TRUE(terminal.isCursorVisible());
        EXPECT_EQ(terminal.lines().size(), lastLine.isEmpty() ? 0 : 1);
        EXPECT_TRUE(terminal.lines().join(u'\n').contains(lastLine));
    }
}

TEST_F(TerminalTest, FollowsTheWidthAndLeavesTheTerminalUsableWhileSuspended) {
    Terminal terminal(100, 24);
    FetraRun run(setup(terminal));
    ASSERT_TRUE(terminal.shows(run, u"of 5.72 MB"_s));
    run.send(SIGTSTP);
    EXPECT_TRUE(terminal.becomes(
        run, [&](const QStringList& lines) { return terminal.isCursorVisible() && lines.isEmpty(); }));
    run.send(SIGCONT);
    EXPECT_TRUE(terminal.shows(run, u"of 5.72 MB"_s));
    terminal.resize(30, 24);
    run.send(SIGWINCH);
    EXPECT_TRUE(terminal.becomes(run, [](const QStringList& lines) {
        return lines.size() > 3 && std::ranges::all_of(lines, [](auto& line) { return line.size() < 30; });
    })) << qPrintable(terminal.lines().join(u'\n'));
}

TEST_F(TerminalTest, MessagesStandAboveTheBlock) {
    Terminal terminal(120, 24);
    FetraRun::Setup how = setup(terminal);
    // A mirror that has another file.
    ScriptedServer mirror(serve(ServerFile::ofSize(size - 1)));
    how.arguments += {u"-m"_s, mirror.url("/disk.iso").toString()};
    FetraRun run(how);
    EXPECT_TRUE(terminal.becomes(run, [](const QStringList& lines) {
        return lines.value(0).startsWith("[WRN] mirror skipped"_L1) && lines.last().contains("of 5.72 MB"_L1);
    })) << qPrintable(terminal.lines().join(u'\n'));
    EXPECT_EQ(terminal.end(run), 0);
    EXPECT_EQ(terminal.lines().size(), 2) << qPrintable(terminal.lines().join(u'\n'));
}

TEST_F(TerminalTest, ColourIsForTerminalsThatWantIt) {
    // Whether there is colour, whether it is drawn in place, and whether in ASCII only.
    const std::tuple<QString, bool, bool, bool> cases[] = {
        {u"NO_COLOR=1"_s, false, true, false},
        {u"TERM=dumb"_s, false, false, true},
        {u"LANG=C"_s, true, true, true},
    };
    for (const auto& [environment, colour, moves, ascii] : cases) {
        SCOPED_TRACE(environment.toStdString());
        Terminal terminal(80, 24);
        FetraRun run(setup(terminal, {environment}));
        ASSERT_TRUE(terminal.shows(run, u"5.72 MB"_s));
        run.send(SIGINT);
        ASSERT_EQ(terminal.end(run), 130);
        EXPECT_EQ(terminal.raw().contains("\x1b[1m"), colour);
        EXPECT_EQ(terminal.raw().contains('\x1b'), moves);
        EXPECT_EQ(std::ranges::all_of(terminal.raw(), [](char byte) { return uchar(byte) < 0x80; }), ascii);
    }
}

} // namespace
} // namespace fetra::test
