#include "app/model/LinkGrabber.h"
#include "model/ModelWorld.h"

#include <QMimeData>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

const QString magnet = u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567&dn=Film.mp4"_s;
const QString digest = QString(64, u'a');

class LinkGrabberTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        manager().setMaxConcurrentDownloads(0);
        model().setGrabber(LinkGrabberRequest{});
    }
    [[nodiscard]] static QString link(const QString& name) { return u"http://host.example/"_s + name; }
    [[nodiscard]] static QString checkedNames(const LinkGrabber& grabber) {
        QStringList names;
        for (const QUrl& url : grabber.selected())
            names.append(LinkGrabber::row(url).title);
        return names.join(u' ');
    }
};

TEST_F(LinkGrabberTest, ChecksNewLinksAndRemembersWhatWasUnchecked) {
    LinkGrabber grabber(model(), link(u"a"_s) + u'\n' + link(u"b"_s));
    EXPECT_EQ(checkedNames(grabber), u"a b"_s);
    EXPECT_EQ(grabber.countText(), u"2 links detected"_s);
    grabber.setChecked({QUrl(link(u"a"_s))}, false);
    grabber.setText(grabber.text() + u' ' + link(u"c"_s));
    EXPECT_EQ(checkedNames(grabber), u"b c"_s);
    EXPECT_EQ(grabber.selectedText(), u"2 selected"_s);
    grabber.setText(link(u"b"_s));
    EXPECT_EQ(grabber.countText(), u"1 link detected"_s);
    grabber.setText(link(u"a"_s));
    EXPECT_EQ(checkedNames(grabber), u"a"_s);
    grabber.setChecked({QUrl(link(u"stranger"_s))}, true);
    EXPECT_EQ(checkedNames(grabber), u"a"_s);
}

TEST_F(LinkGrabberTest, ShowsEachLinkForWhatItIs) {
    struct Case {
        QString url;
        FileKind kind;
        QString title, detail;
    };
    const Case cases[] = {
        {link(u"dir/Movie.MKV?x=1"_s), FileKind::video, u"Movie.MKV"_s, u"host.example"_s},
        {u"http://host.example/"_s, FileKind::other, u"host.example"_s, u"host.example"_s},
        {magnet, FileKind::torrents, u"Film.mp4"_s, u"magnet"_s},
        {u"file:///tmp/disk.torrent"_s, FileKind::torrents, u"disk.torrent"_s, QString()},
    };
    for (const Case& each : cases) {
        const LinkGrabber::Row row = LinkGrabber::row(QUrl(each.url));
        EXPECT_EQ(row.kind, each.kind) << each.url.toStdString();
        EXPECT_EQ(row.title, each.title);
        EXPECT_EQ(row.detail, each.detail);
        EXPECT_EQ(row.help, each.url);
    }
}

TEST_F(LinkGrabberTest, TakesAChecksumWhereOneFileComesOfIt) {
    const QString one = link(u"a"_s);
    const QString two = one + u' ' + link(u"b"_s);
    struct Case {
        QString text;
        bool mirrors;
        QString checksum;
        bool isValid;
        /// Of each download, "-" for none.
        QString passed;
    };
    const Case cases[] = {
        {one, false, u""_s, true, u"-"_s},
        {one, false, u" \n"_s + digest.toUpper() + u' ', true, digest},
        {one, false, digest.chopped(1), false, u""_s},
        {one, false, digest.chopped(1) + u'g', false, u""_s},
        {one, false, digest.chopped(1) + u'ä', false, u""_s},
        {two, false, digest.chopped(1), true, u"- -"_s},
        {two, false, digest, true, u"- -"_s},
        {two, true, digest, true, digest},
        {two, true, digest.chopped(1), false, u""_s},
        {magnet, false, digest, true, u"-"_s},
        {two + u' ' + magnet, true, u"bad"_s, true, u"- - -"_s},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.text.toStdString() + " " + each.checksum.toStdString());
        manager().remove(manager().items(), false);
        LinkGrabber grabber(model(), each.text);
        grabber.setMirrors(each.mirrors);
        grabber.setChecksum(each.checksum);
        EXPECT_EQ(grabber.checksumValid(), each.isValid);
        EXPECT_EQ(grabber.canAdd(), each.isValid);
        grabber.add(true);
        QStringList passed;
        for (const Item& item : manager().items())
            passed.append(item->expectedSHA256().value_or(u"-"_s));
        EXPECT_EQ(passed.join(u' '), each.passed);
    }
}

