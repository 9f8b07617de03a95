#pragma once

#include "support/DownloadRun.h"
#include "support/FakeClock.h"
#include "support/SystemCalls.h"

#include <limits>

namespace fetra::test {

/// One download of the bench's file.
struct BenchRun {
    /// How requests are answered; honestly where no rule speaks of them.
    std::vector<LieRule> rules = {};
    /// Does not continue what a record speaks of, and makes none.
    bool fresh = false;
    qint64 maxRetries = 0;
    std::optional<QString> expectedSHA256 = {};
    /// It is cancelled when so many bytes are there and a record of them has been asked for.
    qint64 cancelAt = std::numeric_limits<qint64>::max();
    /// Time goes so fast that there is a record every few chunks.
    bool manyRecords = false;
};

/// A server with one file of four segments, and downloads from it over as many lanes, whose time the test
/// governs.
class DownloadBench : public ::testing::Test {
protected:
    static constexpr qint64 segmentSize = 65'536;
    static constexpr qint64 fileSize = 4 * segmentSize;

    /// What a disk goes through.
    struct Story {
        /// While nothing goes wrong.
        std::optional<BenchRun> before = {};
        BenchRun begin;
        std::optional<BenchRun> goOn = {};
        /// Where the file goes, below the folder that is watched; ends in a slash.
        QString subfolder = {};
        /// A kind of call that the file system does not know.
        std::optional<SystemCall::Kind> unknown = {};
    };

    /// To the end, which a failure of the test marks when it does not come.
    Ending run(const QString& folder, const BenchRun& how = {});
    /// What the record in the folder vouches for, after comparing those bytes; 0 without a valid one, and the
    /// whole file when it already has its final name.
    [[nodiscard]] qint64 provenBytes(const QString& folder) const;
    /// Without any fault left: the file comes out right, fetching no more than what `proven` leaves.
    /// `before` is what the last run came to.
    void expectRecovery(const QString& folder, qint64 proven, const Ending& before = {});

    const ServerFile file = ServerFile::ofSize(fileSize);

private:
    ScriptedServer server_;
    CurlClient http_;
    FakeClock clock_;
    FakeRandom random_;
    FakeTickSource ticker_;
};

} // namespace fetra::test
