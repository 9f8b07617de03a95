#include "app/views/DownloadTableModel.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QSignalSpy>

#include <algorithm>
#include <random>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Column = DownloadColumn;
using Status = DownloadStatus;

class DownloadTableModelTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        manager().setMaxConcurrentDownloads(0);
        table = std::make_unique<DownloadTableModel>(model());
        new QAbstractItemModelTester(table.get(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     table.get());
        table->setActive(true);
    }

    [[nodiscard]] QString shown() const {
        QStringList names;
        for (int row = 0; row < table->rowCount(); ++row)
            names.append(table->row(row).name);
        return names.join(u' ');
    }

    std::unique_ptr<DownloadTableModel> table;
};

TEST_F(DownloadTableModelTest, CellsSayWhatIsKnownOfADownload) {
    const Item running = addAt(u"http://host.example/a.iso"_s, Status::downloading);
    running->setTotalBytes(4096);
    running->setReceivedBytes(1024);
    running->setBytesPerSecond(512);
    running->setActiveConnections(3);
    running->setConnectionLimit(8);
    const Item failed = addAt(u"http://host.example/c"_s, Status::failed);
    failed->setErrorMessage(u"<b>No</b> route"_s);
    failed->setBytesPerSecond(99);
    const Item torrent = addAt(u"magnet:?xt=urn:btih:0123456789012345678901234567890123456789&dn=t"_s);
    torrent->setPeers(4);
    torrent->setSeeds(2);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 3; }));
    struct Case {
        Item item;
        Column column;
        QString text;
        int role = Qt::DisplayRole;
    };
    for (const auto& [item, column, text, role] : {
             Case{running, Column::name, u"a.iso, Downloading, 25 percent, 512.00 B/s, 6s left"_s,
                  Qt::AccessibleTextRole},
             {running, Column::progress, u"25 percent, 6s left"_s, Qt::AccessibleTextRole},
             {running, Column::progress, u"1.00 KB of 4.00 KB (25 percent)"_s, Qt::ToolTipRole},
             {running, Column::segments, u"25 percent, 3 of 8"_s, Qt::AccessibleTextRole},
             {failed, Column::speed, u""_s},
             // What a server says is no markup.
             {failed, Column::status, u"<span>&lt;b&gt;No&lt;/b&gt; route</span>"_s, Qt::ToolTipRole},
             {torrent, Column::connections, u"4 peers, 2 seeds"_s},
         })
        EXPECT_EQ(table->index(table->indexOf(item->id()), static_cast<int>(column)).data(role).toString(),
                  text);
}

TEST_F(DownloadTableModelTest, OnlyChangedCellsAreReportedAndEachOnceOrAllTogetherWhenTheyAreMany) {
    {
        const DownloadManager::Batch batch(manager());
        for (int number = 0; number < 100; ++number)
            addAt(u"http://host.example/a"_s);
    }
    table->refreshNow();
    const QSignalSpy cells(table.get(), &QAbstractItemModel::dataChanged);
    item(7)->setMirrors({QUrl(u"http://mirror.example/"_s)}); // nobody shows it
    for (const int bytes : {1, 2, 3})
        item(7)->setReceivedBytes(bytes);
    EXPECT_TRUE(runUntil([&] { return !cells.isEmpty(); }));
    ASSERT_EQ(cells.size(), 1);
    const QModelIndex changed =
        table->index(table->indexOf(item(7)->id()), static_cast<int>(Column::progress));
    EXPECT_EQ(cells[0][0].toModelIndex(), changed);
    EXPECT_EQ(cells[0][1].toModelIndex(), changed);

    for (const Item& each : manager().items().first(70))
        each->setStatus(Status::failed);
    EXPECT_TRUE(runUntil([&] { return cells.size() > 1; }));
    ASSERT_EQ(cells.size(), 2);
    EXPECT_EQ(cells[1][0].toModelIndex(), table->index(0, 0));
    EXPECT_EQ(cells[1][1].toModelIndex(), table->index(99, downloadColumnCount - 1));
}

TEST_F(DownloadTableModelTest, EachColumnSortsByItsValue) {
    const auto make = [this](const QString& name, Status status, qint64 size, qint64 received, double rate) {
        const Item item = addAt(u"http://host.example/"_s + name, status);
        item->setTotalBytes(size);
        item->setReceivedBytes(received);
        item->setBytesPerSecond(rate);
        item->setActiveConnections(received);
    };
    make(u"f10"_s, Status::downloading, 100, 10, 5);
    make(u"F2"_s, Status::paused, 300, 60, 900);
    make(u"f1"_s, Status::downloading, 200, 90, 9);
    for (const auto& [column, ascending] : {std::pair{Column::name, u"f1 F2 f10"_s},
                                            {Column::size, u"f10 f1 F2"_s},
                                            {Column::progress, u"f10 F2 f1"_s},
                                            {Column::segments, u"f10 F2 f1"_s},
                                            {Column::speed, u"F2 f10 f1"_s},
                                            {Column::connections, u"F2 f10 f1"_s},
                                            {Column::added, u"f10 F2 f1"_s},
                                            {Column::status, u"f1 f10 F2"_s}}) {
        table->sort(static_cast<int>(column), Qt::AscendingOrder);
        EXPECT_EQ(shown(), ascending);
    }
    table->sort(static_cast<int>(Column::status), Qt::DescendingOrder);
    EXPECT_EQ(shown(), u"F2 f1 f10"_s) << "of those that are alike, the newest first";
}

