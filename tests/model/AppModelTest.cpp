#include "model/ModelWorld.h"

#include <QSignalSpy>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::ModelWorld;
using test::runUntil;
using Status = DownloadStatus;

const QString magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;

class AppModelTest : public ModelWorld {};

TEST_F(AppModelTest, TicksOncePerSecondHoweverOftenItIsStarted) {
    QSignalSpy samples(&model().history(), &ThroughputHistory::changed);
    model().start();
    model().start();
    ASSERT_TRUE(runUntil([&] { return samples.size() >= 2; }));
    EXPECT_EQ(fake.notifications.requests, 1);
    const QDateTime first = model().history().total().at(0).date;
    const QDateTime second = model().history().total().at(1).date;
    EXPECT_GE(first.msecsTo(second), 1000);
}

TEST_F(AppModelTest, ATickShowsHowManyRunAndUnselectsWhatIsGone) {
    addAll(u"abcd"_s);
    model().tick();
    EXPECT_EQ(fake.badge.shown, 3);
    model().setSelection(ids({item(0), item(3)}));
    manager().remove(item(3), false);
    model().tick();
    EXPECT_EQ(model().selection(), ids({item(0)}));
    manager().pauseAll();
    ASSERT_TRUE(runUntil([&] { return manager().activeCount() == 0; }));
    model().tick();
    EXPECT_EQ(fake.badge.shown, 0);
}

TEST_F(AppModelTest, SaysOnceWhatHasChangedAndNothingWhenNothingHas) {
    QList<AppModel::Field> heard;
    QObject::connect(&model(), &AppModel::changed, [&](AppModel::Field field) { heard.append(field); });
    model().setSearch(u"x"_s);
    model().setSearch(u"x"_s);
    model().setFilter(DownloadFilter::all);
    model().setErrorMessage(u"No."_s);
    model().setErrorMessage(u"No."_s);
    EXPECT_EQ(heard, (QList{AppModel::Field::search, AppModel::Field::errorMessage}));
}

TEST_F(AppModelTest, TellsWhichCommandsHaveSomethingToDo) {
    struct Case {
        std::optional<Status> status;
        bool canPause, canResume, hasCompleted;
    };
    const Case cases[] = {
        {std::nullopt, false, false, false},     {Status::queued, true, true, false},
        {Status::probing, true, false, false},   {Status::downloading, true, false, false},
        {Status::paused, false, true, false},    {Status::failed, false, true, false},
        {Status::completed, false, false, true},
    };
    for (const Case& each : cases) {
        startModel();
        manager().setMaxConcurrentDownloads(0);
        manager().remove(manager().items(), false);
        if (each.status)
            addAt(u"http://host.example/a"_s, *each.status);
        SCOPED_TRACE(each.status ? static_cast<int>(*each.status) : -1);
        EXPECT_EQ(model().canPause(), each.canPause);
        EXPECT_EQ(model().canResume(), each.canResume);
        EXPECT_EQ(model().hasCompleted(), each.hasCompleted);
    }
}

TEST_F(AppModelTest, FindsDownloadsByNameAddressAndHostInAnySpelling) {
    addAt(u"http://one.example/M%C3%BCller.zip"_s);
    addAt(u"http://two.example/%C3%89t%C3%A9%20STRASSE.txt"_s);
    addAt(u"https://b%C3%BCcher.example.com/list?page=7"_s);
    struct Case {
        QString search;
        QString found;
    };
    const Case cases[] = {
        {u""_s, u"Müller.zip Été STRASSE.txt list"_s},
        {u"   "_s, u"Müller.zip Été STRASSE.txt list"_s},
        {u"Muller"_s, u"Müller.zip"_s},
        {u" MÜLLER "_s, u"Müller.zip"_s},
        {u"mu\u0308ller"_s, u"Müller.zip"_s},
        {u"ete straße"_s, u"Été STRASSE.txt"_s},
        {u"TWO.EXAMPLE"_s, u"Été STRASSE.txt"_s},
        {u"page=7"_s, u"list"_s},
        {u"BUCHER"_s, u"list"_s},
        {u"ziphttp"_s, u""_s},
        {u"nowhere"_s, u""_s},
    };
    for (const Case& each : cases) {
        model().setSearch(each.search);
        EXPECT_EQ(names(model().filteredItems()), each.found) << each.search.toStdString();
    }
    model().setSearch(u"renamed"_s);
    item(0)->setFilename(u"Renamed.zip"_s);
    EXPECT_EQ(names(model().filteredItems()), u"Renamed.zip"_s);
    model().setFilter(DownloadFilter::kind(FileKind::documents));
    EXPECT_TRUE(model().filteredItems().isEmpty());
    model().setFilter(std::nullopt);
    EXPECT_EQ(model().filteredItems().size(), 1);
}

