#include "stories/StoryWorld.h"

#include "support/HeldBytes.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListView>
#include <QSpinBox>
#include <QSplitter>
#include <QSystemTrayIcon>
#include <QTreeView>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Column = DownloadColumn;

constexpr qint64 size = 4'000'000;

class SessionStory : public test::StoryWorld {
protected:
    const QString question = u"Quit Fetra?"_s;
    const QString inProgress = u"1 downloads are in progress. They will resume next time you open Fetra."_s;

    /// One download over one connection, on its way.
    void startSlowDownload() {
        grab(link("/a.bin").toString());
        enter(control<QSpinBox>(u"Connections"_s), u"1"_s);
        click(u"Start Downloads"_s);
        ASSERT_TRUE(isUnderWay(u"a.bin"_s));
    }
    void enter(QSpinBox& field, const QString& number) {
        click(*field.findChild<QLineEdit*>());
        press("Ctrl+A");
        type(number);
        press("Tab");
    }
    [[nodiscard]] QSystemTrayIcon* icon() { return application().findChild<QSystemTrayIcon*>(); }
    /// As the frame of a window does it.
    void closeWindow() { mainWindow().windowHandle()->close(); }
};

TEST_F(SessionStory, QuittingOnTheWayKeepsWhatHasArrivedForTheNextStart) {
    constexpr qint64 whole = 5 * size;
    constexpr qint64 onTheLine = 500'000;
    const test::ServerFile file = serve("/a.bin", whole, {.totalBytesPerSecond = 2e6});
    startSlowDownload();

    press("Ctrl+Q");
    ASSERT_TRUE(shows(question));
    EXPECT_TRUE(shows(inProgress));
    press("Esc");
    EXPECT_FALSE(shows(question));
    ASSERT_TRUE(isUnderWay(u"a.bin"_s)) << "it goes on";

    const qint64 sent = server.bodyBytesSent();
    ASSERT_TRUE(ends([this] {
        press("Ctrl+Q");
        press("Return");
    }));
    const qint64 held = test::heldBytes(home, u"Downloads/a.bin"_s, file.content);
    EXPECT_GT(held, sent - onTheLine);
    serve("/a.bin", whole);
    const qint64 sentInAll = server.bodyBytesSent();
    start();
    ASSERT_TRUE(becomes(u"a.bin Completed"_s));
    EXPECT_TRUE(home.read(u"Downloads/a.bin"_s) == file.content);
    EXPECT_LE(server.bodyBytesSent() - sentInAll, whole - held + 1) << "the rest, and the byte of a probe";
}

TEST_F(SessionStory, SettingsHoldForTheEngineAndForTheNextStart) {
    home.write(u"elsewhere/.keep"_s, {});
    for (const char* path : {"/a.bin", "/b.bin"})
        serve(path, size, slowly());
    press("Ctrl+,");
    enter(control<QSpinBox>(u"Simultaneous downloads"_s), u"1"_s);
    enter(control<QSpinBox>(u"Connections per download"_s), u"2"_s);
    click(u"Notify when downloads finish"_s);
    click(u"Choose download folder"_s);
    ASSERT_TRUE(window(u"Choose Download Folder"_s));
    paste(home.path(u"elsewhere"_s));
    press("Return");
    EXPECT_EQ(window(u"Choose Download Folder"_s), nullptr);
    press("Ctrl+W");
    EXPECT_EQ(window(u"Settings"_s), nullptr);
    ASSERT_TRUE(ends([this] { press("Ctrl+Q"); }));

    start();
    press("Ctrl+,");
    EXPECT_EQ(control<QSpinBox>(u"Simultaneous downloads"_s).value(), 1);
    EXPECT_EQ(control<QSpinBox>(u"Connections per download"_s).value(), 2);
    EXPECT_FALSE(control<QCheckBox>(u"Notify when downloads finish"_s).isChecked());
    EXPECT_TRUE(shows(home.path(u"elsewhere"_s)));
    press("Ctrl+W");
    download(link("/a.bin"));
    ASSERT_TRUE(isUnderWay(u"a.bin"_s));
    download(link("/b.bin"));
    EXPECT_TRUE(becomes(u"b.bin Queued, a.bin Downloading"_s));
    EXPECT_EQ(cell(u"a.bin"_s, Column::connections), u"2 of 2"_s);
    EXPECT_TRUE(home.contains(u"elsewhere/a.bin.part"_s));
}

