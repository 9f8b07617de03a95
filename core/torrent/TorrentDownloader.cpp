#include "torrent/TorrentDownloader.h"

#include "http/HTTPFetch.h"
#include "system/AbsoluteURL.h"
#include "system/ChildProcess.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "system/StandardFolders.h"
#include "torrent/TorrentHelperSearch.h"
#include "torrent/TorrentStatusLine.h"
#include "transfer/DownloadError.h"
#include "transfer/DownloadOptions.h"
#include "transfer/NameParts.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QUrlQuery>
#include <QUuid>

#include <filesystem>

#include <fcntl.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// More than a torrent of a terabyte needs.
constexpr qint64 maxTorrentFileBytes = 10 * 1'048'576;

bool isMagnet(const QUrl& url) {
    return url.scheme().compare("magnet"_L1, Qt::CaseInsensitive) == 0;
}

QString lastComponent(QString path) {
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    return path == "/"_L1 ? path : path.sliced(path.lastIndexOf(u'/') + 1);
}

/// A file name that stays in its folder, whatever a magnet link or a helper calls its content.
QString safeName(const QString& name) {
    const QString last = lastComponent(name);
    return last == "/"_L1 || last == "."_L1 || last == ".."_L1 ? QString() : last;
}

void makeFolder(const QString& path) {
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(path).toStdString(), error);
    if (error)
        throw PosixError(error.value());
}

/// Private trackers put a secret into their files, hence the mode.
QString writeTemporary(const QByteArray& content) {
    const QString name =
        u"fetra-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + u".torrent"_s;
    const QString path = StandardFolders::temporary() + u'/' + name;
    const PosixFile::Descriptor file = PosixFile::open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (!file.isOpen())
        throw PosixError::last();
    try {
        PosixFile::writeAll(file.number(), content, 0);
    } catch (const PosixError&) {
        PosixFile::unlink(path);
        throw;
    }
    return path;
}

} // namespace

/// What the lines of the helper have said so far.
class TorrentDownloader::Reading {
public:
    explicit Reading(const TorrentRequest& request)
        : request_(request)
        , name_(displayName(request.url)) {}

    /// False when the helper has nothing more to do. Throws for an error line.
    [[nodiscard]] bool take(const TorrentStatusLine& line) {
        if (line.kind == TorrentStatusLine::Kind::error)
            throw DownloadError::exhaustedRetries(line.error.value_or(u"torrent failed"_s));
        if (line.name && !line.name->isEmpty())
            name_ = *line.name;
        total_ = line.total.value_or(total_);
        completed_ = line.completed.value_or(completed_);
        if (const QString name = safeName(name_); total_ > 0 && !started_ && !name.isEmpty()) {
            started_ = true;
            if (request_.onStart)
                request_.onStart(name);
        }
        if (request_.progress)
            request_.progress(progressOf(line));
        return line.kind != TorrentStatusLine::Kind::done;
    }

    /// Throws unless everything is there.
    [[nodiscard]] DownloadResult result(double elapsed) const {
        if (total_ < 1 || completed_ < total_)
            throw DownloadError::exhaustedRetries(u"torrent stopped before completion"_s);
        DownloadResult result;
        result.destination =
            QUrl::fromLocalFile(QDir(request_.directory.toLocalFile()).filePath(safeName(name_)));
        result.bytes = total_;
        result.bytesThisSession = completed_;
        result.elapsed = elapsed;
        if (elapsed > 0)
            result.averageBytesPerSecond = static_cast<double>(completed_) / elapsed;
        result.mirrorsUsed = 0;
        return result;
    }

private:
    [[nodiscard]] DownloadProgress progressOf(const TorrentStatusLine& line) const {
        return {.totalBytes = total_ >= 1 ? std::optional(total_) : std::nullopt,
                .receivedBytes = completed_,
                .bytesPerSecond = line.rate,
                .activeConnections = line.peers,
                .connectionLimit = line.peers,
                .peers = line.peers,
                .seeds = line.seeds,
                .uploadBytesPerSecond = line.upload,
                .uploadedBytes = line.uploaded};
    }

    const TorrentRequest& request_;
    QString name_;
    qint64 total_ = 0;
    qint64 completed_ = 0;
    bool started_ = false;
};

TorrentDownloader::TorrentDownloader(const TorrentOptions& options, const EngineServices& services)
    : options_(options)
    , services_(services) {}

TorrentDownloader::~TorrentDownloader() = default;

