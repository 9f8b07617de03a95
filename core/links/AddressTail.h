#pragma once

#include <QStringView>

/// Path, query and fragment of an address in running text: where they end, and what of their end belongs to
/// the sentence around them.
namespace fetra::AddressTail {

/// The end of the address that goes on at `begin`. White space, quotes, angle brackets, entities for these,
/// an unbalanced closing bracket, punctuation and symbols outside ASCII, and a comma, semicolon or bar with
/// another address behind it end one. `before`, the unit in front of the whole address, does when it is a
/// single quote or a bar.
[[nodiscard]] qsizetype end(QStringView text, qsizetype begin, char16_t before);

/// `tail` without the punctuation and opening brackets at its end, nor marks of emphasis ("*", "_", "~") such
/// as the one `before` the address.
[[nodiscard]] QStringView trimmed(QStringView tail, char16_t before);

} // namespace fetra::AddressTail
