#include "app/desktop/QtPasteboard.h"

#include "support/EventLoop.h"

#include <gtest/gtest.h>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QWindow>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

QClipboard& clipboard() {
    return *QGuiApplication::clipboard();
}

TEST(QtPasteboardTest, CountsWhatAnybodyCopies) {
    const QtPasteboard pasteboard(clipboard());
    QtPasteboard other(clipboard());
    const qint64 before = pasteboard.changeCount();
    clipboard().setText(u"one"_s);
    EXPECT_EQ(pasteboard.changeCount(), before + 1);
    clipboard().setText(u"one"_s);
    EXPECT_EQ(pasteboard.changeCount(), before + 2);
    EXPECT_TRUE(other.setText(u"two"_s));
    EXPECT_EQ(pasteboard.changeCount(), before + 3);
    EXPECT_EQ(pasteboard.text(), u"two"_s);
}

TEST(QtPasteboardTest, HasOnlyPlainTextAndNoMoreThanFits) {
    const QtPasteboard pasteboard(clipboard());
    clipboard().clear();
    EXPECT_EQ(pasteboard.text(), std::nullopt);

    auto* files = new QMimeData;
    files->setUrls({QUrl(u"file:///tmp/a.zip"_s)});
    clipboard().setMimeData(files);
    EXPECT_EQ(pasteboard.text(), std::nullopt);

    constexpr qsizetype most = QtPasteboard::maxTextLength;
    const QString wide = u"\U0001F600"_s;
    const struct {
        QString copied;
        QString text;
    } cases[] = {
        {u"https://a.example/ü \n"_s, u"https://a.example/ü \n"_s},
        {QString(most, u'x'), QString(most, u'x')},
        {QString(most + 1, u'x'), QString(most, u'x')},
        {QString(most - 3, u'x') + u" yyyy"_s, QString(most - 3, u'x')},
        {QString(most, u'x') + u" yyyy"_s, QString(most, u'x')},
        {QString(most - 1, u'x') + wide, QString(most - 1, u'x')},
        {QString(most - 2, u'x') + wide + u'x', QString(most - 2, u'x') + wide},
    };
    for (const auto& [copied, text] : cases) {
        clipboard().setText(copied);
        EXPECT_TRUE(pasteboard.text() == text) << copied.right(8).toStdString();
    }
}

TEST(QtPasteboardTest, WhatComesWithTheFocusCountsOnlyWhenItIsNew) {
    clipboard().setText(u"before"_s);
    const QtPasteboard pasteboard(clipboard(), QtPasteboard::Announcements::withFocus);
    const auto announced = [&] {
        const qint64 before = pasteboard.changeCount();
        Q_EMIT clipboard().dataChanged();
        return pasteboard.changeCount() - before;
    };
    ASSERT_FALSE(QGuiApplication::focusWindow());
    EXPECT_EQ(announced(), 1) << "nothing was seen yet";
    EXPECT_EQ(announced(), 0);

    QWindow window;
    window.show();
    window.requestActivate();
    ASSERT_TRUE(runUntil([&] { return QGuiApplication::focusWindow() == &window; }));
    const bool foreign = !clipboard().ownsClipboard();
    EXPECT_EQ(announced(), foreign ? 1 : 0) << "a copy by another program counts, the echo of ours does not";
}

} // namespace
} // namespace fetra::test
