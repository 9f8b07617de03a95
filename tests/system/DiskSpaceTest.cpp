#include "system/DiskSpace.h"

#include "support/TempFolder.h"
#include "system/PosixFile.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

TEST(DiskSpaceTest, KnowsTheSpaceOfFoldersAndNothingOfMissingOnes) {
    const TempFolder folder;
    EXPECT_GT(DiskSpace::available(folder.path()).value_or(0), 0);
    EXPECT_FALSE(DiskSpace::available(folder.path(u"missing"_s)));
    EXPECT_FALSE(DiskSpace::available(u"/proc"_s)) << "a file system without blocks has no limit to tell";
}

TEST(DiskSpaceTest, CountsTheBlocksOfAFileAndNotItsHoles) {
    constexpr qint64 large = 64 * 1024 * 1024;
    constexpr qint64 small = 1024 * 1024;
    const TempFolder folder;
    const QString sparse = folder.write(u"sparse"_s, {});
    ASSERT_EQ(::truncate(sparse.toUtf8().constData(), large), 0);
    EXPECT_LT(DiskSpace::allocated(sparse), small);
    const QString full = folder.write(u"full"_s, QByteArray(small, 'x'));
    {
        // Some file systems count blocks only once they are on disk.
        const PosixFile::Descriptor file = PosixFile::open(full, O_WRONLY);
        ASSERT_TRUE(PosixFile::sync(file.number(), true));
    }
    EXPECT_GE(DiskSpace::allocated(full), small);
    EXPECT_EQ(DiskSpace::allocated(folder.path(u"missing"_s)), 0);
}

} // namespace
} // namespace fetra