TEST_F(AppModelTest, OpensTheGrabberOnlyWithTextThatHoldsLinks) {
    struct Case {
        std::optional<QString> text, copied, opened;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt, u""_s},
        {std::nullopt, u"a word"_s, u""_s},
        {std::nullopt, magnet, magnet},
        {u"see http://host.example/a and b"_s, magnet, u"see http://host.example/a and b"_s},
        {u"nothing here"_s, magnet, u""_s},
    };
    for (const Case& each : cases) {
        fake.pasteboard.copy(each.copied);
        model().showGrabber(each.text);
        ASSERT_TRUE(model().grabber());
        EXPECT_EQ(model().grabber()->text, each.opened);
        const QUuid id = model().grabber()->id;
        model().showGrabber(u"http://host.example/other"_s);
        EXPECT_EQ(model().grabber()->id, id);
        model().setGrabber(std::nullopt);
    }
}

TEST_F(AppModelTest, AddsAndShowsTheTorrentFilesAmongWhatIsOpened) {
    model().setFilter(DownloadFilter::failed);
    model().setSearch(u"x"_s);
    EXPECT_FALSE(model().openTorrentFiles({file(u"a.zip"_s), QUrl(u"http://host.example/b.torrent"_s)}));
    EXPECT_TRUE(model().openTorrentFiles({file(u"a.torrent"_s), file(u"b.txt"_s), file(u"c.TORRENT"_s)},
                                         file(u"elsewhere"_s)));
    EXPECT_EQ(manager().items().size(), 2);
    EXPECT_EQ(item(1)->url(), file(u"c.TORRENT"_s));
    EXPECT_EQ(item(1)->directory(), file(u"elsewhere"_s));
    EXPECT_EQ(model().filter(), DownloadFilter::all);
    EXPECT_EQ(model().search(), QString());
    EXPECT_EQ(model().selection(), ids(manager().items()));
}

TEST_F(AppModelTest, ChoosesTorrentFilesOnlyAndSaysWhenSomeWereAdded) {
    int opened = 0;
    model().chooseTorrentFiles(std::nullopt, [&] { ++opened; });
    const OpenPanel& panel = fake.panels.shown.at(0);
    EXPECT_EQ(panel.title, u"Open Torrent File"_s);
    EXPECT_EQ(panel.mimeType, u"application/x-bittorrent"_s);
    EXPECT_TRUE(panel.allowsSeveral);
    fake.panels.choose({file(u"a.zip"_s)});
    EXPECT_EQ(opened, 0);
    fake.panels.choose({file(u"a.torrent"_s)});
    EXPECT_EQ(opened, 1);
}

TEST_F(AppModelTest, ResumesAndTogglesEachByItsState) {
    manager().setMaxConcurrentDownloads(2);
    addAll(u"abcdef"_s);
    item(3)->setStatus(Status::paused);
    item(4)->setStatus(Status::failed);
    item(5)->setStatus(Status::completed);
    ASSERT_EQ(list(), u"ABcdef"_s);
    model().toggle(manager().items());
    EXPECT_EQ(item(2)->status(), Status::paused);
    EXPECT_EQ(item(3)->status(), Status::queued);
    EXPECT_EQ(item(4)->status(), Status::queued);
    EXPECT_EQ(item(5)->status(), Status::completed);
    ASSERT_TRUE(runUntil([&] { return list() == u"abcDEf"_s; }));
    model().resumeAll();
    EXPECT_EQ(list(), u"abcDEf"_s);
    EXPECT_EQ(item(0)->status(), Status::queued);
    model().primaryAction(ids({item(3)}));
    ASSERT_TRUE(runUntil([&] { return list() == u"AbcdEf"_s; }));
}

