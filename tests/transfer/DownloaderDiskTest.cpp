// Disks that are full, from the start or half-way.

#include "support/DownloadRun.h"
#include "support/Eventually.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "system/DiskSpace.h"

#include <gtest/gtest.h>
#include <QFile>

#include <cerrno>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

bool writeText(const char* path, const QByteArray& text) {
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

/// A name space of its own for this thread's mounts and those of threads it makes later. An ordinary user
/// gets one only while the process has a single thread.
bool leaveMountNamespace() {
    const auto user = ::geteuid();
    const auto group = ::getegid();
    if (user == 0)
        return ::unshare(CLONE_NEWNS) == 0;
    return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeText("/proc/self/setgroups", "deny") &&
           writeText("/proc/self/uid_map", "0 " + QByteArray::number(user) + " 1") &&
           writeText("/proc/self/gid_map", "0 " + QByteArray::number(group) + " 1");
}

/// A disk of a few megabytes in memory, mounted on a temporary folder.
class SmallDisk {
public:
    explicit SmallDisk(qint64 bytes) {
        const QByteArray path = QFile::encodeName(folder_.path());
        const QByteArray options = "size=" + QByteArray::number(bytes);
        mounted_ = leaveMountNamespace() &&
                   ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   ::mount("none", path.constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~SmallDisk() {
        if (mounted_)
            ::umount2(QFile::encodeName(folder_.path()).constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] bool isMounted() const { return mounted_; }
    [[nodiscard]] const TempFolder& folder() const { return folder_; }

    /// Another file takes all the room but `spare` bytes.
    void fill(qint64 spare) {
        QFile file(folder_.path(u"filler"_s));
        const QByteArray content(DiskSpace::available(folder_.path()).value() - spare, 'f');
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    void makeRoom() { ASSERT_TRUE(QFile::remove(folder_.path(u"filler"_s))); }

private:
    const TempFolder folder_;
    bool mounted_ = false;
};

constexpr qint64 diskSize = 12 * 1024 * 1024;
constexpr qint64 fileSize = 6 * 1024 * 1024;
const QString noSpace = u"Disk error: No space left on device"_s;

class DownloaderDisk : public ::testing::Test {
protected:
    void SetUp() override {
        if (!disk.isMounted())
            GTEST_SKIP() << "no small disk can be mounted here: " << std::strerror(errno);
        world.emplace();
        server.emplace(serve(file, {.totalBytesPerSecond = 2.5e6}, {.what = When::What::Data}));
        request = toFolder(server->url("/f.bin"), disk.folder().path());
    }
    qint64 held() const { return heldBytes(disk.folder(), u"f.bin"_s, file.content); }

    SmallDisk disk{diskSize}; // first, while there is one thread
    const ServerFile file = ServerFile::ofSize(fileSize);
    std::optional<RealWorld> world;
    std::optional<ScriptedServer> server;
    DownloadRequest request;
};

TEST_F(DownloaderDisk, SaysAtOnceThatTheRestDoesNotFitAndKeepsWhatThereIs) {
    disk.fill(fileSize - 100'000);
    EXPECT_EQ(download(*world, request, impatient(8)).words, noSpace);
    EXPECT_EQ(disk.folder().names(), QStringList{u"filler"_s});
    EXPECT_EQ(server->requests(), 1) << "the probe only";

    disk.makeRoom();
    RunningDownload running(*world, request, impatient(8));
    ASSERT_TRUE(eventually(20s, [&] { return running.receivedBytes() > fileSize / 2; }));
    running.cancel();
    ASSERT_EQ(running.end().words, pausedWords);
    const qint64 before = held();
    EXPECT_GT(before, fileSize / 2);
    disk.fill(100'000);
    EXPECT_EQ(download(*world, request, impatient(8)).words, noSpace);
    EXPECT_EQ(held(), before);

    disk.makeRoom();
    disk.fill(fileSize - before + 200'000); // enough for what is missing
    const Ending ending = download(*world, request, impatient(8));
    ASSERT_EQ(ending.words, u"complete"_s);
    EXPECT_EQ(ending.result->resumedFrom, before);
    EXPECT_TRUE(disk.folder().read(u"f.bin"_s) == file.content);
}

} // namespace
} // namespace fetra::test
