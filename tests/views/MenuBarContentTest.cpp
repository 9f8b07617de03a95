#include "app/views/MenuBarContent.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class MenuBarContentTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        commands = std::make_unique<DownloadCommands>(model());
        panel = std::make_unique<MenuBarContent>(model(), *commands, [] {});
        panel->show();
    }
    void TearDown() override {
        panel.reset();
        commands.reset();
    }

    [[nodiscard]] bool shows(const QString& text) const {
        for (const QLabel* label : panel->findChildren<QLabel*>())
            if (label->isVisible() && label->text() == text)
                return true;
        return false;
    }
    [[nodiscard]] QPushButton& button(const QString& text) const {
        for (QPushButton* each : panel->findChildren<QPushButton*>())
            if (each->text() == text)
                return *each;
        throw std::runtime_error("no such button");
    }
    void click(const QString& text) const { QTest::mouseClick(&button(text), Qt::LeftButton); }
    [[nodiscard]] QListView& rows() const { return *panel->findChild<QListView*>(); }
    [[nodiscard]] QString row(int index) const {
        return rows().model()->index(index, 0).data(Qt::AccessibleTextRole).toString();
    }

    std::unique_ptr<DownloadCommands> commands;
    std::unique_ptr<MenuBarContent> panel;
};

TEST_F(MenuBarContentTest, ListsWhatRunsWithItsProgressAndRate) {
    EXPECT_TRUE(shows(u"No active downloads"_s));
    EXPECT_FALSE(button(u"Pause All"_s).isEnabled());
    const QAbstractItemModelTester tester(rows().model());
    const Item file = add(u"a"_s);
    const Item torrent =
        manager().add({.url = QUrl(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567&dn=t"_s)});
    file->setTotalBytes(200);
    file->setReceivedBytes(80);
    file->setBytesPerSecond(1024);
    torrent->setPeers(12);
    torrent->setBytesPerSecond(2048);
    ASSERT_TRUE(runUntil([&] { return shows(u"2 active"_s) && shows(u"3.00 KB/s"_s); }));
    EXPECT_FALSE(shows(u"No active downloads"_s));
    EXPECT_EQ(row(0), u"a, 40%, 1.00 KB/s"_s);
    EXPECT_EQ(row(1), torrent->filename() + u", 0%, 2.00 KB/s, 12 peers"_s);
    click(u"Pause All"_s);
    EXPECT_TRUE(runUntil([&] { return shows(u"No active downloads"_s); }));
    EXPECT_FALSE(button(u"Pause All"_s).isEnabled());
    click(u"Resume All"_s);
    EXPECT_TRUE(file->isActive() && torrent->isActive());
}

TEST_F(MenuBarContentTest, ManyDownloadsScrollInsideThePanel) {
    manager().setMaxConcurrentDownloads(20);
    addAll(u"abcdefgh"_s);
    ASSERT_TRUE(runUntil([&] { return rows().verticalScrollBar()->maximum() > 0; }));
    EXPECT_EQ(rows().height(), 6 * rows().sizeHintForRow(0));
    manager().pause(item(0));
    manager().pause(item(1));
    EXPECT_TRUE(runUntil([&] { return rows().verticalScrollBar()->maximum() == 0; }));
}

} // namespace
} // namespace fetra
