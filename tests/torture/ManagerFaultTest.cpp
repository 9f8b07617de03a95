// The list of downloads on a disk on which one call after the other fails: changed, saved, loaded, changed.

#include "FaultInjector.h"
#include "ManagerLife.h"
#include "support/TempFolder.h"

#include "system/Log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

using Kind = SystemCall::Kind;
using List = std::optional<QStringList>;

const QByteArray garbage = "{\"items\": [ half a li";

/// What a look past the faults finds in the folder of a list.
class Store {
public:
    [[nodiscard]] QString folder() const { return folder_.path(); }
    void writeGarbage() const { folder_.write(statePath, garbage); }

    /// Nothing when there is no readable one.
    [[nodiscard]] List list() const { return ManagerLife::listIn(read(statePath)); }
    [[nodiscard]] List secured() const { return ManagerLife::listIn(read(statePath + u".synced"_s)); }
    [[nodiscard]] List present() const { return list() ? list() : secured(); }
    /// Under whatever name.
    [[nodiscard]] bool holds(const std::function<bool(const QByteArray& content)>& what) const {
        const QStringList files = folder_.names(u"Fetra"_s);
        return std::ranges::any_of(files,
                                   [&](const QString& file) { return what(read(u"Fetra/"_s + file)); });
    }

private:
    [[nodiscard]] QByteArray read(const QString& name) const {
        const FolderWatcher::Unseen unseen;
        return folder_.tryRead(name).value_or(QByteArray());
    }

    const QuickFolder folder_;
};

class ManagerFaults : public ::testing::Test {
protected:
    ManagerFaults() { Log::setLevel(LogLevel::error); }

    static bool loseNothing(const Fault& fault, std::optional<Kind> unknown, bool beginsWithGarbage) {
        const Store store;
        if (beginsWithGarbage)
            store.writeGarbage();
        FaultInjector faults(store.folder(), fault);
        if (unknown)
            faults.refuse(*unknown, EPERM);
        // What was a list stays one, and is the present one unless something went wrong.
        const auto change = [&](ManagerLife& life, const std::function<void()>& act) {
            const bool wasList = store.present().has_value();
            const int fired = faults.fired();
            act();
            EXPECT_TRUE(!wasList || store.present());
            if (faults.fired() == fired) {
                EXPECT_EQ(store.list(), life.list());
            }
        };
        const auto add = [&](ManagerLife& life, const QString& name) {
            change(life, [&] { life.add(name); });
        };
        {
            ManagerLife first(store.folder());
            add(first, u"a"_s);
            change(first, [&] { first.manager.setConnectionsPerDownload(7); });
            add(first, u"b"_s);
            change(first, [&] { first.manager.remove(first.manager.items().first(), false); });
            add(first, u"c"_s);
        }
        const List saved = store.list();
        const bool isSecured = store.secured() == saved;
        {
            const int fired = faults.fired();
            ManagerLife second(store.folder());
            // A second generation is there for one failure at a time.
            const bool mustLoad = faults.fired() == fired || (fault.reach == Fault::Reach::once && isSecured);
            if (saved && mustLoad) {
                EXPECT_EQ(second.list(), *saved);
            }
            add(second, u"d"_s);
        }
        for (const QString& address : saved.value_or(QStringList())) {
            EXPECT_TRUE(store.holds([&](const QByteArray& content) {
                return ManagerLife::listIn(content).value_or(QStringList()).contains(address);
            })) << address.toStdString();
        }
        EXPECT_TRUE(!beginsWithGarbage ||
                    store.holds([](const QByteArray& content) { return content == garbage; }));
        const int fired = faults.fired();
        faults.end();
        const List last = store.present();
        ManagerLife third(store.folder());
        if (last) {
            EXPECT_EQ(third.list(), *last);
        }
        add(third, u"e"_s);
        return fired > 0;
    }
};

TEST_F(ManagerFaults, LoseNoList) {
    torture(380, [](const Fault& fault) { return loseNothing(fault, {}, false); });
}

TEST_F(ManagerFaults, LoseNoListWhereAFileHasOneName) {
    torture(450, [](const Fault& fault) { return loseNothing(fault, Kind::link, false); });
}

TEST_F(ManagerFaults, LoseNothingThatCouldNotBeRead) {
    torture(420, [](const Fault& fault) { return loseNothing(fault, {}, true); });
}

} // namespace
} // namespace fetra::test