TEST_F(LinkGrabberTest, AddsWhatIsCheckedAsItWasAskedToAndCloses) {
    manager().setConnectionsPerDownload(5);
    model().clipboard().setLinks({QUrl(link(u"offered"_s))});
    model().setSearch(u"hidden"_s);
    LinkGrabber grabber(model(), magnet + u' ' + link(u"a"_s) + u' ' + link(u"b"_s));
    grabber.setConnections(70);
    grabber.setChecked({QUrl(link(u"b"_s))}, false);
    EXPECT_EQ(grabber.connectionsText(), u"64 per HTTP download"_s);
    grabber.add(false);
    ASSERT_EQ(manager().items().size(), 2);
    EXPECT_TRUE(item(0)->isTorrent());
    EXPECT_EQ(item(0)->connections(), 5);
    EXPECT_EQ(item(1)->connections(), 64);
    EXPECT_EQ(item(1)->status(), DownloadStatus::paused);
    EXPECT_EQ(model().selection(), ids(manager().items()));
    EXPECT_EQ(model().search(), QString());
    EXPECT_TRUE(model().clipboard().links().isEmpty());
    EXPECT_FALSE(model().grabber());
}

TEST_F(LinkGrabberTest, MirrorsMakeOneDownload) {
    LinkGrabber grabber(model(), link(u"a"_s) + u' ' + link(u"b"_s) + u' ' + link(u"c"_s));
    grabber.setMirrors(true);
    grabber.add(true);
    ASSERT_EQ(manager().items().size(), 1);
    EXPECT_EQ(item(0)->url(), QUrl(link(u"a"_s)));
    EXPECT_EQ(item(0)->mirrors(), (QList{QUrl(link(u"b"_s)), QUrl(link(u"c"_s))}));
    EXPECT_EQ(item(0)->status(), DownloadStatus::queued);
}

TEST_F(LinkGrabberTest, OffersBetweenOneAndSixtyFourConnections) {
    for (const auto& [setting, shown] : {std::pair{100, 64}, {0, 1}, {8, 8}}) {
        manager().setConnectionsPerDownload(setting);
        EXPECT_EQ(LinkGrabber(model(), {}).connections(), shown);
    }
}

TEST_F(LinkGrabberTest, AddsOnlyToAFolderItCanWriteTo) {
    const QString plain = folder.write(u"plain"_s, "x");
    for (const QUrl& directory : {file(u"missing"_s), QUrl::fromLocalFile(plain), QUrl(u"http://x/"_s)}) {
        LinkGrabber grabber(model(), link(u"a"_s));
        grabber.setDirectory(directory);
        grabber.add(true);
        EXPECT_EQ(grabber.errorMessage(), u"Choose an existing folder you have permission to write to."_s);
        EXPECT_TRUE(manager().items().isEmpty());
        EXPECT_TRUE(model().grabber());
    }
    LinkGrabber grabber(model(), link(u"a"_s));
    grabber.setDirectory(file(u"missing"_s));
    grabber.add(true);
    ASSERT_TRUE(grabber.errorMessage());
    grabber.chooseDirectory();
    EXPECT_EQ(fake.panels.shown.at(0).title, u"Choose Download Folder"_s);
    EXPECT_EQ(fake.panels.shown.at(0).start, grabber.directory());
    fake.panels.choose({QUrl::fromLocalFile(folder.path())});
    EXPECT_EQ(grabber.errorMessage(), std::nullopt);
    model().setTerminating(true);
    grabber.add(true);
    EXPECT_TRUE(manager().items().isEmpty());
    model().setTerminating(false);
    grabber.add(true);
    EXPECT_EQ(item(0)->directory(), QUrl::fromLocalFile(folder.path()));
}

