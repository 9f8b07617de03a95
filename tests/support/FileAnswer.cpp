#include "support/FileAnswer.h"

#include <algorithm>

namespace fetra::test {

using namespace std::chrono_literals;

namespace {

class FileAnswer {
public:
    FileAnswer(ServerExchange& exchange, const Lies& lies, ServerFile file, SharedPace& pace)
        : exchange_(exchange)
        , lies_(lies)
        , file_(std::move(file))
        , pace_(pace) {}

    void send();

private:
    struct Span {
        qint64 first;
        qint64 last;
    };

    bool enter();
    void release();

    std::optional<Span> resolveRange() const;
    void compose();
    void composePartial(Span span);
    void addFileHeaders();
    void addFraming();

    bool isBodiless() const { return status_ < 200 || status_ == 204 || status_ == 304; }
    bool isChunked() const {
        return lies_.framing != Framing::Length && lies_.framing != Framing::UntilClose;
    }
    std::optional<qint64> cutWithinBody() const;
    bool sendHead();
    bool sendSlowly(QByteArrayView bytes, double bytesPerSecond);
    bool sendPayload();
    bool sendPiece(QByteArrayView piece);
    void sendEnd();
    void carryOutCut();

    ServerExchange& exchange_;
    const Lies& lies_;
    const ServerFile file_;
    SharedPace& pace_;
    std::shared_ptr<void> slot_;

