#pragma once

#include "app/desktop/ClipboardCounter.h"
#include "app/desktop/Pasteboard.h"

#include <QObject>

class QClipboard;

namespace fetra {

/// The window system's clipboard.
class QtPasteboard final : public QObject, public Pasteboard {
public:
    enum class Announcements {
        copies,   ///< each announcement is a copy, whoever has the focus
        withFocus ///< a program hears of the clipboard only with the focus, and each time it gets that
    };

    /// What the window system of this application does: Wayland shows nothing to programs in the background.
    [[nodiscard]] static Announcements announcements();

    /// `clipboard` outlives this.
    explicit QtPasteboard(QClipboard& clipboard, Announcements kind = announcements());

    [[nodiscard]] qint64 changeCount() const override { return counter_.count(); }
    [[nodiscard]] std::optional<QString> text() const override;
    [[nodiscard]] bool setText(const QString& text) override;

private:
    void dataChanged();

    QClipboard& clipboard_;
    Announcements kind_;
    ClipboardCounter counter_;
};

} // namespace fetra
