#pragma once

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>

namespace fetra {

/// What a server says about a file, as the probe learned it. A plain value.
struct RemoteInfo {
    /// The address as requested.
    QUrl originalURL = {};
    /// The address that answered, after redirects.
    QUrl finalURL = {};
    /// Length of the whole file in bytes, when the server told it.
    std::optional<qint64> totalSize = {};
    /// The server answered a byte-range request with a partial response that names a usable total.
    bool acceptsRanges = false;
    /// The "ETag" and "Last-Modified" headers, verbatim.
    std::optional<QString> etag = {};
    std::optional<QString> lastModified = {};
    /// A safe local file name, never empty.
    QString suggestedFilename = {};
    /// The media type without its parameters.
    std::optional<QString> contentType = {};

    [[nodiscard]] QJsonObject toJson() const;
    /// Nothing when a field that is not optional is missing, or any has another JSON type.
    [[nodiscard]] static std::optional<RemoteInfo> fromJson(const QJsonObject& object);

    bool operator==(const RemoteInfo&) const = default;
};

} // namespace fetra
