#include "app/model/FileKind.h"

#include "manager/DownloadItem.h"

#include <QCoreApplication>

#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace fetra {

namespace {

struct Row {
    FileKind kind;
    const char* title;
    const char* symbol;
    std::string_view extensions;
};

/// In the order of `fileKinds`.
constexpr std::array rows{
    Row{FileKind::video, QT_TRANSLATE_NOOP("fetra::FileKind", "Video"), "film",
        "mp4 m4v mov mkv avi webm mpeg mpg wmv flv ts"},
    Row{FileKind::audio, QT_TRANSLATE_NOOP("fetra::FileKind", "Audio"), "waveform",
        "mp3 m4a aac wav flac aiff aif ogg opus alac"},
    Row{FileKind::archives, QT_TRANSLATE_NOOP("fetra::FileKind", "Archives"), "archivebox",
        "zip rar 7z tar gz bz2 xz tgz zst"},
    Row{FileKind::documents, QT_TRANSLATE_NOOP("fetra::FileKind", "Documents"), "doc.text",
        "pdf txt rtf md doc docx pages xls xlsx numbers csv ppt pptx key epub json xml"},
    Row{FileKind::applications, QT_TRANSLATE_NOOP("fetra::FileKind", "Disk Images and Apps"), "externaldrive",
        "dmg iso pkg app img sparseimage sparsebundle"},
    Row{FileKind::images, QT_TRANSLATE_NOOP("fetra::FileKind", "Images"), "photo",
        "png jpg jpeg gif heic heif webp avif tif tiff bmp svg raw psd"},
    Row{FileKind::torrents, QT_TRANSLATE_NOOP("fetra::FileKind", "Torrents"),
        "point.3.connected.trianglepath.dotted", ""},
    Row{FileKind::other, QT_TRANSLATE_NOOP("fetra::FileKind", "Other"), "doc", ""},
};
static_assert(std::ranges::equal(rows, fileKinds, {}, &Row::kind));

const Row& rowOf(FileKind kind) {
    return rows.at(static_cast<size_t>(kind));
}

/// The longest one of the table.
constexpr qsizetype maxExtension = std::string_view("sparsebundle").size();

const std::unordered_map<std::string_view, FileKind>& kindsByExtension() {
    static const std::unordered_map<std::string_view, FileKind> kinds = [] {
        std::unordered_map<std::string_view, FileKind> made;
        for (const Row& row : rows) {
            std::string_view left = row.extensions;
            while (!left.empty()) {
                const std::string_view extension = left.substr(0, left.find(' '));
                made.emplace(extension, row.kind);
                left.remove_prefix(std::min(extension.size() + 1, left.size()));
            }
        }
        return made;
    }();
    return kinds;
}

} // namespace

QString fileKindTitle(FileKind kind) {
    return QString::fromLatin1(rowOf(kind).title);
}

std::optional<FileKind> fileKindFromTitle(const QString& title) {
    const auto row =
        std::ranges::find_if(rows, [&](const Row& each) { return title == QLatin1StringView(each.title); });
    return row == rows.end() ? std::nullopt : std::optional(row->kind);
}

QString fileKindDisplayTitle(FileKind kind) {
    return QCoreApplication::translate("fetra::FileKind", rowOf(kind).title);
}

QString fileKindSymbol(FileKind kind) {
    return QString::fromLatin1(rowOf(kind).symbol);
}

FileKind fileKind(QStringView filename) {
    const QStringView name = filename.sliced(filename.lastIndexOf(u'/') + 1);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0 || name.size() - dot - 1 > maxExtension)
        return FileKind::other;

    std::array<char, maxExtension> lower{};
    size_t size = 0;
    for (const QChar each : name.sliced(dot + 1)) {
        const char16_t unit = each.unicode();
        if (unit > 0x7f)
            return FileKind::other;
        lower.at(size++) = static_cast<char>(unit >= u'A' && unit <= u'Z' ? unit + 0x20 : unit);
    }
    const auto found = kindsByExtension().find(std::string_view(lower.data(), size));
    return found == kindsByExtension().end() ? FileKind::other : found->second;
}

FileKind fileKind(const DownloadItem& item) {
    return item.isTorrent() ? FileKind::torrents : fileKind(QStringView(item.filename()));
}

} // namespace fetra
