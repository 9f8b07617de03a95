#include "app/model/DownloadContextMenu.h"

#include "model/ModelWorld.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Status = DownloadStatus;

class DownloadContextMenuTest : public test::ModelWorld {
protected:
    [[nodiscard]] DownloadContextMenu::Entry entry(const QString& title, const QSet<QUuid>& of) {
        const DownloadContextMenu menu(model(), of);
        for (const DownloadContextMenu::Entry& each : menu.entries())
            if (each.title == title)
                return each;
        ADD_FAILURE() << "no entry " << qUtf8Printable(title);
        return {.title = {}, .symbol = {}, .perform = [] {}};
    }
    void perform(const QString& title, const AppModel::Items& items) { entry(title, ids(items)).perform(); }
    /// The titles of what is enabled, in their order.
    [[nodiscard]] QStringList enabled(const AppModel::Items& items) {
        const DownloadContextMenu menu(model(), ids(items));
        QStringList titles;
        for (const DownloadContextMenu::Entry& each : menu.entries())
            if (each.isEnabled)
                titles.append(each.title);
        return titles;
    }
};

TEST_F(DownloadContextMenuTest, OffersWhatSuitsAnyOfTheChosenDownloads) {
    struct Case {
        QList<Status> statuses;
        bool hasDestination;
        QStringList first;
    };
    const Case cases[] = {
        {{Status::paused}, false, {u"Resume"_s}},
        {{Status::queued}, false, {u"Resume"_s, u"Pause"_s}},
        {{Status::probing}, false, {u"Pause"_s}},
        {{Status::downloading}, true, {u"Pause"_s}},
        {{Status::failed}, true, {u"Retry"_s}},
        {{Status::completed}, true, {u"Open"_s}},
        {{Status::completed}, false, {}},
        {{Status::paused, Status::failed}, true, {u"Resume"_s, u"Retry"_s}},
        {{Status::downloading, Status::completed}, true, {u"Pause"_s, u"Open"_s}},
    };
    for (const Case& each : cases) {
        AppModel::Items items;
        for (const Status status : each.statuses) {
            items.append(addAt(u"http://host.example/a"_s, status));
            if (each.hasDestination)
                items.last()->setDestination(file(u"a"_s));
        }
        QStringList expected = each.first + QStringList{u"Reveal in Files"_s, u"Copy Link"_s};
        if (each.hasDestination)
            expected.append(u"Copy File Path"_s);
        expected += {u"Remove"_s, u"Remove and Delete Files..."_s};
        EXPECT_EQ(enabled(items), expected);
    }
}

TEST_F(DownloadContextMenuTest, NothingIsRemovedTwice) {
    manager().setMaxConcurrentDownloads(1);
    const Item running = add(u"a"_s);
    const Item other = add(u"b"_s, false);
    transfer(0).staysDeaf = true;
    model().performRemoval({.ids = {running->id()}});
    EXPECT_FALSE(entry(u"Remove"_s, ids({running, other})).isEnabled);
    EXPECT_FALSE(entry(u"Remove and Delete Files..."_s, ids({running})).isEnabled);
    EXPECT_TRUE(entry(u"Remove"_s, ids({other})).isEnabled);
    transfer(0).finish(result(file(u"a"_s)));
    EXPECT_TRUE(runUntil([this] { return model().deleting().isEmpty(); }));
}

TEST_F(DownloadContextMenuTest, EachEntryActsOnThoseItSuits) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    const Item paused = addAt(u"http://host.example/c"_s);
    const Item failed = addAt(u"http://user@host.example/d%20d"_s, Status::failed);
    const Item complete = addComplete(u"e"_s);
    const AppModel::Items all = manager().items();

    perform(u"Open"_s, all);
    EXPECT_EQ(fake.workspace.opened, QList{file(u"e"_s)});
    perform(u"Reveal in Files"_s, {paused, complete});
    EXPECT_EQ(fake.workspace.revealed, (QList<QList<QUrl>>{{paused->directory(), file(u"e"_s)}}));
    perform(u"Copy Link"_s, {failed, paused});
    EXPECT_EQ(fake.pasteboard.content, u"http://host.example/c\nhttp://user@host.example/d%20d"_s);
    perform(u"Copy File Path"_s, all);
    EXPECT_EQ(fake.pasteboard.content, folder.path(u"e"_s));

    perform(u"Pause"_s, {item(1), complete});
    EXPECT_EQ(item(1)->status(), Status::paused);
    EXPECT_EQ(complete->status(), Status::completed);
    perform(u"Resume"_s, all);
    EXPECT_EQ(item(1)->status(), Status::queued);
    EXPECT_EQ(paused->status(), Status::queued);
    EXPECT_EQ(failed->status(), Status::failed);
    perform(u"Retry"_s, all);
    EXPECT_EQ(failed->status(), Status::queued);

    perform(u"Remove"_s, {paused});
    EXPECT_EQ(model().removal()->ids, QSet{paused->id()});
    EXPECT_FALSE(model().removal()->deleteFiles);
    perform(u"Remove and Delete Files..."_s, {failed});
    EXPECT_EQ(model().removal()->ids, QSet{failed->id()});
    EXPECT_TRUE(model().removal()->deleteFiles);
}

TEST_F(DownloadContextMenuTest, ActsOnThingsAsTheyAreWhenChosen) {
    const Item first = addAt(u"http://host.example/a"_s, Status::failed);
    const Item second = addAt(u"http://host.example/b"_s, Status::failed);
    manager().setMaxConcurrentDownloads(0);
    const DownloadContextMenu::Entry retry = entry(u"Retry"_s, ids({first, second}));
    first->setStatus(Status::completed);
    manager().remove(second, false);
    retry.perform();
    EXPECT_EQ(first->status(), Status::completed);
    EXPECT_EQ(second->status(), Status::failed);
}

} // namespace
} // namespace fetra
