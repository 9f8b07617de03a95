// Where a download goes: names found, claimed and given.

#include "support/DownloadRun.h"
#include "support/Routes.h"

#include <QFileInfo>

#include <list>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

QUrl fileURL(const QString& path) {
    return QUrl::fromLocalFile(path);
}

TEST(DestinationTest, FollowsTheTargetAndOverwritesNothing) {
    // What is there already, the target below the folder, and where it goes.
    const std::tuple<const char*, QStringList, QString, QString> cases[] = {
        {"existing folder", {}, u""_s, u"a.zip"_s},
        {"name in use", {u"a.zip"_s}, u""_s, u"a (1).zip"_s},
        {"number with a partial file", {u"a.zip"_s, u"a (1).zip.part"_s}, u""_s, u"a (2).zip"_s},
        {"partial file beside a finished one", {u"a.zip"_s, u"a.zip.part"_s}, u""_s, u"a.zip"_s},
        {"record beside a finished file", {u"a.zip"_s, u"a.zip.fetra"_s}, u""_s, u"a.zip"_s},
        {"folder of that name", {u"a.zip/inside"_s}, u""_s, u"a (1).zip"_s},
        {"folder to be made", {}, u"/new/er/"_s, u"new/er/a.zip"_s},
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

TEST(DestinationTest, PutsTheNumberBeforeTheExtension) {
    const TempFolder folder;
    const std::pair<QString, QString> cases[] = {
        {u"README"_s, u"README (1)"_s},
        {u"archive.tar.gz"_s, u"archive.tar (1).gz"_s},
        {u".profile"_s, u".profile (1)"_s},
        {u"100 %?#.txt"_s, u"100 %?# (1).txt"_s},
    };
    for (const auto& [name, unique] : cases)
        EXPECT_EQ(Downloader::uniqueURL(fileURL(folder.path(name))), fileURL(folder.path(unique)));
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
    QSet<QString> names;
    int number = 0;
    for (RunningDownload& each : running) {
        const Ending ending = each.end();
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_TRUE(folder.tryRead(ending.name()) == fileNumber(number++).content);
        names.insert(ending.name());
    }
    EXPECT_EQ(names.size(), count);
    EXPECT_EQ(folder.names().size(), count) << "nothing else is left";
}

TEST_F(DestinationOfDownloads, MoveOnWhenSomethingAppearsUnderTheNameMeanwhile) {
    const std::tuple<const char*, QStringList, QString> cases[] = {
        {"two files", {u"f.bin"_s, u"f (1).bin"_s}, u"f (2).bin"_s},
        {"a folder", {u"f.bin/inside"_s}, u"f (1).bin"_s},
    };
    for (const auto& [name, appearing, result] : cases) {
        SCOPED_TRACE(name);
        const TempFolder there;
        DownloadRequest what = toFolder(server.url("/f.bin"), there.path());
        what.onStart = [&, names = appearing](const QUrl& destination, const RemoteInfo&) {
            EXPECT_EQ(destination.fileName(), u"f.bin"_s);
            for (const QString& each : names)
                there.write(each, "theirs");
        };
        EXPECT_EQ(download(world, what, impatient(4)).name(), result);
        EXPECT_TRUE(there.tryRead(result) == file.content);
        for (const QString& each : appearing)
            EXPECT_EQ(there.tryRead(each), "theirs");
        EXPECT_EQ(there.names().size(), appearing.size() + 1) << "nothing else is left";
    }
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
