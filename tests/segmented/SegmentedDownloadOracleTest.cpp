#include "OracleRun.h"
#include "support/TempFolder.h"

#include <iomanip>
#include <iostream>
#include <ranges>

#include <sys/prctl.h>

namespace fetra::test {
namespace {

// FETRA_ORACLE_SEQUENCES: how many sequences; FETRA_ORACLE_SEED: the seed of the first one. Each has the seed
// after that of the one before, and is the same each time: the seed in a failure and 1 play it again.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qint64 usualSequences = 10'000;
#else
constexpr qint64 usualSequences = 20'000;
#endif
constexpr qint64 firstSeed = 1;
/// With fewer, chance may leave out something rare.
constexpr qint64 enoughForCoverage = 10'000;
constexpr std::string_view toReach =
    "splits,sheds,replacements,refusals,full bodies,limits raised,failures,write faults,sync faults,"
    "sidecar faults,slow syncs,acts during writes,records,crashes,resumes,finishes,resumed finishes,"
    "cancelled,I/O errors,exhausted,ranges not honoured,size mismatches";

qint64 number(const char* variable, qint64 otherwise) {
    bool isNumber = false;
    const qint64 value = qEnvironmentVariable(variable).toLongLong(&isNumber);
    return isNumber ? value : otherwise;
}

class SegmentedDownloadOracleTest : public ::testing::Test {
protected:
    SegmentedDownloadOracleTest() {
        CallWatcher::install(&world.file);
        ::prctl(PR_SET_TIMERSLACK, 1UL);
    }
    ~SegmentedDownloadOracleTest() override { CallWatcher::install(nullptr); }

    QuickFolder folder;
    OracleWorld world{folder};
};

TEST_F(SegmentedDownloadOracleTest, WhateverHappensEveryByteIsFetchedOnceAndNoneIsClaimedThatIsNotSafe) {
    const qint64 sequences = number("FETRA_ORACLE_SEQUENCES", usualSequences);
    const auto base = static_cast<quint64>(number("FETRA_ORACLE_SEED", firstSeed));
    for (qint64 i = 0; i < sequences; ++i) {
        const quint64 seed = base + static_cast<quint64>(i);
        const std::string complaint = playSequence(world, seed);
        if (complaint.empty())
            continue;
        world.logs = true;
        static_cast<void>(playSequence(world, seed));
        std::string steps;
        for (const std::string& line : world.log)
            steps += "  " + line + "\n";
        FAIL() << complaint << "\nFETRA_ORACLE_SEED=" << seed << " FETRA_ORACLE_SEQUENCES=1 plays it again:\n"
               << steps;
    }
    for (const auto part : std::views::split(toReach, ',')) {
        const std::string_view event(part.begin(), part.end());
        std::cout << std::setw(12) << world.coverage[event] << ' ' << event << '\n';
        if (sequences >= enoughForCoverage) {
            EXPECT_GT(world.coverage[event], sequences / 1'000) << event;
        }
    }
}

} // namespace
} // namespace fetra::test
