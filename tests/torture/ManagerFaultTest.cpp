// The list of downloads on a disk on which one call after the other fails: changed, saved, loaded, changed.

#include "FaultInjector.h"
#include "support/ScriptedRunners.h"
#include "support/TempFolder.h"

#include "manager/DownloadManager.h"
#include "system/Log.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <cerrno>
#include <set>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

using Kind = SystemCall::Kind;
using Names = std::multiset<QString>;

const QByteArray garbage = "{\"items\": [ half a li";

/// A state file in a folder of its own, and what a look past the faults finds there.
class Store {
public:
    [[nodiscard]] QString folder() const { return folder_.path(); }
    [[nodiscard]] QUrl url() const { return QUrl::fromLocalFile(folder_.path(u"Fetra/state.json"_s)); }
    void writeGarbage() const { folder_.write(u"Fetra/state.json"_s, garbage); }

    /// Nothing when there is no readable list.
    [[nodiscard]] std::optional<Names> listIn(const QString& name) const {
        const FolderWatcher::Unseen unseen;
        const QByteArray content = folder_.tryRead(u"Fetra/"_s + name).value_or(QByteArray());
        const auto state = ManagerState::fromJson(QJsonDocument::fromJson(content).object());
        if (!state)
            return std::nullopt;
        Names names;
        for (const DownloadRecord& record : state->items)
            names.insert(record.filename);
        return names;
    }
    [[nodiscard]] std::optional<Names> list() const { return listIn(u"state.json"_s); }
    [[nodiscard]] std::optional<Names> secured() const { return listIn(u"state.json.synced"_s); }
    /// Under whatever name.
    [[nodiscard]] bool holds(const QString& item) const {
        const QStringList files = folder_.names(u"Fetra"_s);
        return std::ranges::any_of(files, [&](const QString& file) {
            const std::optional<Names> names = listIn(file);
            return names && names->contains(item);
        });
    }
    [[nodiscard]] bool holdsGarbage() const {
        const FolderWatcher::Unseen unseen;
        const QStringList files = folder_.names(u"Fetra"_s);
        return std::ranges::any_of(
            files, [&](const QString& file) { return folder_.tryRead(u"Fetra/"_s + file) == garbage; });
    }

private:
    const TempFolder folder_;
};

class ManagerFaults : public ::testing::Test {
protected:
    struct World {
        std::optional<Kind> unknown = {};
        bool beginsWithGarbage = false;
    };

    ManagerFaults() { Log::setLevel(LogLevel::error); }

    void torture(const World& world, int atLeast) {
        const int points = test::torture([&](const Fault& fault) { return happens(world, fault); });
        std::cout << points << " fault points\n";
        EXPECT_GE(points * stride, atLeast);
    }

private:
    /// One manager's life.
    class Life {
    public:
        Life(const Store& store, const FaultInjector& faults)
            : store_(store)
            , faults_(faults)
            , manager_({.storeURL = store.url(), .defaultDirectory = QUrl::fromLocalFile(store.folder())},
                       runners_) {}

        void add(const QString& name) {
            change([&] {
                manager_.add({.url = QUrl(u"http://host.example/"_s + name), .startImmediately = false});
            });
        }
        void remove(const QString& name) {
            change([&] {
                for (const DownloadManager::Item& item : QList(manager_.items()))
                    if (item->filename() == name)
                        manager_.remove(item, false);
            });
        }
        void assign(qint64 connections) {
            change([&] { manager_.setConnectionsPerDownload(connections); });
        }
        [[nodiscard]] Names names() const {
            Names names;
            for (const DownloadManager::Item& item : manager_.items())
                names.insert(item->filename());
            return names;
        }

    private:
        /// What was a list stays one, and is the present one unless something went wrong.
        void change(const std::function<void()>& act) {
            const bool wasList = store_.list() || store_.secured();
            const int fired = faults_.fired();
            act();
            EXPECT_TRUE(!wasList || store_.list() || store_.secured());
            if (faults_.fired() == fired) {
                EXPECT_EQ(store_.list(), names());
            }
        }

        const Store& store_;
        const FaultInjector& faults_;
        ScriptedRunners runners_;
        DownloadManager manager_;
    };

    static bool happens(const World& world, const Fault& fault) {
        const Store store;
        if (world.beginsWithGarbage)
            store.writeGarbage();
        FaultInjector faults(store.folder(), fault);
        if (world.unknown)
            faults.refuse(*world.unknown, EPERM);
        {
            Life first(store, faults);
            first.add(u"a"_s);
            first.assign(7);
            first.add(u"b"_s);
            first.remove(u"a"_s);
            first.add(u"c"_s);
        }
        const std::optional<Names> saved = store.list();
        const bool isSecured = store.secured() == saved;
        {
            const int fired = faults.fired();
            Life second(store, faults);
            // A second generation is there for one failure at a time.
            const bool mustLoad = faults.fired() == fired || (fault.reach == Fault::Reach::once && isSecured);
            if (saved && mustLoad) {
                EXPECT_EQ(second.names(), *saved);
            }
            second.add(u"d"_s);
        }
        for (const QString& name : saved.value_or(Names{})) {
            EXPECT_TRUE(store.holds(name)) << name.toStdString();
        }
        EXPECT_TRUE(!world.beginsWithGarbage || store.holdsGarbage());
        const int fired = faults.fired();
        faults.end();
        const std::optional<Names> last = store.list() ? store.list() : store.secured();
        Life third(store, faults);
        if (last) {
            EXPECT_EQ(third.names(), *last);
        }
        third.add(u"e"_s);
        return fired > 0;
    }
};

TEST_F(ManagerFaults, LoseNoList) {
    torture({}, 380);
}

TEST_F(ManagerFaults, LoseNoListWhereAFileHasOneName) {
    torture({.unknown = Kind::link}, 450);
}

TEST_F(ManagerFaults, LoseNothingThatCouldNotBeRead) {
    torture({.beginsWithGarbage = true}, 420);
}

} // namespace
} // namespace fetra::test
