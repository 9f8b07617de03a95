#include "transfer/Downloader.h"

#include "http/HTTPFetch.h"
#include "segmented/SegmentedDownload.h"
#include "system/AbsoluteURL.h"
#include "system/Log.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "transfer/Checksum.h"
#include "transfer/DownloadError.h"
#include "transfer/HTTPProbe.h"
#include "transfer/Mirrors.h"
#include "transfer/Reservation.h"
#include "transfer/ResumeStore.h"

#include <QScopeGuard>

#include <fcntl.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int probeConnectionsPerHost = 8;

bool holdsBytes(const Reservation& place) {
    const std::optional<ResumeRecord> record = ResumeStore::load(place.sidecarPath);
    return record && record->heldBytes() > 0;
}

/// Takes off what an earlier, longer answer has left, for good. Throws `PosixError`.
void cutTo(const QString& path, qint64 length) {
    const PosixFile::Descriptor file = PosixFile::open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file.isOpen() || !PosixFile::setLength(file.number(), length) ||
        !PosixFile::sync(file.number(), true))
        throw PosixError::last();
}

} // namespace

Downloader::Downloader(const DownloadOptions& options, const EngineServices& services)
    : options_(options.clamped())
    , services_(services) {}

Downloader::~Downloader() = default;

std::shared_ptr<HTTPSession> Downloader::openQuestions(const QUrl& home) {
    const std::shared_ptr<HTTPSession> session =
        services_.http.makeSession({.maxConnectionsPerHost = probeConnectionsPerHost, .secretsHome = home});
    const std::lock_guard lock(lock_);
    if (cancelled_)
        throw DownloadError::cancelled();
    questions_ = session;
    return session;
}

RemoteInfo Downloader::probe(const QUrl& url) {
    const std::shared_ptr<HTTPSession> session = openQuestions(url);
    return HTTPProbe::probe(url, *session, options_);
}

DownloadResult Downloader::download(const DownloadRequest& request) {
    try {
        return run(request);
    } catch (const TransportError&) {
        const std::lock_guard lock(lock_);
        if (cancelled_)
            throw DownloadError::cancelled();
        throw;
    } catch (const PosixError& error) {
        throw DownloadError::io(error.description());
    }
}

DownloadResult Downloader::run(const DownloadRequest& request) {
    const TimePoint begun = services_.clock.now();
    const std::shared_ptr<HTTPSession> session = openQuestions(request.url);
    const RemoteInfo info = HTTPProbe::probe(request.url, *session, options_);

    SegmentedConfig config;
    config.sources = {info.finalURL};
    config.originals = {request.url};
    config.validators = {Validators::of(info)};
    if (info.acceptsRanges && info.totalSize.value_or(0) >= 1 && !request.mirrors.isEmpty()) {
        for (const Mirrors::Admitted& mirror : Mirrors::admit(request.mirrors, info, *session, options_)) {
            config.sources.append(mirror.resolved);
            config.originals.append(mirror.original);
            config.validators.append(mirror.validators);
        }
    }

    Reservation reservation = reserve(request.target, info);
    if (request.onStart)
        request.onStart(reservation.destination, info);

    SegmentedOutcome outcome;
    if (reservation.sink) {
        config.total = info.totalSize;
        config.ranged = info.acceptsRanges;
        config.options = options_;
        config.sidecarPath = reservation.sidecarPath;
        config.recordURL = absoluteString(request.url);
        config.resumeSegments = reservation.resumeSegments;
        outcome = transfer(config, reservation, request.progress);
    } else {
        const qint64 size = info.totalSize.value_or(0);
        outcome = {.totalWritten = size, .resumedBytes = size, .finalSize = size, .peakConnections = 0};
    }

    const VerifiedFile verified = verify(reservation, info, outcome);
    const QUrl destination = moveIntoPlace(reservation);

    DownloadResult result;
    result.destination = destination;
    result.bytes = verified.bytes;
    result.bytesThisSession = outcome.totalWritten - outcome.resumedBytes;
    result.resumedFrom = outcome.resumedBytes;
    result.elapsed = secondsBetween(begun, services_.clock.now());
    if (result.elapsed > 0)
        result.averageBytesPerSecond = static_cast<double>(result.bytesThisSession) / result.elapsed;
    result.peakConnections = outcome.peakConnections;
    result.mirrorsUsed = config.sources.size();
    result.sha256 = verified.sha256;
    return result;
}