    int status_ = 200;
    HeaderList headers_;
    QByteArray payload_;       ///< may point into file_
    qint64 payloadOffset_ = 0; ///< of its first byte in the file
};

void FileAnswer::send() {
    if (!exchange_.wait(lies_.latency) || !enter())
        return;
    if (lies_.raw) {
        release();
        exchange_.send(*lies_.raw);
        exchange_.close();
        return;
    }
    for (int count = 0; count < lies_.informational; ++count)
        exchange_.sendHead(103, {{"Link", "</style.css>; rel=preload"}});
    compose();
    if (sendHead() && (isBodiless() || sendPayload()))
        sendEnd();
}

bool FileAnswer::enter() {
    if (!lies_.limit || (slot_ = lies_.limit->enter()))
        return true;
    const FixedAnswer& refusal = lies_.limit->refusal();
    if (refusal.status == 0)
        exchange_.reset();
    else
        exchange_.respond(refusal.status, refusal.headers, refusal.body);
    return false;
}

void FileAnswer::release() {
    slot_.reset();
    exchange_.release();
}

/// Nothing when the range lies beyond the end.
std::optional<FileAnswer::Span> FileAnswer::resolveRange() const {
    const RequestedRange& asked = *exchange_.request().range;
    const qint64 end = file_.content.size() - 1;
    if (asked.first > end)
        return std::nullopt;
    Span span{.first = asked.first, .last = std::min(asked.last.value_or(end), end)};
    span.first = std::clamp<qint64>(span.first + lies_.rangeShift, 0, end);
    span.last = std::clamp<qint64>(span.last + lies_.rangeShift + lies_.rangeExtra, span.first, end);
    return span;
}

void FileAnswer::compose() {
    if (lies_.answer) {
        status_ = lies_.answer->status;
        headers_ = lies_.answer->headers;
        payload_ = lies_.answer->body;
    } else if (!exchange_.request().range || lies_.ignoreRange) {
        addFileHeaders();
        payload_ = file_.content;
    } else if (const auto span = resolveRange()) {
        composePartial(*span);
    } else {
        status_ = 416;
        headers_.emplace_back("Content-Range", "bytes */" + QByteArray::number(file_.content.size()));
    }
    if (lies_.contentEncoding)
        headers_.emplace_back("Content-Encoding", *lies_.contentEncoding);
    headers_.insert(headers_.end(), lies_.extraHeaders.begin(), lies_.extraHeaders.end());
    addFraming();
}

void FileAnswer::composePartial(Span span) {
    status_ = lies_.partialStatus.value_or(206);
    addFileHeaders();
    payload_ = QByteArray::fromRawData(file_.content.constData() + span.first, span.last - span.first + 1);
    payloadOffset_ = span.first;
    if (lies_.omitContentRange)
        return;
    QByteArray label = lies_.contentRange.value_or("bytes FIRST-LAST/TOTAL");
    label.replace("FIRST", QByteArray::number(span.first));
    label.replace("LAST", QByteArray::number(span.last));
    label.replace("TOTAL", QByteArray::number(file_.content.size()));
    headers_.emplace_back("Content-Range", label);
}

void FileAnswer::addFileHeaders() {
    const auto add = [this](const char* name, const QByteArray& value) {
        if (!value.isEmpty())
            headers_.emplace_back(name, value);
    };
    add("Content-Type", file_.contentType);
    add("ETag", file_.etag);
    add("Last-Modified", file_.lastModified);
    add("Content-Disposition", file_.contentDisposition);
    add("Accept-Ranges", "bytes");
}

void FileAnswer::addFraming() {
    const bool withLength = lies_.framing == Framing::Length || lies_.framing == Framing::ChunkedAndLength;
    if (lies_.contentLengths) {
        for (const QByteArray& value : *lies_.contentLengths)
            headers_.emplace_back("Content-Length", value);
    } else if (withLength && !isBodiless()) {
        headers_.emplace_back("Content-Length", QByteArray::number(payload_.size() + lies_.declaredExtra));
    }
    if (isChunked())
        headers_.emplace_back("Transfer-Encoding",
                              lies_.framing == Framing::GzipChunked ? "gzip, chunked" : "chunked");
    if (lies_.connectionClose || lies_.framing == Framing::UntilClose)
        headers_.emplace_back("Connection", "close");
}

bool FileAnswer::sendHead() {
    QByteArray head = exchange_.makeHead(status_, headers_, lies_.version);
    head.replace("\r\n", lies_.lineEnd);
    const bool cutHere = lies_.cut && lies_.cut->where == Cut::Where::Head && lies_.cut->at < head.size();
    if (cutHere)
        head.truncate(lies_.cut->at);
    // Who asks for one byte wants the head, and goes on when that has come.
    if (!cutHere && (isBodiless() || payload_.size() <= 1))
        release();

    if (!sendSlowly(head, lies_.headBytesPerSecond))
        return false;
    if (cutHere)
        carryOutCut();
    return !cutHere;
}

bool FileAnswer::sendSlowly(QByteArrayView bytes, double bytesPerSecond) {
    if (bytesPerSecond <= 0)
        return exchange_.send(bytes);
    const auto pause =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(1 / bytesPerSecond));
    return std::ranges::all_of(bytes, [&](const char& byte) {
        return exchange_.wait(pause) && exchange_.send(QByteArrayView(&byte, 1));
    });
}

/// How much of the payload goes out before the cut; nothing when it is not met.
std::optional<qint64> FileAnswer::cutWithinBody() const {
    if (!lies_.cut || lies_.cut->where == Cut::Where::Head)
        return std::nullopt;
    const qint64 limit = lies_.cut->at - (lies_.cut->where == Cut::Where::File ? payloadOffset_ : 0);
    return limit >= 0 && limit < payload_.size() ? std::optional(limit) : std::nullopt;
}

bool FileAnswer::sendPayload() {
    const std::optional<qint64> cut = cutWithinBody();
    const qint64 size = cut.value_or(payload_.size());
    double piece = 65536;
    for (const double rate : {lies_.bytesPerSecond, lies_.totalBytesPerSecond})
        piece = rate > 0 ? std::clamp(rate / 50, 1.0, piece) : piece;

    SharedPace own;
    for (qint64 sent = 0, count = 0; sent < size; sent += count) {
        count = std::min(static_cast<qint64>(piece), size - sent);
        const auto due = std::max(own.reserve(count, lies_.bytesPerSecond),
                                  pace_.reserve(count, lies_.totalBytesPerSecond));
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(due - std::chrono::steady_clock::now());
        if (left > 0ms && !exchange_.wait(left))
            return false;
        if (!cut && sent + count == size)
            release();
        if (!sendPiece(QByteArrayView(payload_).sliced(sent, count)))
            return false;
    }
    if (cut)
        carryOutCut();
    return !cut;
}

bool FileAnswer::sendPiece(QByteArrayView piece) {
    if (!isChunked())
        return exchange_.sendBody(piece);
    QByteArray size = lies_.chunkSize;
    size.replace("SIZE", QByteArray::number(piece.size(), 16));
    return exchange_.send(size + "\r\n") && exchange_.sendBody(piece) && exchange_.send("\r\n");
}

void FileAnswer::sendEnd() {
    if (isBodiless()) {
        if (lies_.connectionClose)
            exchange_.close();
        return;
    }
    if (lies_.framing == Framing::ChunkedWithoutEndStall) {
        exchange_.stall();
        return;
    }
    const bool endsByClosing =
        lies_.framing == Framing::UntilClose || lies_.framing == Framing::ChunkedWithoutEnd;
    if (isChunked() && !endsByClosing && !exchange_.send("0\r\n" + lies_.trailers + "\r\n"))
        return;
    if (lies_.surplus > 0 && !exchange_.send(QByteArray(lies_.surplus, 'X')))
        return;
    if (endsByClosing || lies_.connectionClose || lies_.contentLengths || lies_.declaredExtra > 0)
        exchange_.close();
}

void FileAnswer::carryOutCut() {
    constexpr void (ServerExchange::*ends[])() = {&ServerExchange::close, &ServerExchange::closeWithoutNotify,
                                                  &ServerExchange::reset, &ServerExchange::spoil,
                                                  &ServerExchange::stall};
    if (lies_.cut->how != Cut::How::Stall)
        release();
    (exchange_.*ends[static_cast<std::size_t>(lies_.cut->how)])();
}

} // namespace

void answerAbout(ServerFile file, const Lies& lies, SharedPace& pace, ServerExchange& exchange) {
    FileAnswer(exchange, lies, std::move(file), pace).send();
}

} // namespace fetra::test
