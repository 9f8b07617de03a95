#include "app/views/InspectorView.h"

#include "app/views/SegmentListModel.h"
#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QLabel>
#include <QListView>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTextEdit>
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
    /// With the keys, and without the one that ends it.
    void type(const QString& number) const {
        stepper().setFocus();
        stepper().selectAll();
        QTest::keyClicks(&stepper(), number);
    }
    /// Whether it did not leave the wheel to the pane.
    [[nodiscard]] static bool takesWheel(QWidget& widget) {
        QWheelEvent wheel({5, 5}, widget.mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&widget, &wheel);
        return wheel.isAccepted();
    }

    std::unique_ptr<InspectorView> view;
};

TEST_F(InspectorViewTest, LongTextsWrapAndAnotherDownloadIsSeenFromItsTop) {
    const QString address = u"http://host.example/"_s + QString(600, u'x');
    const Item item = addAt(address, Status::failed);
    item->setFilename(QString(200, u'n'));
    item->setErrorMessage(u"Disk error: "_s + QString(300, u'e'));
    select({item});
    view->resize(InspectorView::narrowest, 300);
    auto& scroll = *view->findChild<QScrollArea*>();
    QScrollBar& bar = *scroll.verticalScrollBar();
    ASSERT_TRUE(runUntil([&] { return bar.maximum() > 50; }));
    EXPECT_EQ(scroll.widget()->width(), scroll.viewport()->width());
    EXPECT_EQ(scroll.horizontalScrollBar()->maximum(), 0);
    EXPECT_TRUE(shows(address));
    bar.setValue(50);
    item->setStatus(Status::paused);
    EXPECT_FALSE(shows(*item->errorMessage())) << "of a run before";
    EXPECT_EQ(bar.value(), 50);
    select({addAt(u"http://host.example/other"_s)});
    EXPECT_EQ(bar.value(), 0);
}

TEST_F(InspectorViewTest, SegmentsLieInThePaneItselfAndKeysBringThemIntoSight) {
    const Item item = addAt(u"http://a.example/first.iso"_s);
    item->setSegments(QList<SegmentSnapshot>(64, {0, 99, 50}));
    view->resize(InspectorView::narrowest, 300);
    select({item});
    auto& list = *view->findChild<QListView*>();
    ASSERT_TRUE(runUntil([&] { return list.height() > 64 * list.fontMetrics().height(); }));
    list.setFocus();
    for (const int key : {Qt::Key_End, Qt::Key_Home}) {
        QTest::keyClick(&list, static_cast<Qt::Key>(key));
        EXPECT_TRUE(list.viewport()->visibleRegion().contains(list.visualRect(list.currentIndex()).center()));
    }
    EXPECT_FALSE(takesWheel(*list.viewport()));
    item->setSegments(QList<SegmentSnapshot>(100, {0, 99, 50}));
    ASSERT_TRUE(runUntil([&] { return list.verticalScrollBar()->maximum() > 0; }));
    EXPECT_TRUE(takesWheel(*list.viewport()));
    list.verticalScrollBar()->setValue(list.verticalScrollBar()->maximum());
    EXPECT_FALSE(takesWheel(*list.viewport())) << "the pane scrolls on";
}

TEST_F(InspectorViewTest, ConnectionsAreEditedOnlyWhileTheDownloadRests) {
    const QString note = u"Pause to edit. Changes apply on the next start."_s;
    const Item a = addAt(u"http://host.example/a"_s);
    const Item b = addAt(u"http://host.example/b"_s);
    b->setConnections(9);
    select({a});
    EXPECT_FALSE(shows(note));
    for (const auto& [typed, stored] : {std::pair{u"5"_s, 5}, {u"999"_s, 64}, {u"0"_s, 1}}) {
        type(typed);
        QTest::keyClick(&stepper(), Qt::Key_Return);
        EXPECT_EQ(a->connections(), stored) << typed.toStdString();
    }
    type(u"33"_s);
    select({b});
    EXPECT_EQ(stepper().value(), 9) << "what was typed was meant for another download";
    type(u"33"_s);
    b->setStatus(Status::downloading);
    EXPECT_EQ(stepper().value(), 9);
    EXPECT_FALSE(stepper().isEnabled());
    EXPECT_TRUE(shows(note));
    EXPECT_EQ(a->connections(), 1);
    EXPECT_EQ(b->connections(), 9);
    b->setStatus(Status::paused);
    EXPECT_TRUE(stepper().isEnabled());
    stepper().clearFocus();
    EXPECT_FALSE(takesWheel(stepper())) << "the pane scrolls by";
    EXPECT_EQ(b->connections(), 9);
}

TEST_F(InspectorViewTest, TorrentsHaveASwarmWithTheLimitOfTheirRun) {
    const Item torrent =
        addAt(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s, Status::downloading);
    const Item file = addAt(u"http://host.example/a"_s);
    model().refreshTorrentUploadLimits();
    select({torrent});
    EXPECT_TRUE(shows(u"Upload capped at %1 KB/s"_s.arg(manager().torrentUploadLimitKB())));
    EXPECT_FALSE(shows(u"Segments"_s) || stepper().isVisible());
    manager().setTorrentUploadLimitKB(0);
    torrent->setStatus(Status::paused);
    EXPECT_TRUE(runUntil([&] { return shows(u"Uploading disabled"_s); }));
    select({file});
    EXPECT_FALSE(shows(u"Per-peer detail is not available yet."_s));
    EXPECT_TRUE(shows(u"Segments"_s) && stepper().isVisible());
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
    const QSignalSpy changes(&model, &QAbstractItemModel::dataChanged);
    const auto show = [&](const QList<SegmentSnapshot>& segments) {
        item->setSegments(segments);
        model.refresh(item);
        EXPECT_EQ(model.rowCount(), segments.size());
    };
    show(ranges);
    show(ranges);
    EXPECT_EQ(changes.size(), 0);
    ranges[7].current += 50;
    ranges[9].current += 25;
    ranges.append({30'000, 30'099, 30'000});
    show(ranges);
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes.at(0).at(0).toModelIndex().row(), 7);
    EXPECT_EQ(changes.at(0).at(1).toModelIndex().row(), 9);
    item->setMirrors({QUrl(u"http://mirror.example/a"_s)});
    show(ranges.first(8));
    EXPECT_EQ(model.index(7).data(Qt::AccessibleTextRole).toString(),
              u"Segment 8, 700 B to 799 B, 50%, source 1, Active"_s);
    EXPECT_EQ(changes.size(), 2) << "all rows have another text";
}

} // namespace
} // namespace fetra
