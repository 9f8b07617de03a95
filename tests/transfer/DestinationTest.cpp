// Where a download goes: names found, claimed and given.

#include "support/DownloadRun.h"
#include "support/Eventually.h"
#include "support/Routes.h"
#include "transfer/FileSink.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <functional>
#include <list>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

QUrl fileURL(const QString& path) {
    return QUrl::fromLocalFile(path);
}

/// Runs it on a thread that has no power over other users' files.
void asOrdinaryUser(const std::function<void()>& action) {
    std::thread([&] {
        constexpr int nobody = 65'534;
        // For this thread alone; the library's own call would change all of them.
        if (::geteuid() == 0) {
            ASSERT_EQ(::syscall(SYS_setresuid, -1, nobody, -1), 0);
        }
        action();
    }).join();
}

TEST(DestinationTest, FollowsTheTargetAndOverwritesNothing) {
    // What is there already, the target below the folder, and where it goes.
    const std::tuple<const char*, QStringList, QString, QString> cases[] = {
        {"existing folder", {}, u""_s, u"a.zip"_s},
        {"name in use", {u"a.zip"_s}, u""_s, u"a (1).zip"_s},
        {"two names in use", {u"a.zip"_s, u"a (1).zip"_s}, u""_s, u"a (2).zip"_s},
        {"number with a partial file", {u"a.zip"_s, u"a (1).zip.part"_s}, u""_s, u"a (2).zip"_s},
        {"partial file", {u"a.zip.part"_s}, u""_s, u"a.zip"_s},
        {"partial file beside a finished one", {u"a.zip"_s, u"a.zip.part"_s}, u""_s, u"a.zip"_s},
        {"record", {u"a.zip.fetra"_s}, u""_s, u"a.zip"_s},
        {"record beside a finished file", {u"a.zip"_s, u"a.zip.fetra"_s}, u""_s, u"a.zip"_s},
        {"folder of that name", {u"a.zip/inside"_s}, u""_s, u"a (1).zip"_s},
        {"folder to be made", {}, u"/new/er/"_s, u"new/er/a.zip"_s},
        {"file to be made", {}, u"/new/er/b.iso"_s, u"new/er/b.iso"_s},
        {"file that is there", {u"b.iso"_s}, u"/b.iso"_s, u"b (1).iso"_s},
        {"file with a partial file", {u"b.iso"_s, u"b.iso.part"_s}, u"/b.iso"_s, u"b.iso"_s},
        {"folder without a slash", {u"folder/inside"_s}, u"/folder"_s, u"folder/a.zip"_s},
    };
    const RemoteInfo info{.suggestedFilename = u"a.zip"_s};
    for (const auto& [name, present, target, goes] : cases) {
        SCOPED_TRACE(name);
        const TempFolder folder;
        for (const QString& each : present)
            folder.write(each, "x");
        const QUrl result = Downloader::resolveDestination(fileURL(folder.path() + target), info);
        EXPECT_EQ(result, fileURL(folder.path(goes)));
        EXPECT_TRUE(QFileInfo(QFileInfo(result.toLocalFile()).path()).isDir());
    }
}

TEST(DestinationTest, LeavesAPartialFileToTheTransferThatHasIt) {
    const TempFolder folder;
    const RemoteInfo info{.suggestedFilename = u"a.zip"_s};
    folder.write(u"a.zip.fetra"_s, "x");
    auto sink = std::make_unique<FileSink>(folder.path(u"a.zip.part"_s), 10, FileSink::Existing::welcome);
    EXPECT_EQ(Downloader::resolveDestination(fileURL(folder.path() + u'/'), info),
              fileURL(folder.path(u"a (1).zip"_s)));
    sink.reset();
    EXPECT_EQ(Downloader::resolveDestination(fileURL(folder.path() + u'/'), info),
              fileURL(folder.path(u"a.zip"_s)));
}

