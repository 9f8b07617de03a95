#include "app/desktop/QtPasteboard.h"

#include <QClipboard>
#include <QCryptographicHash>
#include <QGuiApplication>
#include <QMimeData>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

const QString plainText = u"text/plain"_s;

/// To the last space that leaves no more than fits: a link that lost its end would still look like one.
QString cut(const QString& text) {
    qsizetype end = QtPasteboard::maxTextLength;
    if (text.size() <= end)
        return text;
    while (end > 0 && !text.at(end).isSpace())
        --end;
    return text.first(end);
}

} // namespace

QtPasteboard::Counting QtPasteboard::counting() {
    const QString platform = QGuiApplication::platformName();
    const bool isWayland = platform.startsWith("wayland"_L1) ||
                           (platform == "xcb"_L1 && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"));
    return isWayland ? Counting::content : Counting::announcements;
}

QtPasteboard::QtPasteboard(QClipboard& clipboard, Counting counting)
    : clipboard_(clipboard)
    , counting_(counting) {
    connect(&clipboard_, &QClipboard::dataChanged, this, &QtPasteboard::dataChanged);
}

qint64 QtPasteboard::changeCount() const {
    if (std::exchange(isAnnounced_, false)) {
        // What cannot be read now is not known to be another.
        if (auto found = digest(); found && std::exchange(seen_, found).value_or(*found) != *found)
            ++count_;
    }
    return count_;
}

std::optional<QString> QtPasteboard::text() const {
    const QMimeData* content = clipboard_.mimeData();
    // Files count as text for QMimeData::hasText.
    if (!content || !content->hasFormat(plainText))
        return std::nullopt;
    const QString text = cut(content->text());
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

bool QtPasteboard::setText(const QString& text) {
    clipboard_.setText(text);
    // Not every window system knows owners.
    return clipboard_.ownsClipboard() || clipboard_.text() == text;
}

/// A digest of the text, for clipboards hold passwords; empty for a content without text, nothing when that
/// cannot be told.
std::optional<QByteArray> QtPasteboard::digest() const {
    const QMimeData* content = clipboard_.mimeData();
    if (!content || content->formats().isEmpty())
        return std::nullopt;
    if (!content->hasFormat(plainText))
        return QByteArray();
    const QString text = content->text();
    return text.isEmpty()
               ? std::nullopt
               : std::optional(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256));
}

void QtPasteboard::dataChanged() {
    if (counting_ == Counting::announcements) {
        ++count_;
        return;
    }
    // With the focus the clipboard goes too, and is announced as holding nothing.
    const QMimeData* content = clipboard_.mimeData();
    if (content && !content->formats().isEmpty())
        isAnnounced_ = true;
}

} // namespace fetra
