#pragma once

#include "support/ServerExchange.h"
#include "support/ServerFile.h"

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace fetra::test {

/// An answer that has nothing to do with the file.
struct FixedAnswer {
    int status = 503;
    HeaderList headers = {};
    QByteArray body = {};
};
[[nodiscard]] FixedAnswer statusAnswer(int status, QByteArray retryAfter = {});
/// A portal's HTML page with status 200.
[[nodiscard]] FixedAnswer loginPage();

/// Admits at most so many exchanges at once, of all files in whose lies it stands.
class SlotLimit : public std::enable_shared_from_this<SlotLimit> {
public:
    /// A refusal of status 0 resets the connection instead.
    SlotLimit(int slots, FixedAnswer refusal)
        : slots_(slots)
        , refusal_(std::move(refusal)) {}

    /// To be kept while inside; null when there is no room.
    [[nodiscard]] std::shared_ptr<void> enter();
    [[nodiscard]] const FixedAnswer& refusal() const { return refusal_; }

private:
    const int slots_;
    const FixedAnswer refusal_;
    std::mutex mutex_; ///< of those who enter
    std::atomic<int> inside_ = 0;
};

/// Ends an answer before its time.
struct Cut {
    enum class How { Close, CloseWithoutNotify, Reset, Spoil, Stall };
    enum class Where {
        Body, ///< after that many bytes of this answer's body
        File, ///< before that offset of the file, in answers that cover it
        Head, ///< after that many bytes of the head
    };
    How how = How::Close;
    Where where = Where::Body;
    qint64 at = 0;
};

/// How the end of the body is told.
enum class Framing {
    Length,
    UntilClose, ///< no length, ended by FIN
    Chunked,
    ChunkedWithoutEnd,      ///< all the data, then FIN in place of the last chunk
    ChunkedWithoutEndStall, ///< all the data, then silence
    ChunkedAndLength,       ///< both headers
    GzipChunked,            ///< "Transfer-Encoding: gzip, chunked", though nothing is gzip
};

/// Everything that can be wrong with an answer; a default one is honest. Of fields that exclude one another
/// the earlier stands.
struct Lies {
    // Before the head.
    std::chrono::milliseconds latency{0};
    std::shared_ptr<SlotLimit> limit = {};
    std::optional<QByteArray> raw = {};     ///< instead of HTTP, then FIN: garbage, HTTP/0.9, bare line feeds
    std::optional<FixedAnswer> answer = {}; ///< instead of the file: failures, redirects, pages, 204, 416
    int informational = 0;                  ///< that many 103 heads first

    // Which bytes.
    std::optional<ServerFile> file = {}; ///< another file than the script's: new content, size, validators
    bool freshETag = false;              ///< another strong ETag on every request
    bool ignoreRange = false;            ///< 200 and the whole file
    qint64 rangeShift = 0; ///< 206 for a range that far from the one asked for: Content-Range and bytes agree
    qint64 rangeExtra = 0; ///< 206 for a range that much longer (negative: shorter), truthfully labelled

    // The head.
    QByteArray version = "HTTP/1.1";
    std::optional<int> partialStatus = {}; ///< status of a ranged answer in place of 206
    bool omitContentRange = false;
    std::optional<QByteArray> contentRange = {}; ///< verbatim, with FIRST, LAST and TOTAL for the truth
    std::optional<std::vector<QByteArray>> contentLengths = {}; ///< verbatim, one header each; empty: none
    qint64 declaredExtra = 0; ///< Content-Length that much above the truth (negative: below)
    std::optional<QByteArray> contentEncoding = {}; ///< the header's value; the body stays as it is
    HeaderList extraHeaders = {};
    bool connectionClose = false; ///< says so and does so
    QByteArray lineEnd = "\r\n";
    double headBytesPerSecond = 0; ///< 0: at once

    // The body.
    Framing framing = Framing::Length;
    QByteArray chunkSize = "SIZE";  ///< line before each chunk, with SIZE for the truth
    QByteArray trailers = {};       ///< lines after the last chunk, each with its end
    double bytesPerSecond = 0;      ///< of each answer; 0: as fast as it goes
    double totalBytesPerSecond = 0; ///< of all answers under the same rule together
    qint64 surplus = 0;             ///< junk bytes after the end of a body that was declared correctly
    std::optional<Cut> cut = {};
};

/// Which requests a lie is told to. `first` and `last` number, from 1, the requests that match `what`,
/// counted from the making of the handler.
struct When {
    enum class What {
        Every,
        Probe, ///< Range: bytes=0-0
        Data,  ///< all but the probe
    };
    What what = What::Every;
    qint64 first = 1;
    qint64 last = std::numeric_limits<qint64>::max();
};

struct LieRule {
    When when;
    Lies lies;
};

/// Rules for all requests, for the probe, and for the data requests of those numbers.
[[nodiscard]] inline LieRule every(const Lies& lies) {
    return {.when = {}, .lies = lies};
}
[[nodiscard]] inline LieRule probe(const Lies& lies) {
    return {.when = {.what = When::What::Probe}, .lies = lies};
}
[[nodiscard]] inline LieRule data(const Lies& lies, qint64 first = 1,
                                  qint64 last = std::numeric_limits<qint64>::max()) {
    return {.when = {.what = When::What::Data, .first = first, .last = last}, .lies = lies};
}

/// A file behind rules: the first rule that matches a request says how it is answered, and where none does
/// the answer is honest: ranges, and 416 with the size.
struct FileScript {
    ServerFile file;
    std::vector<LieRule> rules = {};

    [[nodiscard]] Handler handler() const;
};

[[nodiscard]] Handler serve(ServerFile file, Lies lies = {}, When when = {});

} // namespace fetra::test