TEST_F(DownloadTableModelTest, EveryIndexStaysWithItsDownloadThroughAnyRearrangement) {
    std::mt19937 random(20);
    const auto below = [&random](qsizetype limit) {
        return static_cast<int>(random() % static_cast<unsigned>(std::max<qsizetype>(limit, 1)));
    };
    const std::optional<DownloadFilter> filters[] = {DownloadFilter::all, DownloadFilter::paused,
                                                     DownloadFilter::failed, std::nullopt};
    const Status statuses[] = {Status::paused, Status::failed, Status::completed};
    const QSignalSpy resets(table.get(), &QAbstractItemModel::modelReset);
    for (int step = 0; step < 150; ++step) {
        std::vector<std::pair<QPersistentModelIndex, QUuid>> followed;
        for (int row = 0; row < table->rowCount(); ++row)
            followed.emplace_back(table->index(row, below(downloadColumnCount)), table->row(row).id);
        {
            const DownloadManager::Batch batch(manager());
            for (int count = below(6); count > 0; --count)
                add(QString::number(below(40)), false)->setTotalBytes(below(5));
            for (int count = below(5); count > 0 && !manager().items().isEmpty(); --count)
                manager().remove(item(below(manager().items().size())), false);
        }
        for (const Item& each : manager().items())
            each->setStatus(statuses[static_cast<size_t>(below(3))]);
        model().setFilter(filters[static_cast<size_t>(below(4))]);
        model().setSearch(below(3) ? QString() : QString::number(below(4)));
        table->refreshNow();
        const auto column = static_cast<Column>(below(downloadColumnCount));
        table->sort(static_cast<int>(column), below(2) ? Qt::AscendingOrder : Qt::DescendingOrder);

        QSet<QUuid> ids;
        for (int row = 0; row < table->rowCount(); ++row)
            ids.insert(table->row(row).id);
        ASSERT_EQ(ids, this->ids(model().filteredItems()));
        for (const auto& [index, id] : followed)
            if (ids.contains(id)) {
                ASSERT_TRUE(index.isValid());
                EXPECT_EQ(table->row(index.row()).id, id);
                EXPECT_EQ(table->indexOf(id), index.row());
            } else {
                EXPECT_FALSE(index.isValid());
            }
    }
    EXPECT_EQ(resets.size(), 0);
}

TEST_F(DownloadTableModelTest, ADownloadLeavesTheListWhenItMatchesNoMore) {
    const Item item = addAt(u"http://host.example/a.mp4"_s);
    const auto isListed = [this](bool listed) {
        return runUntil([&] { return table->rowCount() == (listed ? 1 : 0); });
    };
    model().setFilter(DownloadFilter::paused);
    ASSERT_TRUE(isListed(true));
    item->setStatus(Status::failed);
    EXPECT_TRUE(isListed(false));
    model().setFilter(DownloadFilter::kind(FileKind::video));
    EXPECT_TRUE(isListed(true));
    item->setFilename(u"renamed.iso"_s);
    EXPECT_TRUE(isListed(false));
}

TEST_F(DownloadTableModelTest, WhatChangesAllTheTimeMovesRowsAtMostOnceASecond) {
    const Item first = addAt(u"http://host.example/a"_s, Status::downloading);
    const Item second = addAt(u"http://host.example/b"_s, Status::downloading);
    table->sort(static_cast<int>(Column::speed), Qt::DescendingOrder);
    table->refreshNow();
    const QSignalSpy moves(table.get(), &QAbstractItemModel::layoutChanged);
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(runUntil([&] {
        // The other one is the quicker one whenever the rows have been sorted.
        first->setBytesPerSecond(table->indexOf(first->id()) == 0 ? 1 : 3);
        second->setBytesPerSecond(2);
        return moves.size() == 3;
    }));
    EXPECT_GE(timer.elapsed(), 1'900);
}

TEST_F(DownloadTableModelTest, DoesNothingWhileInactiveAndCatchesUpAfterwards) {
    const Item kept = addAt(u"http://host.example/a"_s);
    const Item gone = addAt(u"http://host.example/b"_s);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 2; }));
    table->setActive(false);
    kept->setFilename(u"renamed"_s);
    manager().remove(gone, false);
    addAt(u"http://host.example/c"_s);
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(runUntil([&] { return timer.elapsed() > 250; }));
    EXPECT_EQ(shown(), u"b a"_s);
    table->setActive(true);
    EXPECT_EQ(shown(), u"c renamed"_s);
}

} // namespace
} // namespace fetra
