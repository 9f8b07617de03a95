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
#include <QSpinBox>
#include <QTest>

#include <memory>

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
    void TearDown() override { delete sheet; }

    void open(const QString& text = {}) {
        model().setGrabber(std::nullopt);
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
        for (auto* control : sheet->findChildren<Control*>()) {
            const QString shown = control->property("text").toString();
            if (control->isVisible() && (shown == text || control->accessibleName() == text))
                return control;
        }
        return nullptr;
    }
    [[nodiscard]] QPushButton& button(const QString& text) { return *named<QPushButton>(text); }
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
            const QString name = index.data().toString();
            text += index.data(Qt::CheckStateRole).toInt() == Qt::Checked ? name.toUpper() : name;
        }
        return text;
    }
    /// The downloads, each with its status.
    [[nodiscard]] QString added() {
        QStringList texts;
        for (const Item& each : manager().items())
            texts.append(each->filename() +
                         (each->status() == DownloadStatus::paused ? u" paused"_s : u" queued"_s));
        return texts.join(u' ');
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
    EXPECT_EQ(added(), u"a queued b queued"_s);
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
    QTest::keyClick(&all, Qt::Key_Space);
    EXPECT_EQ(rows(), u"ABC"_s);
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

TEST_F(LinkGrabberSheetTest, RefusesAWrongChecksumWhereOneCounts) {
    open(links(u"a"_s));
    auto& checksum = *named<QLineEdit>(u"SHA-256"_s);
    const auto canAdd = [&] {
        EXPECT_EQ(button(u"Add Paused"_s).isEnabled(), button(u"Start Downloads"_s).isEnabled());
        return button(u"Start Downloads"_s).isEnabled();
    };
    const QString wrong = u"SHA-256 must contain exactly 64 hexadecimal characters."_s;
    EXPECT_TRUE(canAdd());
    QTest::keyClicks(&checksum, QString(63, u'A'));
    EXPECT_FALSE(canAdd());
    EXPECT_TRUE(shows(wrong));
    QTest::keyClick(&checksum, Qt::Key_Return);
    EXPECT_TRUE(model().grabber());
    QTest::keySequence(editor, QKeySequence::MoveToEndOfDocument);
    paste(u"\n"_s + links(u"b"_s));
    EXPECT_TRUE(canAdd()) << "two downloads have no checksum";
    EXPECT_FALSE(checksum.isEnabled());
    EXPECT_FALSE(shows(wrong));
    QTest::keyClick(named<QCheckBox>(u"Treat links as mirrors of one file"_s), Qt::Key_Space);
    EXPECT_FALSE(canAdd());
    QTest::keyClicks(&checksum, u"a"_s);
    EXPECT_TRUE(canAdd());
    QTest::keyClick(&checksum, Qt::Key_Return);
    EXPECT_EQ(added(), u"a queued"_s);
    EXPECT_EQ(item(0)->mirrors().size(), 1);
    EXPECT_EQ(item(0)->expectedSHA256(), QString(64, u'a'));
}

TEST_F(LinkGrabberSheetTest, TakesWhatIsDroppedOnTheEditorAndDeletesItNowhere) {
    QTest::keyClicks(editor, links(u"a"_s));
    QMimeData torrent;
    torrent.setUrls({QUrl(u"file:///tmp/b.torrent"_s)});
    EXPECT_TRUE(drop(*editor->viewport(), torrent, Qt::CopyAction | Qt::MoveAction));
    EXPECT_TRUE(runUntil([&] { return rows() == u"AB.TORRENT"_s; }));
    EXPECT_TRUE(named<QSpinBox>(u"Connections"_s)->text().endsWith(u" per HTTP download"_s));

    QMimeData text;
    text.setText(links(u"c"_s));
    EXPECT_FALSE(drop(*editor->viewport(), text, Qt::MoveAction));
    EXPECT_TRUE(drop(*editor->viewport(), text));
    QTest::keyClicks(editor, u"x"_s);
    EXPECT_TRUE(runUntil([&] { return editor->toPlainText() == links(u"a"_s) + u"x\n"_s + links(u"c"_s); }))
        << "typed while the drop was under way";
    editor->undo();
    EXPECT_FALSE(editor->toPlainText().contains(links(u"c"_s)));

    QMimeData other;
    other.setUrls({QUrl(u"file:///tmp/b.zip"_s)});
    EXPECT_TRUE(drop(*editor->viewport(), other));
    EXPECT_TRUE(runUntil([&] { return shows(u"Only .torrent files can be opened as local downloads."_s); }));
    QMimeData nothing;
    nothing.setData(u"application/x-other"_s, "x");
    EXPECT_FALSE(drop(*editor->viewport(), nothing));
}

TEST_F(LinkGrabberSheetTest, SaysInsideTheSheetThatAFolderWillNotDo) {
    open(links(u"a"_s));
    auto& connections = *named<QSpinBox>(u"Connections"_s);
    connections.selectAll();
    QTest::keyClicks(&connections, u"7"_s);
    const auto choose = [&](const QUrl& folder_) {
        QTest::mouseClick(&button(u"Choose download folder"_s), Qt::LeftButton);
        fake.panels.choose({folder_});
    };
    const QString refusal = u"Choose an existing folder you have permission to write to."_s;
    choose(file(u"missing"_s));
    EXPECT_FALSE(shows(refusal));
    QTest::mouseClick(&button(u"Start Downloads"_s), Qt::LeftButton);
    EXPECT_TRUE(shows(refusal));
    EXPECT_TRUE(shows(folder.path(u"missing"_s)));
    choose(QUrl::fromLocalFile(folder.path()));
    QTest::mouseClick(&button(u"Start Downloads"_s), Qt::LeftButton);
    ASSERT_EQ(added(), u"a queued"_s);
    EXPECT_EQ(item(0)->connections(), 7);
}

TEST_F(LinkGrabberSheetTest, EndsItsOwnRequestAndNoOther) {
    paste(links(u"a"_s));
    QTest::keyClick(sheet, Qt::Key_Escape);
    EXPECT_FALSE(model().grabber());
    EXPECT_TRUE(runUntil([&] { return !sheet; }));
    EXPECT_EQ(added(), QString());

    open();
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
