#include "system/AtomicFile.h"

#include "support/SystemFaults.h"
#include "support/TempFolder.h"
#include "support/ThrownBy.h"

#include <gtest/gtest.h>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::SystemFaults;
using test::TempFolder;

TEST(AtomicFileTest, ReplacesTheContentInAPrivateFileAndFollowsNoLinkThatIsInItsWay) {
    const TempFolder folder;
    const QString path = folder.write(u"state.json"_s, "old and longer");
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), 0644), 0);
    ASSERT_TRUE(QFile::link(folder.write(u"victim"_s, "precious"), path + u".tmp"_s));
    AtomicFile::write(path, "new");
    EXPECT_EQ(folder.read(u"state.json"_s), "new");
    EXPECT_EQ(folder.read(u"victim"_s), "precious");
    EXPECT_EQ(folder.names(), QStringList({u"state.json"_s, u"victim"_s}));
    EXPECT_FALSE(QFileInfo(path).isSymLink());
    EXPECT_EQ(folder.mode(u"state.json"_s), 0600U);
}

TEST(AtomicFileTest, AFailureKeepsTheOldContentAndLeavesNoTemporaryFile) {
    // What the writes and syncs fail with, the error thrown, and what is there then.
    const std::tuple<const char*, std::vector<int>, std::vector<int>, int, const char*> cases[] = {
        {"full at the first write", {ENOSPC}, {}, ENOSPC, "old"},
        {"full at the second write", {0, ENOSPC}, {}, ENOSPC, "old"},
        {"the sync says that data are lost", {}, {EIO}, EIO, "old"},
        {"only the folder's sync fails, after the rename", {}, {0, EIO}, EIO, "0123"},
        {"the folder knows no sync", {}, {0, EINVAL}, 0, "0123"},
    };
    for (const auto& [name, writes, syncs, code, content] : cases) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        const QString path = folder.write(u"a"_s, "old");
        SystemFaults faults;
        faults.limitWrites(2);
        faults.failWrite(writes);
        faults.failSync(syncs);
        EXPECT_EQ(test::posixCode([&] { AtomicFile::write(path, "0123"); }), code);
        EXPECT_EQ(folder.read(u"a"_s), content);
        EXPECT_EQ(folder.names(), QStringList{u"a"_s});
    }
}

TEST(AtomicFileTest, ReadsWholeRegularFilesUpToTheLimit) {
    const TempFolder folder;
    const QString file = folder.write(u"file"_s, "12345");
    const QString pipe = folder.path(u"pipe"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const std::tuple<QString, qint64, std::optional<QByteArray>> cases[] = {
        {file, 5, "12345"},
        {file, 4, std::nullopt},
        {folder.write(u"empty"_s, ""), 5, QByteArray("")},
        {folder.path(u"missing"_s), 5, std::nullopt},
        {folder.path(), 5, std::nullopt},
        {pipe, 5, std::nullopt},
    };
    for (const auto& [path, maxBytes, content] : cases)
        EXPECT_EQ(AtomicFile::read(path, maxBytes), content) << path.toStdString() << " up to " << maxBytes;
}

} // namespace
} // namespace fetra