TEST_F(SessionStory, TheWindowComesBackAsItWasLeft) {
    for (const char* path : {"/a.bin", "/b.bin"}) {
        serve(path);
        download(link(path));
    }
    ASSERT_TRUE(becomes(u"b.bin Completed, a.bin Completed"_s));
    const auto header = [this] { return table().header(); };
    const auto sizeColumn = [&] { return header()->sectionSize(static_cast<int>(Column::size)); };
    const auto sidebar = [this] { return mainWindow().findChild<QSplitter*>()->sizes().first(); };
    const int sizeBefore = sizeColumn();
    const int sidebarBefore = sidebar();

    const QSize windowSize(1300, 720);
    mainWindow().windowHandle()->resize(windowSize);
    press("Ctrl+I");
    ASSERT_TRUE(runUntil([] { return shows(u"Throughput"_s); }));
    QWidget& handle = *mainWindow().findChild<QSplitter*>()->handle(1);
    drag(handle, handle.rect().center(), handle.rect().center() - QPoint(25, 0));
    const int edge = header()->sectionViewportPosition(static_cast<int>(Column::size)) + sizeColumn() - 1;
    const int middle = header()->height() / 2;
    drag(*header()->viewport(), {edge, middle}, {edge + 33, middle});
    click(*header()->viewport(), {30, middle});
    ASSERT_EQ(rows(), u"a.bin Completed, b.bin Completed"_s);
    const int sidebarAfter = sidebar();
    EXPECT_NEAR(sidebarAfter, sidebarBefore - 25, 5);

    ASSERT_TRUE(ends([this] { press("Ctrl+Q"); }));
    start();
    EXPECT_TRUE(becomes(u"a.bin Completed, b.bin Completed"_s));
    EXPECT_EQ(mainWindow().size(), windowSize);
    EXPECT_EQ(sidebar(), sidebarAfter);
    EXPECT_EQ(sizeColumn(), sizeBefore + 33);
    EXPECT_TRUE(shows(u"No Selection"_s)) << "in the inspector";
}

TEST_F(SessionStory, WithoutATrayTheLastWindowTakesTheApplicationWithIt) {
    ASSERT_TRUE(ends([this] { closeWindow(); })) << "nothing runs";
    start();
    serve("/a.bin", size, slowly());
    startSlowDownload();
    closeWindow();
    ASSERT_TRUE(runUntil([this] { return shows(question); }));
    click(u"Cancel"_s);
    EXPECT_TRUE(mainWindow().isVisible());
    EXPECT_TRUE(ends([this] {
        closeWindow();
        click(u"Quit"_s);
    }));
    start();
    EXPECT_TRUE(isUnderWay(u"a.bin"_s));
}

TEST_F(SessionStory, WithATrayItGoesOnWithoutAWindow) {
    const auto host = trayHost();
    ASSERT_TRUE(runUntil([this] { return icon() != nullptr; }));
    serve("/a.bin", size, slowly());
    startSlowDownload();
    closeWindow();
    EXPECT_FALSE(mainWindow().isVisible());
    EXPECT_FALSE(shows(question));

    Q_EMIT icon()->activated(QSystemTrayIcon::Trigger);
    ASSERT_TRUE(runUntil([] { return shows(u"1 active"_s); }));
    const QModelIndex row = control<QListView>(u"Active downloads"_s).model()->index(0, 0);
    EXPECT_EQ(row.data(), u"a.bin"_s);
    click(u"Pause All"_s);
    EXPECT_TRUE(runUntil([] { return shows(u"No active downloads"_s); }));
    click(u"Resume All"_s);
    click(u"Open Fetra"_s);
    EXPECT_TRUE(mainWindow().isVisible());
    EXPECT_FALSE(shows(u"Open Fetra"_s));
    EXPECT_TRUE(isUnderWay(u"a.bin"_s));

    Q_EMIT icon()->activated(QSystemTrayIcon::Trigger);
    EXPECT_TRUE(ends([this] {
        click(u"Quit"_s);
        click(u"Quit"_s);
    })) << "the panel's button, then the question's";
}

} // namespace
} // namespace fetra
