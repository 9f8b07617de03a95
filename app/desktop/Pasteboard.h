#pragma once

#include <QString>

#include <optional>

namespace fetra {

/// The clipboard, as far as plain text goes. Main thread only.
class Pasteboard {
public:
    virtual ~Pasteboard() = default;

    /// In characters.
    static constexpr qsizetype maxTextLength = 1'048'576;

    /// Grows each time any program, this one included, puts something on the clipboard, as far as the desktop
    /// lets us know.
    [[nodiscard]] virtual qint64 changeCount() const = 0;
    /// No more than `maxTextLength` of it, and no word by half. Nothing when the clipboard holds no plain
    /// text, or the desktop does not let us look now.
    [[nodiscard]] virtual std::optional<QString> text() const = 0;
    /// Replaces the content; false when that was refused.
    [[nodiscard]] virtual bool setText(const QString& text) = 0;
};

} // namespace fetra
