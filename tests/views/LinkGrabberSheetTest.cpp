#include "app/views/LinkGrabberSheet.h"

#include "model/ModelWorld.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

/// Whether it was taken; whoever drags must keep what was dragged.
bool drop(QWidget& target, const QMimeData& data, Qt::DropActions possible = Qt::CopyAction) {
    QDragEnterEvent enter({5, 5}, possible, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &enter);
    if (!enter.isAccepted())
        return false;
    QDropEvent end({5, 5}, possible, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&target, &end);
    return end.isAccepted() && end.dropAction() != Qt::MoveAction;
}

class LinkGrabberSheetTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        manager().setMaxConcurrentDownloads(0);
        window.show();
        open();
    }

    void open(const QString& text = {}) {
        delete sheet;
        model().setGrabber(LinkGrabberRequest{.text = text});
        sheet = new LinkGrabberSheet(model(), &window);
        sheet->open();
        QApplication::setActiveWindow(sheet);
        editor = sheet->findChild<QPlainTextEdit*>();
        list = sheet->findChild<QListView*>();
    }
    template <typename Control>
    [[nodiscard]] Control* named(const QString& text) {
        for (auto* each : sheet->findChildren<Control*>())
            if (each->isVisible() && (each->property("text") == text || each->accessibleName() == text))
                return each;
        return nullptr;
    }
    [[nodiscard]] bool shows(const QString& text) { return named<QLabel>(text) != nullptr; }
    void paste(const QString& text) {
        QGuiApplication::clipboard()->setText(text);
        QTest::keySequence(editor, QKeySequence::Paste);
    }
    /// On the box itself.
    void clickBox(int row) {
        const QRect rect = list->visualRect(list->model()->index(row, 0));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier,
                          {rect.left() + 10, rect.center().y()});
    }
    /// A letter a row: its name, in upper case when it is checked.
    [[nodiscard]] QString rows() {
        QString text;
        for (int row = 0; row < list->model()->rowCount(); ++row) {
            const QModelIndex index = list->model()->index(row, 0);
            const bool isChecked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
            text += isChecked ? index.data().toString().toUpper() : index.data().toString();
        }
        return text;
    }
    [[nodiscard]] static QString links(const QString& names) {
        QStringList lines;
        for (const QChar name : names)
            lines.append(u"http://host.example/"_s + name);
        return lines.join(u'\n');
    }

    QWidget window;
    QPointer<LinkGrabberSheet> sheet;
    QPlainTextEdit* editor = nullptr;
    QListView* list = nullptr;
};

