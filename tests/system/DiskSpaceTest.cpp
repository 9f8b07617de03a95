#include "system/DiskSpace.h"

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

TEST(DiskSpaceTest, AFileSystemWithoutBlocksHasNoLimitToTell) {
    EXPECT_GT(DiskSpace::available(u"/tmp"_s).value_or(0), 0);
    EXPECT_FALSE(DiskSpace::available(u"/proc"_s));
    EXPECT_FALSE(DiskSpace::available(u"/tmp/no such folder"_s));
}

} // namespace
} // namespace fetra
