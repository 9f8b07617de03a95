#include "model/ModelWorld.h"

#include <QDir>
#include <QFile>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::ModelWorld;
using test::runUntil;

class RemovalTest : public ModelWorld {
protected:
    void remove(const AppModel::Items& items, bool deleteFiles) {
        model().requestRemoval(ids(items), deleteFiles);
        ASSERT_TRUE(model().removal());
        const RemovalRequest request = *model().removal();
        model().setRemoval(std::nullopt);
        model().performRemoval(request);
    }
    [[nodiscard]] bool ends() {
        return runUntil([&] { return model().deleting().isEmpty(); });
    }
    /// Without the folder of the state file.
    [[nodiscard]] QString files() {
        QStringList names = folder.names();
        names.removeAll(u"Fetra"_s);
        return names.join(u' ');
    }
};

TEST_F(RemovalTest, AsksWithTheTextsOfWhatWillHappen) {
    const AppModel::Items items{addPartial(u"a"_s), addPartial(u"b"_s)};
    model().requestRemoval({}, false);
    EXPECT_FALSE(model().removal());
    model().requestRemoval(ids(items), false);
    EXPECT_EQ(model().removal()->title(), u"Remove selected downloads?"_s);
    EXPECT_EQ(model().removal()->message(),
              u"2 downloads will be removed from the list. Downloaded files will be kept."_s);
    EXPECT_EQ(model().removal()->button(), u"Remove"_s);
    model().requestRemoval(ids(items), true);
    EXPECT_EQ(model().removal()->title(), u"Remove downloads and delete their files?"_s);
    EXPECT_EQ(model().removal()->message(), u"2 downloads will be removed. Their downloaded files and "
                                            "partial data will be permanently deleted."_s);
    EXPECT_EQ(model().removal()->button(), u"Remove and Delete Files"_s);
}

TEST_F(RemovalTest, DeletesWhatBelongsToADownloadAndNothingElse) {
    struct Case {
        bool isComplete;
        bool deleteFiles;
        QString left;
    };
    const Case cases[] = {
        {false, false, u"f f.fetra f.part"_s},
        {false, true, u"f"_s},
        {true, false, u"f f.fetra f.part"_s},
        {true, true, u""_s},
    };
    for (const Case& each : cases) {
        const Item other = addAt(u"http://host.example/other"_s);
        const Item item = addPartial(u"f"_s);
        folder.write(u"f"_s, "somebody's or ours");
        item->setStatus(each.isComplete ? DownloadStatus::completed : DownloadStatus::paused);
        model().setSelection(ids({other, item}));
        remove({item}, each.deleteFiles);
        EXPECT_TRUE(model().deleting().contains(item->id()));
        ASSERT_TRUE(ends());
        EXPECT_EQ(files(), each.left);
        EXPECT_EQ(manager().items(), QList{other});
        EXPECT_EQ(model().selection(), ids({other}));
        EXPECT_EQ(error(), QString());
        manager().remove(other, false);
    }
}

TEST_F(RemovalTest, StopsARunningDownloadFirstAndLeavesItToNobodyElse) {
    addAll(u"ab"_s);
    const Item running = item(0);
    remove({running, item(1)}, false);
    EXPECT_TRUE(transfer(0).isCancelled());
    model().requestRemoval({running->id()}, true);
    EXPECT_FALSE(model().removal());
    model().resume({running});
    ASSERT_TRUE(ends());
    EXPECT_TRUE(manager().items().isEmpty());
    EXPECT_FALSE(running->isActive());
}

TEST_F(RemovalTest, KeepsDownloadsThatDoNotStopInAMinute) {
    addAll(u"a"_s);
    transfer(0).staysDeaf = true;
    remove({item(0)}, true);
    clock.advance(59.9);
    ASSERT_TRUE(runUntil([&] { return transfer(0).isCancelled(); }));
    EXPECT_EQ(error(), QString());
    clock.advance(0.2);
    ASSERT_TRUE(ends());
    EXPECT_EQ(error(), u"The selected downloads are still stopping. Try removing them again when they are "
                       "paused."_s);
    EXPECT_EQ(manager().items().size(), 1);
    transfer(0).fail(DownloadError::cancelled());
    EXPECT_TRUE(runUntil([&] { return item(0)->status() == DownloadStatus::paused; }));
}

