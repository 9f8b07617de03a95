#include "app/views/MenuBarContent.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class MenuBarContentTest : public test::ModelWorld {};

TEST_F(MenuBarContentTest, ListsWhatRunsAndScrollsWhenThatIsMuch) {
    manager().setMaxConcurrentDownloads(20);
    DownloadCommands commands(model());
    MenuBarContent panel(model(), commands, [] {});
    panel.show();
    auto& list = *panel.findChild<QListView*>();
    auto& pauseAll = *panel.findChild<QPushButton*>();
    ASSERT_EQ(pauseAll.text(), u"Pause All"_s);
    EXPECT_FALSE(pauseAll.isEnabled());
    const QAbstractItemModelTester tester(list.model());

    const Item file = add(u"a"_s);
    const Item torrent =
        manager().add({.url = QUrl(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567&dn=t"_s)});
    file->setTotalBytes(200);
    file->setReceivedBytes(80);
    file->setBytesPerSecond(1024);
    torrent->setPeers(12);
    torrent->setBytesPerSecond(2048);
    ASSERT_TRUE(runUntil([&] {
        return std::ranges::any_of(panel.findChildren<QLabel*>(),
                                   [](const QLabel* each) { return each->text() == u"3.00 KB/s"_s; });
    }));
    EXPECT_TRUE(pauseAll.isEnabled());
    const auto row = [&list](int index) {
        return list.model()->index(index, 0).data(Qt::AccessibleTextRole).toString();
    };
    EXPECT_EQ(row(0), u"a, 40%, 1.00 KB/s"_s);
    EXPECT_EQ(row(1), torrent->filename() + u", 0%, 2.00 KB/s, 12 peers"_s);

    addAll(u"bcdef"_s);
    ASSERT_TRUE(runUntil([&] { return list.verticalScrollBar()->maximum() > 0; }));
    EXPECT_EQ(list.height(), 6 * list.sizeHintForRow(0));
    manager().pause(file);
    EXPECT_TRUE(runUntil([&] { return list.verticalScrollBar()->maximum() == 0; }));
}

} // namespace
} // namespace fetra
