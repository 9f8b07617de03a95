#include "misbehaviour/Misbehaviour.h"

#include "segmented/HostLimits.h"
#include "support/DownloadRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

/// So many downloads at once, on a machine that may have other things to do.
constexpr auto machineAllowance = 3s;

bool isReduced() {
    return qEnvironmentVariableIsSet("FETRA_REDUCED_MATRIX");
}

/// Mostly they wait, and so do their servers. In a slow build they do not: so many threads and connections
/// keep the processors busy, and an honest server's answer would come after its time.
std::size_t combinationsAtOnce() {
    return isReduced() ? 3 : 24;
}

struct Combination {
    const Misbehaviour* row;
    qint64 lanes;
    bool tls;

    /// One of its own, since limits of connections are remembered by host.
    [[nodiscard]] QByteArray host() const {
        return QByteArray::fromStdString(row->name) + (tls ? "-tls-" : "-plain-") +
               QByteArray::number(lanes) + ".test.localhost";
    }
};

std::vector<Combination> combinationsOf(const Misbehaviour& row) {
    std::vector<Combination> all;
    for (const bool tls : row.overTLS) {
        for (const qint64 lanes : row.lanes)
            all.push_back({.row = &row, .lanes = lanes, .tls = tls});
    }
    if (isReduced())
        return {all[row.name.size() % all.size()]};
    return all;
}

QStringList namesLeft(Left left) {
    const QStringList names{u"f.bin.fetra"_s, u"f.bin.part"_s};
    return left == Left::Nothing ? QStringList() : left == Left::Part ? names.sliced(1) : names;
}

class MisbehaviourRun {
public:
    MisbehaviourRun(const Combination& combination, RealWorld& world)
        : row_(*combination.row)
        , lanes_(combination.lanes)
        , host_(combination.host())
        , world_(world)
        , server_({}, {.certificate = combination.tls ? std::optional(TestCertificate(row_.certificate))
                                                      : std::nullopt}) {}

    /// Answers whether it was over in time.
    [[nodiscard]] bool judge() {
        HostLimits::forget(QString::fromLatin1(host_));
        server_.setHandler(row_.handler ? row_.handler(server_)
                                        : FileScript{.file = row_.file, .rules = row_.lies}.handler());
        server_.setConnectionRule(row_.connections);
        const auto begun = std::chrono::steady_clock::now();
        const Ending ending = run(row_.maxRetries);
        const auto elapsed = std::chrono::steady_clock::now() - begun;
        const QString words = QString(ending.words).replace(QLatin1StringView(host_), "HOST"_L1);
        EXPECT_TRUE(words.startsWith(QString::fromStdString(row_.end)))
            << "it ended with: " << words.toStdString();
        const QByteArray right = row_.finished.value_or(row_.file.content);
        expectNothingWrongIsFinished(folder_.path(), right);
        if (ending.isComplete()) {
            EXPECT_EQ(folder_.names(), QStringList{u"f.bin"_s});
            EXPECT_EQ(ending.result->bytes, right.size());
        } else {
            EXPECT_EQ(folder_.names(), namesLeft(row_.left));
            expectAllKeptByAnHonestDownload();
        }
        return isReduced() || elapsed < row_.within + machineAllowance;
    }

private:
    Ending run(qint64 maxRetries) {
        return download(world_, toFolder(server_.url("/f.bin", host_), folder_.path()),
                        impatient(lanes_, maxRetries));
    }

    void expectAllKeptByAnHonestDownload() {
        const qint64 held = heldBytes(folder_, u"f.bin"_s, row_.file.content);
        EXPECT_GE(held, row_.held);
        if (row_.certificate != TestCertificate::Kind::Valid)
            return;
        server_.setHandler(serve(row_.file));
        server_.setConnectionRule({});
        const Ending ending = run(12);
        EXPECT_EQ(ending.words, u"complete"_s);
        expectNothingWrongIsFinished(folder_.path(), row_.file.content);
        EXPECT_EQ(folder_.names(), QStringList{u"f.bin"_s});
        EXPECT_EQ(ending.isComplete() ? ending.result->resumedFrom : -1, held);
    }

    const Misbehaviour& row_;
    const qint64 lanes_;
    const QByteArray host_;
    RealWorld& world_;
    const QuickFolder folder_;
    ScriptedServer server_;
};

/// Answers those that were not over in time.
std::vector<Combination> run(const std::vector<Combination>& all, std::size_t atOnce) {
    RealWorld world;
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::vector<Combination> late;
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < atOnce; ++index) {
        threads.emplace_back([&] {
            for (std::size_t number = next++; number < all.size(); number = next++) {
                SCOPED_TRACE(all[number].host().constData());
                const bool inTime = MisbehaviourRun(all[number], world).judge();
                const std::lock_guard lock(mutex);
                if (!inTime)
                    late.push_back(all[number]);
            }
        });
    }
    threads.clear();
    return late;
}

} // namespace

const ServerFile& Misbehaviour::defaultFile() {
    static const ServerFile file = ServerFile::ofSize(defaultSize);
    return file;
}

void runMisbehaviours(const Rows& rows) {
    const std::string picked = qgetenv("FETRA_ROW").toStdString();
    std::vector<Combination> all;
    for (const Misbehaviour& row : rows) {
        if (picked.empty() || row.name == picked)
            std::ranges::copy(combinationsOf(row), std::back_inserter(all));
    }
    // What was late among so many others must be in time by itself.
    for (const Combination& late : run(run(all, combinationsAtOnce()), 1))
        ADD_FAILURE() << late.host().constData() << " took longer than " << late.row->within.count() << " s";
}

} // namespace fetra::test
