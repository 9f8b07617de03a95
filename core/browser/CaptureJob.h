#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QUrl>

#include <optional>

namespace fetra {

/// A download that another program hands over, as the JSON file it leaves in an inbox. An empty text counts
/// as absent. `cookie` is a secret: it belongs in no log line.
struct CaptureJob {
    /// Of the file's name, compared case-sensitively.
    static constexpr const char* fileExtension = "fetrajob";
    static constexpr qint64 maxFileBytes = 1'048'576;
    /// Of one string, in UTF-8.
    static constexpr qint64 maxStringBytes = 65'536;

    QUrl url = {};
    QString cookie = {};
    QString referrer = {};
    QString userAgent = {};
    /// The folder to save into, as it was given: it may begin with a tilde.
    QString directory = {};
    /// A hint, as it was given: it may be no proper file name.
    QString filename = {};

    /// A job file's content. Nothing when it or one of its strings is too long, when it is no JSON object, or
    /// when `url` is missing or not absolute. Fields of another type are absent, unknown ones ignored.
    [[nodiscard]] static std::optional<CaptureJob> parse(const QByteArray& content);
    [[nodiscard]] static std::optional<CaptureJob> fromJson(const QJsonObject& object);
    /// Without absent fields.
    [[nodiscard]] QJsonObject toJson() const;

    /// Request headers by name, without empty values and without those that hold a control character, which
    /// must not be sent.
    [[nodiscard]] QMap<QString, QString> headers() const;

    /// Leaves a new job file of mode 0600 in `folder`, which is made (0700) where it is missing. Under its
    /// name the file is whole from the first moment. Answers the path. Throws `PosixError`; EFBIG when no
    /// reader would take the file.
    QString deposit(const QString& folder) const;

    bool operator==(const CaptureJob&) const = default;
};

} // namespace fetra
