#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace fetra {

/// Counts what is put on the clipboard, from the announcements of a session that also announces what has
/// been there all the time.
class ClipboardCounter {
public:
    [[nodiscard]] qint64 count() const { return count_; }

    enum class Occasion {
        copy,  ///< something has been put on the clipboard
        sight, ///< this is what it holds now: only another text than the last one was put there meanwhile
    };

    /// `text` is what the clipboard holds, as far as plain text goes.
    void announce(Occasion occasion, const std::optional<QString>& text);

private:
    qint64 count_ = 0;
    /// A digest, for clipboards hold passwords; empty for no text.
    QByteArray seen_;
};

} // namespace fetra
