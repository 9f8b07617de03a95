#include "app/views/InspectorView.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QSpinBox>
#include <QTest>
#include <QWheelEvent>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using Status = DownloadStatus;

class InspectorViewTest : public test::ModelWorld {};

TEST_F(InspectorViewTest, ConnectionsAreEditedOnlyWhileTheDownloadRests) {
    InspectorView view(model());
    view.show();
    const auto stepper = [&]() -> QSpinBox& { return *view.findChild<QSpinBox*>(); };
    const auto select = [this](const Item& item) { model().setSelection(ids({item})); };
    const auto type = [&](const QString& number) {
        stepper().setFocus();
        stepper().selectAll();
        QTest::keyClicks(&stepper(), number);
    };
    const Item a = addAt(u"http://host.example/a"_s);
    const Item b = addAt(u"http://host.example/b"_s);
    b->setConnections(9);
    select(a);
    for (const auto& [typed, stored] : {std::pair{u"5"_s, 5}, {u"999"_s, 64}, {u"0"_s, 1}}) {
        type(typed);
        QTest::keyClick(&stepper(), Qt::Key_Return);
        EXPECT_EQ(a->connections(), stored) << typed.toStdString();
        const QJsonArray saved = savedState().value(u"items"_s).toArray();
        EXPECT_EQ(saved.at(0).toObject().value(u"connections"_s).toInteger(), stored);
    }
    type(u"33"_s);
    select(b);
    EXPECT_EQ(stepper().value(), 9) << "what was typed was meant for another download";
    type(u"33"_s);
    b->setStatus(Status::downloading);
    EXPECT_EQ(stepper().value(), 9);
    EXPECT_FALSE(stepper().isEnabled());
    EXPECT_EQ(a->connections(), 1);
    EXPECT_EQ(b->connections(), 9);
    b->setStatus(Status::paused);
    EXPECT_TRUE(stepper().isEnabled());
    stepper().clearFocus();
    QWheelEvent wheel({5, 5}, stepper().mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton, {},
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&stepper(), &wheel);
    EXPECT_FALSE(wheel.isAccepted()) << "the pane scrolls by";
    EXPECT_EQ(b->connections(), 9);
}

} // namespace
} // namespace fetra
