#pragma once

#include <QList>
#include <QString>

namespace fetra::cli {

enum class Ink {
    plain,
    strong,
    faint,
    /// Bytes that are here, by the server that sent them; later mirrors start over at the first.
    server0,
    server1,
    server2,
    server3,
};

struct Span {
    QString text;
    Ink ink = Ink::plain;
};

/// A line for the terminal, its colours apart from its text.
using StyledLine = QList<Span>;

namespace StyledText {

[[nodiscard]] QString plain(const StyledLine& line);
/// With the escape sequences that colour it.
[[nodiscard]] QString coloured(const StyledLine& line);
/// For terminals that show no more than ASCII: the same width, other characters.
[[nodiscard]] QString ascii(const QString& text);

} // namespace StyledText
} // namespace fetra::cli
