#include "app/views/DownloadTable.h"

#include "app/views/DownloadColumns.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QMenu>
#include <QtTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Column = DownloadColumn;
using Status = DownloadStatus;

class DownloadTableTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        table = std::make_unique<DownloadTable>(model());
        new QAbstractItemModelTester(table->model(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     table.get());
        table->resize(1200, 400);
        table->show();
        table->activateWindow();
        table->setFocus();
        ASSERT_TRUE(runUntil([this] { return table->hasFocus(); }));
    }
    void TearDown() override { table.reset(); }

    [[nodiscard]] AppModel::Items addNamed(const QStringList& names) {
        AppModel::Items items;
        for (const QString& name : names)
            items.append(add(name, false));
        EXPECT_TRUE(runUntil([this] { return table->model()->rowCount() == manager().items().size(); }));
        return items;
    }
    [[nodiscard]] QModelIndex cellOf(const QString& name) const {
        return table->model()
            ->match(table->model()->index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly)
            .value(0);
    }
    /// The names of the rows that are drawn as selected.
    [[nodiscard]] QString marked() const {
        QStringList names;
        for (const QModelIndex& index : table->selectionModel()->selectedRows())
            names.append(index.data().toString());
        names.sort();
        return names.join(u' ');
    }
    void click(const QString& name, Qt::KeyboardModifiers modifiers = {}) {
        QTest::mouseClick(table->viewport(), Qt::LeftButton, modifiers,
                          table->visualRect(cellOf(name)).center());
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(table.get(), key, modifiers);
    }
    [[nodiscard]] QAction* choice(const QString& title) {
        if (auto* menu = table->findChild<QMenu*>(u"downloads"_s))
            for (QAction* action : menu->actions())
                if (action->text() == title)
                    return action;
        return nullptr;
    }

    std::unique_ptr<DownloadTable> table;
};

TEST_F(DownloadTableTest, TheSelectionFollowsItsDownloadsHoweverTheRowsMove) {
    const AppModel::Items items = addNamed({u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s});
    click(u"b"_s);
    click(u"d"_s, Qt::ControlModifier);
    const QSet<QUuid> chosen = ids({items[1], items[3]});
    EXPECT_EQ(model().selection(), chosen);

    table->sortByColumn(static_cast<int>(Column::name), Qt::AscendingOrder);
    EXPECT_EQ(marked(), u"b d"_s);
    EXPECT_EQ(cellOf(u"b"_s).row(), 1);
    items[1]->setFilename(u"z"_s);
    ASSERT_TRUE(runUntil([this] { return cellOf(u"z"_s).row() == 4; }));
    EXPECT_EQ(marked(), u"d z"_s);
    manager().remove(items[0], false);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 4; }));
    EXPECT_EQ(marked(), u"d z"_s);
    EXPECT_EQ(model().selection(), chosen);

    // What is filtered out stays selected until the user selects something else.
    items[3]->setStatus(Status::failed);
    model().setFilter(DownloadFilter::paused);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 3; }));
    EXPECT_EQ(marked(), u"z"_s);
    EXPECT_EQ(model().selection(), chosen);
    model().setFilter(DownloadFilter::all);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 4; }));
    EXPECT_EQ(marked(), u"d z"_s);
    model().setFilter(DownloadFilter::paused);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 3; }));
    click(u"c"_s);
    EXPECT_EQ(model().selection(), QSet{items[2]->id()});

    manager().remove(items[2], false);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 2; }));
    model().tick();
    EXPECT_EQ(marked(), u""_s);
    EXPECT_TRUE(model().selection().isEmpty());
}

TEST_F(DownloadTableTest, WhatTheModelSelectsIsShownEvenBeforeItHadARow) {
    QStringList names;
    for (int number = 0; number < 60; ++number)
        names.append(u"f%1"_s.arg(number));
    const AppModel::Items items = addNamed(names);
    model().revealInList({items[2], items[3]});
    EXPECT_EQ(marked(), u"f2 f3"_s);
    EXPECT_TRUE(table->viewport()->rect().contains(table->visualRect(cellOf(u"f3"_s)).center()));
    model().setFilter(DownloadFilter::completed);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 0; }));
    model().revealInList({add(u"new"_s, false)});
    EXPECT_EQ(marked(), u"new"_s);
    EXPECT_TRUE(table->viewport()->rect().contains(table->visualRect(cellOf(u"new"_s)).center()));
    // The rows are brought in while nobody sees them, too.
    table->hide();
    model().setSelection(ids({items[7]}));
    table->show();
    EXPECT_EQ(marked(), u"f7"_s);
}

