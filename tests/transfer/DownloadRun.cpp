#include "DownloadRun.h"

#include "http/TransportError.h"
#include "support/TestCertificate.h"
#include "transfer/DownloadError.h"

#include <gtest/gtest.h>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

struct Words {
    QString operator()(const DownloadError::BadStatus& error) const {
        return u"badStatus %1"_s.arg(error.code);
    }
    QString operator()(const DownloadError::ExhaustedRetries& error) const {
        return u"exhaustedRetries "_s + error.reason;
    }
    QString operator()(const DownloadError::SizeMismatch& error) const {
        return u"sizeMismatch %1 %2"_s.arg(error.expected).arg(error.actual);
    }
    QString operator()(const DownloadError::ChecksumMismatch& error) const {
        return u"checksumMismatch %1 %2"_s.arg(error.expected, error.actual);
    }
    QString operator()(const DownloadError::Io& error) const { return u"io "_s + error.message; }
    QString operator()(const DownloadError::NotHTTP&) const { return u"notHTTP"_s; }
    QString operator()(const DownloadError::Cancelled&) const { return u"cancelled"_s; }
    QString operator()(const DownloadError::RangeNotHonored&) const { return u"rangeNotHonored"_s; }
};

Ending endOf(Downloader& downloader, const DownloadRequest& request) {
    try {
        DownloadResult result = downloader.download(request);
        return {.words = u"complete"_s, .result = std::move(result)};
    } catch (const DownloadError& error) {
        return {.words = std::visit(Words{}, error.value()), .result = {}};
    } catch (const TransportError& error) {
        return {.words = u"transport %1 %2"_s.arg(QString::number(error.code()), error.description()),
                .result = {}};
    }
}

} // namespace

RealWorld::Environment::Environment() {
    TestCertificate::trustAuthority();
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
        qunsetenv(name);
}

Ending download(RealWorld& world, const DownloadRequest& request, const DownloadOptions& options) {
    Downloader downloader(options, world.services());
    return endOf(downloader, request);
}

RunningDownload::RunningDownload(RealWorld& world, DownloadRequest request, const DownloadOptions& options)
    : downloader_(options, world.services()) {
    request.onStart = [this, also = request.onStart](const QUrl& destination, const RemoteInfo& info) {
        started_ = true;
        if (also)
            also(destination, info);
    };
    request.progress = [this](const DownloadProgress& progress) { received_ = progress.receivedBytes; };
    thread_ = std::thread([this, request] {
        ending_ = endOf(downloader_, request);
        over_ = true;
    });
}

RunningDownload::~RunningDownload() {
    cancel();
    if (thread_.joinable())
        thread_.join();
}

Ending RunningDownload::end() {
    if (thread_.joinable())
        thread_.join();
    return ending_;
}

DownloadOptions impatient(qint64 connections, qint64 maxRetries) {
    DownloadOptions options;
    options.connections = connections;
    options.minSegmentSize = 65'536;
    options.maxRetries = maxRetries;
    options.requestTimeout = 5;
    return options;
}

QUrl folderURL(const QString& path) {
    return QUrl::fromLocalFile(path + u'/');
}

DownloadRequest toFolder(const QUrl& url, const QString& path, const QList<QUrl>& mirrors) {
    DownloadRequest request;
    request.url = url;
    request.mirrors = mirrors;
    request.target = folderURL(path);
    return request;
}

void expectNothingWrongIsFinished(const TempFolder& folder, const QByteArray& content) {
    for (const QString& name : folder.names()) {
        const bool unfinished = name.endsWith(u".part"_s) || name.endsWith(u".fetra"_s);
        EXPECT_TRUE(unfinished || folder.read(name) == content)
            << name.toStdString() << " is not what was served";
    }
}

} // namespace fetra::test