/// Whether the server answers without a range with a body as long as the file. Bytes that are held are given
/// up for nothing less: a login page in place of the data must not cost them.
bool Downloader::offersWholeFile(const SegmentedConfig& config) {
    const std::shared_ptr<HTTPSession> session = openQuestions(config.originals.front());
    const HTTPResponse answer =
        HTTPFetch::head(*session, HTTPProbe::request(config.sources.front(), options_));
    return answer.status == 200 && answer.expectedLength == config.total;
}

SegmentedOutcome Downloader::transfer(const SegmentedConfig& config, Reservation& reservation,
                                      const ProgressHandler& progress) {
    try {
        return runEngine(config, *reservation.sink, progress);
    } catch (const DownloadError& error) {
        if (!error.is<DownloadError::RangeNotHonored>() || !config.ranged)
            throw;
    }
    if (holdsBytes(reservation) && !offersWholeFile(config))
        throw DownloadError::rangeNotHonored();
    Log::warn(
        [] { return u"server passed the range probe but ignored ranges; retrying as a single stream"_s; });
    ResumeStore::forget(reservation.sidecarPath);
    try {
        reservation.sink.reset();
        reservation.sink =
            std::make_unique<FileSink>(reservation.partPath, config.total, FileSink::Existing::welcome);
    } catch (const PosixError& error) {
        throw DownloadError::io(error.description());
    }
    SegmentedConfig stream = config;
    stream.ranged = false;
    stream.resumeSegments.reset();
    return runEngine(stream, *reservation.sink, progress);
}

SegmentedOutcome Downloader::runEngine(const SegmentedConfig& config, FileSink& sink,
                                       const ProgressHandler& progress) {
    const auto engine = std::make_shared<SegmentedDownload>(config, sink, progress, services_);
    {
        const std::lock_guard lock(lock_);
        if (cancelled_) {
            sink.close();
            throw DownloadError::cancelled();
        }
        engine_ = engine;
    }
    const auto letGo = qScopeGuard([this] {
        const std::lock_guard lock(lock_);
        engine_.reset();
    });
    return engine->run();
}

void Downloader::cancel() {
    std::shared_ptr<HTTPSession> questions;
    std::shared_ptr<SegmentedDownload> engine;
    {
        const std::lock_guard lock(lock_);
        cancelled_ = true;
        questions = questions_;
        engine = engine_;
    }
    if (questions)
        questions->invalidateAndCancel();
    if (engine)
        engine->cancel();
}

Downloader::VerifiedFile Downloader::verify(const Reservation& reservation, const RemoteInfo& info,
                                            const SegmentedOutcome& outcome) const {
    const QString path = reservation.sink ? reservation.partPath : reservation.destination.toLocalFile();
    const qint64 expected = info.totalSize.value_or(outcome.finalSize);
    if (!info.totalSize && fileSize(path) != expected)
        cutTo(path, expected);
    // A file that failed a check must not be continued: its record says that nothing is missing.
    const qint64 actual = fileSize(path).value_or(-1);
    if (actual != expected) {
        ResumeStore::remove(reservation.sidecarPath);
        throw DownloadError::sizeMismatch(expected, actual);
    }
    VerifiedFile verified{.bytes = expected, .sha256 = std::nullopt};
    const QString wanted = options_.expectedSHA256.value_or(QString()).toLower();
    if (wanted.isEmpty())
        return verified;
    const QString digest = Checksum::sha256(path);
    if (digest != wanted) {
        ResumeStore::remove(reservation.sidecarPath);
        throw DownloadError::checksumMismatch(wanted, digest);
    }
    verified.sha256 = digest;
    return verified;
}

} // namespace fetra
