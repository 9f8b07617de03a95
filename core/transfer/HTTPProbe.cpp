#include "transfer/HTTPProbe.h"

#include "http/HTTPFetch.h"
#include "system/TextTrim.h"
#include "transfer/DownloadError.h"

#include <charconv>

namespace fetra::HTTPProbe {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 sampleSize = 16'384;
constexpr qint64 sampleCount = 3;

/// An optional sign and digits, nothing else, in the signed 64-bit range.
std::optional<qint64> decimal(QStringView text) {
    QByteArray digits = text.toLatin1();
    if (digits.startsWith('+') && !digits.startsWith("+-"))
        digits.remove(0, 1);
    qint64 number = 0;
    const char* const end = digits.constData() + digits.size();
    const auto [rest, error] = std::from_chars(digits.constData(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// The total that a "Content-Range" header names, if a file can have that size.
std::optional<qint64> usableTotal(const HTTPResponse& response) {
    const auto value = response.headers.value("Content-Range");
    const auto total = value ? contentRangeTotal(*value) : std::nullopt;
    return total && *total >= 0 ? total : std::nullopt;
}

void readSize(const HTTPResponse& response, RemoteInfo& info) {
    const auto total = usableTotal(response);
    if (response.status == 206) {
        // A file of which there is a part is not empty.
        info.totalSize = total == 0 ? std::nullopt : total;
        info.acceptsRanges = info.totalSize.has_value();
    } else if (response.status == 416 && total) {
        info.totalSize = total;
        info.acceptsRanges = true;
    } else if (response.status >= 200 && response.status <= 299) {
        if (response.expectedLength >= 0)
            info.totalSize = response.expectedLength;
    } else {
        throw DownloadError::badStatus(response.status);
    }
}

QString suggestedName(const HTTPResponse& response, const RemoteInfo& info) {
    auto name = filenameFromDisposition(response.headers.value("Content-Disposition"));
    if (!name)
        name = filenameFromURL(info.finalURL);
    if (!name)
        name = filenameFromURL(info.originalURL);
    return ensureExtension(sanitize(name.value_or(u"download"_s)), response.mimeType);
}

} // namespace

HTTPRequest request(const QUrl& url, const DownloadOptions& options) {
    HTTPRequest result;
    result.url = url;
    result.timeout = options.requestTimeout;
    for (auto header = options.headers.begin(); header != options.headers.end(); ++header)
        result.headers.set(header.key().toUtf8(), header.value().toUtf8());
    // Last, so that they win: with another coding the byte ranges would mean other bytes.
    result.headers.set("User-Agent", options.userAgent.toUtf8());
    result.headers.set("Accept-Encoding", "identity");
    return result;
}

QByteArray rangeValue(qint64 first, std::optional<qint64> last) {
    return "bytes=" + QByteArray::number(first) + '-' + (last ? QByteArray::number(*last) : QByteArray());
}

RemoteInfo probe(const QUrl& url, HTTPSession& session, const DownloadOptions& options) {
    HTTPRequest question = request(url, options);
    question.headers.set("Range", rangeValue(0, 0));
    const HTTPResponse response = HTTPFetch::head(session, question);
    if (response.status == 0)
        throw DownloadError::notHTTP();

    RemoteInfo info;
    readSize(response, info);
    info.originalURL = url;
    info.finalURL = response.url.isEmpty() ? url : response.url;
    info.suggestedFilename = suggestedName(response, info);
    info.etag = response.headers.value("ETag");
    info.lastModified = response.headers.value("Last-Modified");
    info.contentType = response.mimeType;
    return info;
}

QList<ByteRange> sampleRanges(qint64 total) {
    if (total < 1)
        return {};
    if (total <= sampleCount * sampleSize)
        return {{.first = 0, .last = total - 1}};
    const qint64 middle = total / 2;
    return {{.first = 0, .last = sampleSize - 1},
            {.first = middle, .last = middle + sampleSize - 1},
            {.first = total - sampleSize, .last = total - 1}};
}

Fingerprint fingerprint(const QUrl& url, qint64 total, HTTPSession& session, const DownloadOptions& options) {
    Fingerprint sampled;
    for (const ByteRange& range : sampleRanges(total)) {
        const qint64 length = range.last - range.first + 1;
        HTTPRequest question = request(url, options);
        question.headers.set("Range", rangeValue(range.first, range.last));
        const HTTPFetch::Answer answer = HTTPFetch::body(session, question, length);
        if (answer.response.status == 0)
            throw DownloadError::notHTTP();
        const auto value = answer.response.headers.value("Content-Range");
        if (answer.response.status != 206 || !value || contentRangeStart(*value) != range.first ||
            answer.body.size() != length)
            throw DownloadError::badStatus(answer.response.status);
        sampled.bytes += answer.body;
        sampled.named.push_back(Validators::of(answer.response));
    }
    return sampled;
}

std::optional<qint64> contentRangeTotal(const QString& value) {
    const qsizetype slash = value.lastIndexOf(u'/');
    return slash < 0 ? std::nullopt
                     : decimal(TextTrim::trimmed(QStringView(value).sliced(slash + 1), TextTrim::isBlank));
}

std::optional<qint64> contentRangeStart(const QString& value) {
    const QStringView text = TextTrim::trimmed(value, TextTrim::isBlank);
    const qsizetype space = text.indexOf(u' ');
    if (space < 0)
        return std::nullopt;
    QStringView range = text.sliced(space + 1);
    if (const qsizetype slash = range.indexOf(u'/'); slash >= 0)
        range.truncate(slash);
    if (const qsizetype dash = range.indexOf(u'-'); dash >= 0)
        range.truncate(dash);
    return decimal(range);
}

} // namespace fetra::HTTPProbe
