#include "app/model/DownloadContextMenu.h"
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
};

TEST_F(RemovalTest, StopsARunningDownloadFirstAndLeavesItToNobodyElse) {
    addAll(u"abc"_s);
    const Item running = item(0);
    const Item other = item(2);
    model().setSelection(ids(manager().items()));
    remove({running, item(1)}, false);
    EXPECT_TRUE(transfer(0).isCancelled());
    model().requestRemoval({running->id()}, true);
    EXPECT_FALSE(model().removal());
    EXPECT_FALSE(DownloadContextMenu(model(), {running->id()}).entries().back().isEnabled);
    model().resume({running});
    ASSERT_TRUE(ends());
    EXPECT_EQ(manager().items(), QList{other});
    EXPECT_EQ(model().selection(), ids({other}));
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
        {u"real/f"_s, u"link/../real/f"_s, true},
        {u"real/f"_s, u"link/f"_s, true},
        {u"real/f.part"_s, u"real/f"_s, true},
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

TEST_F(RemovalTest, LeavesWhatHasTakenTheNameMeanwhile) {
    const Item item = addComplete(u"f"_s);
    const DownloadFiles files(*item);
    folder.write(u"g"_s, "another");
    ASSERT_EQ(::rename(folder.path(u"g"_s).toUtf8().constData(), folder.path(u"f"_s).toUtf8().constData()),
              0);
    EXPECT_EQ(files.remove(), std::nullopt);
    EXPECT_EQ(folder.read(u"f"_s), "another");

    ASSERT_TRUE(QFile::remove(folder.path(u"f"_s)) && QDir().mkpath(folder.path(u"f"_s)));
    remove({item}, true);
    ASSERT_TRUE(ends());
    EXPECT_EQ(error(), u"Could not delete files for f: Is a directory"_s);
    EXPECT_EQ(manager().items(), QList{item});
}

TEST_F(RemovalTest, DeletesTheFolderOfACompleteTorrentUnlessSomethingElseIsThere) {
    folder.write(u"Album/disc/one.flac"_s, "music");
    const Item inside = addAt(u"http://host.example/x"_s);
    inside->setDestination(file(u"Album/x"_s));
    const Item album =
        addAt(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s, DownloadStatus::completed);
    album->setDestination(file(u"Album"_s));
    for (const bool isShared : {true, false}) {
        model().setErrorMessage(std::nullopt);
        remove({album}, true);
        ASSERT_TRUE(ends());
        EXPECT_EQ(error().contains(u"Another download uses these files."_s), isShared);
        EXPECT_EQ(folder.contains(u"Album"_s), isShared);
        manager().remove(inside, false);
    }
}

} // namespace
} // namespace fetra
