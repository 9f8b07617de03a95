#include "SegmentedDownloadTest.h"

#include "segmented/HostLimits.h"

#include <thread>

namespace fetra::test {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto endDeadline = 20s;
constexpr auto saveDeadline = 10s;
const QByteArray largestChunk(65'536, 'x');

/// A request that no engine knows.
class StrangerTask final : public HTTPTask {
public:
    [[nodiscard]] quint64 identifier() const override { return 0; }
    void resume() override {}
    void cancel() override {}
};

} // namespace

SegmentedConfig rangedConfig(std::optional<qint64> total, qint64 connections) {
    SegmentedConfig config;
    config.total = total;
    config.ranged = true;
    config.options.connections = connections;
    config.options.minSegmentSize = 1;
    config.options.dynamicSplit = false;
    config.recordURL = u"http://record.test/file"_s;
    setSources(config, 1);
    return config;
}

void setSources(SegmentedConfig& config, int count) {
    config.sources.clear();
    config.originals.clear();
    config.validators.resize(count);
    for (int i = 0; i < count; ++i) {
        config.sources.append(QUrl(u"http://s%1.test/file"_s.arg(i)));
        config.originals.append(QUrl(u"http://o%1.test/file"_s.arg(i)));
    }
}

HTTPResponse head(int status, qint64 length, const HeaderList& headers) {
    HTTPResponse response{.status = status, .expectedLength = length};
    for (const auto& [name, value] : headers)
        response.headers.add(name, value);
    return response;
}

void passLock(SegmentedDownload& engine) {
    StrangerTask stranger;
    engine.didComplete(stranger, nullptr);
}

EngineRun::EngineRun(SegmentedDownloadTest& test, SegmentedConfig config)
    : test_(test)
    , config_([&] {
        static std::atomic<int> count = 0;
        config.sidecarPath = test.folder.path(u"sidecar"_s + QString::number(++count));
        return config;
    }())
    , path_(config_.sidecarPath + u".part"_s)
    , sink_(path_, config_.total, FileSink::Existing::refused)
    , startedAt_(test.clock.seconds()) {
    HostLimits::forget(config_.sources.front().host());
    const auto keep = [this](const DownloadProgress& progress) {
        const std::lock_guard lock(mutex_);
        progress_ = progress;
        ++progressCount_;
    };
    engine_ = std::make_unique<SegmentedDownload>(
        config_, sink_, keep,
        EngineServices{.http = http, .clock = test.clock, .random = test.random, .ticker = test.ticker});
}

EngineRun::~EngineRun() {
    if (future_.valid()) {
        engine_->cancel();
        static_cast<void>(end());
    }
    HostLimits::forget(config_.sources.front().host());
}

void EngineRun::start() {
    const TickSource::Token before = test_.ticker.additions();
    future_ = std::async(std::launch::async, [this]() -> End {
        try {
            return {.outcome = engine_->run(), .error = std::nullopt};
        } catch (const DownloadError& error) {
            return {.outcome = std::nullopt, .error = error};
        }
    });
    while (test_.ticker.additions() == before && !hasEnded())
        std::this_thread::sleep_for(20us);
    passLock(*engine_);
}

std::vector<QByteArray> EngineRun::ranges() const {
    std::vector<QByteArray> ranges;
    for (size_t i = 0; i < http.startedCount(); ++i)
        ranges.push_back(task(i).range());
    return ranges;
}

HTTPResponse EngineRun::honestHead(const FakeTask& task) const {
    const qint64 total = config_.total.value();
    if (!task.last())
        return head(200, total);
    return head(
        206, *task.last() - task.first() + 1,
        {{"Content-Range", task.range().replace("bytes=", "bytes ") + '/' + QByteArray::number(total)}});
}

void EngineRun::send(FakeTask& task, qint64 bytes) {
    if (!task.hasAnswered()) {
        ASSERT_EQ(task.respond(honestHead(task)), HTTPDisposition::allow);
    }
    for (; bytes > 0; bytes -= largestChunk.size())
        task.send(largestChunk.first(std::min(bytes, largestChunk.size())));
}

void EngineRun::serve(FakeTask& task) {
    if (task.isCancelAsked())
        return http.pump();
    const qint64 position = task.hasAnswered() ? task.position() : task.first();
    send(task, task.last().value_or(config_.total.value() - 1) - position + 1);
    if (!task.isComplete())
        task.finish();
}

void EngineRun::serveAll() {
    for (;;) {
        http.pump();
        const auto live = http.live();
        if (live.empty() || ::testing::Test::HasFatalFailure())
            return;
        serve(*live.front());
    }
}

::testing::AssertionResult EngineRun::restartsAfter(double seconds) {
    const size_t before = http.startedCount();
    const double due = now() + seconds;
    at(due - 0.001);
    if (http.startedCount() != before)
        return ::testing::AssertionFailure() << "earlier than after " << seconds << " s";
    at(due + 1e-6);
    if (http.startedCount() == before)
        return ::testing::AssertionFailure() << "later than after " << seconds << " s";
    return ::testing::AssertionSuccess();
}

const EngineRun::End& EngineRun::end() {
    if (end_)
        return *end_;
    const auto deadline = std::chrono::steady_clock::now() + endDeadline;
    for (; !hasEnded(); future_.wait_for(200us)) {
        http.pump();
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "the run does not end";
            engine_->cancel();
        }
    }
    end_ = future_.get();
    // Whatever happened: no request is left, and nothing is written any more.
    EXPECT_TRUE(http.live().empty());
    EXPECT_TRUE(sink_.isClosed());
    return *end_;
}

bool EngineRun::saves(const QList<ResumeRecord::Seg>& segments) {
    return eventually(saveDeadline, [&] {
        test_.ticker.tick();
        const std::optional<ResumeRecord> saved = record();
        return saved && saved->segments == segments;
    });
}

} // namespace fetra::test