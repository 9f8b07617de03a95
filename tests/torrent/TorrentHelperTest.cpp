// The real helper on its own: what it refuses, and how it ends.

#include "HelperRun.h"
#include "TestTorrent.h"

#include "support/Eventually.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFile>

#include <csignal>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

class TorrentHelper : public ::testing::Test {
protected:
    [[nodiscard]] HelperRun::Setup setup(const QStringList& arguments) const {
        return {.arguments = arguments, .dataFolder = folder.path(u"data"_s)};
    }
    [[nodiscard]] QStringList toOut(const TestTorrent& torrent) const {
        return {u"-o"_s, folder.path(u"out"_s), folder.write(u"x.torrent"_s, torrent.bytes())};
    }
    /// Whether no helper transfers it now: there is never more than one.
    [[nodiscard]] bool isFree(const TestTorrent& torrent) const {
        HelperRun run(setup(toOut(torrent)));
        return run.runUntil([&] { return run.last(u"total"_s) > 0; });
    }

    const TempFolder folder;
    /// Nobody has it, so that it runs until it is stopped.
    const TestTorrent unavailable{.name = "f", .content = testContent(100'000, 100'000)};
};

TEST_F(TorrentHelper, RefusesWithASentence) {
    const QByteArray some = testContent(50'000, 50'000);
    const std::pair<QString, QByteArray> present[] = {
        {u"out/taken"_s, "somebody else's"},  {u"out/reserved"_s, ""},
        {u"out/longer"_s, some + 'x'},        {u"out/set/a.bin"_s, some},
        {u"out/set/notes.txt"_s, "my notes"}, {u"elsewhere/kept"_s, "kept"}};
    for (const auto& [name, content] : present)
        folder.write(name, content);
    ASSERT_TRUE(QFile::link(folder.path(u"elsewhere"_s), folder.path(u"out/planted"_s)));
    const QString out = folder.path(u"out"_s);
    int number = 0;
    const auto file = [&](const QByteArray& bytes) {
        return folder.write(u"t%1.torrent"_s.arg(++number), bytes);
    };
    const auto into = [&](const TestTorrent& torrent) {
        return QStringList{u"-o"_s, out, file(torrent.bytes())};
    };
    const auto withFile = [&](const QByteArray& name, const QByteArrayList& path) {
        return into({.name = name, .files = {{.path = path, .content = some}, {.path = {"z"}}}});
    };
    struct Case {
        QStringList arguments;
        QString sentence; ///< a pattern
        int status = 1;
    };
    const QString outside = u"The torrent names files outside of its folder\\."_s;
    const QString taken = u"\".*/%1\" exists and is not part of this torrent\\."_s;
    const Case cases[] = {
        {{u"-o"_s, out, file(unavailable.bytes().chopped(9))},
         u"The torrent file \".*\" cannot be read: .+\\."_s},
        {{u"-o"_s, out, u"magnet:?dn=nothing"_s}, u"The magnet link is not valid: .+\\."_s},
        {{u"-o"_s, folder.path(u"out/taken/below"_s), file(unavailable.bytes())},
         u"The folder \".*\" cannot be written: Not a directory\\."_s},
        {withFile("t", {"..", "..", "evil"}), outside},
        {withFile("t", {"a/../../../evil"}), outside},
        {withFile("t", {"/evil"}), outside},
        {withFile("../evil", {"a"}), outside},
        {into({.name = "..", .content = some}), u".* cannot be read: missing name.*\\."_s},
        {into({.name = "t",
               .files = {{.path = {"a"}, .linkTo = {"..", "elsewhere"}}, {.path = {"z"}, .content = some}}}),
         u"The torrent contains symbolic links.*\\."_s},
        {withFile("planted", {"kept"}), u"\".*/planted\" is a symbolic link.*\\."_s},
        {into({.name = "taken", .content = some}), taken.arg(u"taken"_s)},
        {into({.name = "reserved", .content = some}), taken.arg(u"reserved"_s)},
        {into({.name = "longer", .content = some}), u"\".*/longer\" is longer than in this torrent\\."_s},
        {into({.name = "set",
               .files = {{.path = {"0 new"}, .content = some},
                         {.path = {"a.bin"}, .content = some},
                         {.path = {"notes.txt"}, .content = "its notes"}}}),
         taken.arg(u"notes.txt"_s)},
        {{u"-o"_s, out}, u"A magnet link or a torrent file is missing\\."_s, 2},
        {{u"-o"_s, out, u"-upload-limit"_s, u"-1"_s, u"x"_s}, u"The option -upload-limit lacks .*\\."_s, 2},
        {{u"-o"_s, out, u"-fast"_s, u"x"_s}, u"There is no option \"-fast\"\\."_s, 2},
    };
    for (const Case& c : cases) {
        HelperRun run(setup(c.arguments));
        EXPECT_EQ(run.exitStatus(), c.status) << c.sentence.toStdString();
        EXPECT_TRUE(isLike(run.ending(), c.sentence)) << run.ending().toStdString();
    }
    EXPECT_EQ(folder.names(u"out"_s),
              QStringList({u"longer"_s, u"planted"_s, u"reserved"_s, u"set"_s, u"taken"_s}));
    EXPECT_EQ(folder.names(u"out/set"_s), QStringList({u"a.bin"_s, u"notes.txt"_s}));
    for (const auto& [name, content] : present)
        EXPECT_TRUE(folder.read(name) == content) << name.toStdString();
    EXPECT_FALSE(folder.contains(u"evil"_s));
}