DownloadResult TorrentDownloader::download(const TorrentRequest& request) {
    const std::optional<QString> helper = helperPath();
    if (!helper)
        throw DownloadError::io(u"fetra-torrent helper not found"_s);
    const TimePoint begun = services_.clock.now();

    QString source;
    QString temporary;
    const auto tidyUp = qScopeGuard([&temporary] {
        if (!temporary.isEmpty())
            PosixFile::unlink(temporary);
    });
    if (isMagnet(request.url)) {
        source = absoluteString(request.url);
    } else if (request.url.isLocalFile()) {
        source = request.url.toLocalFile();
    } else {
        temporary = writeTemporary(fetch(request.url));
        source = temporary;
    }

    const QString folder = QDir::cleanPath(request.directory.toLocalFile());
    makeFolder(folder);
    Reading reading(request);
    run(*helper, arguments(folder, source), reading);
    requireWanted();
    return reading.result(secondsBetween(begun, services_.clock.now()));
}

QByteArray TorrentDownloader::fetch(const QUrl& url) {
    const std::shared_ptr<HTTPSession> session = services_.http.makeSession({.secretsHome = url});
    {
        const std::lock_guard lock(lock_);
        session_ = session;
    }
    const auto letGo = qScopeGuard([this] {
        const std::lock_guard lock(lock_);
        session_.reset();
    });
    requireWanted();
    HTTPRequest request{.url = url};
    request.headers.set("User-Agent", DownloadOptions::defaultUserAgent.toUtf8());
    try {
        HTTPFetch::Answer answer = HTTPFetch::body(*session, request, maxTorrentFileBytes);
        const int status = answer.response.status;
        if (status != 0 && (status < 200 || status > 299))
            throw DownloadError::badStatus(status);
        if (answer.body.size() > maxTorrentFileBytes)
            throw DownloadError::exhaustedRetries(u"the torrent file is too large"_s);
        return std::move(answer.body);
    } catch (const TransportError&) {
        requireWanted();
        throw;
    }
}

QStringList TorrentDownloader::arguments(const QString& folder, const QString& source) const {
    QStringList words{u"-o"_s, folder, u"-upload-limit"_s, QString::number(options_.uploadLimitKB)};
    if (options_.downloadLimitKB >= 1)
        words += {u"-download-limit"_s, QString::number(options_.downloadLimitKB)};
    if (options_.seedAfterComplete)
        words += u"-seed"_s;
    words += source;
    return words;
}

void TorrentDownloader::run(const QString& helper, const QStringList& arguments, Reading& reading) {
    requireWanted();
    const auto process =
        std::make_shared<ChildProcess>(ChildProcess::Command{.program = helper, .arguments = arguments});
    bool wanted = true;
    {
        const std::lock_guard lock(lock_);
        process_ = process;
        wanted = !cancelled_;
    }
    const auto letGo = qScopeGuard([this] {
        const std::lock_guard lock(lock_);
        process_.reset();
    });
    if (!wanted)
        process->terminate();

    try {
        TorrentLineBuffer lines;
        for (QByteArray data = process->read(); !data.isEmpty(); data = process->read()) {
            lines.append(data);
            while (const std::optional<QByteArray> bytes = lines.next()) {
                const std::optional<TorrentStatusLine> line = TorrentStatusLine::parse(*bytes);
                if (line && !reading.take(*line))
                    process->terminate();
            }
        }
    } catch (const DownloadError&) {
        process->terminate();
        process->wait();
        requireWanted();
        throw;
    }
    process->wait();
}

void TorrentDownloader::cancel() {
    std::shared_ptr<HTTPSession> session;
    std::shared_ptr<ChildProcess> process;
    {
        const std::lock_guard lock(lock_);
        cancelled_ = true;
        session = session_;
        process = process_;
    }
    if (session)
        session->invalidateAndCancel();
    if (process)
        process->terminate();
}

bool TorrentDownloader::isCancelled() const {
    const std::lock_guard lock(lock_);
    return cancelled_;
}

void TorrentDownloader::requireWanted() const {
    if (isCancelled())
        throw DownloadError::cancelled();
}

bool TorrentDownloader::isTorrentSource(const QUrl& url) {
    const QString extension = NameParts::of(lastComponent(url.path())).extension;
    return isMagnet(url) || extension.compare("torrent"_L1, Qt::CaseInsensitive) == 0;
}

QString TorrentDownloader::displayName(const QUrl& url) {
    if (!isMagnet(url))
        return lastComponent(url.path(QUrl::FullyDecoded));
    const QString name = QUrlQuery(url).queryItemValue(u"dn"_s, QUrl::FullyDecoded);
    return name.isEmpty() ? u"magnet link"_s : name;
}

std::optional<QString> TorrentDownloader::helperPath() {
    return TorrentHelperSearch::find(TorrentHelperSearch::Surroundings::current());
}

} // namespace fetra