TEST_F(AppModelTest, OpensWhatIsCompleteAndSaysWhenItIsGone) {
    const Item whole = addComplete(u"whole.zip"_s);
    const Item half = addPartial(u"half.zip"_s);
    model().open(*half);
    EXPECT_TRUE(fake.workspace.opened.isEmpty());
    model().primaryAction(ids({whole}));
    EXPECT_EQ(fake.workspace.opened, QList{file(u"whole.zip"_s)});
    EXPECT_EQ(error(), QString());
    fake.workspace.refuses = true;
    model().open(*whole);
    EXPECT_EQ(error(), u"Could not open whole.zip. The file may have been moved or removed."_s);
}

TEST_F(AppModelTest, RevealsWhatThereIsOfEachDownload) {
    const Item whole = addComplete(u"whole.zip"_s);
    const Item half = addPartial(u"half.zip"_s);
    const Item gone = addAt(u"http://host.example/gone"_s);
    gone->setDestination(file(u"gone"_s));
    const Item fresh = addAt(u"http://host.example/fresh"_s);
    model().reveal({whole, half, gone, fresh});
    const QUrl here = QUrl::fromLocalFile(folder.path());
    EXPECT_EQ(fake.workspace.revealed,
              QList<QList<QUrl>>({{file(u"whole.zip"_s), file(u"half.zip.part"_s), here, here}}));
}

TEST_F(AppModelTest, CopiesLinesAndSaysWhenTheClipboardRefuses) {
    model().copy({u"one"_s, u"two"_s});
    EXPECT_EQ(fake.pasteboard.content, u"one\ntwo"_s);
    fake.pasteboard.refuses = true;
    model().copy({u"three"_s});
    EXPECT_EQ(error(), u"Could not copy to the clipboard."_s);
}

TEST_F(AppModelTest, ARunningTorrentKeepsTheUploadLimitItStartedWith) {
    manager().setTorrentUploadLimitKB(20);
    const Item torrent = manager().add({.url = QUrl(magnet)});
    model().tick();
    manager().setTorrentUploadLimitKB(50);
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 20);
    manager().pause(torrent);
    ASSERT_TRUE(runUntil([&] { return !torrent->isActive(); }));
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 50);
    model().resume({torrent});
    EXPECT_TRUE(torrent->isActive());
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 50);
}

TEST_F(AppModelTest, TellsTheUserWhatHasEndedAndWhatCouldNotBeTold) {
    addAll(u"ab"_s);
    transfer(0).finish(result(file(u"a"_s)));
    ASSERT_TRUE(runUntil([&] { return fake.notifications.added.size() == 1; }));
    EXPECT_EQ(fake.notifications.added.at(0).title, u"Download complete"_s);
    fake.notifications.error = u"no room"_s;
    transfer(1).fail(DownloadError::notHTTP());
    ASSERT_TRUE(runUntil([&] { return fake.notifications.added.size() == 2; }));
    EXPECT_EQ(fake.notifications.added.at(1).title, u"Download failed"_s);
    EXPECT_EQ(error(), u"Could not deliver notification: no room"_s);
}

TEST_F(AppModelTest, BeginsNothingOnceItIsQuitting) {
    const Item item = addPartial(u"a"_s);
    model().setTerminating(true);
    model().handleURL(QUrl(magnet));
    model().handleURL(QUrl(u"unknown:x"_s));
    model().showGrabber();
    model().chooseTorrentFiles(std::nullopt, [] {});
    EXPECT_FALSE(model().openTorrentFiles({file(u"a.torrent"_s)}));
    model().resume({item});
    model().toggle({item});
    model().requestRemoval({item->id()}, true);
    EXPECT_EQ(manager().items().size(), 1);
    EXPECT_EQ(item->status(), Status::paused);
    EXPECT_FALSE(model().grabber() || model().removal() || model().errorMessage());
    EXPECT_TRUE(fake.panels.shown.empty());
}

} // namespace
} // namespace fetra
