#include "support/RequestParser.h"

#include <QList>

namespace fetra::test {

namespace {

std::optional<qint64> parseNumber(QByteArrayView digits) {
    bool ok = false;
    const qint64 value = digits.toLongLong(&ok);
    return ok && value >= 0 ? std::optional(value) : std::nullopt;
}

} // namespace

std::optional<RequestedRange> parseRequestedRange(QByteArrayView value) {
    value = value.trimmed();
    if (!value.startsWith("bytes="))
        return std::nullopt;
    value = value.sliced(6);
    const qsizetype dash = value.indexOf('-');
    if (dash < 0)
        return std::nullopt;
    const QByteArrayView first = value.first(dash).trimmed();
    const QByteArrayView last = value.sliced(dash + 1).trimmed();
    const RequestedRange range{.first = parseNumber(first), .last = parseNumber(last)};
    const bool readable =
        range.first.has_value() != first.isEmpty() && range.last.has_value() != last.isEmpty();
    const bool inOrder = !range.first || !range.last || *range.first <= *range.last;
    if (!readable || !inOrder || (!range.first && !range.last))
        return std::nullopt;
    return range;
}

std::optional<ServerRequest> parseRequestHead(QByteArrayView head) {
    const QList<QByteArray> lines = head.toByteArray().split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    if (words.size() != 3 || !words[2].startsWith("HTTP/1."))
        return std::nullopt;

    ServerRequest request;
    request.method = words[0];
    request.target = words[1];
    request.path = request.target.split('?').first();
    for (const QByteArray& line : lines.sliced(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            request.headers.emplace_back(line.first(colon), line.sliced(colon + 1).trimmed());
    }
    // A 1.0 client that says nothing expects the end of the connection, just as one that says so.
    if (words[2] == "HTTP/1.0" && !request.header("Connection"))
        request.headers.emplace_back("Connection", "close");
    if (const auto range = request.header("Range"))
        request.range = parseRequestedRange(*range);
    return request;
}

} // namespace fetra::test
