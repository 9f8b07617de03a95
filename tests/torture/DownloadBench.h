#pragma once

#include "support/DownloadRun.h"
#include "support/FakeClock.h"

namespace fetra::test {

/// A server with one file of four segments, and downloads from it whose time the test governs.
class DownloadBench {
public:
    static constexpr qint64 segmentSize = 65'536;
    static constexpr qint64 fileSize = 4 * segmentSize;

    /// Four lanes, a lane a segment, and no patience.
    [[nodiscard]] static DownloadOptions options(bool resume = true);

    /// How the data requests are answered from now on.
    void answer(const Lies& lies) { server_.setHandler(serve(file, lies, {.what = When::What::Data})); }
    void answerEverything(const Lies& lies) { server_.setHandler(serve(file, lies)); }
    /// A request each, the last one for all that follow.
    void answerInTurn(const std::vector<Lies>& lies);
    /// The first half of each segment, then silence or the end of the connection.
    void answerHalf(Cut::How how) { answer({.cut = Cut{.how = how, .at = segmentSize / 2}}); }

    /// To the end, which a failure of the test marks when it does not come.
    Ending run(const QString& folder, const DownloadOptions& how = options());
    /// Until `bytes` more are there and a record of them has been asked for; then it is cancelled.
    Ending runAndCancel(const QString& folder, qint64 bytes, const DownloadOptions& how = options());
    /// Like `run`, in a time that goes so fast that there is a record every few chunks.
    Ending runWithManyRecords(const QString& folder, qint64 cancelAt, const DownloadOptions& how = options());

    /// What the record in the folder vouches for, after comparing those bytes; 0 without a valid one, and the
    /// whole file when it already has its final name.
    [[nodiscard]] qint64 provenBytes(const QString& folder) const;
    /// Nothing that bears a finished file's name is anything else than the file.
    void expectNothingWrong(const QString& folder) const;
    /// Without any fault left: the file comes out right, fetching no more than what `proven` leaves.
    /// `before` is what the last run came to.
    void expectRecovery(const QString& folder, qint64 proven, const Ending& before = {});

    const ServerFile file = ServerFile::ofSize(fileSize);

private:
    [[nodiscard]] EngineServices services() { return {http_.client, clock_, random_, ticker_}; }
    [[nodiscard]] DownloadRequest request(const QString& folder) const {
        return toFolder(server_.url("/f.bin"), folder);
    }
    Ending endOf(RunningDownload& running);

    struct Client {
        Client() { TestCertificate::trustAuthority(); }
        CurlClient client;
    };
    ScriptedServer server_{serve(file)};
    Client http_;
    FakeClock clock_;
    FakeRandom random_;
    FakeTickSource ticker_;
};

} // namespace fetra::test
