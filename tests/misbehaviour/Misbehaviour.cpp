#include "misbehaviour/Misbehaviour.h"

#include "segmented/HostLimits.h"
#include "support/DownloadRun.h"
#include "support/Eventually.h"

#include <gtest/gtest.h>
#include <QFileInfo>

#include <atomic>
#include <mutex>
#include <thread>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

/// Mostly they wait, and so do their servers.
constexpr std::size_t rowsAtOnce = 4;
/// So many downloads at once, on a machine that may have other things to do.
constexpr auto machineAllowance = 3s;

bool isReduced() {
    return qEnvironmentVariableIsSet("FETRA_REDUCED_MATRIX");
}

/// In memory where that can be had: disks are not judged here, and other programs' syncs would be timed.
QString quickFolder() {
    const QString memory = u"/dev/shm"_s;
    return QFileInfo(memory).isWritable() ? memory : QDir::tempPath();
}

QStringList namesLeft(Left left) {
    const QStringList names{u"f.bin.fetra"_s, u"f.bin.part"_s};
    return left == Left::Nothing ? QStringList() : left == Left::Part ? names.sliced(1) : names;
}

struct Combination {
    qint64 lanes;
    bool tls;
    /// One of its own, since limits of connections are remembered by host.
    QByteArray host;

    Combination(const Misbehaviour& row, qint64 laneCount, bool overTLS)
        : lanes(laneCount)
        , tls(overTLS)
        , host(QByteArray::fromStdString(row.name) + (tls ? "-tls-" : "-plain-") + QByteArray::number(lanes) +
               ".test.localhost") {}
};

std::vector<Combination> combinationsOf(const Misbehaviour& row) {
    std::vector<Combination> all;
    for (const bool tls : row.overTLS) {
        for (const qint64 lanes : row.lanes)
            all.emplace_back(row, lanes, tls);
    }
    if (isReduced())
        return {all[row.name.size() % all.size()]};
    return all;
}

class MisbehaviourRun {
public:
    MisbehaviourRun(const Misbehaviour& row, const Combination& combination, RealWorld& world)
        : row_(row)
        , combination_(combination)
        , world_(world)
        , server_({}, {.certificate = combination.tls ? std::optional(TestCertificate(row.certificate))
                                                      : std::nullopt}) {}

    /// Answers whether it was over in time.
    [[nodiscard]] bool judge() {
        HostLimits::forget(QString::fromLatin1(combination_.host));
        server_.setHandler(row_.handler ? row_.handler(server_)
                                        : FileScript{.file = row_.file, .rules = row_.lies}.handler());
        server_.setConnectionRule(row_.connections);
        const Ending ending = firstDownload();
        const QString words = QString(ending.words).replace(QLatin1StringView(combination_.host), "HOST"_L1);
        EXPECT_TRUE(words.startsWith(QString::fromStdString(row_.end)))
            << "it ended with: " << words.toStdString();
        const QByteArray right = row_.finished.value_or(row_.file.content);
        expectNothingWrongIsFinished(folder_, right);
        if (ending.isComplete()) {
            EXPECT_EQ(folder_.names(), QStringList{u"f.bin"_s});
            EXPECT_EQ(ending.result->bytes, right.size());
        } else {
            EXPECT_EQ(folder_.names(), namesLeft(row_.left));
            expectAllKeptByAnHonestDownload();
        }
        return inTime_;
    }

private:
    [[nodiscard]] DownloadRequest request() const {
        return toFolder(server_.url("/f.bin", combination_.host), folder_.path());
    }

    Ending firstDownload() {
        auto begun = std::chrono::steady_clock::now();
        RunningDownload running(world_, request(), impatient(combination_.lanes, row_.maxRetries));
        if (row_.endless) {
            EXPECT_TRUE(eventually(20s, [&] { return server_.requests() > combination_.lanes; }));
            begun = std::chrono::steady_clock::now();
            running.cancel();
        }
        const Ending ending = running.end();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begun;
        inTime_ = isReduced() || elapsed < row_.within + machineAllowance;
        return ending;
    }

    void expectAllKeptByAnHonestDownload() {
        const qint64 held = heldBytes(folder_, u"f.bin"_s, row_.file.content);
        EXPECT_GE(held, row_.held);
        server_.setHandler(serve(row_.file));
        server_.setConnectionRule({});
        if (row_.certificate != TestCertificate::Kind::Valid)
            return;
        const Ending ending = download(world_, request(), impatient(combination_.lanes));
        EXPECT_EQ(ending.words, u"complete"_s);
        expectNothingWrongIsFinished(folder_, row_.file.content);
        EXPECT_EQ(folder_.names(), QStringList{u"f.bin"_s});
        EXPECT_EQ(ending.isComplete() ? ending.result->resumedFrom : -1, held);
    }

    const Misbehaviour& row_;
    const Combination combination_;
    RealWorld& world_;
    const TempFolder folder_{quickFolder()};
    ScriptedServer server_;
    bool inTime_ = true;
};

/// Answers the combinations that were not over in time.
QByteArrayList run(const Misbehaviour& row, RealWorld& world) {
    std::mutex mutex;
    QByteArrayList late;
    std::vector<std::jthread> threads;
    for (const Combination& combination : combinationsOf(row)) {
        threads.emplace_back([&, combination] {
            SCOPED_TRACE(combination.host.constData());
            const bool inTime = MisbehaviourRun(row, combination, world).judge();
            const std::lock_guard lock(mutex);
            if (!inTime)
                late.append(combination.host);
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
    Rows picked = rows;
    if (const QByteArray name = qgetenv("FETRA_ROW"); !name.isEmpty())
        std::erase_if(picked, [&](const Misbehaviour& row) { return row.name != name.toStdString(); });
    RealWorld world;
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::vector<const Misbehaviour*> late;
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < rowsAtOnce; ++index) {
        threads.emplace_back([&] {
            for (std::size_t number = next++; number < picked.size(); number = next++) {
                const bool inTime = run(picked[number], world).isEmpty();
                const std::lock_guard lock(mutex);
                if (!inTime)
                    late.push_back(&picked[number]);
            }
        });
    }
    threads.clear();
    // What was late among so many others must be in time by itself.
    for (const Misbehaviour* const row : late)
        EXPECT_EQ(run(*row, world), QByteArrayList()) << "took longer than " << row->within.count() << " s";
}

} // namespace fetra::test