TEST_F(TorrentHelper, ReportsEverySecondIsAloneAndNeverClaimsWhatItLacks) {
    const QStringList arguments = toOut(unavailable);
    HelperRun run(setup(arguments));
    ASSERT_TRUE(run.runUntil([&] { return run.last(u"total"_s) == unavailable.content.size(); }));
    HelperRun second(setup(arguments));
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_EQ(second.ending(), u"This torrent is already being downloaded into this folder."_s);
    ASSERT_TRUE(run.runUntil([] { return true; }));
    const qsizetype before = run.lines().size();
    const auto begun = std::chrono::steady_clock::now();
    ASSERT_TRUE(run.runUntil([&] { return run.lines().size() >= before + 3; }));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s);
    EXPECT_EQ(run.last(u"completed"_s), 0);
}

TEST_F(TorrentHelper, AdoptsWhatIsThereAndIsDoneWhenThatIsAll) {
    folder.write(u"out/f"_s, unavailable.content);
    HelperRun run(setup(toOut(unavailable)));
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_EQ(run.ending(), u"done"_s);
    EXPECT_EQ(run.last(u"completed"_s), unavailable.content.size());
    EXPECT_EQ(folder.read(u"out/f"_s), unavailable.content);

    folder.write(u"out/set/a"_s, unavailable.content);
    folder.write(u"out/set/begun"_s, "");
    HelperRun part(setup(toOut({.name = "set",
                                .files = {{.path = {"a"}, .content = unavailable.content},
                                          {.path = {"begun"}, .content = testContent(70'000, 70'000)}}})));
    EXPECT_TRUE(part.runUntil([&] { return part.last(u"completed"_s) > 0; }));
}

TEST_F(TorrentHelper, StopsWithinFiveSecondsThoughATrackerHangs) {
    ScriptedServer tracker([](ServerExchange& exchange) { exchange.stall(); });
    TestTorrent torrent = unavailable;
    torrent.tracker = tracker.url("/announce");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        HelperRun run(setup(toOut(torrent)));
        const qint64 before = tracker.requests();
        ASSERT_TRUE(run.runUntil([&] { return tracker.requests() > before && run.last(u"total"_s) > 0; }));
        const auto begun = std::chrono::steady_clock::now();
        run.send(signal);
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 7s);
        EXPECT_EQ(run.ending(), QString());
    }
}

TEST_F(TorrentHelper, EndsWithItsParentOrWhenNobodyListens) {
    HelperRun::Setup start = setup(toOut(unavailable));
    start.wrapper = {u"/bin/sh"_s, u"-c"_s, u"\"$0\" \"$@\" & wait"_s};
    HelperRun run(start);
    ASSERT_TRUE(run.runUntil([&] { return run.last(u"total"_s) > 0; }));
    EXPECT_FALSE(isFree(unavailable));
    run.send(SIGKILL); // The output stays open: only the parent goes.
    EXPECT_TRUE(eventually(7s, [&] { return isFree(unavailable); }));

    start.wrapper = {u"/bin/sh"_s, u"-c"_s, u"\"$0\" \"$@\" | head -n 1"_s};
    HelperRun unheard(start);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(unheard.exitStatus(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 10s);
}

} // namespace
} // namespace fetra::test
