#include "system/MoveFile.h"

#include "support/SystemFaults.h"
#include "support/TempFolder.h"
#include "support/ThrownBy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <latch>
#include <thread>
#include <vector>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

/// The later ones are for file systems without the earlier.
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
    for (const Way& way : ways) {
        SCOPED_TRACE(way.name);
        go(way);
        const TempFolder folder;
        const QString from = folder.write(u"from"_s, "ours");
        folder.write(u"file"_s, "theirs");
        folder.write(u"empty"_s, {});
        folder.write(u"folder/inside"_s, "theirs");
        ASSERT_TRUE(QFile::link(u"nowhere"_s, folder.path(u"link"_s)));
        const QStringList before = folder.names();
        for (const QString& taken : {u"file"_s, u"empty"_s, u"folder"_s, u"link"_s}) {
            EXPECT_FALSE(MoveFile::withoutReplacing(from, folder.path(taken))) << taken.toStdString();
            EXPECT_EQ(folder.names(), before);
            EXPECT_NE(folder.tryRead(taken), "ours");
        }
        EXPECT_EQ(folder.read(u"file"_s), "theirs");
        EXPECT_TRUE(MoveFile::withoutReplacing(from, folder.path(u"to"_s)));
        EXPECT_EQ(folder.read(u"to"_s), "ours");
        EXPECT_FALSE(folder.contains(u"from"_s));
    }
}

TEST_F(MoveFileTest, SaysWhyItCannotMove) {
    const TempFolder folder;
    const QString file = folder.write(u"from"_s, "ours");
    for (const Way& way : ways) {
        SCOPED_TRACE(way.name);
        go(way);
        EXPECT_EQ(moveError(folder.path(u"missing"_s), folder.path(u"to"_s)), ENOENT);
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
