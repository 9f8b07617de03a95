#include "app/model/LinkGrabber.h"
#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

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
};

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
        {one, false, digest.chopped(1) + u'ä', false, u""_s},
        {two, false, digest.chopped(1), true, u"- -"_s},
        {two, true, digest, true, digest},
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
    manager().setConnectionsPerDownload(100);
    EXPECT_EQ(LinkGrabber(model(), {}).connections(), 64);
    manager().setConnectionsPerDownload(5);
    model().clipboard().setLinks({QUrl(link(u"offered"_s))});
    model().setSearch(u"hidden"_s);
    LinkGrabber grabber(model(), magnet + u' ' + link(u"a"_s) + u' ' + link(u"b"_s));
    grabber.setConnections(70);
    grabber.setChecked({QUrl(link(u"b"_s))}, false);
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

TEST_F(LinkGrabberTest, AddsToAFolderItCanWriteToAndTorrentFilesAtOnce) {
    const QString plain = folder.write(u"into/plain"_s, "x");
    LinkGrabber grabber(model(), link(u"a"_s));
    for (const QUrl& directory : {QUrl::fromLocalFile(plain), QUrl(u"http://x/"_s)}) {
        grabber.setDirectory(directory);
        EXPECT_EQ(grabber.errorMessage(), std::nullopt);
        grabber.add(true);
        EXPECT_EQ(grabber.errorMessage(), u"Choose an existing folder you have permission to write to."_s);
        EXPECT_TRUE(manager().items().isEmpty() && model().grabber());
    }
    grabber.chooseDirectory();
    fake.panels.choose({file(u"into"_s)});
    grabber.chooseTorrentFiles();
    fake.panels.choose({file(u"a.zip"_s), QUrl(u"http://host.example/b.torrent"_s)});
    EXPECT_TRUE(manager().items().isEmpty() && model().grabber());
    fake.panels.choose({file(u"a.torrent"_s), file(u"b.txt"_s), file(u"c.TORRENT"_s)});
    ASSERT_EQ(manager().items().size(), 2);
    EXPECT_EQ(item(1)->directory(), file(u"into"_s));
    EXPECT_FALSE(model().grabber());
    grabber.add(true);
    EXPECT_EQ(item(2)->directory(), file(u"into"_s));
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
    };
    for (const Case& each : cases)
        EXPECT_EQ(dropped(each.items), each.got);
}

} // namespace
} // namespace fetra
