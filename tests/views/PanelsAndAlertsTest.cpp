#include "app/desktop/QtAlerts.h"
#include "app/desktop/QtOpenPanels.h"

#include "support/EventLoop.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

/// The argument says whether a window is in use.
class PanelsAndAlertsTest : public ::testing::TestWithParam<bool> {
protected:
    /// The dialog that is shown when this has been done, in front of the window if there is one.
    template <typename Dialog, typename Show>
    [[nodiscard]] QPointer<Dialog> shown(Show show) {
        if (GetParam()) {
            window->show();
            QApplication::setActiveWindow(window.get());
        }
        show();
        for (QWidget* each : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<Dialog*>(each); dialog && dialog->isVisible()) {
                EXPECT_EQ(dialog->parentWidget(), GetParam() ? window.get() : nullptr);
                EXPECT_TRUE(dialog->isModal());
                return dialog;
            }
        throw std::runtime_error("no dialog");
    }
    [[nodiscard]] QPointer<QMessageBox> warn() {
        const auto show = [this] {
            QtAlerts().warn({.message = u"<b>Quit?</b>"_s,
                             .informativeText = u"2 downloads"_s,
                             .buttons = {u"Quit"_s, u"Later"_s, u"Keep"_s}},
                            [this](qsizetype button) { answers.append(button); });
        };
        return shown<QMessageBox>(show);
    }

    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QList<qsizetype> answers;
};

TEST_P(PanelsAndAlertsTest, AlertsAnswerOnceWithTheButtonOrTheLastWhenTheyAreTakenAway) {
    const std::function<void(QMessageBox&)> ends[] = {
        [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); },
        [](QMessageBox& box) { QTest::mouseClick(box.findChildren<QPushButton*>().at(1), Qt::LeftButton); },
        [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); },
        [](QMessageBox& box) { box.close(); },
        [this](QMessageBox& box) { GetParam() ? window.reset() : delete &box; },
    };
    for (const auto& end : ends) {
        const QPointer box = warn();
        EXPECT_EQ(box->textFormat(), Qt::PlainText);
        end(*box);
        EXPECT_TRUE(runUntil([&] { return !box; }));
    }
    EXPECT_EQ(answers, (QList<qsizetype>{0, 1, 2, 2, 2}));
}

TEST_P(PanelsAndAlertsTest, PanelsGiveWhatIsChosenAndNothingWhenCancelled) {
    const test::TempFolder folder;
    folder.write(u"a.torrent"_s, "x");
    folder.write(u"b.torrent"_s, "x");
    const QUrl start = QUrl::fromLocalFile(folder.path());
    const OpenPanel files{.title = u"Open Torrent File"_s,
                          .prompt = u"Take"_s,
                          .mimeType = u"application/x-bittorrent"_s,
                          .allowsSeveral = true,
                          .start = start};
    const OpenPanel folders{.title = u"Choose Download Folder"_s,
                            .prompt = u"Choose"_s,
                            .choice = OpenPanel::Choice::folder,
                            .start = start};
    struct Case {
        OpenPanel panel;
        QString typed;
        bool confirms;
        QList<QUrl> chosen;
    };
    const Case cases[] = {
        {files, u"a.torrent"_s, false, {}},
        {files,
         u"\"a.torrent\" \"b.torrent\""_s,
         true,
         {QUrl::fromLocalFile(folder.path(u"a.torrent"_s)),
          QUrl::fromLocalFile(folder.path(u"b.torrent"_s))}},
        {folders, u""_s, true, {start}},
    };
    for (const Case& each : cases) {
        QList<QUrl> chosen;
        const QPointer dialog = shown<QFileDialog>(
            [&] { QtOpenPanels().show(each.panel, [&](const QList<QUrl>& urls) { chosen = urls; }); });
        EXPECT_EQ(dialog->mimeTypeFilters().join(u' '), each.panel.mimeType);
        dialog->findChild<QLineEdit*>()->setText(each.typed);
        if (each.confirms) {
            const auto buttons = dialog->findChildren<QPushButton*>();
            QPushButton* button = *std::ranges::find_if(
                buttons, [&](auto* one) { return one->text().remove(u'&') == each.panel.prompt; });
            ASSERT_TRUE(runUntil([&] { return button->isEnabled(); })) << "once the folder is read";
            QTest::mouseClick(button, Qt::LeftButton);
        } else {
            QTest::keyClick(dialog, Qt::Key_Escape);
        }
        EXPECT_TRUE(runUntil([&] { return !dialog; }));
        EXPECT_EQ(chosen, each.chosen) << each.typed.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(, PanelsAndAlertsTest, ::testing::Bool(),
                         [](const auto& each) { return each.param ? "OfAWindow" : "FreeStanding"; });

} // namespace
} // namespace fetra
