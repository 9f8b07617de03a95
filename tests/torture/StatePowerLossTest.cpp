// The list of downloads when the power goes: whatever is left of its files, the next start finds a list that
// was saved, and none that is older than the last one known to be on the disk.

#include "CrashStates.h"
#include "ManagerLife.h"

#include "system/Log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class StatePowerLoss : public ::testing::Test {
protected:
    StatePowerLoss() { Log::setLevel(LogLevel::error); }

    void leavesAListThatWasSaved(std::optional<SystemCall::Kind> unknown) {
        const QuickFolder disk;
        OperationRecorder recorder(disk.path());
        if (unknown)
            recorder.refuse(*unknown, EPERM);
        live(disk, recorder);
        const std::vector<Generation> generations = generationsOf(recorder);
        cutPower(recorder, 500, 300, [&](const TempFolder& left, size_t point) {
            const QStringList list = ManagerLife(left.path()).list();
            size_t oldest = 0;
            for (size_t index = 0; index < generations.size(); ++index)
                oldest = generations[index].secured <= point ? index : oldest;
            EXPECT_TRUE(std::any_of(
                generations.begin() + static_cast<std::ptrdiff_t>(oldest), generations.end(),
                [&](const Generation& each) { return each.saved <= point && each.list == list; }));
        });
    }

private:
    /// One content of the state file.
    struct Generation {
        QStringList list;
        /// The point from which on it can be found, and that from which on no older one may be.
        size_t saved = 0;
        size_t secured = std::numeric_limits<size_t>::max();
    };

    static void live(const TempFolder& disk, OperationRecorder& recorder) {
        // Longer than a few pages of the disk, so that one of them can be missing from within.
        const QString longName(20'000, u'l');
        for (int round = 0; round < 3; ++round) {
            {
                ManagerLife life(disk.path());
                life.add(u"first%1"_s.arg(round));
                life.add(u"long%1?"_s.arg(round) + longName);
                life.manager.setConnectionsPerDownload(3 + round);
                for (int number = 0; number < 6; ++number) {
                    life.add(u"%1of%2"_s.arg(number).arg(round));
                    // The queue that syncs comes to its turn now and then.
                    std::this_thread::sleep_for(std::chrono::milliseconds(number % 3));
                }
                life.manager.remove(life.manager.items().first(), false);
            }
            // The end has waited for the last sync.
            recorder.mark("stopped");
        }
    }

    [[nodiscard]] static std::vector<Generation> generationsOf(const OperationRecorder& recorder) {
        const QByteArray name = statePath.toLatin1();
        std::vector<Generation> generations{{.list = {}, .saved = 0, .secured = 0}};
        DiskImage disk = recorder.before();
        for (size_t point = 0; point < recorder.operations().size(); ++point) {
            const Operation& next = recorder.operations()[point];
            disk.apply(next);
            if (next.kind == Operation::Kind::rename && next.newName == name)
                generations.push_back(
                    {.list = ManagerLife::listIn(disk.read(name).value()).value(), .saved = point + 1});
            else if (next.kind == Operation::Kind::mark)
                generations.back().secured = point;
        }
        return generations;
    }
};

TEST_F(StatePowerLoss, LeavesAListThatWasSaved) {
    leavesAListThatWasSaved({});
}

TEST_F(StatePowerLoss, LeavesAListThatWasSavedWhereAFileHasOneName) {
    leavesAListThatWasSaved(SystemCall::Kind::link);
}

} // namespace
} // namespace fetra::test
