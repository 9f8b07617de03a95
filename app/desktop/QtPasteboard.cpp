#include "app/desktop/QtPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

QString cut(const QString& text) {
    qsizetype end = QtPasteboard::maxTextLength;
    if (text.size() <= end)
        return text;
    // A link that lost its end would still look like one.
    while (end > 0 && !text.at(end).isSpace())
        --end;
    if (end == 0)
        end = QtPasteboard::maxTextLength - (text.at(QtPasteboard::maxTextLength).isLowSurrogate() ? 1 : 0);
    return text.first(end);
}

} // namespace

QtPasteboard::Announcements QtPasteboard::announcements() {
    return QGuiApplication::platformName().startsWith("wayland"_L1) ? Announcements::withFocus
                                                                    : Announcements::copies;
}

QtPasteboard::QtPasteboard(QClipboard& clipboard, Announcements kind)
    : clipboard_(clipboard)
    , kind_(kind) {
    connect(&clipboard_, &QClipboard::dataChanged, this, &QtPasteboard::dataChanged);
}

std::optional<QString> QtPasteboard::text() const {
    const QMimeData* content = clipboard_.mimeData();
    // Files count as text for QMimeData::hasText.
    if (!content || !content->hasFormat(u"text/plain"_s))
        return std::nullopt;
    const QString text = content->text();
    return text.isEmpty() ? std::nullopt : std::optional(cut(text));
}

bool QtPasteboard::setText(const QString& text) {
    clipboard_.setText(text);
    // Not every window system knows owners.
    return clipboard_.ownsClipboard() || clipboard_.text() == text;
}

void QtPasteboard::dataChanged() {
    using enum ClipboardCounter::Occasion;
    if (kind_ == Announcements::copies) {
        counter_.announce(copy, std::nullopt);
        return;
    }
    // The announcement that comes with the focus comes just before it. What we put there ourselves is
    // announced twice: by us and by the session.
    const bool isCopy = QGuiApplication::focusWindow() && !clipboard_.ownsClipboard();
    counter_.announce(isCopy ? copy : sight, text());
}

} // namespace fetra
