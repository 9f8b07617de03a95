#include "system/MoveFile.h"

#include "support/SystemFaults.h"
#include "support/TempFolder.h"
#include "support/ThrownBy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <latch>
#include <thread>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

/// The three ways, the later ones for file systems without the earlier.
struct Way {
    const char* name;
    int renameError;
    int linkError;
};
constexpr Way ways[] = {{"rename", 0, 0}, {"second name", EINVAL, 0}, {"look and rename", EINVAL, EPERM}};

class MoveFileTest : public ::testing::Test {
protected:
    void go(const Way& way) {
        faults.refuse(test::SystemCall::Kind::renameat2, way.renameError);
        faults.refuse(test::SystemCall::Kind::link, way.linkError);
    }

    test::SystemFaults faults;
};

int moveError(const QString& from, const QString& to) {
    return test::posixCode([&] { (void)MoveFile::withoutReplacing(from, to); });
}

TEST_F(MoveFileTest, MovesWhereNothingIsAndReplacesNothing) {
    const std::tuple<const char*, std::function<void(const TempFolder&)>, bool> cases[] = {
        {"free name", [](const TempFolder&) {}, true},
        {"file", [](const TempFolder& folder) { folder.write(u"to"_s, "theirs"); }, false},
        {"empty file", [](const TempFolder& folder) { folder.write(u"to"_s, {}); }, false},
        {"folder", [](const TempFolder& folder) { folder.write(u"to/inside"_s, "theirs"); }, false},
        {"link that leads nowhere",
         [](const TempFolder& folder) { QFile::link(u"nowhere"_s, folder.path(u"to"_s)); }, false},
    };
    for (const Way& way : ways) {
        go(way);
        for (const auto& [name, prepare, moves] : cases) {
            SCOPED_TRACE(::testing::Message() << way.name << ", " << name);
            const TempFolder folder;
            folder.write(u"from"_s, "ours");
            prepare(folder);
            const QStringList before = folder.names();
            EXPECT_EQ(MoveFile::withoutReplacing(folder.path(u"from"_s), folder.path(u"to"_s)), moves);
            EXPECT_EQ(folder.names(), moves ? QStringList{u"to"_s} : before);
            EXPECT_EQ(folder.read(moves ? u"to"_s : u"from"_s), "ours");
            EXPECT_EQ(folder.tryRead(u"to"_s) == "ours", moves);
        }
    }
}

TEST_F(MoveFileTest, SaysWhyItCannotMove) {
    const TempFolder folder;
    const QString file = folder.write(u"from"_s, "ours");
    for (const Way& way : ways) {
        SCOPED_TRACE(way.name);
        go(way);
        EXPECT_EQ(moveError(folder.path(u"missing"_s), folder.path(u"to"_s)), ENOENT);
        EXPECT_EQ(moveError(file, folder.path(u"no/folder/to"_s)), ENOENT);
        EXPECT_EQ(moveError(file, file + u"/to"_s), ENOTDIR);
        faults.failSync({EIO});
        EXPECT_EQ(moveError(file, folder.path(u"to"_s)), EIO);
        EXPECT_EQ(folder.names(), QStringList{u"from"_s}) << "moved back, since it may not last";
    }
}

TEST_F(MoveFileTest, GivesAContestedNameToExactlyOne) {
    const TempFolder folder;
    constexpr int contenders = 8;
    for (int round = 0; round < 20; ++round) {
        go(ways[round % 2]); // The third way makes no such promise.
        const QString prize = folder.path(u"prize %1"_s.arg(round));
        std::atomic<int> winners = 0;
        {
            std::latch start(contenders);
            std::vector<std::jthread> threads;
            for (int number = 0; number < contenders; ++number) {
                threads.emplace_back([&, mine = folder.write(u"mine %1"_s.arg(number), "x")] {
                    start.arrive_and_wait();
                    winners += MoveFile::withoutReplacing(mine, prize) ? 1 : 0;
                });
            }
        }
        EXPECT_EQ(winners, 1);
        EXPECT_EQ(folder.names().size(), contenders + round) << "nobody's file was lost";
    }
}

} // namespace
} // namespace fetra
