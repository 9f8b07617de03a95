// Disks without room for the file, or for the rest of it.

#include "support/DownloadRun.h"

#include <dlfcn.h>
#include <sys/statvfs.h>

namespace {

/// What every file system has left, as long as it is not negative.
std::atomic<qint64> pretendedSpace{-1};

} // namespace

/// Stands in front of the system's, which the headers call by this name for large files.
extern "C" int statvfs(const char* path, struct statvfs* info) noexcept {
    using Function = int (*)(const char*, struct statvfs*);
    static const auto system = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "statvfs64"));
    const int result = system(path, info);
    if (pretendedSpace >= 0) {
        info->f_frsize = 1;
        info->f_bfree = info->f_bavail = static_cast<fsblkcnt_t>(pretendedSpace);
    }
    return result;
}

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 fileSize = 6 * 1024 * 1024;
const QString noSpace = u"Disk error: No space left on device"_s;

class DownloaderDisk : public DownloadTest {
protected:
    DownloaderDisk()
        : DownloadTest(fileSize) {}
    ~DownloaderDisk() override { pretendedSpace = -1; }
};

TEST_F(DownloaderDisk, SaysAtOnceThatTheRestDoesNotFitAndKeepsWhatThereIs) {
    server.setHandler(throttled(file));
    pretendedSpace = fileSize - 100'000;
    EXPECT_EQ(run().words, noSpace);
    EXPECT_EQ(folder.names(), QStringList());
    EXPECT_EQ(server.requests(), 1) << "the probe only";

    pretendedSpace = fileSize;
    const qint64 before = interrupt(fileSize / 2, request());
    EXPECT_GT(before, fileSize / 2);
    pretendedSpace = 100'000;
    EXPECT_EQ(run().words, noSpace);
    EXPECT_EQ(held(), before);

    pretendedSpace = fileSize - before + 200'000; // enough for what is missing
    expectDelivered(run(), file, before);
}

} // namespace
} // namespace fetra::test
