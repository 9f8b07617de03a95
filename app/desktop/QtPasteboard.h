#pragma once

#include "app/desktop/Pasteboard.h"

#include <QByteArray>
#include <QObject>

#include <optional>

class QClipboard;

namespace fetra {

/// The window system's clipboard.
class QtPasteboard final : public QObject, public Pasteboard {
public:
    enum class Counting {
        announcements, ///< each one is a copy
        /// A program hears of the clipboard with the focus, and each time it gets that: only another content
        /// than the last one was copied meanwhile, and what is there at first is no copy.
        content,
    };

    /// What the window system of this application takes: Wayland shows nothing to programs in the background,
    /// and passes that on to X11 programs that run in it.
    [[nodiscard]] static Counting counting();

    /// `clipboard` outlives this.
    explicit QtPasteboard(QClipboard& clipboard, Counting counting = QtPasteboard::counting());

    /// By content it may wait for the program that holds that, once for each announcement.
    [[nodiscard]] qint64 changeCount() const override;
    [[nodiscard]] std::optional<QString> text() const override;
    [[nodiscard]] bool setText(const QString& text) override;

private:
    [[nodiscard]] std::optional<QByteArray> digest() const;
    void dataChanged();

    QClipboard& clipboard_;
    const Counting counting_;
    // Looked up when somebody asks: most announcements come when nobody watches.
    mutable qint64 count_ = 0;
    mutable bool isAnnounced_ = false;
    /// Of what was there last; nothing before that is known.
    mutable std::optional<QByteArray> seen_;
};

} // namespace fetra
