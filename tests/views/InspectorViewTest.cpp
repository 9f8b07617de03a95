#include "app/views/InspectorView.h"

#include "app/views/SegmentListModel.h"
#include "app/views/StatusPill.h"
#include "app/views/ThroughputChart.h"
#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QAccessible>
#include <QLabel>
#include <QListView>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTextEdit>
#include <QToolButton>
#include <QWheelEvent>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Status = DownloadStatus;

class InspectorViewTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        view = std::make_unique<InspectorView>(model());
        view->show();
    }
    void TearDown() override { view.reset(); }

    void select(const QList<Item>& items) { model().setSelection(ids(items)); }

    /// Whether a text stands somewhere in the pane for the user to see.
    [[nodiscard]] bool shows(const QString& text) const {
        for (const QLabel* label : view->findChildren<QLabel*>())
            if (label->isVisible() && label->text() == text)
                return true;
        for (const QTextEdit* edit : view->findChildren<QTextEdit*>())
            if (edit->isVisible() && edit->toPlainText() == text)
                return true;
        return false;
    }
    [[nodiscard]] QSpinBox& stepper() const { return *view->findChild<QSpinBox*>(); }
    [[nodiscard]] QToolButton* button(const QString& name) const {
        for (QToolButton* each : view->findChildren<QToolButton*>())
            if (each->accessibleName() == name)
                return each;
        return nullptr;
    }
    /// As a user would, with the keys.
    void enter(const QString& number) const {
        stepper().setFocus();
        stepper().selectAll();
        QTest::keyClicks(&stepper(), number);
        QTest::keyClick(&stepper(), Qt::Key_Return);
    }

    std::unique_ptr<InspectorView> view;
};

constexpr auto pauseNote = "Pause to edit. Changes apply on the next start.";

TEST_F(InspectorViewTest, ShowsTheOneDownloadThatIsSelected) {
    const Item a = addAt(u"http://a.example/first.iso"_s);
    const Item b = addAt(u"http://b.example/second.iso"_s);
    EXPECT_TRUE(shows(u"No Selection"_s));
    EXPECT_TRUE(shows(u"Select one download to inspect its progress and connections."_s));
    select({a, b});
    EXPECT_TRUE(shows(u"Multiple Downloads"_s));
    select({b});
    EXPECT_TRUE(shows(u"second.iso"_s));
    EXPECT_TRUE(shows(u"b.example"_s));
    EXPECT_FALSE(shows(u"Multiple Downloads"_s));
    select({a});
    EXPECT_TRUE(shows(u"first.iso"_s));
    EXPECT_FALSE(shows(u"second.iso"_s));
    manager().remove(a, false);
    EXPECT_TRUE(shows(u"No Selection"_s));
    view->hide();
    select({b});
    view->show();
    EXPECT_TRUE(shows(u"second.iso"_s)) << "selected while the pane was hidden";
}

TEST_F(InspectorViewTest, AnotherDownloadIsSeenFromItsTop) {
    const Item a = addAt(u"http://a.example/first.iso"_s);
    const Item b = addAt(u"http://b.example/second.iso"_s);
    view->resize(InspectorView::narrowest, 300);
    select({a});
    QScrollBar& bar = *view->findChild<QScrollArea*>()->verticalScrollBar();
    ASSERT_TRUE(runUntil([&] { return bar.maximum() > 50; }));
    bar.setValue(50);
    a->setStatus(Status::failed);
    manager().move({}, 0);
    EXPECT_EQ(bar.value(), 50);
    select({b});
    EXPECT_EQ(bar.value(), 0);
}

