#include "app/model/DownloadContextMenu.h"

#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using Status = DownloadStatus;

class DownloadContextMenuTest : public test::ModelWorld {
protected:
    [[nodiscard]] DownloadContextMenu::Entry entry(const QString& title, const AppModel::Items& of) {
        const DownloadContextMenu menu(model(), ids(of));
        for (const DownloadContextMenu::Entry& each : menu.entries())
            if (each.title == title && each.isEnabled)
                return each;
        throw std::runtime_error("not offered: " + title.toStdString());
    }
};

TEST_F(DownloadContextMenuTest, EachEntryActsOnThoseItSuits) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    const Item paused = addAt(u"http://host.example/c"_s);
    const Item failed = addAt(u"http://user@host.example/d%20d"_s, Status::failed);
    const Item complete = addComplete(u"e"_s);
    paused->setDestination(file(u"c"_s));
    const AppModel::Items all = manager().items();

    EXPECT_THROW(entry(u"Open"_s, {failed, paused}), std::runtime_error);
    EXPECT_THROW(entry(u"Copy File Path"_s, {failed}), std::runtime_error);
    EXPECT_THROW(entry(u"Resume"_s, {item(0), failed, complete}), std::runtime_error);
    entry(u"Open"_s, all).perform();
    EXPECT_EQ(fake.workspace.opened, QList{file(u"e"_s)});
    entry(u"Copy Link"_s, {failed, paused}).perform();
    EXPECT_EQ(fake.pasteboard.content, u"http://host.example/c\nhttp://user@host.example/d%20d"_s);
    entry(u"Copy File Path"_s, all).perform();
    EXPECT_EQ(fake.pasteboard.content, folder.path(u"c"_s) + u'\n' + folder.path(u"e"_s));

    entry(u"Pause"_s, {item(1), complete}).perform();
    EXPECT_EQ(item(1)->status(), Status::paused);
    EXPECT_EQ(complete->status(), Status::completed);
    entry(u"Resume"_s, all).perform();
    EXPECT_EQ(item(1)->status(), Status::queued);
    EXPECT_EQ(paused->status(), Status::queued);
    EXPECT_EQ(failed->status(), Status::failed);
    entry(u"Retry"_s, all).perform();
    EXPECT_EQ(failed->status(), Status::queued);
}

TEST_F(DownloadContextMenuTest, ActsOnThingsAsTheyAreWhenChosen) {
    const Item first = addAt(u"http://host.example/a"_s, Status::failed);
    const Item second = addAt(u"http://host.example/b"_s, Status::failed);
    manager().setMaxConcurrentDownloads(0);
    const DownloadContextMenu::Entry retry = entry(u"Retry"_s, {first, second});
    first->setStatus(Status::completed);
    manager().remove(second, false);
    retry.perform();
    EXPECT_EQ(first->status(), Status::completed);
    EXPECT_EQ(second->status(), Status::failed);
}

} // namespace
} // namespace fetra
