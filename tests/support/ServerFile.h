#pragma once

#include <QByteArray>

namespace fetra::test {

/// Pseudo-random bytes that depend on nothing but the two arguments; a shorter one is a prefix of a longer.
[[nodiscard]] QByteArray testContent(qint64 size, quint64 seed = 1);
/// The same bytes but for one that is inverted.
[[nodiscard]] QByteArray withDamage(QByteArray content, qint64 offset);

/// What a server has under one path. An empty header value means that the header is not sent.
struct ServerFile {
    QByteArray content = {};
    QByteArray etag = "\"v1\"";
    QByteArray lastModified = "Tue, 05 Mar 2024 10:00:00 GMT";
    QByteArray contentType = "application/octet-stream";
    QByteArray contentDisposition = {};

    [[nodiscard]] static ServerFile ofSize(qint64 size, quint64 seed = 1) {
        return {.content = testContent(size, seed)};
    }
    [[nodiscard]] ServerFile withETag(QByteArray value) const {
        ServerFile copy = *this;
        copy.etag = std::move(value);
        return copy;
    }
    [[nodiscard]] ServerFile withoutDate() const {
        ServerFile copy = *this;
        copy.lastModified.clear();
        return copy;
    }
    [[nodiscard]] ServerFile withoutValidators() const { return withETag({}).withoutDate(); }
};

} // namespace fetra::test
