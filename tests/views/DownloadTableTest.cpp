#include "app/views/DownloadTable.h"

#include "app/views/DownloadColumns.h"
#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QMenu>
#include <QPointer>
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

    [[nodiscard]] AppModel::Items addNamed(const QStringList& names) {
        AppModel::Items items;
        for (const QString& name : names)
            items.append(add(name, false));
        EXPECT_TRUE(hasRows(static_cast<int>(manager().items().size())));
        return items;
    }
    [[nodiscard]] bool hasRows(int count) const {
        return runUntil([&] { return table->model()->rowCount() == count; });
    }
    [[nodiscard]] QModelIndex cellOf(const QString& name) const {
        const QAbstractItemModel& rows = *table->model();
        return rows.match(rows.index(0, 0), Qt::DisplayRole, name, 1, Qt::MatchExactly).value(0);
    }
    [[nodiscard]] bool isInSight(const QString& name) const {
        return table->viewport()->rect().contains(table->visualRect(cellOf(name)).center());
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

    std::unique_ptr<DownloadTable> table;
};

TEST_F(DownloadTableTest, TheSelectionFollowsItsDownloadsHoweverTheRowsMove) {
    const AppModel::Items items = addNamed({u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s});
    click(u"b"_s);
    click(u"d"_s, Qt::ControlModifier);
    const QSet<QUuid> chosen = ids({items[1], items[3]});

    table->sortByColumn(static_cast<int>(Column::name), Qt::AscendingOrder);
    EXPECT_EQ(marked(), u"b d"_s);
    items[1]->setFilename(u"z"_s);
    ASSERT_TRUE(runUntil([this] { return cellOf(u"z"_s).row() == 4; }));
    manager().remove(items[0], false);
    ASSERT_TRUE(hasRows(4));
    EXPECT_EQ(marked(), u"d z"_s);

    // What is filtered out stays selected until the user selects something else.
    items[3]->setStatus(Status::failed);
    model().setFilter(DownloadFilter::paused);
    ASSERT_TRUE(hasRows(3));
    EXPECT_EQ(marked(), u"z"_s);
    EXPECT_EQ(model().selection(), chosen);
    model().setFilter(DownloadFilter::all);
    ASSERT_TRUE(hasRows(4));
    EXPECT_EQ(marked(), u"d z"_s);
    model().setFilter(DownloadFilter::paused);
    ASSERT_TRUE(hasRows(3));
    click(u"c"_s);
    EXPECT_EQ(model().selection(), QSet{items[2]->id()});
}

TEST_F(DownloadTableTest, WhatTheModelSelectsIsShownEvenBeforeItHadARow) {
    QStringList names;
    for (int number = 0; number < 60; ++number)
        names.append(u"f%1"_s.arg(number));
    const AppModel::Items items = addNamed(names);
    model().revealInList({items[2], items[3]});
    EXPECT_EQ(marked(), u"f2 f3"_s);
    EXPECT_TRUE(isInSight(u"f3"_s));
    model().setFilter(DownloadFilter::completed);
    ASSERT_TRUE(hasRows(0));
    model().revealInList({add(u"new"_s, false)});
    EXPECT_EQ(marked(), u"new"_s);
    EXPECT_TRUE(isInSight(u"new"_s));
    table->hide();
    model().setSelection(ids({items[7]}));
    table->show();
    EXPECT_EQ(marked(), u"f7"_s);
}

TEST_F(DownloadTableTest, MenusDoubleClicksAndKeysActOnTheRowsTheyMean) {
    manager().setMaxConcurrentDownloads(0);
    const AppModel::Items items = addNamed({u"a"_s, u"b"_s, u"c"_s});
    model().setSelection(ids({items[0], items[1]}));
    for (const auto& [name, reason, removed] :
         {std::tuple{u"c"_s, QContextMenuEvent::Mouse, ids({items[2]})},
          {u"a"_s, QContextMenuEvent::Mouse, ids({items[0], items[1]})},
          {u"c"_s, QContextMenuEvent::Keyboard, ids({items[0], items[1]})}}) {
        const QPoint where = table->visualRect(cellOf(name)).center();
        QContextMenuEvent event(reason, where, table->viewport()->mapToGlobal(where));
        QApplication::sendEvent(table->viewport(), &event);
        const QPointer menu(table->findChild<QMenu*>(u"downloads"_s));
        ASSERT_TRUE(menu);
        const QList<QAction*> choices = menu->actions();
        (*std::ranges::find(choices, u"Remove"_s, &QAction::text))->trigger();
        EXPECT_EQ(model().removal()->ids, removed);
        menu->close();
        EXPECT_TRUE(runUntil([&] { return !menu; }));
    }
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(cellOf(u"b"_s)).center());
    EXPECT_EQ(items[1]->status(), Status::queued);
    EXPECT_EQ(items[0]->status(), Status::paused);
    table->setCurrentIndex(cellOf(u"a"_s).siblingAtColumn(static_cast<int>(Column::status)));
    QTest::keyClicks(table.get(), u"c"_s);
    EXPECT_EQ(model().selection(), ids({items[2]})) << "names are searched, whatever the column";
}

TEST_F(DownloadTableTest, ColumnsGoWithTheRoomUnlessTheUserHasChosenAndComeBackSo) {
    const auto hidden = [](const DownloadTable& of) {
        QList<Column> columns;
        for (int section = 0; section < downloadColumnCount; ++section)
            if (of.header()->isSectionHidden(section))
                columns.append(static_cast<Column>(section));
        return columns;
    };
    table->resize(400, 400);
    EXPECT_EQ(hidden(*table),
              (QList{Column::size, Column::speed, Column::segments, Column::connections, Column::added}));
    table->columns().menu().popup({});
    for (QAction* action : table->columns().menu().actions())
        if (action->text() == u"Connections"_s || action->text() == u"Progress"_s)
            action->trigger();
    const QList chosen{Column::size, Column::progress, Column::speed, Column::segments, Column::added};
    EXPECT_EQ(hidden(*table), chosen);

    DownloadTable other(model());
    other.resize(400, 400);
    other.show();
    EXPECT_FALSE(other.columns().restoreState("rubbish"));
    ASSERT_TRUE(other.columns().restoreState(table->columns().saveState()));
    EXPECT_EQ(hidden(other), chosen);
    other.resize(1600, 400);
    EXPECT_EQ(hidden(other), QList{Column::progress});
}

TEST_F(DownloadTableTest, AThousandSelectedRowsMoveInAMoment) {
    AppModel::Items items;
    {
        const DownloadManager::Batch batch(manager());
        for (int number = 0; number < 10'000; ++number)
            items.append(add(u"f%1"_s.arg(number * 7919 % 10'000), false));
    }
    ASSERT_TRUE(hasRows(10'000));
    QSet<QUuid> chosen;
    for (qsizetype index = 0; index < items.size(); index += 10)
        chosen.insert(items[index]->id());
    // Many times what it takes, for slow machines; a step for each pair of rows would take longer.
    QElapsedTimer timer;
    timer.start();
    model().setSelection(chosen);
    for (const Column column : {Column::name, Column::size})
        table->sortByColumn(static_cast<int>(column), Qt::AscendingOrder);
    model().setFilter(DownloadFilter::paused);
    model().setSearch(u"7"_s);
    ASSERT_TRUE(runUntil([this] { return table->model()->rowCount() < 10'000; }));
    QTest::keyClick(table.get(), Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(model().selection().size(), table->model()->rowCount());
    EXPECT_LT(timer.elapsed(), 3'000);
}

} // namespace
} // namespace fetra
