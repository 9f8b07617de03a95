#pragma once

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>

namespace fetra::JsonFields {

/// Fields of a JSON object with their exact types; nothing for what is missing or of another type.

/// A whole number in the signed 64-bit range.
[[nodiscard]] std::optional<qint64> integer(const QJsonObject& object, const QString& key);
[[nodiscard]] std::optional<double> number(const QJsonObject& object, const QString& key);
[[nodiscard]] std::optional<bool> boolean(const QJsonObject& object, const QString& key);
/// Text that can be written again unchanged: no lone surrogates.
[[nodiscard]] std::optional<QString> string(const QJsonObject& object, const QString& key);
/// An absolute URL.
[[nodiscard]] std::optional<QUrl> url(const QJsonObject& object, const QString& key);

/// A field that may be missing but not be of another type.
template <typename T>
struct Optional {
    bool valid = false;
    std::optional<T> value;
};

template <typename T>
[[nodiscard]] Optional<T> optional(std::optional<T> (*field)(const QJsonObject&, const QString&),
                                   const QJsonObject& object, const QString& key) {
    if (!object.contains(key))
        return {.valid = true, .value = std::nullopt};
    const std::optional<T> value = field(object, key);
    return {.valid = value.has_value(), .value = value};
}

} // namespace fetra::JsonFields
