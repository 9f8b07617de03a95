#pragma once

#include "http/HTTPSession.h"
#include "transfer/DownloadOptions.h"
#include "transfer/RemoteInfo.h"
#include "transfer/Validators.h"

#include <QByteArray>
#include <QList>

#include <optional>
#include <vector>

namespace fetra {

/// Asks a server about a file before and around a transfer, and reads the answers. Stateless; the operations
/// that talk to a server block, and throw `DownloadError` or `TransportError`.
namespace HTTPProbe {

/// First and last byte, inclusive.
struct ByteRange {
    qint64 first = 0;
    qint64 last = 0;
    bool operator==(const ByteRange&) const = default;
};

/// The request that every exchange of a transfer starts from; callers add a "Range".
[[nodiscard]] HTTPRequest request(const QUrl& url, const DownloadOptions& options);
/// The value of a "Range" header; `last` absent asks for everything from `first` on.
[[nodiscard]] QByteArray rangeValue(qint64 first, std::optional<qint64> last);

/// One round trip: asks for the first byte and reads the head only. Throws `badStatus` for what is neither a
/// success nor an empty file, and `notHTTP`.
[[nodiscard]] RemoteInfo probe(const QUrl& url, HTTPSession& session, const DownloadOptions& options);

/// The ranges that stand for a file of `total` bytes: first, middle and last 16 KiB, or all of a small file.
[[nodiscard]] QList<ByteRange> sampleRanges(qint64 total);
struct Fingerprint {
    /// The bytes of the sample ranges, at most 48 KiB.
    QByteArray bytes;
    /// What each answer named, in their order.
    std::vector<Validators> named;
};

/// Asks for the sample ranges one after another. Throws `badStatus` when a range is not answered exactly.
[[nodiscard]] Fingerprint fingerprint(const QUrl& url, qint64 total, HTTPSession& session,
                                      const DownloadOptions& options);

/// The parts of a "Content-Range" value, such as "bytes 0-99/1234"; nothing for what is absent or does not
/// parse.
[[nodiscard]] std::optional<qint64> contentRangeTotal(const QString& value);
[[nodiscard]] std::optional<qint64> contentRangeStart(const QString& value);

/// The raw name that a "Content-Disposition" value or an address suggests. Not safe to use before `sanitize`.
[[nodiscard]] std::optional<QString> filenameFromDisposition(const std::optional<QString>& value);
[[nodiscard]] std::optional<QString> filenameFromURL(const QUrl& url);
/// A name that is safe in any folder: one component, not hidden, and short enough in UTF-8 for every suffix
/// we append.
[[nodiscard]] QString sanitize(const QString& name);
/// The same, or nothing where `sanitize` has to make a name up.
[[nodiscard]] std::optional<QString> usableName(const QString& name);
/// `name` with the preferred extension of `mimeType`, when it has none and the type is known.
[[nodiscard]] QString ensureExtension(const QString& name, const std::optional<QString>& mimeType);

} // namespace HTTPProbe
} // namespace fetra