TEST_F(DownloadTableTest, KeysAndDoubleClicksActOnTheRows) {
    const Item complete = addComplete(u"done.iso"_s);
    AppModel::Items items = addNamed({u"alpha"_s, u"beta"_s, u"bravo"_s});
    manager().setMaxConcurrentDownloads(0);
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(cellOf(u"beta"_s)).center());
    EXPECT_EQ(items[1]->status(), Status::queued);
    EXPECT_EQ(items[0]->status(), Status::paused);

    table->setCurrentIndex(cellOf(u"alpha"_s).siblingAtColumn(static_cast<int>(Column::status)));
    QTest::keyClicks(table.get(), u"br"_s);
    EXPECT_EQ(model().selection(), ids({items[2]}));
    click(u"done.iso"_s);
    press(Qt::Key_Return);
    EXPECT_EQ(fake.workspace.opened, QList{*complete->destination()});

    press(Qt::Key_Up, Qt::ShiftModifier);
    press(Qt::Key_Up, Qt::ShiftModifier);
    press(Qt::Key_Down, Qt::ShiftModifier);
    press(Qt::Key_Delete);
    ASSERT_TRUE(model().removal());
    EXPECT_EQ(model().removal()->ids, model().selection());
    EXPECT_EQ(model().removal()->ids, ids({complete, items[0]}));
    EXPECT_FALSE(model().removal()->deleteFiles);
}

TEST_F(DownloadTableTest, TheMenuActsOnTheClickedRowOrTheSelection) {
    const AppModel::Items items = addNamed({u"a"_s, u"b"_s, u"c"_s});
    const auto ask = [this](const QString& name, QContextMenuEvent::Reason reason) {
        const QPoint where = table->visualRect(cellOf(name)).center();
        QContextMenuEvent event(reason, where, table->viewport()->mapToGlobal(where));
        QApplication::sendEvent(table->viewport(), &event);
    };
    const auto removed = [this] {
        choice(u"Remove"_s)->trigger();
        table->findChild<QMenu*>(u"downloads"_s)->close();
        EXPECT_TRUE(runUntil([this] { return !table->findChild<QMenu*>(u"downloads"_s); }));
        return model().removal()->ids;
    };
    ask(u"a"_s, QContextMenuEvent::Keyboard);
    EXPECT_EQ(table->findChild<QMenu*>(u"downloads"_s), nullptr);
    model().setSelection(ids({items[0], items[1]}));
    ask(u"c"_s, QContextMenuEvent::Mouse);
    ASSERT_TRUE(choice(u"Remove"_s));
    EXPECT_FALSE(choice(u"Pause"_s)->isEnabled());
    EXPECT_TRUE(choice(u"Resume"_s)->isEnabled());
    EXPECT_EQ(removed(), ids({items[2]}));
    for (const auto reason : {QContextMenuEvent::Mouse, QContextMenuEvent::Keyboard}) {
        model().setRemoval({});
        ask(u"a"_s, reason);
        ASSERT_TRUE(choice(u"Remove"_s));
        EXPECT_EQ(removed(), ids({items[0], items[1]}));
    }
}

TEST_F(DownloadTableTest, WidthsOrderAndSortingComeBack) {
    static_cast<void>(addNamed({u"b"_s, u"a"_s}));
    QHeaderView* header = table->header();
    const QByteArray first = table->columns().saveState();
    header->resizeSection(static_cast<int>(Column::size), 217);
    header->moveSection(header->visualIndex(static_cast<int>(Column::added)), 1);
    table->sortByColumn(static_cast<int>(Column::name), Qt::AscendingOrder);
    const QByteArray state = table->columns().saveState();
    ASSERT_TRUE(table->columns().restoreState(first));
    EXPECT_EQ(cellOf(u"a"_s).row(), 0);

    DownloadTable other(model());
    other.resize(1400, 300);
    other.show();
    EXPECT_FALSE(other.columns().restoreState("rubbish"));
    ASSERT_TRUE(other.columns().restoreState(state));
    EXPECT_EQ(other.header()->sectionSize(static_cast<int>(Column::size)), 217);
    EXPECT_EQ(other.header()->visualIndex(static_cast<int>(Column::added)), 1);
    EXPECT_EQ(other.model()->index(0, 0).data(), u"a"_s);
    EXPECT_EQ(other.header()->length(), other.viewport()->width());
}

TEST_F(DownloadTableTest, NamesTakeTheRoomThatIsLeft) {
    QHeaderView* header = table->header();
    const auto width = [header](Column column) { return header->sectionSize(static_cast<int>(column)); };
    const int before = width(Column::name);
    EXPECT_EQ(header->length(), table->viewport()->width());
    header->resizeSection(static_cast<int>(Column::status), width(Column::status) + 10);
    EXPECT_EQ(width(Column::name), before - 10);
    table->resize(1500, 400);
    EXPECT_EQ(width(Column::name), before + 290);
    table->resize(400, 400);
    EXPECT_GT(width(Column::name), 100);
}

