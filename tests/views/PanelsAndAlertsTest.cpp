#include "app/desktop/QtAlerts.h"
#include "app/desktop/QtOpenPanels.h"

#include "support/EventLoop.h"
#include "support/TempFolder.h"

#include <QApplication>
#include <QDir>
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
    void SetUp() override {
        window = std::make_unique<QWidget>();
        if (GetParam())
            window->show();
        activate();
    }
    /// The one dialog on the screen.
    template <typename Dialog>
    [[nodiscard]] static Dialog& shown() {
        for (QWidget* each : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<Dialog*>(each); dialog && dialog->isVisible())
                return *dialog;
        throw std::runtime_error("no dialog");
    }
    [[nodiscard]] static QPushButton* buttonOf(const QDialog& dialog, const QString& text) {
        for (auto* button : dialog.findChildren<QPushButton*>())
            if (button->text().remove(u'&') == text)
                return button;
        throw std::runtime_error("no such button: " + text.toStdString());
    }
    /// Whoever closes a dialog comes back to the window.
    void activate() {
        if (GetParam())
            QApplication::setActiveWindow(window.get());
    }
    void expectSheetOfWindow(const QDialog& dialog) const {
        EXPECT_EQ(dialog.parentWidget(), GetParam() ? window.get() : nullptr);
        EXPECT_TRUE(dialog.isModal());
    }

    std::unique_ptr<QWidget> window;
};

TEST_P(PanelsAndAlertsTest, AlertsAnswerOnceWithTheButton) {
    struct Case {
        Qt::Key key;
        qsizetype button;
        qsizetype answer;
    };
    constexpr qsizetype none = -1;
    const Case cases[] = {
        {Qt::Key_Return, none, 0}, {Qt::Key_Escape, none, 2}, {{}, 0, 0}, {{}, 1, 1}, {{}, 2, 2}};
    const Alert alert{.message = u"<b>Quit?</b>"_s,
                      .informativeText = u"2 downloads"_s,
                      .buttons = {u"Quit"_s, u"Later"_s, u"Keep"_s}};
    for (const Case& each : cases) {
        activate();
        QList<qsizetype> answers;
        QtAlerts().warn(alert, [&](qsizetype button) { answers.append(button); });
        EXPECT_TRUE(answers.isEmpty());
        const QPointer<QMessageBox> box(&shown<QMessageBox>());
        expectSheetOfWindow(*box);
        EXPECT_EQ(box->textFormat(), Qt::PlainText);
        if (each.button == none)
            QTest::keyClick(box, each.key);
        else
            QTest::mouseClick(buttonOf(*box, alert.buttons.at(each.button)), Qt::LeftButton);
        EXPECT_TRUE(runUntil([&] { return !box; }));
        EXPECT_EQ(answers, QList{each.answer});
    }
}

TEST_P(PanelsAndAlertsTest, AlertsAnswerTheLastWhenTheyAreTakenAway) {
    QList<qsizetype> answers;
    const auto warn = [&] {
        activate();
        QtAlerts().warn({.message = u"Quit?"_s, .informativeText = {}, .buttons = {u"Quit"_s, u"Cancel"_s}},
                        [&](qsizetype button) { answers.append(button); });
    };
    warn();
    shown<QMessageBox>().close();
    EXPECT_EQ(answers, QList<qsizetype>{1});
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    warn();
    if (GetParam())
        window.reset();
    else
        delete &shown<QMessageBox>();
    EXPECT_EQ(answers, (QList<qsizetype>{1, 1}));
}

TEST_P(PanelsAndAlertsTest, PanelsGiveWhatIsChosenAndNothingWhenCancelled) {
    const test::TempFolder folder;
    folder.write(u"a.torrent"_s, "x");
    folder.write(u"b.torrent"_s, "x");
    folder.write(u"c.zip"_s, "x");
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"inside"_s));
    const OpenPanel files{.title = u"Open Torrent File"_s,
                          .prompt = u"Take"_s,
                          .mimeType = u"application/x-bittorrent"_s,
                          .allowsSeveral = true,
                          .start = QUrl::fromLocalFile(folder.path())};
    const OpenPanel folders{.title = u"Choose Download Folder"_s,
                            .prompt = u"Choose"_s,
                            .choice = OpenPanel::Choice::folder,
                            .start = QUrl::fromLocalFile(folder.path())};
    struct Case {
        OpenPanel panel;
        QString typed;
        bool confirms;
        QStringList chosen;
    };
    const Case cases[] = {
        {files, u"a.torrent"_s, false, {}},
        {files, u"\"a.torrent\" \"b.torrent\""_s, true, {u"a.torrent"_s, u"b.torrent"_s}},
        {folders, u"inside"_s, false, {}},
        {folders, u"inside"_s, true, {u"inside"_s}},
        {folders, u""_s, true, {u""_s}},
    };
    for (const Case& each : cases) {
        activate();
        QList<QUrl> chosen;
        QtOpenPanels().show(each.panel, [&](const QList<QUrl>& urls) { chosen = urls; });
        const QPointer<QFileDialog> dialog(&shown<QFileDialog>());
        EXPECT_EQ(dialog->parentWidget(), GetParam() ? window.get() : nullptr);
        EXPECT_EQ(dialog->windowTitle(), each.panel.title);
        EXPECT_EQ(dialog->mimeTypeFilters(),
                  each.panel.mimeType.isEmpty() ? QStringList() : QStringList{each.panel.mimeType});
        dialog->findChild<QLineEdit*>()->setText(each.typed);
        if (each.confirms) {
            QPushButton* button = buttonOf(*dialog, each.panel.prompt);
            ASSERT_TRUE(runUntil([&] { return button->isEnabled(); })) << "once the folder is read";
            QTest::mouseClick(button, Qt::LeftButton);
        } else {
            QTest::keyClick(dialog, Qt::Key_Escape);
        }
        EXPECT_TRUE(runUntil([&] { return !dialog; }));
        QList<QUrl> expected;
        for (const QString& name : each.chosen)
            expected.append(QUrl::fromLocalFile(name.isEmpty() ? folder.path() : folder.path(name)));
        EXPECT_EQ(chosen, expected) << each.typed.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(, PanelsAndAlertsTest, ::testing::Bool(),
                         [](const auto& each) { return each.param ? "OfAWindow" : "FreeStanding"; });

} // namespace
} // namespace fetra
