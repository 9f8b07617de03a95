#include "transfer/JsonFields.h"

namespace fetra::JsonFields {

std::optional<qint64> integer(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object.value(key);
    // The default comes back for what is no integer, so two of them tell it from a real one.
    const qint64 read = value.toInteger(0);
    if (!value.isDouble() || read != value.toInteger(1))
        return std::nullopt;
    return read;
}

std::optional<double> number(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

std::optional<bool> boolean(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object.value(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

std::optional<QString> string(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object.value(key);
    if (!value.isString())
        return std::nullopt;
    const QString text = value.toString();
    return text.isValidUtf16() ? std::optional(text) : std::nullopt;
}

std::optional<QUrl> url(const QJsonObject& object, const QString& key) {
    const std::optional<QString> text = string(object, key);
    if (!text)
        return std::nullopt;
    const QUrl address(*text);
    return address.isValid() && !address.isRelative() ? std::optional(address) : std::nullopt;
}

} // namespace fetra::JsonFields