TEST_F(DownloadTableTest, WidthsFollowTheFontUnlessTheUserHasChangedThem) {
    table->resize(3000, 400);
    QHeaderView* header = table->header();
    const auto width = [header](Column column) { return header->sectionSize(static_cast<int>(column)); };
    const int usual = width(Column::speed);
    const int title = header->sizeHint().height();
    header->resizeSection(static_cast<int>(Column::size), 217);
    const QByteArray state = table->columns().saveState();
    QFont large = table->font();
    large.setPixelSize(2 * QFontInfo(large).pixelSize());
    table->setFont(large);
    const int smallest = header->minimumSectionSize();
    EXPECT_GT(width(Column::speed), 1.6 * usual);
    EXPECT_GT(header->sizeHint().height(), 1.3 * title);
    EXPECT_EQ(width(Column::size), 217);
    ASSERT_TRUE(table->columns().restoreState(state));
    EXPECT_EQ(header->minimumSectionSize(), smallest);
}

TEST_F(DownloadTableTest, ColumnsComeAndGoWithTheRoomUnlessTheUserHasChosen) {
    const auto hidden = [](const DownloadTable& of) {
        QList<Column> columns;
        for (const Column column : {Column::size, Column::progress, Column::speed, Column::segments,
                                    Column::connections, Column::status, Column::added})
            if (of.header()->isSectionHidden(static_cast<int>(column)))
                columns.append(column);
        return columns;
    };
    const auto pick = [this](const QString& title) {
        for (QAction* action : table->columns().menu().actions())
            if (action->text() == title)
                action->trigger();
    };
    table->resize(1600, 400);
    EXPECT_EQ(hidden(*table), QList<Column>());
    const int narrow = table->header()->length() - table->header()->sectionSize(0) + 100;
    table->resize(narrow, 400);
    EXPECT_EQ(hidden(*table), QList{Column::added});
    EXPECT_EQ(table->header()->length(), table->viewport()->width());
    table->resize(400, 400);
    EXPECT_EQ(hidden(*table),
              (QList{Column::size, Column::speed, Column::segments, Column::connections, Column::added}));

    table->columns().menu().popup({});
    pick(u"Connections"_s); // shown although there is no room
    pick(u"Progress"_s);    // hidden although there is
    const QList chosen{Column::size, Column::progress, Column::speed, Column::segments, Column::added};
    EXPECT_EQ(hidden(*table), chosen);
    table->resize(1600, 400);
    EXPECT_EQ(hidden(*table), QList{Column::progress});

    DownloadTable other(model());
    other.resize(400, 400);
    other.show();
    ASSERT_TRUE(other.columns().restoreState(table->columns().saveState()));
    EXPECT_EQ(hidden(other), chosen);
    other.resize(1600, 400);
    for (int section = 0; section < downloadColumnCount; ++section)
        EXPECT_EQ(other.header()->sectionSize(section), table->header()->sectionSize(section)) << section;
    pick(u"Usual Columns"_s);
    EXPECT_EQ(hidden(*table), QList<Column>());
}

TEST_F(DownloadTableTest, AThousandSelectedRowsMoveInAMoment) {
    AppModel::Items items;
    {
        const DownloadManager::Batch batch(manager());
        for (int number = 0; number < 10'000; ++number)
            items.append(add(u"f%1"_s.arg(number * 7919 % 10'000), false));
    }
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() == 10'000; }));
    QSet<QUuid> chosen;
    for (qsizetype index = 0; index < items.size(); index += 10)
        chosen.insert(items[index]->id());
    QElapsedTimer timer;
    timer.start();
    model().setSelection(chosen);
    const qint64 selecting = timer.restart();
    table->sortByColumn(static_cast<int>(Column::name), Qt::AscendingOrder);
    const qint64 sorting = timer.restart();
    table->selectionModel()->setCurrentIndex(cellOf(u"f17"_s), QItemSelectionModel::NoUpdate);
    model().setFilter(DownloadFilter::paused);
    model().setSearch(u"7"_s);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() < 10'000; }));
    EXPECT_EQ(table->currentIndex().data(), u"f17"_s);
    const qint64 searching = timer.restart();
    press(Qt::Key_A, Qt::ControlModifier);
    const qint64 all = timer.restart();
    std::printf("1,000 of 10,000 rows selected: %lld ms to select, %lld to sort, %lld to search; all: %lld\n",
                static_cast<long long>(selecting), static_cast<long long>(sorting),
                static_cast<long long>(searching), static_cast<long long>(all));
    EXPECT_EQ(model().selection().size(), table->model()->rowCount());
    EXPECT_LT(selecting + sorting + searching + all, 3'000);
}

} // namespace
} // namespace fetra
