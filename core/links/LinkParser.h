#pragma once

#include <QList>
#include <QRegularExpression>
#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

/// Finds what can be downloaded in free text. Callable from any thread.
namespace fetra::LinkParser {

/// The schemes of ordinary links, in lower case.
[[nodiscard]] const QSet<QString>& schemes();

/// What a magnet link looks like, in any letter case; nothing when the expression does not compile.
[[nodiscard]] const std::optional<QRegularExpression>& magnetPattern();

/// First the magnet links of `text`, then its http and https links, each group in text order. A link whose
/// absolute string came before is left out. Takes time linear in the size of the text.
[[nodiscard]] QList<QUrl> extract(const QString& text);

} // namespace fetra::LinkParser
