#include "manager/StateLock.h"

#include "support/TempFolder.h"
#include "system/PosixError.h"

#include <gtest/gtest.h>
#include <QFile>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

TEST(StateLockTest, OneHolderWhateverTheFileIsCalled) {
    const TempFolder folder;
    const QString path = folder.write(u"state.json"_s, "{}");
    const QString link = folder.path(u"link.json"_s);
    ASSERT_TRUE(QFile::link(path, link));
    for (const auto& [first, second] : {std::pair(path, path), {path, link}, {link, path}}) {
        std::optional<StateLock> lock = StateLock::tryAcquire(first);
        ASSERT_TRUE(lock);
        EXPECT_FALSE(StateLock::tryAcquire(second));
        StateLock moved = std::move(*lock);
        lock.reset();
        EXPECT_FALSE(StateLock::tryAcquire(second)) << "moved, not let go";
    }
    EXPECT_TRUE(StateLock::tryAcquire(path));
    EXPECT_TRUE(StateLock::tryAcquire(folder.path(u"new/other.json"_s))) << "before there is a file";
    EXPECT_EQ(folder.read(u"state.json"_s), "{}");
    EXPECT_THROW(static_cast<void>(StateLock::tryAcquire(path + u"/below"_s)), PosixError);
    const QString planted = folder.path(u"planted.json"_s);
    ASSERT_TRUE(QFile::link(folder.path(u"elsewhere"_s), planted + QLatin1StringView(StateLock::suffix)));
    EXPECT_THROW(static_cast<void>(StateLock::tryAcquire(planted)), PosixError);
    EXPECT_FALSE(QFile::exists(folder.path(u"elsewhere"_s))) << "nothing is made at the end of a link";
}

} // namespace
} // namespace fetra::test
