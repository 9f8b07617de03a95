#include "app/desktop/QtAlerts.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>
#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

TEST(AlertsTest, AnswerOnceWithTheButtonOrTheLastWhenTheyAreTakenAway) {
    auto window = std::make_unique<QWidget>();
    const std::function<void(QMessageBox&)> ends[] = {
        [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); },
        [](QMessageBox& box) { QTest::mouseClick(box.findChildren<QPushButton*>().at(1), Qt::LeftButton); },
        [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); },
        [](QMessageBox& box) { box.close(); },
        [&](QMessageBox& box) { box.parentWidget() ? window.reset() : delete &box; },
    };
    for (const bool hasWindow : {false, true}) {
        SCOPED_TRACE(hasWindow);
        QList<qsizetype> answers;
        for (const auto& end : ends) {
            if (hasWindow) {
                window->show();
                QApplication::setActiveWindow(window.get());
            }
            QtAlerts().warn({.message = u"<b>Quit?</b>"_s,
                             .informativeText = {},
                             .buttons = {u"Quit"_s, u"Later"_s, u"Keep"_s}},
                            [&](qsizetype button) { answers.append(button); });
            const QPointer box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            ASSERT_TRUE(box);
            EXPECT_EQ(box->parentWidget(), hasWindow ? window.get() : nullptr);
            EXPECT_EQ(box->textFormat(), Qt::PlainText);
            end(*box);
            EXPECT_TRUE(runUntil([&] { return !box; }));
        }
        EXPECT_EQ(answers, (QList<qsizetype>{0, 1, 2, 2, 2}));
    }
}

} // namespace
} // namespace fetra