TEST_F(LinkGrabberSheetTest, TakesTypedLinksAfterAPauseAndByKeyboardAtOnce) {
    QTest::keyClicks(editor, links(u"a"_s));
    EXPECT_EQ(rows(), QString()) << "not with every key";
    EXPECT_TRUE(runUntil([&] { return rows() == u"A"_s; }));
    QTest::keyClick(editor, Qt::Key_Return);
    QTest::keyClicks(editor, links(u"b"_s));
    ASSERT_TRUE(model().grabber()) << "Return stays in the editor";
    QTest::keyClick(editor, Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(names(manager().items()), u"a b"_s);
}

TEST_F(LinkGrabberSheetTest, TogglesByKeyboardWhateverIsSelected) {
    open(links(u"abc"_s));
    const QAbstractItemModelTester tester(list->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_EQ(rows(), u"aBC"_s);
    auto& all = *named<QCheckBox>(u"Select all links"_s);
    EXPECT_EQ(all.checkState(), Qt::PartiallyChecked);
    QTest::keySequence(list, QKeySequence::SelectAll);
    QTest::keyClick(list, Qt::Key_Space);
    EXPECT_EQ(rows(), u"ABC"_s);
    QTest::keyClick(&all, Qt::Key_Space);
    EXPECT_EQ(rows(), u"abc"_s);
    clickBox(1);
    QTest::keyClick(&all, Qt::Key_Space);
    EXPECT_EQ(rows(), u"ABC"_s) << "some make all";

    // Links come and go around one that is unchecked and current.
    clickBox(1);
    list->setCurrentIndex(list->model()->index(1, 0));
    for (const QString& names : {u"axbc"_s, u"bc"_s, u"bdec"_s}) {
        editor->selectAll();
        paste(links(names));
        EXPECT_EQ(rows().toLower(), names);
        EXPECT_TRUE(rows().contains(u'b'));
        EXPECT_EQ(list->currentIndex().data().toString(), u"b"_s);
    }
}

TEST_F(LinkGrabberSheetTest, SaysInsideTheSheetWhatWillNotDo) {
    open(links(u"ab"_s));
    auto& checksum = *named<QLineEdit>(u"SHA-256"_s);
    auto& start = *named<QPushButton>(u"Start Downloads"_s);
    QTest::keyClick(named<QCheckBox>(u"Treat links as mirrors of one file"_s), Qt::Key_Space);
    QTest::keyClicks(&checksum, QString(63, u'A'));
    EXPECT_FALSE(start.isEnabled() || named<QPushButton>(u"Add Paused"_s)->isEnabled());
    EXPECT_TRUE(shows(u"SHA-256 must contain exactly 64 hexadecimal characters."_s));
    QTest::keyClicks(&checksum, u"a"_s);
    QTest::mouseClick(&start, Qt::LeftButton);
    ASSERT_EQ(names(manager().items()), u"a"_s);
    EXPECT_EQ(item(0)->mirrors().size(), 1);
    EXPECT_EQ(item(0)->expectedSHA256(), QString(64, u'a'));
}

TEST_F(LinkGrabberSheetTest, TakesWhatIsDroppedOnTheEditorAndDeletesItNowhere) {
    QTest::keyClicks(editor, links(u"a"_s));
    QMimeData torrent;
    torrent.setUrls({QUrl(u"file:///tmp/b.torrent"_s)});
    EXPECT_TRUE(drop(*editor->viewport(), torrent, Qt::CopyAction | Qt::MoveAction));
    EXPECT_TRUE(runUntil([&] { return rows() == u"AB.TORRENT"_s; }));

    QMimeData text;
    text.setText(links(u"c"_s));
    EXPECT_FALSE(drop(*editor->viewport(), text, Qt::MoveAction));
    EXPECT_TRUE(drop(*editor->viewport(), text));
    QTest::keyClicks(editor, u"x"_s);
    EXPECT_TRUE(runUntil([&] { return editor->toPlainText() == links(u"a"_s) + u"x\n"_s + links(u"c"_s); }))
        << "typed while the drop was under way";
    editor->undo();
    EXPECT_FALSE(editor->toPlainText().contains(links(u"c"_s)));
}

TEST_F(LinkGrabberSheetTest, GoesWithItsRequestAndLeavesTheNextOne) {
    const LinkGrabberRequest next{.text = links(u"b"_s)};
    model().setGrabber(next);
    EXPECT_TRUE(runUntil([&] { return !sheet; }));
    EXPECT_EQ(model().grabber(), next);
}

TEST_F(LinkGrabberSheetTest, StaysFluentWithThousandsOfLinks) {
    QStringList lines;
    for (int number = 0; number < 20'000; ++number)
        lines.append(u"http://host.example/file-%1.zip"_s.arg(number));
    QElapsedTimer timer;
    timer.start();
    paste(lines.join(u'\n'));
    ASSERT_EQ(list->model()->rowCount(), 20'000);
    QTest::keyClick(named<QCheckBox>(u"Select all links"_s), Qt::Key_Space);
    clickBox(2);
    QCoreApplication::processEvents();
    EXPECT_TRUE(shows(u"1 selected"_s));
    EXPECT_LT(timer.elapsed(), 5'000);
}

} // namespace
} // namespace fetra
