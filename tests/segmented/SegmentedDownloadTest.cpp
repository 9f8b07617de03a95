#include "SegmentedDownloadTest.h"

#include "segmented/HostLimits.h"

#include <thread>

namespace fetra::test {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto endDeadline = 20s;
constexpr auto saveDeadline = 10s;
constexpr qint64 largestChunk = 65'536;
constexpr qint64 sizeOfUnknown = 10'000;
/// How much more than the file has a test may send.
constexpr qint64 surplus = 1'000;

/// The file, as it lies in the folder before the run: bytes held are there, the others are not.
QString makePartial(const TempFolder& folder, const SegmentedConfig& config) {
    static std::atomic<int> count = 0;
    QByteArray bytes(config.total.value_or(0), '\0');
    const QByteArray content = fileBytes(bytes.size());
    for (const ResumeRecord::Seg& each : config.resumeSegments.value_or(QList<ResumeRecord::Seg>()))
        bytes.replace(each.start, each.current - each.start,
                      content.mid(each.start, each.current - each.start));
    return folder.write(u"file"_s + QString::number(++count), bytes);
}

/// A request that no engine knows.
class StrangerTask final : public HTTPTask {
public:
    [[nodiscard]] quint64 identifier() const override { return 0; }
    void resume() override {}
    void cancel() override {}
};

} // namespace

QByteArray fileBytes(qint64 size) {
    static QByteArray known;
    qint64 i = known.size();
    if (i < size)
        known.resize(size);
    for (char* const data = known.data(); i < size; ++i)
        data[i] = static_cast<char>(1 + (i * 7 + i / 251) % 255);
    return known.first(size);
}

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

SegmentedConfig unrangedConfig(std::optional<qint64> total) {
    SegmentedConfig config = rangedConfig(total);
    config.ranged = false;
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

HTTPResponse head(int status, qint64 length, HeaderList headers) {
    HTTPResponse response{.status = status, .expectedLength = length};
    for (const auto& [name, value] : headers)
        response.headers.add(name, value);
    return response;
}

EngineRun::EngineRun(SegmentedDownloadTest& test, SegmentedConfig config)
    : test_(test)
    , config_([&] {
        static std::atomic<int> count = 0;
        config.sidecarPath = test.folder.path(u"sidecar"_s + QString::number(++count));
        return config;
    }())
    , path_(makePartial(test.folder, config_))
    , content_(fileBytes(config_.total.value_or(sizeOfUnknown) + surplus))
    , sink_(path_, std::nullopt, FileSink::Existing::welcome)
    , startedAt_(test.clock.seconds()) {
    HostLimits::forget(config_.sources.front().host());
    const auto keep = [this](const DownloadProgress& progress) {
        {
            const std::lock_guard lock(mutex_);
            progress_ = progress;
            ++progressCount_;
        }
        if (onProgress)
            onProgress();
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
    // The registration is the last that happens before the engine gives its lock away for the first time.
    StrangerTask stranger;
    engine_->didComplete(stranger, nullptr);
}

std::vector<QByteArray> EngineRun::ranges() const {
    std::vector<QByteArray> ranges;
    for (size_t i = 0; i < http.startedCount(); ++i)
        ranges.push_back(task(i).range());
    return ranges;
}

HTTPResponse EngineRun::honestHead(const FakeTask& task) const {
    if (task.range().isEmpty())
        return head(200, config_.total.value_or(-1));
    const QByteArray total = config_.total ? QByteArray::number(*config_.total) : "*";
    const qint64 last = task.last().value_or(config_.total.value_or(task.first() + 1) - 1);
    return head(206, task.last() ? last - task.first() + 1 : -1,
                {{"Content-Range", "bytes " + QByteArray::number(task.first()) + '-' +
                                       QByteArray::number(last) + '/' + total}});
}

void EngineRun::send(FakeTask& task, qint64 bytes) {
    if (!task.hasAnswered()) {
        ASSERT_EQ(answer(task), HTTPDisposition::allow);
    }
    while (bytes > 0) {
        const qint64 size = std::min(bytes, largestChunk);
        task.send({content_.constData() + task.position(), static_cast<size_t>(size)});
        bytes -= size;
    }
}

void EngineRun::serve(FakeTask& task) {
    const qint64 last = task.last().value_or(config_.total.value_or(task.position()) - 1);
    while (!task.isCancelAsked() && std::max(task.position(), task.first()) <= last) {
        const qint64 position = task.hasAnswered() ? task.position() : task.first();
        send(task, std::min(largestChunk, last - position + 1));
        if (::testing::Test::HasFatalFailure())
            return;
    }
    if (task.hasAnswered() && !task.isComplete())
        task.finish();
    else
        http.pump();
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
    const auto deadline = std::chrono::steady_clock::now() + endDeadline;
    while (!hasEnded()) {
        http.pump();
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "the run does not end";
            engine_->cancel();
        }
        if (!end_)
            future_.wait_for(200us);
    }
    if (!end_) {
        end_ = future_.get();
        // Whatever happened: no request is left, and nothing is written any more.
        EXPECT_TRUE(http.live().empty());
        EXPECT_TRUE(sink_.isClosed());
    }
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