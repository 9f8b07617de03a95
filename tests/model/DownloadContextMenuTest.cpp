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
            if (each.title == title)
                return each;
        throw std::runtime_error("no entry " + title.toStdString());
    }
};

TEST_F(DownloadContextMenuTest, OffersWhatSuitsAnyOfTheChosenDownloads) {
    struct Case {
        QList<Status> statuses;
        bool hasDestination;
        QString first;
    };
    const Case cases[] = {
        {{Status::paused}, false, u"Resume|"_s},
        {{Status::queued}, false, u"Resume|Pause|"_s},
        {{Status::probing}, false, u"Pause|"_s},
        {{Status::downloading}, true, u"Pause|"_s},
        {{Status::failed}, true, u"Retry|"_s},
        {{Status::completed}, true, u"Open|"_s},
        {{Status::completed}, false, {}},
        {{Status::paused, Status::failed}, true, u"Resume|Retry|"_s},
        {{Status::downloading, Status::completed}, true, u"Pause|Open|"_s},
    };
    for (const Case& each : cases) {
        AppModel::Items items;
        for (const Status status : each.statuses) {
            items.append(addAt(u"http://host.example/a"_s, status));
            if (each.hasDestination)
                items.last()->setDestination(file(u"a"_s));
        }
        QString enabled;
        const DownloadContextMenu menu(model(), ids(items));
        for (const DownloadContextMenu::Entry& entry : menu.entries())
            if (entry.isEnabled)
                enabled += entry.title + u'|';
        EXPECT_EQ(enabled, each.first + u"Reveal in Files|Copy Link|"_s +
                               (each.hasDestination ? u"Copy File Path|"_s : QString()) +
                               u"Remove|Remove and Delete Files...|"_s);
    }
}

TEST_F(DownloadContextMenuTest, EachEntryActsOnThoseItSuits) {
    manager().setMaxConcurrentDownloads(1);
    addAll(u"ab"_s);
    const Item paused = addAt(u"http://host.example/c"_s);
    const Item failed = addAt(u"http://user@host.example/d%20d"_s, Status::failed);
    const Item complete = addComplete(u"e"_s);
    const AppModel::Items all = manager().items();

    entry(u"Open"_s, all).perform();
    EXPECT_EQ(fake.workspace.opened, QList{file(u"e"_s)});
    entry(u"Reveal in Files"_s, {paused, complete}).perform();
    EXPECT_EQ(fake.workspace.revealed, (QList<QList<QUrl>>{{paused->directory(), file(u"e"_s)}}));
    entry(u"Copy Link"_s, {failed, paused}).perform();
    EXPECT_EQ(fake.pasteboard.content, u"http://host.example/c\nhttp://user@host.example/d%20d"_s);
    entry(u"Copy File Path"_s, all).perform();
    EXPECT_EQ(fake.pasteboard.content, folder.path(u"e"_s));

    entry(u"Pause"_s, {item(1), complete}).perform();
    EXPECT_EQ(item(1)->status(), Status::paused);
    EXPECT_EQ(complete->status(), Status::completed);
    entry(u"Resume"_s, all).perform();
    EXPECT_EQ(item(1)->status(), Status::queued);
    EXPECT_EQ(paused->status(), Status::queued);
    EXPECT_EQ(failed->status(), Status::failed);
    entry(u"Retry"_s, all).perform();
    EXPECT_EQ(failed->status(), Status::queued);

    for (const auto& [title, deletesFiles] :
         {std::pair{u"Remove"_s, false}, {u"Remove and Delete Files..."_s, true}}) {
        entry(title, {failed}).perform();
        EXPECT_EQ(model().removal()->ids, QSet{failed->id()});
        EXPECT_EQ(model().removal()->deleteFiles, deletesFiles);
    }
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
