#pragma once

#include "http/CurlClient.h"
#include "segmented/EngineServices.h"
#include "support/FileScript.h"
#include "support/HeldBytes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"
#include "system/Clock.h"
#include "system/Random.h"
#include "system/Ticker.h"
#include "transfer/Downloader.h"

#include <gtest/gtest.h>
#include <QString>

#include <atomic>
#include <functional>
#include <optional>
#include <thread>

namespace fetra::test {

/// What the programs build for their transfers. Trusts the certificates of the tests' authority.
class RealWorld {
public:
    [[nodiscard]] EngineServices services() { return {http_, clock_, random_, ticker_}; }
    operator EngineServices() { return services(); }

private:
    struct Environment {
        Environment();
    };
    Environment environment_; ///< set before the client reads it
    CurlClient http_;
    SystemClock clock_;
    SystemRandom random_;
    Ticker ticker_;
};

/// What a download that was cancelled says.
inline const QString pausedWords = QStringLiteral("Download paused");

/// How a download ended.
struct Ending {
    /// "complete", or what the error says to the user; "transport -1001 The request timed out" for one of the
    /// transport.
    QString words;
    std::optional<DownloadResult> result;

    [[nodiscard]] bool isComplete() const { return result.has_value(); }
    [[nodiscard]] QString name() const { return result ? result->destination.fileName() : QString(); }
};

[[nodiscard]] Ending endingOf(const std::function<DownloadResult()>& work);
[[nodiscard]] Ending download(const EngineServices& world, const DownloadRequest& request,
                              const DownloadOptions& options = {});

/// A download on a thread of its own. Destroying it cancels it and waits.
class RunningDownload {
public:
    RunningDownload(const EngineServices& world, DownloadRequest request, const DownloadOptions& options);
    ~RunningDownload();
    RunningDownload(const RunningDownload&) = delete;
    RunningDownload& operator=(const RunningDownload&) = delete;

    void cancel() { downloader_.cancel(); }
    /// As the progress reports say, four times a second.
    [[nodiscard]] qint64 receivedBytes() const { return received_; }
    [[nodiscard]] bool isOver() const { return over_; }
    [[nodiscard]] Ending end();

private:
    Downloader downloader_;
    std::atomic<qint64> received_ = 0;
    std::atomic<bool> over_ = false;
    Ending ending_;
    std::thread thread_;
};

/// The shortest time-out, small segments, and so many failures in a row as the test has patience for.
[[nodiscard]] DownloadOptions impatient(qint64 connections, qint64 maxRetries = 12);
[[nodiscard]] DownloadRequest toFolder(const QUrl& url, const QString& path, const QList<QUrl>& mirrors = {});

/// Fails the test for every file of the folder that bears a finished file's name and is not `content`.
void expectNothingWrongIsFinished(const QString& folder, const QByteArray& content);

/// A server with one file, and a folder into which "f.bin" is fetched.
class DownloadTest : public ::testing::Test {
protected:
    explicit DownloadTest(qint64 size)
        : file(ServerFile::ofSize(size)) {}

    [[nodiscard]] DownloadRequest request(const QByteArray& path = "/f.bin") const {
        return toFolder(server.url(path), folder.path());
    }
    Ending run(const DownloadOptions& options = impatient(8)) { return download(world, request(), options); }
    /// So slow in its data that a download can be paused on the way.
    [[nodiscard]] static Handler throttled(const ServerFile& what, double bytesPerSecond = 5e6);
    /// Stops a download once more than that was received; returns the bytes that its record vouches for.
    qint64 interrupt(qint64 enough, const DownloadRequest& what,
                     const DownloadOptions& options = impatient(8));
    /// `what` is there under its name, nothing else is, and the rest of it was fetched in this session.
    void expectDelivered(const Ending& ending, const ServerFile& what, qint64 resumedFrom = 0) const;
    /// A record that vouches for every byte of the file.
    void saveWholeRecord(const std::optional<QString>& etag = QStringLiteral("\"v1\"")) const;
    [[nodiscard]] qint64 held() const { return heldBytes(folder, QStringLiteral("f.bin"), file.content); }

    const ServerFile file;
    const TempFolder folder;
    ScriptedServer server{serve(file)};
    RealWorld world;
};

} // namespace fetra::test
