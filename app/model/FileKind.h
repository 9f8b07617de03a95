#pragma once

#include <QString>

#include <array>
#include <optional>

namespace fetra {

class DownloadItem;

/// What sort of file a download is, by its name.
enum class FileKind { video, audio, archives, documents, applications, images, torrents, other };

/// In the order in which they are listed.
inline constexpr std::array fileKinds{
    FileKind::video,        FileKind::audio,  FileKind::archives, FileKind::documents,
    FileKind::applications, FileKind::images, FileKind::torrents, FileKind::other,
};

/// The text that identifies a kind; the same in every language.
[[nodiscard]] QString fileKindTitle(FileKind kind);
/// Nothing for any other text.
[[nodiscard]] std::optional<FileKind> fileKindFromTitle(const QString& title);
/// The title in the user's language.
[[nodiscard]] QString fileKindDisplayTitle(FileKind kind);
[[nodiscard]] QString fileKindSymbol(FileKind kind);

/// By the extension, in any letter case. Never `torrents`: only an address tells those. Does not allocate.
[[nodiscard]] FileKind fileKind(QStringView filename);
[[nodiscard]] FileKind fileKind(const DownloadItem& item);

} // namespace fetra
