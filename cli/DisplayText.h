#pragma once

#include <QString>

namespace fetra::cli {

/// Text on its way to a terminal: what may be printed, and how wide it is there. Widths are in terminal
/// cells.
namespace DisplayText {

/// The character at `at`, which moves behind it; U+FFFD for half a surrogate pair.
[[nodiscard]] char32_t nextCharacter(QStringView text, qsizetype& at);

/// `text` with every character that a terminal would act on, or that hides or reorders its neighbours, and
/// every invalid one replaced by U+FFFD.
[[nodiscard]] QString printable(const QString& text);

/// Never less than what a terminal uses; an emoji sequence may count for more.
[[nodiscard]] int cellWidth(QStringView text);

/// `text` itself when it fits into `cells`, else its beginning and end with "…" between them, so that a
/// file's extension stays in sight. Never wider than `cells`.
[[nodiscard]] QString fitted(const QString& text, int cells);

/// The longest beginning of `text` that fits.
[[nodiscard]] QString cut(QStringView text, int cells);

} // namespace DisplayText
} // namespace fetra::cli
