#include "support/ServerExchange.h"

#include "support/ScriptedServer.h"
#include "support/ServerSocket.h"

#include <QList>

#include <algorithm>

namespace fetra::test {

using namespace std::chrono_literals;

namespace {

// Long enough that a client under a sanitizer reads the rest, short enough for one that never closes.
constexpr auto kLinger = 1s;

QByteArrayView reason(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 206:
        return "Partial Content";
    case 302:
        return "Found";
    case 404:
        return "Not Found";
    case 416:
        return "Range Not Satisfiable";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

std::optional<qint64> parseNumber(QByteArrayView digits) {
    bool ok = false;
    const qint64 value = digits.toLongLong(&ok);
    return ok && value >= 0 ? std::optional(value) : std::nullopt;
}

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

} // namespace

std::optional<ServerRequest> ServerRequest::parseHead(QByteArrayView head) {
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

std::optional<QByteArray> ServerRequest::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

ServerExchange::ServerExchange(ScriptedServer& server, ServerSocket& socket, ServerRequest request)
    : server_(server)
    , socket_(socket)
    , request_(std::move(request)) {}

ServerExchange::~ServerExchange() {
    release();
}

void ServerExchange::release() {
    if (!released_)
        server_.endExchange();
    released_ = true;
}

bool ServerExchange::respond(int status, const HeaderList& headers, QByteArrayView body) {
    HeaderList all = headers;
    const bool bodiless = status == 204 || status == 304 || status < 200;
    if (!bodiless)
        all.emplace_back("Content-Length", QByteArray::number(body.size()));
    const bool withBody = !bodiless && request_.method != "HEAD" && !body.isEmpty();
    if (!withBody)
        release();
    if (!sendHead(status, all))
        return false;
    release();
    return !withBody || sendBody(body);
}

bool ServerExchange::send(QByteArrayView bytes) {
    sentAnything_ = true;
    return socket_.send(bytes);
}

QByteArray ServerExchange::makeHead(int status, const HeaderList& headers, QByteArrayView version) {
    QByteArray head = version.toByteArray() + ' ' + QByteArray::number(status) + ' ' +
                      reason(status).toByteArray() + "\r\n";
    for (const auto& [name, value] : headers)
        head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

bool ServerExchange::sendHead(int status, const HeaderList& headers, QByteArrayView version) {
    return send(makeHead(status, headers, version));
}

bool ServerExchange::sendCounted(QByteArrayView bytes) {
    // Counted before: whoever has read the bytes finds them in the count.
    server_.bodyBytes_ += bytes.size();
    return send(bytes);
}

bool ServerExchange::sendBody(QByteArrayView bytes) {
    constexpr qsizetype piece = 64 * 1024;
    while (!bytes.isEmpty()) {
        if (!sendCounted(bytes.first(std::min(piece, bytes.size()))))
            return false;
        bytes = bytes.sliced(std::min(piece, bytes.size()));
    }
    return !socket_.isEnded();
}

bool ServerExchange::wait(std::chrono::milliseconds time) {
    return socket_.wait(time);
}

void ServerExchange::stall() {
    while (socket_.wait(1h)) {
    }
}

void ServerExchange::close() {
    release();
    socket_.notifyClose();
    socket_.finish(kLinger);
}

void ServerExchange::closeWithoutNotify() {
    release();
    socket_.finish(kLinger);
}

void ServerExchange::spoil() {
    release();
    socket_.sendBeneathTLS(QByteArrayView("\x15\x03\x03\x00\x02\x02\x50", 7));
    socket_.finish(kLinger);
}

void ServerExchange::reset() {
    release();
    socket_.reset();
}

} // namespace fetra::test
