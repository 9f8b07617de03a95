#include "transfer/FileSink.h"

#include "support/SystemFaults.h"
#include "support/TempFolder.h"
#include "support/ThrownBy.h"

#include <gtest/gtest.h>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::SystemFaults;
using test::TempFolder;
using Existing = FileSink::Existing;

/// The code that opening throws, 0 when it does not.
int openError(const QString& path, std::optional<qint64> preallocate, Existing existing) {
    return test::posixCode([&] { const FileSink sink(path, preallocate, existing); });
}

TEST(FileSinkTest, OpensWithoutTruncatingAndGivesTheFileItsSize) {
    using Content = std::optional<QByteArray>;
    // What is there, the size asked for, what is made of it, the error, and what is there then.
    const std::tuple<const char*, Content, std::optional<qint64>, Existing, int, Content> cases[] = {
        {"made empty", std::nullopt, std::nullopt, Existing::refused, 0, ""},
        {"made with zeros", std::nullopt, 3, Existing::refused, 0, QByteArray(3, '\0')},
        {"kept as it is", "abc", std::nullopt, Existing::welcome, 0, "abc"},
        {"nowhere to go on", std::nullopt, 3, Existing::required, ENOENT, std::nullopt},
        {"continued", "abc", 5, Existing::required, 0, QByteArray("abc\0\0", 5)},
        {"not taken from anybody", "abc", 5, Existing::refused, EEXIST, "abc"},
    };
    for (const auto& [name, before, preallocate, existing, error, after] : cases) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        if (before)
            folder.write(u"f"_s, *before);
        EXPECT_EQ(openError(folder.path(u"f"_s), preallocate, existing), error);
        EXPECT_EQ(folder.tryRead(u"f"_s), after);
    }
}

TEST(FileSinkTest, RefusesWhatIsNoRegularFileOfItsOwn) {
    const TempFolder folder;
    const QString file = folder.write(u"file"_s, "abc");
    const QString link = folder.path(u"link"_s);
    const QString pipe = folder.path(u"pipe"_s);
    ASSERT_TRUE(QFile::link(file, link));
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(openError(link, 10, Existing::welcome), ELOOP);
    EXPECT_EQ(openError(pipe, 10, Existing::welcome), ENXIO);
    EXPECT_EQ(openError(u"/dev/null"_s, 10, Existing::welcome), EINVAL);
    EXPECT_EQ(folder.read(u"file"_s), "abc");
}

TEST(FileSinkTest, AFailedSyncIsNeverForgotten) {
    // What the syncs fail with, which of them are full ones, and what they answer.
    const std::tuple<const char*, std::vector<int>, std::vector<bool>, std::vector<bool>> cases[] = {
        {"interrupted", {EINTR, EINTR}, {false, true}, {true, true}},
        {"lost by the ordinary one", {EIO}, {false, false, true}, {false, false, false}},
        {"the disk is full", {0, ENOSPC}, {false, false, false}, {true, false, false}},
        {"no full one here", {EINVAL}, {true, true}, {true, true}},
        {"none here", {EINVAL, EINVAL}, {true, true}, {false, false}},
    };
    for (const auto& [name, syncs, full, expected] : cases) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        FileSink sink(folder.path(u"f"_s), 10, Existing::refused);
        SystemFaults faults;
        faults.failSync(syncs);
        std::vector<bool> results;
        for (const bool each : full)
            results.push_back(sink.flush(each));
        EXPECT_EQ(results, expected);
    }
}

TEST(FileSinkTest, LateWritesNeverReachTheNextFileWithTheSameDescriptor) {
    const TempFolder folder;
    const std::string chunk(4096, 'x');
    for (int round = 0; round < 100; ++round) {
        FileSink sink(folder.path(QString::number(round)), std::nullopt, Existing::refused);
        std::vector<std::jthread> writers;
        for (int thread = 0; thread < 3; ++thread)
            writers.emplace_back([&, thread] {
                for (int late = 0; late < 100; late += sink.isClosed() ? 1 : 0)
                    sink.write(chunk, thread * 4096);
            });
        std::this_thread::sleep_for(std::chrono::microseconds(round * 10));
        sink.close();
        FileSink next(folder.path(u"next"_s), std::nullopt, Existing::welcome);
        writers.clear();
        next.close();
        ASSERT_EQ(folder.read(u"next"_s).size(), 0);
    }
}

TEST(FileSinkTest, ASinkOwnsItsFileForAsLongAsItLives) {
    const TempFolder folder;
    const QString path = folder.path(u"f"_s);
    EXPECT_FALSE(FileSink::isInUse(path));
    {
        FileSink sink(path, 10, Existing::refused);
        EXPECT_TRUE(FileSink::isInUse(path));
        EXPECT_EQ(openError(path, 10, Existing::welcome), EBUSY);
        EXPECT_EQ(openError(path, 10, Existing::refused), EEXIST);
        EXPECT_EQ(FileSink::discard(path), FileSink::Discarded::taken);
        sink.close();
        EXPECT_TRUE(FileSink::isInUse(path)) << "it has yet to be checked and moved";
        EXPECT_EQ(FileSink::discard(path), FileSink::Discarded::taken);
    }
    EXPECT_FALSE(FileSink::isInUse(path));
    EXPECT_EQ(openError(path, 10, Existing::welcome), 0);
    EXPECT_EQ(FileSink::discard(path), FileSink::Discarded::gone);
    EXPECT_FALSE(QFile::exists(path));
}

TEST(FileSinkTest, AskingWhetherAFileIsInUseDisturbsNobody) {
    const TempFolder folder;
    const QString path = folder.write(u"f"_s, "");
    std::jthread curious([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            static_cast<void>(FileSink::isInUse(path));
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
    });
    for (int round = 0; round < 1000; ++round)
        ASSERT_EQ(openError(path, std::nullopt, Existing::welcome), 0);
}

TEST(FileSinkTest, OwnershipHoldsAcrossProcessesAndEndsWithACrash) {
    const TempFolder folder;
    const QString path = folder.write(u"f"_s, "");
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const FileSink sink(path, 10, Existing::welcome);
        if (::write(ready[1], "x", 1) == 1)
            ::pause();
        ::_exit(1);
    }
    char byte = 0;
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);
    EXPECT_TRUE(FileSink::isInUse(path));
    EXPECT_EQ(openError(path, 10, Existing::welcome), EBUSY);
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_FALSE(FileSink::isInUse(path));
    EXPECT_EQ(openError(path, 10, Existing::welcome), 0);
    ::close(ready[0]);
    ::close(ready[1]);
}

} // namespace
} // namespace fetra
