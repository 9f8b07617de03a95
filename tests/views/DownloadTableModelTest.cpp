#include "app/views/DownloadTableModel.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QLocale>
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
        tester = std::make_unique<QAbstractItemModelTester>(
            table.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
        table->setActive(true);
    }
    void TearDown() override { table.reset(); }

    [[nodiscard]] QString shown() const {
        QStringList names;
        for (int row = 0; row < table->rowCount(); ++row)
            names.append(table->row(row).name);
        return names.join(u' ');
    }
    [[nodiscard]] QString text(const Item& item, Column column, int role = Qt::DisplayRole) const {
        return table->index(table->indexOf(item->id()), static_cast<int>(column)).data(role).toString();
    }
    /// Adds without telling of each.
    void addMany(int count) {
        const DownloadManager::Batch batch(manager());
        for (int number = 0; number < count; ++number) {
            const Item item =
                add(u"file %1.%2"_s.arg(number * 7919 % count).arg(number % 3 ? u"iso" : u"mp4"), false);
            item->setTotalBytes(number * 104'729 % 1'000'003);
        }
    }

    std::unique_ptr<DownloadTableModel> table;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

TEST_F(DownloadTableModelTest, CellsSayWhatIsKnownOfADownload) {
    const Item running = addAt(u"http://host.example/a.iso"_s, Status::downloading);
    running->setTotalBytes(4096);
    running->setReceivedBytes(1024);
    running->setBytesPerSecond(512);
    running->setActiveConnections(3);
    running->setConnectionLimit(8);
    const Item unknown = addAt(u"http://host.example/b"_s, Status::probing);
    const Item failed = addAt(u"http://host.example/c"_s, Status::failed);
    failed->setErrorMessage(u"No route"_s);
    failed->setBytesPerSecond(99);
    const Item paused = addAt(u"http://host.example/d"_s, Status::paused);
    paused->setTotalBytes(100);
    paused->setReceivedBytes(29); // 0.29 * 100 is less than 29
    const Item torrent = addAt(u"magnet:?xt=urn:btih:0123456789012345678901234567890123456789&dn=t"_s);
    torrent->setPeers(4);
    torrent->setSeeds(2);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 5; }));
    struct Case {
        Item item;
        Column column;
        QString text;
        int role = Qt::DisplayRole;
    };
    const Case cases[] = {
        {running, Column::name, u"a.iso"_s},
        {running, Column::name, u"a.iso, Downloading, 25 percent, 512.00 B/s, 6s left"_s,
         Qt::AccessibleTextRole},
        {running, Column::size, u"4.00 KB"_s},
        {running, Column::progress, u"6s"_s},
        {running, Column::progress, u"25 percent, 6s left"_s, Qt::AccessibleTextRole},
        {running, Column::progress, u"1.00 KB of 4.00 KB (25 percent)"_s, Qt::ToolTipRole},
        {running, Column::speed, u"512.00 B/s"_s},
        {running, Column::segments, u"25 percent, 3 of 8"_s, Qt::AccessibleTextRole},
        {running, Column::connections, u"3 of 8"_s},
        {running, Column::status, u"Downloading"_s},
        {unknown, Column::size, u"Unknown"_s},
        {unknown, Column::progress, u"--"_s},
        {unknown, Column::status, u"Connecting"_s},
        {failed, Column::progress, u""_s},
        {failed, Column::speed, u""_s},
        {failed, Column::connections, u""_s},
        {failed, Column::status, u"No route"_s, Qt::ToolTipRole},
        {paused, Column::progress, u"29 percent"_s, Qt::AccessibleTextRole},
        {torrent, Column::connections, u"4 peers, 2 seeds"_s},
        {torrent, Column::added, QLocale().toString(torrent->addedAt().toLocalTime(), QLocale::ShortFormat)},
    };
    for (const Case& each : cases)
        EXPECT_EQ(text(each.item, each.column, each.role), each.text);
    failed->setErrorMessage(u"<b>No</b> route"_s);
    EXPECT_TRUE(runUntil([&] {
        return text(failed, Column::status, Qt::ToolTipRole) == u"<span>&lt;b&gt;No&lt;/b&gt; route</span>"_s;
    })) << "what a server says is no markup";
    EXPECT_EQ(table->row(table->indexOf(failed->id())).speed, 0);
    EXPECT_EQ(table->row(table->indexOf(failed->id())).size, -1);
}

