#include "system/PosixError.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace fetra {
namespace {

TEST(PosixErrorTest, KeepsKnownCodesAndTurnsTheRestIntoEIO) {
    struct Case {
        int code;
        int kept;
        const char* text;
    };
    for (const Case& each :
         {Case{ENOSPC, ENOSPC, "No space left on device"}, Case{0, EIO, "Input/output error"},
          Case{-5, EIO, "Input/output error"}, Case{99'999, EIO, "Input/output error"}}) {
        SCOPED_TRACE(each.code);
        const PosixError error(each.code);
        EXPECT_EQ(error.code(), each.kept);
        EXPECT_STREQ(error.what(), each.text);
        EXPECT_EQ(error.description(), QString::fromUtf8(each.text));
    }
}

} // namespace
} // namespace fetra
