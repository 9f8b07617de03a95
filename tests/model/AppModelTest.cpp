#include "app/model/SettingsPane.h"
#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::ModelWorld;
using test::runUntil;
using Status = DownloadStatus;

const QString magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s;

class AppModelTest : public ModelWorld {};

TEST_F(AppModelTest, ATickShowsHowManyRunAndUnselectsWhatIsGone) {
    addAll(u"abcd"_s);
    model().setSelection(ids({item(0), item(3)}));
    manager().remove(item(3), false);
    model().tick();
    EXPECT_EQ(fake.badge.shown, 3);
    EXPECT_EQ(model().selection(), ids({item(0)}));
}

TEST_F(AppModelTest, FindsDownloadsByNameAddressAndHostInAnySpelling) {
    addAt(u"http://one.example/M%C3%BCller.zip"_s);
    addAt(u"http://two.example/%C3%89t%C3%A9%20STRASSE.txt"_s);
    addAt(u"https://b%C3%BCcher.example.com/list?page=7"_s);
    const QString first = u"Müller.zip"_s;
    const QString second = u"Été STRASSE.txt"_s;
    for (const auto& [search, found] : {
             std::pair{u"   "_s, first + u' ' + second + u" list"_s},
             {u" MULLER "_s, first},
             {u"mu\u0308ller"_s, first},
             {u"ete straße"_s, second},
             {u"TWO.EXAMPLE"_s, second},
             {u"page=7"_s, u"list"_s},
             {u"BUCHER"_s, u"list"_s},
             {u"ziphttp"_s, QString()},
         }) {
        model().setSearch(search);
        EXPECT_EQ(names(model().filteredItems()), found) << search.toStdString();
    }
    model().setSearch(u"renamed"_s);
    item(0)->setFilename(u"Renamed.zip"_s);
    EXPECT_EQ(names(model().filteredItems()), u"Renamed.zip"_s);
}

TEST_F(AppModelTest, OpensTheGrabberOnlyWithTextThatHoldsLinks) {
    const QString words = u"see http://host.example/a and b"_s;
    for (const auto& [text, copied, opened] : {std::tuple{std::optional<QString>(), u"a word"_s, QString()},
                                               {{}, magnet, magnet},
                                               {words, magnet, words},
                                               {u"nothing here"_s, magnet, {}}}) {
        fake.pasteboard.copy(copied);
        model().setGrabber(std::nullopt);
        model().showGrabber(text);
        model().showGrabber(u"http://host.example/other"_s);
        ASSERT_TRUE(model().grabber());
        EXPECT_EQ(model().grabber()->text, opened);
    }
}

TEST_F(AppModelTest, TogglesEachByItsState) {
    manager().setMaxConcurrentDownloads(2);
    addAll(u"abcdef"_s);
    item(3)->setStatus(Status::paused);
    item(4)->setStatus(Status::failed);
    item(5)->setStatus(Status::completed);
    model().toggle(manager().items());
    EXPECT_EQ(item(2)->status(), Status::paused) << "it has waited";
    EXPECT_EQ(item(5)->status(), Status::completed);
    EXPECT_TRUE(runUntil([&] { return list() == u"abcDEf"_s; }));
}

TEST_F(AppModelTest, SaysWhatTheDesktopCouldNotDo) {
    const Item whole = addComplete(u"whole.zip"_s);
    fake.workspace.refuses = fake.pasteboard.refuses = true;
    model().open(*addPartial(u"half.zip"_s));
    EXPECT_TRUE(fake.workspace.opened.isEmpty());
    model().primaryAction(ids({whole}));
    EXPECT_EQ(fake.workspace.opened, QList{file(u"whole.zip"_s)});
    EXPECT_EQ(error(), u"Could not open whole.zip. The file may have been moved or removed."_s);
    model().copy({u"text"_s});
    EXPECT_EQ(error(), u"Could not copy to the clipboard."_s);
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

TEST_F(AppModelTest, ARunningTorrentKeepsTheUploadLimitItStartedWith) {
    SettingsPane settings(model());
    settings.setTorrentUploadLimitKB(20);
    const Item torrent = manager().add({.url = QUrl(magnet)});
    settings.setTorrentUploadLimitKB(50);
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 20);
    manager().pause(torrent);
    ASSERT_TRUE(runUntil([&] { return !torrent->isActive(); }));
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 50);
    model().resume({torrent});
    EXPECT_TRUE(torrent->isActive());
    EXPECT_EQ(model().torrentUploadLimit(*torrent), 50);
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
