#include "http/HTTPMessage.h"

#include <QStringDecoder>

namespace fetra {

namespace {

bool sameName(const QByteArray& a, const QByteArray& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

} // namespace

void HTTPHeaders::set(const QByteArray& name, const QByteArray& value) {
    remove(name);
    add(name, value);
}

void HTTPHeaders::add(const QByteArray& name, const QByteArray& value) {
    fields_.emplace_back(name, value);
}

void HTTPHeaders::remove(const QByteArray& name) {
    std::erase_if(fields_, [&](const auto& field) { return sameName(field.first, name); });
}

std::optional<QString> HTTPHeaders::value(const QByteArray& name) const {
    for (const auto& [fieldName, fieldValue] : fields_) {
        if (!sameName(fieldName, name))
            continue;
        QStringDecoder utf8(QStringDecoder::Utf8);
        const QString text = utf8(fieldValue);
        return utf8.hasError() ? QString::fromLatin1(fieldValue) : text;
    }
    return std::nullopt;
}

std::vector<QByteArray> HTTPHeaders::values(const QByteArray& name) const {
    std::vector<QByteArray> found;
    for (const auto& [fieldName, fieldValue] : fields_) {
        if (sameName(fieldName, name))
            found.push_back(fieldValue);
    }
    return found;
}

} // namespace fetra