TEST_F(LinkGrabberTest, OpensTorrentFilesIntoItsFolderAndCloses) {
    LinkGrabber grabber(model(), {});
    grabber.setDirectory(file(u"into"_s));
    grabber.chooseTorrentFiles();
    fake.panels.choose({file(u"a.torrent"_s)});
    EXPECT_EQ(item(0)->directory(), file(u"into"_s));
    EXPECT_FALSE(model().grabber());
}

TEST_F(LinkGrabberTest, ADropAddsLinesAndTorrentFiles) {
    LinkGrabber grabber(model(), link(u"a"_s));
    QMimeData mixed;
    mixed.setUrls({file(u"t.torrent"_s), file(u"t.torrent"_s), file(u"archive.zip"_s), QUrl(link(u"b"_s))});
    EXPECT_TRUE(grabber.drop(LinkDrop::itemsIn(mixed)));
    ASSERT_TRUE(runUntil([&] { return grabber.links().size() == 3; }));
    EXPECT_EQ(grabber.text(), link(u"a"_s) + u'\n' + link(u"b"_s));
    EXPECT_EQ(checkedNames(grabber), u"a b t.torrent"_s);
    EXPECT_EQ(grabber.errorMessage(), u"Only .torrent files can be opened as local downloads."_s);
}

/// What a drop gives to each action, as lines.
QStringList dropped(const QList<LinkDrop::Item>& items) {
    QStringList got;
    const bool isAccepted = LinkDrop::accept(
        items, {
                   .receive = [&](const QString& text) { got.append(u"text "_s + text); },
                   .receiveFiles =
                       [&](const QList<QUrl>& files) {
                           for (const QUrl& file : files)
                               got.append(u"file "_s + file.toLocalFile());
                       },
                   .onError = [&](const QString& message) { got.append(u"error "_s + message); },
               });
    EXPECT_TRUE(got.isEmpty()) << "nothing comes before the drag has been answered";
    QCoreApplication::processEvents();
    return isAccepted ? got : QStringList{u"refused"_s};
}

TEST(LinkDropTest, TakesTheBestFormOfEachThingAndSaysWhatItCannotRead) {
    using LinkDrop::Type;
    const QString unreadable = u"error The dropped content could not be read as a link or text."_s;
    struct Case {
        QList<LinkDrop::Item> items;
        QStringList got;
    };
    const Case cases[] = {
        {{}, {u"refused"_s}},
        {{LinkDrop::Item()}, {u"refused"_s}},
        {{{{Type::plainText, u"text"_s}, {Type::url, QUrl(u"http://host.example/a b"_s)}}},
         {u"text http://host.example/a%20b"_s}},
        {{{{Type::plainText, u" two "_s}}, {{Type::plainText, QByteArray("gr\xc3\xbc\xc3\x9f")}}},
         {u"text  two \ngrüß"_s}},
        {{{{Type::plainText, QByteArray("\xff\xfe")}}, {{Type::plainText, 7}}}, {unreadable, unreadable}},
        {{{{Type::plainText, QString(LinkDrop::maxTextLength + 1, u'x')}}}, {unreadable}},
        {{{{Type::plainText, u" file:///tmp/a.torrent\n"_s}}}, {u"file /tmp/a.torrent"_s}},
        {{{{Type::fileURL, QUrl(u"file:///tmp/a.torrent"_s)}}, {{Type::url, QUrl(u"http://h/"_s)}}},
         {u"file /tmp/a.torrent"_s, u"text http://h/"_s}},
        {{{{Type::fileURL, QByteArray("not an address")}}},
         {u"error The dropped file URL could not be read."_s}},
        {{{{Type::fileURL, QUrl(u"file:///tmp/a.zip"_s)}}},
         {u"error Only .torrent files can be opened as local downloads."_s}},
    };
    for (const Case& each : cases)
        EXPECT_EQ(dropped(each.items), each.got);
}

} // namespace
} // namespace fetra