TEST_F(DownloadTableModelTest, OnlyChangedCellsAreReportedAndEachOnce) {
    const Item changing = addAt(u"http://host.example/a"_s, Status::downloading);
    addAt(u"http://host.example/b"_s, Status::downloading);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 2; }));
    struct Case {
        std::function<void()> change;
        QList<Column> columns;
    };
    const Case cases[] = {
        {[&] { changing->setFilename(u"n"_s); }, {Column::name}},
        {[&] { changing->setTotalBytes(900); }, {Column::size, Column::progress, Column::segments}},
        {[&] {
             for (const int bytes : {1, 2, 3})
                 changing->setReceivedBytes(bytes);
         },
         {Column::progress}},
        {[&] { changing->setBytesPerSecond(7); }, {Column::progress, Column::speed}},
        {[&] { changing->setSegments({SegmentSnapshot{}}); }, {Column::segments}},
        {[&] {
             changing->setActiveConnections(2);
             changing->setConnectionLimit(4);
         },
         {Column::connections}},
        {[&] { changing->setErrorMessage(u"e"_s); }, {Column::status}},
        {[&] { changing->setStatus(Status::paused); },
         {Column::progress, Column::speed, Column::segments, Column::connections, Column::status}},
    };
    const int row = table->indexOf(changing->id());
    for (const Case& each : cases) {
        const QSignalSpy cells(table.get(), &QAbstractItemModel::dataChanged);
        // Nobody shows it.
        changing->setMirrors(changing->mirrors() + QList{QUrl(u"http://mirror.example/"_s)});
        each.change();
        EXPECT_EQ(cells.size(), 0);
        ASSERT_TRUE(runUntil([&] { return !cells.isEmpty(); }));
        QList<Column> columns;
        for (const QList<QVariant>& cell : cells) {
            EXPECT_EQ(cell.at(0).toModelIndex(), cell.at(1).toModelIndex());
            EXPECT_EQ(cell.at(0).toModelIndex().row(), row);
            columns.append(static_cast<Column>(cell.at(0).toModelIndex().column()));
        }
        EXPECT_EQ(columns, each.columns);
    }
}

TEST_F(DownloadTableModelTest, ManyChangedRowsAreReportedTogether) {
    addMany(300);
    table->refreshNow();
    const QSignalSpy cells(table.get(), &QAbstractItemModel::dataChanged);
    for (const Item& item : manager().items().first(200))
        item->setStatus(Status::failed);
    ASSERT_TRUE(runUntil([&] { return !cells.isEmpty(); }));
    ASSERT_EQ(cells.size(), 1);
    EXPECT_EQ(cells.first().at(0).toModelIndex(), table->index(0, 0));
    EXPECT_EQ(cells.first().at(1).toModelIndex(), table->index(299, downloadColumnCount - 1));
    EXPECT_EQ(text(manager().items()[199], Column::status), u"Failed"_s);
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
    struct Case {
        Column column;
        QString ascending, descending;
    };
    const Case cases[] = {
        {Column::name, u"f1 F2 f10"_s, u"f10 F2 f1"_s},
        {Column::size, u"f10 f1 F2"_s, u"F2 f1 f10"_s},
        {Column::progress, u"f10 F2 f1"_s, u"f1 F2 f10"_s},
        {Column::segments, u"f10 F2 f1"_s, u"f1 F2 f10"_s},
        {Column::speed, u"F2 f10 f1"_s, u"f1 f10 F2"_s},
        {Column::connections, u"F2 f10 f1"_s, u"f1 f10 F2"_s},
        {Column::status, u"f1 f10 F2"_s, u"F2 f1 f10"_s},
        {Column::added, u"f10 F2 f1"_s, u"f1 F2 f10"_s},
    };
    for (const Case& each : cases) {
        table->sort(static_cast<int>(each.column), Qt::AscendingOrder);
        EXPECT_EQ(shown(), each.ascending);
        table->sort(static_cast<int>(each.column), Qt::DescendingOrder);
        EXPECT_EQ(shown(), each.descending);
    }
}

TEST_F(DownloadTableModelTest, EveryIndexStaysWithItsDownloadThroughAnyRearrangement) {
    std::mt19937 random(20);
    const auto below = [&random](qsizetype limit) {
        return static_cast<int>(random() % static_cast<unsigned>(std::max<qsizetype>(limit, 1)));
    };
    const std::optional<DownloadFilter> filters[] = {DownloadFilter::all, DownloadFilter::paused,
                                                     DownloadFilter::failed, std::nullopt};
    const Status statuses[] = {Status::paused, Status::failed, Status::completed};
    int resets = 0, inserts = 0, removals = 0, moves = 0;
    QObject::connect(table.get(), &QAbstractItemModel::modelReset, [&] { ++resets; });
    QObject::connect(table.get(), &QAbstractItemModel::rowsInserted, [&] { ++inserts; });
    QObject::connect(table.get(), &QAbstractItemModel::rowsRemoved, [&] { ++removals; });
    QObject::connect(table.get(), &QAbstractItemModel::layoutChanged, [&] { ++moves; });
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
    EXPECT_EQ(resets, 0);
    EXPECT_GT(inserts, 20);
    EXPECT_GT(removals, 20);
    EXPECT_GT(moves, 20);
}

