#pragma once

#include <QStringView>

/// Host names as they stand in running text.
namespace fetra::HostText {

/// The longest name the domain name system knows.
constexpr qsizetype maxLength = 253;

/// The character at `index`, which lies in `text`: half of a pair only where the other half is missing.
[[nodiscard]] char32_t characterAt(QStringView text, qsizetype index);
/// UTF-16 units of `character`.
[[nodiscard]] qsizetype width(char32_t character);

[[nodiscard]] bool isAsciiLetterOrDigit(char32_t character);
/// A letter, a digit or a mark of any script.
[[nodiscard]] bool isNameCharacter(char32_t character);

/// Who decides where a name ends in a script that does not put spaces between its words.
enum class Neighbours {
    /// Prose: a change between such a script and another one inside a label.
    prose,
    /// A scheme stands in front: only a change from another script to such a one, and only in the last label.
    address
};

/// The end of the name that begins at `begin` with a name character: labels of letters, digits, and inner
/// hyphens and underscores, joined by single dots. At least one character.
[[nodiscard]] qsizetype nameEnd(QStringView text, qsizetype begin, Neighbours neighbours);

/// Whether a bare `name` in prose is meant as a web host at all: it begins with "www." or its last label is a
/// public suffix.
[[nodiscard]] bool isWebHost(QStringView name);

/// Whether `name` is more likely a file ("notes.md", "setup.py") or the seam of two sentences ("here.It")
/// than a host, unless a path follows it.
[[nodiscard]] bool looksLikeProse(QStringView name);

} // namespace fetra::HostText
