#include "stories/StoryWorld.h"

#include "torrent/TestTorrent.h"

#include <QClipboard>
#include <QListView>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class LinksStory : public test::StoryWorld {
protected:
    void uncheck(const QString& link) {
        auto& list = *window(u"Add Links"_s)->findChild<QListView*>();
        for (int row = 0; row < list.model()->rowCount(); ++row) {
            const QRect rect = list.visualRect(list.model()->index(row, 0));
            if (list.model()->index(row, 0).data() == link)
                click(*list.viewport(), {rect.left() + 10, rect.center().y()});
        }
    }
    [[nodiscard]] QString grabbed() {
        return window(u"Add Links"_s)->findChild<QPlainTextEdit*>()->toPlainText();
    }
};

TEST_F(LinksStory, PastedLinksAreReviewedDownloadedRevealedAndDeleted) {
    const auto manager = fileManager();
    const test::ServerFile file = serve("/b.bin");
    EXPECT_TRUE(shows(u"No Downloads Yet"_s));
    click(control<QPushButton>(u"Add Links"_s));
    paste(link("/a.bin").toString() + u'\n' + link("/b.bin").toString());
    EXPECT_TRUE(shows(u"2 links detected"_s));
    uncheck(u"a.bin"_s);
    EXPECT_TRUE(shows(u"1 selected"_s));
    click(u"Add Paused"_s);
    ASSERT_TRUE(becomes(u"b.bin Paused"_s));
    EXPECT_EQ(server.requests(), 0);

    EXPECT_EQ(selected(), u"b.bin"_s);
    press("Space");
    ASSERT_TRUE(becomes(u"b.bin Completed"_s));
    EXPECT_TRUE(home.read(u"Downloads/b.bin"_s) == file.content);
    EXPECT_EQ(home.names(u"Downloads"_s), (QStringList{u".keep"_s, u"b.bin"_s}));

    choose(u"b.bin"_s, u"Reveal in Files"_s);
    const QString path = u"file://"_s + home.path(u"Downloads/b.bin"_s);
    EXPECT_TRUE(runUntil([&] { return revealed(*manager) == QStringList(path); }));
    press("Ctrl+I");
    click(u"Reveal destination in Files"_s);
    EXPECT_TRUE(runUntil([&] { return revealed(*manager) == QStringList({path, path}); }));
    click(u"Copy source URL"_s);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), link("/b.bin").toString());

    choose(u"b.bin"_s, u"Remove and Delete Files..."_s);
    EXPECT_TRUE(shows(u"Remove downloads and delete their files?"_s));
    EXPECT_TRUE(shows(u"1 downloads will be removed. Their downloaded files and partial data will be "
                      "permanently deleted."_s));
    // Return would keep the files.
    press("Tab");
    press("Space");
    EXPECT_TRUE(runUntil([&] { return shows(u"No Downloads Yet"_s); }));
    EXPECT_EQ(home.names(u"Downloads"_s), QStringList(u".keep"_s));
    EXPECT_EQ(server.requests("/a.bin"), 0);
}

TEST_F(LinksStory, ATorrentFileThatIsDroppedIsDownloadedAtOnce) {
    test::TestTorrent torrent{.name = "t.bin"};
    torrent.content = serve("/t.bin", 400'000).content;
    torrent.webSeed = link("/t.bin");
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(home.write(u"some.torrent"_s, torrent.bytes()))});
    EXPECT_TRUE(drop(data));
    ASSERT_TRUE(runUntil([&] { return !rows().isEmpty(); }));
    EXPECT_EQ(window(u"Add Links"_s), nullptr);
    ASSERT_TRUE(becomes(u"t.bin Completed"_s));
    EXPECT_TRUE(home.read(u"Downloads/t.bin"_s) == torrent.content);
}

TEST_F(LinksStory, OtherThingsThatAreDroppedAreReviewedOrRefused) {
    QMimeData text;
    text.setText(u"see "_s + link("/a.bin").toString());
    EXPECT_TRUE(drop(text));
    ASSERT_TRUE(runUntil([] { return window(u"Add Links"_s) != nullptr; }));
    EXPECT_EQ(grabbed(), text.text());
    EXPECT_FALSE(drop(text)) << "behind the sheet";
    press("Esc");
    EXPECT_EQ(window(u"Add Links"_s), nullptr);

    QMimeData nothing;
    nothing.setData(u"application/x-other"_s, "x");
    EXPECT_FALSE(drop(nothing));
    EXPECT_EQ(rows(), QString());
}

TEST_F(LinksStory, CopiedLinksAreOfferedWhileTheUserWantsThat) {
    QClipboard& clipboard = *QGuiApplication::clipboard();
    const auto isOffered = [] { return shows(u"Links found on the clipboard"_s); };
    press("Ctrl+,");
    click(u"Watch clipboard for links"_s);
    press("Ctrl+W");
    const QString both =
        link("/b.bin").toString() + u'\n' + server.url("/%C3%A9").toString(QUrl::FullyEncoded);
    // What is there when the watch begins is not offered, so it is copied again.
    ASSERT_TRUE(runUntil([&] {
        if (!isOffered())
            clipboard.setText(both);
        return isOffered();
    }));
    EXPECT_TRUE(shows(u"2 links copied"_s));
    click(u"Review"_s);
    EXPECT_EQ(grabbed(), both);
    EXPECT_TRUE(runUntil([&] { return !isOffered(); }));
    press("Ctrl+V");
    EXPECT_EQ(grabbed(), both) << "pasted by habit";
    EXPECT_EQ(server.requests(), 0);
}

} // namespace
} // namespace fetra
