#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>
#include <utility>
#include <vector>

namespace fetra {

/// Header fields in the order given; names compare without regard to case.
class HTTPHeaders {
public:
    /// Replaces every field of that name.
    void set(const QByteArray& name, const QByteArray& value);
    void add(const QByteArray& name, const QByteArray& value);
    void remove(const QByteArray& name);
    void clear() { fields_.clear(); }

    /// The first field of that name; bytes that are not UTF-8 are read as Latin-1.
    [[nodiscard]] std::optional<QString> value(const QByteArray& name) const;
    [[nodiscard]] std::vector<QByteArray> values(const QByteArray& name) const;
    [[nodiscard]] const std::vector<std::pair<QByteArray, QByteArray>>& fields() const { return fields_; }

private:
    std::vector<std::pair<QByteArray, QByteArray>> fields_;
};

/// A GET request.
struct HTTPRequest {
    QUrl url{};
    HTTPHeaders headers{};
    /// Seconds without a header line or a byte of the body after which the request times out.
    double timeout = 60.0;
};

/// The head of the answer that is not a redirect any more.
struct HTTPResponse {
    /// 0 when what came back was not HTTP.
    int status = 0;
    HTTPHeaders headers{};
    /// Bytes of the body as declared, or -1.
    qint64 expectedLength = -1;
    /// Lower case, without parameters.
    std::optional<QString> mimeType{};
    /// The address that answered, after redirects; a redirect never carries credentials.
    QUrl url{};
};

} // namespace fetra