TEST_F(InspectorViewTest, SegmentsLieInThePaneItselfAndKeysBringThemIntoSight) {
    const Item item = addAt(u"http://a.example/first.iso"_s);
    const auto setSegments = [&](qsizetype count) {
        item->setSegments(QList<SegmentSnapshot>(count, {0, 99, 50}));
    };
    setSegments(64);
    view->resize(InspectorView::narrowest, 300);
    select({item});
    auto& list = *view->findChild<QListView*>();
    ASSERT_TRUE(runUntil([&] { return list.height() > 64 * list.fontMetrics().height(); }));
    EXPECT_EQ(list.verticalScrollBar()->maximum(), 0);
    list.setFocus();
    for (const int key : {Qt::Key_End, Qt::Key_Home}) {
        QTest::keyClick(&list, static_cast<Qt::Key>(key));
        EXPECT_TRUE(list.viewport()->visibleRegion().contains(list.visualRect(list.currentIndex()).center()));
    }

    const auto takesWheel = [&] {
        QWheelEvent wheel({5, 5}, list.viewport()->mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(list.viewport(), &wheel);
        return wheel.isAccepted();
    };
    EXPECT_FALSE(takesWheel()) << "the pane scrolls";
    setSegments(100);
    ASSERT_TRUE(runUntil([&] { return list.verticalScrollBar()->maximum() > 0; }));
    EXPECT_TRUE(takesWheel());
    list.verticalScrollBar()->setValue(list.verticalScrollBar()->maximum());
    EXPECT_FALSE(takesWheel()) << "the pane scrolls on";
}

TEST_F(InspectorViewTest, ConnectionsAreEditedOnlyWhileTheDownloadRests) {
    const Item item = add(u"a"_s);
    select({item});
    EXPECT_FALSE(stepper().isEnabled());
    EXPECT_TRUE(shows(QString::fromLatin1(pauseNote)));
    manager().pause(item);
    ASSERT_TRUE(runUntil([&] { return item->status() == Status::paused; }));
    EXPECT_TRUE(stepper().isEnabled());
    EXPECT_FALSE(shows(QString::fromLatin1(pauseNote)));
    struct Case {
        QString typed;
        qint64 stored;
    };
    for (const Case& each : {Case{u"70"_s, 64}, {u"5"_s, 5}, {u"0"_s, 1}, {u"999"_s, 64}}) {
        enter(each.typed);
        EXPECT_EQ(item->connections(), each.stored) << each.typed.toStdString();
        EXPECT_EQ(stepper().value(), each.stored);
    }
    QTest::keyClick(&stepper(), Qt::Key_Down);
    EXPECT_EQ(item->connections(), 63);
    EXPECT_EQ(stepper().text(), u"63 connections"_s);
    stepper().clearFocus();
    QWheelEvent wheel({5, 5}, stepper().mapToGlobal(QPointF(5, 5)), {}, {0, 120}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(&stepper(), &wheel);
    EXPECT_EQ(item->connections(), 63) << "the pane scrolled by";
}

TEST_F(InspectorViewTest, ANumberBeingTypedNeverReachesAnotherDownloadOrOneThatRuns) {
    const Item a = addAt(u"http://host.example/a"_s);
    const Item b = addAt(u"http://host.example/b"_s);
    a->setConnections(8);
    b->setConnections(9);
    const auto type = [&] {
        stepper().setFocus();
        stepper().selectAll();
        QTest::keyClicks(&stepper(), u"33"_s);
    };
    select({a});
    type();
    select({b});
    EXPECT_EQ(stepper().value(), 9);
    type();
    b->setStatus(Status::downloading);
    EXPECT_EQ(stepper().value(), 9);
    EXPECT_EQ(a->connections(), 8);
    EXPECT_EQ(b->connections(), 9);
}

TEST_F(InspectorViewTest, LongAddressesWrapAndThePaneNeverScrollsSideways) {
    const QString address = u"http://host.example/"_s + QString(600, u'x');
    const Item item = addAt(address);
    item->setFilename(QString(200, u'n'));
    item->setExpectedSHA256(QString(64, u'a'));
    item->setErrorMessage(u"Disk error: "_s + QString(300, u'e'));
    item->setStatus(Status::failed);
    select({item});
    view->resize(InspectorView::narrowest, 500);
    auto& scroll = *view->findChild<QScrollArea*>();
    ASSERT_TRUE(runUntil([&] { return scroll.verticalScrollBar()->maximum() > 0; }));
    EXPECT_EQ(scroll.widget()->width(), scroll.viewport()->width());
    EXPECT_EQ(scroll.horizontalScrollBar()->maximum(), 0);
    EXPECT_TRUE(shows(address));
    item->setStatus(Status::paused);
    EXPECT_FALSE(shows(*item->errorMessage())) << "of a run before";
}

TEST_F(InspectorViewTest, ButtonsCopyTheAddressAndRevealTheFile) {
    const Item item = addComplete(u"done.iso"_s);
    select({item});
    QTest::mouseClick(button(u"Copy source URL"_s), Qt::LeftButton);
    EXPECT_EQ(fake.pasteboard.content, u"http://host.example/done.iso"_s);
    QTest::mouseClick(button(u"Reveal destination in Files"_s), Qt::LeftButton);
    EXPECT_EQ(fake.workspace.revealed, (QList<QList<QUrl>>{{*item->destination()}}));
}

TEST_F(InspectorViewTest, TorrentsHaveASwarmWithTheLimitOfTheirRun) {
    const Item torrent =
        addAt(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s, Status::downloading);
    const Item file = addAt(u"http://host.example/a"_s);
    model().refreshTorrentUploadLimits();
    const QString cap = u"Upload capped at %1 KB/s"_s.arg(manager().torrentUploadLimitKB());
    select({torrent});
    EXPECT_TRUE(shows(cap));
    EXPECT_FALSE(shows(u"Segments"_s));
    EXPECT_FALSE(shows(u"Segments appear when the transfer starts."_s));
    EXPECT_FALSE(stepper().isVisible());
    manager().setTorrentUploadLimitKB(0);
    torrent->setStatus(Status::paused);
    EXPECT_TRUE(runUntil([&] { return shows(u"Uploading disabled"_s); }));
    select({file});
    EXPECT_FALSE(shows(u"Per-peer detail is not available yet."_s));
    EXPECT_TRUE(stepper().isVisible());
}

TEST_F(InspectorViewTest, FollowsItsDownloadSoonAndLeavesOthersAlone) {
    const Item item = addAt(u"http://host.example/a"_s, Status::downloading);
    select({item});
    EXPECT_TRUE(shows(u"Waiting for activity"_s));
    item->setBytesPerSecond(3 * 1024);
    EXPECT_TRUE(runUntil([&] { return shows(u"3.00 KB/s"_s); }));
    model().tick();
    EXPECT_TRUE(runUntil([&] { return !shows(u"Waiting for activity"_s); }));
    item->setStatus(Status::completed);
    EXPECT_TRUE(shows(u"Idle"_s));
    EXPECT_TRUE(shows(u"All segments complete."_s));
}

TEST(SegmentListModelTest, TellsOnlyOfTheRangesThatChanged) {
    const auto item = std::make_shared<DownloadItem>(
        DownloadRecord{.id = QUuid::createUuid(), .url = QUrl(u"http://host.example/a"_s)});
    item->setStatus(Status::downloading);
    QList<SegmentSnapshot> ranges;
    for (int index = 0; index < 300; ++index)
        ranges.append({index * 100, index * 100 + 99, index * 100, true});
    SegmentListModel model;
    const QAbstractItemModelTester tester(&model);
    QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    item->setSegments(ranges);
    model.refresh(item);
    model.refresh(item);
    EXPECT_EQ(model.rowCount(), 300);
    EXPECT_EQ(changes.size(), 0);
    ranges[7].current += 50;
    ranges[9].current += 25;
    ranges.append({30'000, 30'099, 30'000});
    item->setSegments(ranges);
    model.refresh(item);
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes.at(0).at(0).toModelIndex().row(), 7);
    EXPECT_EQ(changes.at(0).at(1).toModelIndex().row(), 9);
    EXPECT_EQ(model.index(7).data(Qt::AccessibleTextRole).toString(),
              u"Segment 8, 700 B to 799 B, 50%, Active"_s);
    item->setMirrors({QUrl(u"http://mirror.example/a"_s)});
    item->setSegments(ranges.first(2));
    model.refresh(item);
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(model.index(0).data().toString(), u"Segment 1, 0 B to 99 B, 0%, source 1, Active"_s);
    EXPECT_EQ(changes.size(), 2) << "all rows have another text";
}

} // namespace
} // namespace fetra
