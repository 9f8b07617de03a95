// The list of downloads when the power goes: whatever is left of its files, the next start finds a list that
// was saved, and none that is older than the last one known to be on the disk.

#include "CrashStates.h"
#include "OperationRecorder.h"
#include "Stride.h"
#include "support/ScriptedRunners.h"
#include "support/TempFolder.h"

#include "manager/DownloadManager.h"
#include "system/Log.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QJsonDocument>

#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr size_t mostStates = 500;
const QByteArray statePath = "Fetra/state.json";

/// The addresses.
using List = QStringList;

class StatePowerLoss : public ::testing::Test {
protected:
    StatePowerLoss() { Log::setLevel(LogLevel::error); }

    /// Fails fewer states than that.
    void cutPower(std::optional<SystemCall::Kind> unknown, size_t atLeast) {
        const TempFolder disk;
        OperationRecorder recorder(disk.path());
        if (unknown)
            recorder.refuse(*unknown, EPERM);
        live(disk, recorder);
        const std::vector<Generation> generations = generationsOf(recorder);
        const std::vector<CrashState> states =
            crashStates(recorder.before(), recorder.operations(), mostStates / stride);
        for (const CrashState& state : states) {
            SCOPED_TRACE(state.text.toStdString());
            const TempFolder folder;
            state.disk.writeTo(folder.path());
            EXPECT_TRUE(isOneOf(generations, state.point, listIn(folder)));
            if (HasFailure())
                break;
        }
        std::cout << recorder.operations().size() << " operations, " << states.size() << " states\n";
        EXPECT_GE(states.size() * stride, atLeast);
    }

private:
    /// One content of the state file.
    struct Generation {
        List list;
        /// The point from which on it can be found, and that from which on no older one may be.
        size_t saved = 0;
        size_t secured = std::numeric_limits<size_t>::max();
    };

    struct Life {
        explicit Life(const TempFolder& folder)
            : manager({.storeURL = QUrl::fromLocalFile(folder.path(QString::fromLatin1(statePath))),
                       .defaultDirectory = QUrl::fromLocalFile(folder.path())},
                      runners) {}

        void add(const QString& path) {
            manager.add({.url = QUrl(u"http://host.example/"_s + path), .startImmediately = false});
        }

        ScriptedRunners runners;
        DownloadManager manager;
    };

    static void live(const TempFolder& disk, OperationRecorder& recorder) {
        // Longer than a few pages of the disk, so that one of them can be missing from within.
        const QString longName(20'000, u'l');
        for (int round = 0; round < 3; ++round) {
            {
                Life life(disk);
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

    [[nodiscard]] static List listOf(const QList<DownloadRecord>& records) {
        List list;
        for (const DownloadRecord& record : records)
            list.append(record.url.toString());
        return list;
    }
    [[nodiscard]] static List listIn(const TempFolder& folder) {
        const Life life(folder);
        QList<DownloadRecord> records;
        for (const DownloadManager::Item& item : life.manager.items())
            records.append(item->record());
        return listOf(records);
    }
    [[nodiscard]] static List decode(const std::optional<QByteArray>& content) {
        const auto state =
            ManagerState::fromJson(QJsonDocument::fromJson(content.value_or(QByteArray())).object());
        return state ? listOf(state->items) : List();
    }

    [[nodiscard]] static std::vector<Generation> generationsOf(const OperationRecorder& recorder) {
        const std::vector<Operation>& operations = recorder.operations();
        std::vector<Generation> generations{{.list = {}, .saved = 0, .secured = 0}};
        DiskImage disk = recorder.before();
        for (size_t point = 0; point < operations.size(); ++point) {
            const Operation& next = operations[point];
            disk.apply(next);
            if (next.kind == Operation::Kind::rename && next.newName == statePath)
                generations.push_back({.list = decode(disk.read(statePath)), .saved = point + 1});
            else if (next.kind == Operation::Kind::mark)
                generations.back().secured = point;
        }
        return generations;
    }

    [[nodiscard]] static bool isOneOf(const std::vector<Generation>& generations, size_t point,
                                      const List& list) {
        size_t oldest = 0;
        for (size_t index = 0; index < generations.size(); ++index)
            oldest = generations[index].secured <= point ? index : oldest;
        for (size_t index = oldest; index < generations.size() && generations[index].saved <= point;
             ++index) {
            if (generations[index].list == list)
                return true;
        }
        return false;
    }
};

TEST_F(StatePowerLoss, LeavesAListThatWasSaved) {
    cutPower({}, 300);
}

TEST_F(StatePowerLoss, LeavesAListThatWasSavedWhereAFileHasOneName) {
    cutPower(SystemCall::Kind::link, 300);
}

} // namespace
} // namespace fetra::test