TEST(DestinationTest, TakesALinkThatLeadsNowhereForAFile) {
    const TempFolder folder;
    ASSERT_TRUE(QFile::link(u"/nowhere"_s, folder.path(u"a.zip"_s)));
    EXPECT_EQ(
        Downloader::resolveDestination(fileURL(folder.path() + u'/'), {.suggestedFilename = u"a.zip"_s}),
        fileURL(folder.path(u"a (1).zip"_s)));
}

TEST(DestinationTest, PutsTheNumberBeforeTheExtension) {
    const TempFolder folder;
    const std::pair<QString, QString> cases[] = {
        {u"setup.dmg"_s, u"setup (1).dmg"_s},           {u"README"_s, u"README (1)"_s},
        {u"archive.tar.gz"_s, u"archive.tar (1).gz"_s}, {u".profile"_s, u".profile (1)"_s},
        {u"100 %?#.txt"_s, u"100 %?# (1).txt"_s},       {u"Grüße.txt"_s, u"Grüße (1).txt"_s},
    };
    for (const auto& [name, unique] : cases)
        EXPECT_EQ(Downloader::uniqueURL(fileURL(folder.path(name))), fileURL(folder.path(unique)));
}

TEST(DestinationTest, InventsANameWhenAllNumbersAreTaken) {
    const TempFolder folder;
    for (int number = 1; number <= 10'000; ++number)
        folder.write(u"a (%1).zip"_s.arg(number), {});
    const QString name = Downloader::uniqueURL(fileURL(folder.path(u"a.zip"_s))).fileName();
    const QRegularExpression pattern(u"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}-a\\.zip$"_s);
    EXPECT_TRUE(pattern.match(name).hasMatch()) << name.toStdString();
}

class DestinationOfDownloads : public DownloadTest {
protected:
    DestinationOfDownloads()
        : DownloadTest(600'000) {}

    static ServerFile fileNumber(int number) {
        return ServerFile::ofSize(600'000, static_cast<quint64>(number + 1));
    }
};

TEST_F(DestinationOfDownloads, KeepAllOfManyFilesOfOneNameThatComeAtOnce) {
    constexpr int count = 8;
    std::map<QByteArray, Handler> paths;
    for (int number = 0; number < count; ++number)
        paths["/" + QByteArray::number(number) + "/f.bin"] =
            serve(fileNumber(number), {.bytesPerSecond = 500'000}, {.what = When::What::Data});
    server.setHandler(routes(paths));
    std::list<RunningDownload> running;
    for (int number = 0; number < count; ++number)
        running.emplace_back(world, request("/" + QByteArray::number(number) + "/f.bin"), impatient(4));
    QStringList names;
    int number = 0;
    for (RunningDownload& each : running) {
        const Ending ending = each.end();
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_TRUE(folder.tryRead(ending.name()) == fileNumber(number++).content);
        names.append(ending.name());
    }
    names.sort();
    EXPECT_EQ(folder.names(), names) << "each its own, and nothing else left";
    EXPECT_EQ(QSet<QString>(names.begin(), names.end()).size(), count);
}

TEST_F(DestinationOfDownloads, KeepARunningTransferOfTheSameAddressUndisturbed) {
    server.setHandler(throttled(file, 600'000));
    RunningDownload first(world, request(), impatient(4));
    ASSERT_TRUE(eventually(10s, [&] { return first.receivedBytes() > 0; }));
    const Ending second = run();
    EXPECT_EQ(second.words, u"complete"_s);
    EXPECT_EQ(second.name(), u"f (1).bin"_s);
    EXPECT_EQ(first.end().words, u"complete"_s);
    EXPECT_EQ(folder.names(), (QStringList{u"f (1).bin"_s, u"f.bin"_s}));
    for (const QString& name : folder.names())
        EXPECT_TRUE(folder.read(name) == file.content);
}

TEST_F(DestinationOfDownloads, MoveOnWhenSomethingAppearsUnderTheNameMeanwhile) {
    const std::tuple<const char*, std::function<void()>, QString> cases[] = {
        {"a file", [&] { folder.write(u"f.bin"_s, "theirs"); }, u"f (1).bin"_s},
        {"two files",
         [&] {
             folder.write(u"f.bin"_s, "theirs");
             folder.write(u"f (1).bin"_s, "theirs too");
         },
         u"f (2).bin"_s},
        {"a folder", [&] { folder.write(u"f.bin/inside"_s, "theirs"); }, u"f (1).bin"_s},
    };
    for (const auto& [name, appear, result] : cases) {
        SCOPED_TRACE(name);
        DownloadRequest what = request();
        what.onStart = [&, show = appear](const QUrl& destination, const RemoteInfo&) {
            EXPECT_EQ(destination.fileName(), u"f.bin"_s);
            show();
        };
        const Ending ending = download(world, what, impatient(4));
        EXPECT_EQ(ending.name(), result);
        EXPECT_TRUE(folder.tryRead(result) == file.content);
        EXPECT_EQ(folder.tryRead(u"f (1).bin"_s) == "theirs too", result == u"f (2).bin"_s);
        EXPECT_TRUE(QFileInfo(folder.path(u"f.bin"_s)).isDir() || folder.read(u"f.bin"_s) == "theirs");
        for (const QString& left : folder.names()) {
            EXPECT_FALSE(left.endsWith(u".part"_s) || left.endsWith(u".fetra"_s)) << left.toStdString();
            QFile::remove(folder.path(left));
            QDir(folder.path(left)).removeRecursively();
        }
    }
}

TEST_F(DestinationOfDownloads, EndWithTheSystemsReasonWhereNothingCanBeMade) {
    folder.write(u"file"_s, "x");
    ASSERT_EQ(::chmod(folder.path().toUtf8().constData(), 0555), 0);
    asOrdinaryUser([&] { EXPECT_EQ(run().words, u"io Permission denied"_s); });
    ASSERT_EQ(::chmod(folder.path().toUtf8().constData(), 0755), 0);
    DownloadRequest below = request();
    below.target = fileURL(folder.path(u"file/f.bin"_s));
    EXPECT_EQ(download(world, below, impatient(4)).words, u"io Not a directory"_s);
    below.target = fileURL(folder.path(QString(300, u'n')));
    EXPECT_EQ(download(world, below, impatient(4)).words, u"io File name too long"_s);
    EXPECT_EQ(folder.names(), QStringList{u"file"_s});
}

TEST_F(DestinationOfDownloads, KeepAPartialFileThatMustNotBeWritten) {
    ASSERT_EQ(::chmod(folder.path().toUtf8().constData(), 0777), 0);
    server.setHandler(throttled(file, 600'000));
    asOrdinaryUser([&] {
        const qint64 kept = interrupt(100'000, request(), impatient(4));
        const QByteArray part = folder.path(u"f.bin.part"_s).toUtf8();
        ASSERT_EQ(::chmod(part.constData(), 0444), 0);
        EXPECT_EQ(run().words, u"io Permission denied"_s);
        EXPECT_EQ(held(), kept);
        ASSERT_EQ(::chmod(part.constData(), 0644), 0);
        const Ending ending = run();
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(ending.result->resumedFrom, kept);
    });
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
}

TEST_F(DestinationOfDownloads, NeverWriteThroughALink) {
    const TempFolder elsewhere;
    const QString victim = elsewhere.write(u"victim"_s, "precious");
    for (const QString& suffix : {u".part"_s, u".fetra"_s, u".fetra.tmp"_s})
        ASSERT_TRUE(QFile::link(victim, folder.path(u"f.bin"_s + suffix)));
    const Ending ending = run();
    EXPECT_EQ(ending.words, u"complete"_s);
    EXPECT_TRUE(folder.tryRead(ending.name()) == file.content);
    EXPECT_EQ(elsewhere.read(u"victim"_s), "precious");
}

} // namespace
} // namespace fetra::test
