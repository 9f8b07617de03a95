#include "support/DownloadRun.h"

#include "http/TransportError.h"
#include "support/Eventually.h"
#include "system/PosixError.h"
#include "transfer/DownloadError.h"
#include "transfer/ResumeStore.h"

#include <QDir>
#include <QFileInfo>

namespace fetra::test {

using namespace Qt::StringLiterals;

Ending endingOf(const std::function<DownloadResult()>& work) {
    try {
        return {.words = u"complete"_s, .result = work()};
    } catch (const DownloadError& error) {
        return {.words = error.errorDescription(), .result = {}};
    } catch (const TransportError& error) {
        return {.words = u"transport %1 %2"_s.arg(QString::number(error.code()), error.description()),
                .result = {}};
    } catch (const PosixError& error) {
        return {.words = u"posix %1"_s.arg(error.code()), .result = {}};
    }
}

RealWorld::Environment::Environment() {
    TestCertificate::trustAuthority();
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"})
        qunsetenv(name);
}

Ending download(const EngineServices& world, const DownloadRequest& request, const DownloadOptions& options) {
    Downloader downloader(options, world);
    return endingOf([&] { return downloader.download(request); });
}

RunningDownload::RunningDownload(const EngineServices& world, DownloadRequest request,
                                 const DownloadOptions& options)
    : downloader_(options, world) {
    request.progress = [this](const DownloadProgress& progress) { received_ = progress.receivedBytes; };
    thread_ = std::thread([this, request] {
        ending_ = endingOf([&] { return downloader_.download(request); });
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

DownloadRequest toFolder(const QUrl& url, const QString& path, const QList<QUrl>& mirrors) {
    DownloadRequest request;
    request.url = url;
    request.mirrors = mirrors;
    request.target = QUrl::fromLocalFile(path + u'/');
    return request;
}

void expectNothingWrongIsFinished(const QString& folder, const QByteArray& content) {
    for (const QFileInfo& each : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden)) {
        QFile file(each.filePath());
        const bool isFinished = !QStringList{u"part"_s, u"fetra"_s, u"tmp"_s}.contains(each.suffix());
        EXPECT_TRUE(!isFinished || (file.open(QIODevice::ReadOnly) && file.readAll() == content))
            << each.fileName().toStdString() << " is not what was served";
    }
}

Handler DownloadTest::throttled(const ServerFile& what, double bytesPerSecond) {
    return serve(what, {.totalBytesPerSecond = bytesPerSecond}, {.what = When::What::Data});
}

qint64 DownloadTest::interrupt(qint64 enough, const DownloadRequest& what, const DownloadOptions& options) {
    RunningDownload running(world, what, options);
    EXPECT_TRUE(eventually(std::chrono::seconds(20),
                           [&] { return running.receivedBytes() > enough || running.isOver(); }));
    running.cancel();
    EXPECT_EQ(running.end().words, pausedWords);
    return held();
}

void DownloadTest::expectDelivered(const Ending& ending, const ServerFile& what, qint64 resumedFrom) const {
    EXPECT_EQ(ending.words, u"complete"_s);
    EXPECT_EQ(folder.names(), QStringList{u"f.bin"_s});
    EXPECT_TRUE(folder.tryRead(u"f.bin"_s) == what.content);
    ASSERT_TRUE(ending.isComplete());
    EXPECT_EQ(ending.result->resumedFrom, resumedFrom);
    EXPECT_EQ(ending.result->bytesThisSession, what.content.size() - resumedFrom);
    EXPECT_EQ(ending.result->bytes, what.content.size());
}

void DownloadTest::saveWholeRecord(const std::optional<QString>& etag) const {
    const qint64 size = file.content.size();
    ResumeStore::save({.url = server.url("/f.bin").toString(QUrl::FullyEncoded),
                       .totalSize = size,
                       .etag = etag,
                       .segments = {{.start = 0, .end = size - 1, .current = size}}},
                      folder.path(u"f.bin.fetra"_s));
}

} // namespace fetra::test
