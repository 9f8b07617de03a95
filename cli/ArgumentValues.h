#pragma once

#include "cli/Arguments.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

namespace fetra::cli {

/// Reads the values that options take. What does not read is answered with the sentence for the user.
namespace ArgumentValues {

template <typename T>
using Read = std::variant<T, UsageError>;

/// Name and value, the value without the blanks around it.
using Header = std::pair<QString, QString>;

/// A web address. `role` says in the sentence what it was to be: "The address" or "The mirror".
[[nodiscard]] Read<QUrl> address(const QString& text, const QString& role);
/// Whatever can be downloaded: a web address, a magnet link, or a .torrent file, by its address or its path.
[[nodiscard]] Read<QUrl> link(const QString& text);
[[nodiscard]] Read<qint64> connections(const QString& text);
[[nodiscard]] Read<qint64> maxDownloads(const QString& text);
[[nodiscard]] Read<qint64> uploadLimit(const QString& text);
/// In lower case.
[[nodiscard]] Read<QString> digest(const QString& text);
[[nodiscard]] Read<Header> header(const QString& text);
[[nodiscard]] Read<LogLevel> logLevel(const QString& text);
[[nodiscard]] Read<QString> output(const QString& text);
/// Of a file; `option` is its long name.
[[nodiscard]] Read<QString> path(const QString& text, QLatin1StringView option);
/// A file's name alone.
[[nodiscard]] Read<QString> name(const QString& text);

/// The candidate that `word` was most likely meant to be, if any is near.
[[nodiscard]] std::optional<QString> nearest(const QString& word, const QStringList& candidates);

/// `text` in quotes, short and safe to print.
[[nodiscard]] QString quoted(const QString& text);

/// `address` without what may be secret in it: user name, password, query and fragment. Quoted.
[[nodiscard]] QString quotedAddress(const QString& address);
/// The same for a link of any kind: the name for a magnet link, the path for a file.
[[nodiscard]] QString quotedLink(const QUrl& url);

} // namespace ArgumentValues
} // namespace fetra::cli