TEST_F(DownloadTableModelTest, ADownloadLeavesTheListWhenItMatchesNoMore) {
    const Item item = addAt(u"http://host.example/a.mp4"_s);
    model().setFilter(DownloadFilter::paused);
    model().setSearch(u"mp4"_s);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 1; }));
    item->setStatus(Status::failed);
    EXPECT_TRUE(runUntil([&] { return table->rowCount() == 0; }));
    item->setStatus(Status::paused);
    EXPECT_TRUE(runUntil([&] { return table->rowCount() == 1; }));
    item->setFilename(u"renamed.iso"_s);
    model().setSearch(u"renamed"_s);
    model().setFilter(DownloadFilter::kind(FileKind::video));
    EXPECT_TRUE(runUntil([&] { return table->rowCount() == 0; }));
    item->setFilename(u"renamed.mkv"_s);
    EXPECT_TRUE(runUntil([&] { return table->rowCount() == 1; }));
}

TEST_F(DownloadTableModelTest, WhatChangesAllTheTimeMovesRowsAtMostOnceASecond) {
    const Item first = addAt(u"http://host.example/a"_s, Status::downloading);
    const Item second = addAt(u"http://host.example/b"_s, Status::downloading);
    table->sort(static_cast<int>(Column::speed), Qt::DescendingOrder);
    table->refreshNow();
    const QSignalSpy moves(table.get(), &QAbstractItemModel::layoutChanged);
    const QSignalSpy cells(table.get(), &QAbstractItemModel::dataChanged);
    QElapsedTimer timer;
    timer.start();
    QList<qint64> times;
    EXPECT_TRUE(runUntil([&] {
        if (times.size() < moves.size())
            times.append(timer.elapsed());
        // The other one is the quicker one whenever the rows have been sorted.
        const bool firstLeads = table->indexOf(first->id()) == 0;
        first->setBytesPerSecond(firstLeads ? 1 : 3);
        second->setBytesPerSecond(2);
        return times.size() == 3;
    }));
    ASSERT_EQ(times.size(), 3);
    EXPECT_GE(times.last() - times.first(), 1'900);
    EXPECT_LE(cells.size(), 50);
}

TEST_F(DownloadTableModelTest, DoesNothingWhileInactiveAndCatchesUpAfterwards) {
    const Item kept = addAt(u"http://host.example/a"_s);
    const Item gone = addAt(u"http://host.example/b"_s);
    ASSERT_TRUE(runUntil([&] { return table->rowCount() == 2; }));
    gone->setTotalBytes(1);
    table->setActive(false);
    QSignalSpy cells(table.get(), &QAbstractItemModel::dataChanged);
    kept->setTotalBytes(2048);
    manager().remove(gone, false);
    const Item added = addAt(u"http://host.example/c"_s);
    model().setSearch(u"host"_s);
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(runUntil([&] { return timer.elapsed() > 250; }));
    EXPECT_EQ(cells.size(), 0);
    EXPECT_EQ(shown(), u"b a"_s);
    table->setActive(true);
    EXPECT_EQ(shown(), u"c a"_s);
    EXPECT_EQ(text(kept, Column::size), u"2.00 KB"_s);
}

TEST_F(DownloadTableModelTest, TenThousandRowsAreFilteredAndSortedInAMoment) {
    tester.reset();
    addMany(10'000);
    table->refreshNow();
    ASSERT_EQ(table->rowCount(), 10'000);
    struct Case {
        const char* what;
        std::function<void(bool odd)> change;
    };
    const Case cases[] = {
        {"sorting by name",
         [&](bool odd) { table->sort(0, odd ? Qt::AscendingOrder : Qt::DescendingOrder); }},
        {"sorting by size",
         [&](bool odd) { table->sort(1, odd ? Qt::AscendingOrder : Qt::DescendingOrder); }},
        {"filtering",
         [&](bool odd) {
             model().setFilter(odd ? DownloadFilter::kind(FileKind::video) : DownloadFilter::all);
             table->refreshNow();
         }},
        {"searching",
         [&](bool odd) {
             model().setSearch(odd ? u"99"_s : QString());
             table->refreshNow();
         }},
    };
    for (const Case& each : cases) {
        each.change(true);
        each.change(false);
        QElapsedTimer timer;
        timer.start();
        each.change(true);
        each.change(false);
        // Many times what it takes, for slow machines; a step for each pair of rows would take longer.
        EXPECT_LT(timer.elapsed(), 3'000) << each.what;
    }
}

} // namespace
} // namespace fetra
