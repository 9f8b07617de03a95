#include "app/views/SidebarView.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Status = DownloadStatus;

class SidebarTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        manager().setMaxConcurrentDownloads(0);
        sidebar = std::make_unique<SidebarView>(model());
        new QAbstractItemModelTester(sidebar->model(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     sidebar.get());
        sidebar->resize(SidebarView::idealWidth, 600);
        sidebar->show();
    }

    [[nodiscard]] QString said(const QString& title) const {
        const QModelIndexList found = sidebar->model()->match(sidebar->model()->index(0, 0), Qt::ToolTipRole,
                                                              title, 1, Qt::MatchExactly);
        return found.value(0).data(Qt::AccessibleTextRole).toString();
    }
    [[nodiscard]] QString chosen() const { return sidebar->currentIndex().data().toString(); }

    std::unique_ptr<SidebarView> sidebar;
};

TEST_F(SidebarTest, ListsEveryFilterBelowItsHeading) {
    QStringList lines;
    for (int row = 0; row < sidebar->model()->rowCount(); ++row) {
        const QModelIndex index = sidebar->model()->index(row, 0);
        const bool isHeading = index.data(SidebarModel::headingRole).toBool();
        EXPECT_EQ(index.flags().testFlag(Qt::ItemIsSelectable), !isHeading);
        EXPECT_EQ(index.data(SidebarModel::symbolRole).toString().isEmpty(), isHeading);
        lines.append(isHeading ? u"["_s + index.data().toString() + u']' : index.data().toString());
    }
    EXPECT_EQ(lines.join(u' '),
              u"[Downloads] All Active Queued Paused Completed Failed [Kinds] Video Audio Archives "
              u"Documents Disk Images and Apps Images Torrents Other"_s);
}

TEST_F(SidebarTest, CountsFollowTheListAtOnceAndItsDownloadsSoon) {
    EXPECT_EQ(said(u"All"_s), u"All, 0 downloads"_s);
    const Item item = addAt(u"http://host.example/a.mp4"_s);
    model().setSearch(u"nothing"_s);
    EXPECT_EQ(said(u"All"_s), u"All, 1 download"_s);
    EXPECT_EQ(said(u"Video"_s), u"Video, 1 download"_s);
    item->setStatus(Status::downloading);
    EXPECT_TRUE(runUntil([this] { return said(u"Active"_s) == u"Active, 1 download"_s; }));
    item->setFilename(u"a.zip"_s);
    EXPECT_TRUE(runUntil([this] { return said(u"Archives"_s) == u"Archives, 1 download"_s; }));

    const QSignalSpy changes(sidebar->model(), &QAbstractItemModel::dataChanged);
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(runUntil([&] {
        item->setStatus(item->status() == Status::failed ? Status::paused : Status::failed);
        return timer.elapsed() > 800;
    }));
    EXPECT_LE(changes.size(), 2 * 5) << "two rows each time";
    sidebar->hide();
    const qsizetype before = changes.size();
    manager().remove(item, false);
    EXPECT_EQ(changes.size(), before);
    sidebar->show();
    EXPECT_EQ(said(u"All"_s), u"All, 0 downloads"_s);
}

TEST_F(SidebarTest, IsBoundToTheFilterOfTheModel) {
    model().setFilter(DownloadFilter::kind(FileKind::torrents));
    EXPECT_EQ(chosen(), u"Torrents"_s);
    model().setFilter(std::nullopt);
    EXPECT_EQ(chosen(), u"All"_s);
    EXPECT_EQ(model().filter(), std::nullopt);
    model().setFilter(DownloadFilter::failed);
    QTest::keyClick(sidebar.get(), Qt::Key_Down);
    EXPECT_EQ(model().filter(), DownloadFilter::kind(FileKind::video)) << "past the heading";
    for (const int row : {2, 0}) {
        QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {},
                          sidebar->visualRect(sidebar->model()->index(row, 0)).center());
        EXPECT_EQ(model().filter(), DownloadFilter::active) << "a heading takes no clicks";
    }
    EXPECT_EQ(sidebar->selectionModel()->selectedIndexes().size(), 1);
}

} // namespace
} // namespace fetra
