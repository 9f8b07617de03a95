#include "stories/StoryWorld.h"

#include "app/views/SidebarView.h"

#include <QLineEdit>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class ListStory : public test::StoryWorld {
protected:
    void addPaused(const QUrl& url) {
        grab(url.toString());
        click(u"Add Paused"_s);
    }
};

TEST_F(ListStory, AFailedDownloadSaysWhyAndIsTriedAgain) {
    const QString why = u"Server returned HTTP 404"_s;
    download(link("/a.bin"));
    ASSERT_TRUE(becomes(u"a.bin Failed"_s));
    press("Ctrl+I");
    EXPECT_TRUE(runUntil([&] { return shows(why); }));
    const test::ServerFile file = serve("/a.bin");
    choose(u"a.bin"_s, u"Retry"_s);
    ASSERT_TRUE(becomes(u"a.bin Completed"_s));
    EXPECT_TRUE(runUntil([&] { return !shows(why); }));
    click(u"Clear Completed"_s);
    EXPECT_TRUE(runUntil([] {
        return shows(u"No Downloads Yet"_s) && shows(u"No Selection"_s) && shows(u"down 0.00 B/s"_s);
    }));
    EXPECT_TRUE(home.read(u"Downloads/a.bin"_s) == file.content);
}

TEST_F(ListStory, WhatIsRemovedOnItsWayLeavesNoMoreThanTheUserWants) {
    for (const char* path : {"/a.bin", "/b.bin"}) {
        serve(path, 4'000'000, slowly());
        download(link(path));
    }
    ASSERT_TRUE(isUnderWay(u"a.bin"_s) && isUnderWay(u"b.bin"_s));
    choose(u"a.bin"_s, u"Remove and Delete Files..."_s);
    click(u"Remove and Delete Files"_s);
    ASSERT_TRUE(becomes(u"b.bin Downloading"_s));
    choose(u"b.bin"_s, u"Remove"_s);
    EXPECT_TRUE(shows(u"1 downloads will be removed from the list. Downloaded files will be kept."_s));
    press("Return");
    ASSERT_TRUE(runUntil([] { return shows(u"No Downloads Yet"_s); }));
    EXPECT_EQ(home.names(u"Downloads"_s), (QStringList{u".keep"_s, u"b.bin.fetra"_s, u"b.bin.part"_s}));
}

TEST_F(ListStory, SpacePausesWhatRunsAndResumesWhatRests) {
    for (const char* path : {"/a.bin", "/b.bin"})
        serve(path, 4'000'000, slowly());
    download(link("/a.bin"));
    addPaused(link("/b.bin"));
    ASSERT_TRUE(becomes(u"b.bin Paused, a.bin Downloading"_s));
    EXPECT_TRUE(
        runUntil([] { return shows(u"1 active · 0 queued · 0 completed"_s) && !shows(u"down 0.00 B/s"_s); }));
    press("Ctrl+I");
    for (const QString& name : {u"b.bin"_s, u"a.bin"_s}) {
        clickRow(name);
        EXPECT_TRUE(runUntil([&] { return shows(name); })) << "in the inspector";
    }
    clickRow(u"b.bin"_s, Qt::ControlModifier);
    EXPECT_TRUE(runUntil([] { return shows(u"Multiple Downloads"_s); }));
    press("Space");
    EXPECT_TRUE(becomes(u"b.bin Downloading, a.bin Paused"_s));
}

TEST_F(ListStory, WhatIsTypedFindsARow) {
    for (const char* path : {"/alpha", "/beta", "/bravo"})
        addPaused(link(path));
    clickRow(u"alpha"_s);
    type(u"br"_s);
    EXPECT_EQ(selected(), u"bravo"_s);
    press("Ctrl+F");
    type(u"et"_s);
    EXPECT_TRUE(becomes(u"beta Paused"_s));
    press("Ctrl+A");
    press("Del");
    auto& sidebar = *mainWindow().findChild<SidebarView*>();
    const QModelIndex failed =
        sidebar.model()->match(sidebar.model()->index(0, 0), Qt::DisplayRole, u"Failed"_s).value(0);
    click(*sidebar.viewport(), sidebar.visualRect(failed).center());
    EXPECT_TRUE(runUntil([] { return shows(u"No Results for “Failed”"_s); }));
}

TEST_F(ListStory, EveryShortcutDoesWhatItsMenuSays) {
    const auto manager = fileManager();
    for (const char* path : {"/a.bin", "/b.bin"})
        serve(path, 4'000'000, slowly());
    download(link("/a.bin"));
    download(link("/b.bin"));
    ASSERT_TRUE(isUnderWay(u"a.bin"_s) && isUnderWay(u"b.bin"_s));
    clickRow(u"b.bin"_s);

    const QString removal = u"Remove selected downloads?"_s;
    struct Case {
        const char* keys;
        std::function<bool()> effect;
        /// Back to the list.
        const char* away = nullptr;
    };
    const Case cases[] = {
        {"Ctrl+N", [] { return window(u"Add Links"_s) != nullptr; }, "Esc"},
        {"Ctrl+O", [] { return window(u"Open Torrent File"_s) != nullptr; }, "Esc"},
        {"Ctrl+Alt+P", [this] { return rows() == u"b.bin Paused, a.bin Paused"_s; }},
        {"Ctrl+Alt+R", [this] { return rows() == u"b.bin Downloading, a.bin Downloading"_s; }},
        {"Ctrl+R", [&] { return revealed(*manager).size() == 1; }},
        {"Ctrl+Del", [&] { return shows(removal); }, "Esc"},
        {"Del", [&] { return shows(removal); }, "Esc"},
        {"Ctrl+I", [] { return shows(u"Throughput"_s); }},
        {"Ctrl+I", [] { return !shows(u"Throughput"_s); }},
        {"Ctrl+,", [] { return window(u"Settings"_s) != nullptr; }, "Ctrl+W"},
        {"Ctrl+A", [this] { return selected() == u"a.bin b.bin"_s; }},
        {"Return", [this] { return rows() == u"b.bin Paused, a.bin Paused"_s; }},
        {"Ctrl+F", [this] { return control<QLineEdit>(u"Search downloads"_s).hasFocus(); }},
    };
    for (const Case& each : cases) {
        EXPECT_FALSE(each.effect()) << each.keys << " has nothing to do";
        press(each.keys);
        ASSERT_TRUE(runUntil(each.effect)) << each.keys << ' ' << rows().toStdString();
        if (each.away) {
            press(each.away);
            ASSERT_TRUE(runUntil([&] { return !each.effect(); })) << each.keys;
        }
    }
    EXPECT_TRUE(ends([this] { press("Ctrl+Q"); }));
}

} // namespace
} // namespace fetra
