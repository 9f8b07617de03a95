#include "support/ServerExchange.h"

#include "support/ScriptedServer.h"

#include <QByteArrayList>

namespace fetra::test {

using namespace std::chrono_literals;

std::optional<RequestedRange> RequestedRange::parse(const QByteArray& value) {
    const QByteArrayList ends = value.mid(qstrlen("bytes=")).split('-');
    if (ends.size() != 2)
        return std::nullopt;
    return RequestedRange{.first = ends[0].toLongLong(),
                          .last = ends[1].isEmpty() ? std::nullopt : std::optional(ends[1].toLongLong())};
}

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
    if (const auto range = request.header("Range"))
        request.range = RequestedRange::parse(*range);
    return request;
}

std::optional<QByteArray> ServerRequest::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

void ServerExchange::release() {
    if (!released_)
        --server_.exchanges_;
    released_ = true;
}

bool ServerExchange::respond(int status, const HeaderList& headers, QByteArrayView body) {
    HeaderList all = headers;
    const bool bodiless = status == 204 || status == 304 || status < 200;
    if (!bodiless)
        all.emplace_back("Content-Length", QByteArray::number(body.size()));
    release();
    return sendHead(status, all) && (bodiless || sendBody(body));
}

QByteArray ServerExchange::makeHead(int status, const HeaderList& headers, QByteArrayView version) {
    QByteArray head = version.toByteArray() + ' ' + QByteArray::number(status) + " Status\r\n";
    for (const auto& [name, value] : headers)
        head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

bool ServerExchange::sendBody(QByteArrayView bytes) {
    // Counted before: whoever has read the bytes finds them in the count.
    server_.bodyBytes_ += bytes.size();
    return send(bytes);
}

void ServerExchange::stall() {
    while (socket_.wait(1h)) {
    }
}

void ServerExchange::close() {
    release();
    socket_.notifyClose();
    closeWithoutNotify();
}

void ServerExchange::closeWithoutNotify() {
    release();
    // Long enough that a client under a sanitizer reads the rest, short enough for one that never closes.
    socket_.finish(1s);
}

void ServerExchange::spoil() {
    release();
    socket_.sendBeneathTLS(QByteArrayView("\x15\x03\x03\x00\x02\x02\x50", 7));
    closeWithoutNotify();
}

void ServerExchange::reset() {
    release();
    socket_.reset();
}

} // namespace fetra::test