TEST_F(RemovalTest, AnInterruptedRemovalKeepsTheDownloads) {
    addAll(u"a"_s);
    remove({item(0)}, true);
    model().interruptWaits();
    EXPECT_TRUE(model().deleting().isEmpty());
    EXPECT_EQ(error(), u"Removal was interrupted. The downloads have been kept."_s);
    EXPECT_EQ(manager().items().size(), 1);
}

TEST_F(RemovalTest, NeverDeletesWhatAnotherDownloadOfTheListUses) {
    ASSERT_TRUE(QDir().mkpath(folder.path(u"real"_s)));
    ASSERT_TRUE(QFile::link(folder.path(u"real"_s), folder.path(u"link"_s)));
    const QString shared = u"Could not delete files for %1: Another download uses these files. Remove that "
                           "download from the list before deleting shared files."_s;
    struct Case {
        QString ours, theirs;
        bool isShared;
    };
    const Case cases[] = {
        {u"real/f"_s, u"real/f"_s, true},         {u"real/f"_s, u"link/f"_s, true},
        {u"real/f"_s, u"real/../real/f"_s, true}, {u"real/f.part"_s, u"real/f"_s, true},
        {u"real/f"_s, u"real/g"_s, false},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.ours.toStdString() + " beside " + each.theirs.toStdString());
        const Item doomed = addComplete(each.ours);
        const Item also = addComplete(u"alone"_s);
        const Item other = addAt(u"http://host.example/other"_s);
        other->setDestination(file(each.theirs));
        remove({doomed, also}, true);
        ASSERT_TRUE(ends());
        EXPECT_EQ(error(), each.isShared ? shared.arg(doomed->filename()) : QString());
        EXPECT_EQ(folder.contains(each.ours), each.isShared);
        EXPECT_FALSE(folder.contains(u"alone"_s));
        EXPECT_EQ(manager().items(), each.isShared ? QList({doomed, other}) : QList({other}));
        manager().remove(manager().items(), false);
        model().setErrorMessage(std::nullopt);
    }
}

TEST_F(RemovalTest, LeavesAFileThatHasTakenTheNameMeanwhile) {
    const Item item = addComplete(u"f"_s);
    const DownloadFiles files(*item);
    folder.write(u"g"_s, "another");
    ASSERT_EQ(::rename(folder.path(u"g"_s).toUtf8().constData(), folder.path(u"f"_s).toUtf8().constData()),
              0);
    EXPECT_EQ(files.remove(), std::nullopt);
    EXPECT_EQ(folder.read(u"f"_s), "another");
}

TEST_F(RemovalTest, SaysWhyAFileCouldNotBeDeletedAndKeepsItsDownload) {
    const Item item = addComplete(u"f"_s);
    ASSERT_TRUE(QFile::remove(folder.path(u"f"_s)));
    ASSERT_TRUE(QDir().mkpath(folder.path(u"f"_s)));
    remove({item}, true);
    ASSERT_TRUE(ends());
    EXPECT_EQ(error(), u"Could not delete files for f: Is a directory"_s);
    EXPECT_EQ(manager().items(), QList{item});
}

TEST_F(RemovalTest, DeletesTheFolderOfACompleteTorrentButNeverTheFolderItWasPutIn) {
    folder.write(u"Album/disc/one.flac"_s, "music");
    folder.write(u"keep.txt"_s, "mine");
    const auto torrent = [&](const QUrl& destination) {
        const Item item = addAt(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s,
                                DownloadStatus::completed);
        item->setDestination(destination);
        return item;
    };
    const Item inside = addAt(u"http://host.example/x"_s);
    inside->setDestination(file(u"Album/x"_s));
    const Item album = torrent(file(u"Album"_s));
    remove({album}, true);
    ASSERT_TRUE(ends());
    EXPECT_TRUE(error().contains(u"Another download uses these files."_s)) << error().toStdString();
    EXPECT_EQ(files(), u"Album keep.txt"_s);
    manager().remove(inside, false);
    model().setErrorMessage(std::nullopt);
    remove({album}, true);
    ASSERT_TRUE(ends());
    EXPECT_EQ(files(), u"keep.txt"_s);
    EXPECT_EQ(error(), QString());
    remove({torrent(QUrl::fromLocalFile(folder.path()))}, true);
    ASSERT_TRUE(ends());
    EXPECT_EQ(files(), u"keep.txt"_s);
    EXPECT_NE(error(), QString());
    EXPECT_EQ(manager().items().size(), 1);
}

} // namespace
} // namespace fetra
