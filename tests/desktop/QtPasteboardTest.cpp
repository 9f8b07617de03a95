#include "app/desktop/QtPasteboard.h"

#include <gtest/gtest.h>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

QClipboard& clipboard() {
    return *QGuiApplication::clipboard();
}

TEST(QtPasteboardTest, CountsWhatAnybodyCopiesAndReadsPlainTextAsLongAsItFits) {
    QtPasteboard pasteboard(clipboard());
    clipboard().clear();
    EXPECT_EQ(pasteboard.text(), std::nullopt);
    auto* files = new QMimeData;
    files->setUrls({QUrl(u"file:///tmp/a.zip"_s)});
    clipboard().setMimeData(files);
    EXPECT_EQ(pasteboard.text(), std::nullopt);

    const qint64 before = pasteboard.changeCount();
    clipboard().setText(u"one"_s);
    clipboard().setText(u"one"_s);
    EXPECT_TRUE(pasteboard.setText(u"https://a.example/ü \n"_s));
    EXPECT_EQ(pasteboard.changeCount(), before + 3);
    EXPECT_EQ(pasteboard.text(), u"https://a.example/ü \n"_s);

    const QString most(QtPasteboard::maxTextLength, u'x');
    const std::pair<QString, std::optional<QString>> cases[] = {
        {most + u'x', std::nullopt},
        {most.chopped(3) + u" yyyy"_s, most.chopped(3)},
        {most + u" yyyy"_s, most},
    };
    for (const auto& [copied, text] : cases) {
        clipboard().setText(copied);
        EXPECT_TRUE(pasteboard.text() == text) << copied.right(8).toStdString();
    }
}

TEST(QtPasteboardTest, CountsOtherContentWhereTheFocusAnnouncesIt) {
    static int reads = 0;
    /// Says that there is text and, as from a program that hangs, has none when it is `unreadable`.
    struct Content final : QMimeData {
        QVariant retrieveData(const QString& format, QMetaType type) const override {
            ++reads;
            return QMimeData::retrieveData(format, type);
        }
    };
    enum Step { a, b, image, unreadable, nothing };
    const auto announce = [](Step step) {
        auto* content = new Content;
        if (step == image)
            content->setData(u"image/png"_s, "x");
        else if (step != nothing)
            content->setData(u"text/plain"_s, step == a ? "https://a.example/" : step == b ? "b" : "");
        clipboard().setMimeData(content);
        // As the session does when this program gets the focus.
        Q_EMIT clipboard().dataChanged();
    };
    const struct {
        const char* what;
        std::vector<std::pair<Step, int>> steps; ///< with the count after each
    } cases[] = {
        {"what is there at first is no copy, and what was dismissed stays so", {{a, 0}, {a, 0}, {a, 0}}},
        {"copied elsewhere meanwhile", {{a, 0}, {b, 1}, {b, 1}, {a, 2}}},
        {"the focus that goes takes the clipboard along", {{a, 0}, {nothing, 0}, {a, 0}, {b, 1}}},
        {"no read, no verdict", {{a, 0}, {unreadable, 0}, {a, 0}, {unreadable, 0}, {b, 1}}},
        {"a content without text is one", {{image, 0}, {image, 0}, {a, 1}, {image, 2}, {a, 3}}},
    };
    for (const auto& [what, steps] : cases) {
        clipboard().clear();
        const QtPasteboard pasteboard(clipboard(), QtPasteboard::Counting::content);
        for (const auto& [step, count] : steps) {
            reads = 0;
            announce(step);
            EXPECT_EQ(reads, 0) << "it waits for another program, so nobody does unasked";
            ASSERT_EQ(pasteboard.changeCount(), count) << what;
        }
    }
}

} // namespace
} // namespace fetra::test
