#include "GetCommand.h"

#include "cli/DisplayText.h"
#include "cli/JsonView.h"
#include "cli/PlainView.h"
#include "cli/StandardStreams.h"
#include "cli/TerminalView.h"
#include "cli/TransferFeed.h"
#include "transfer/Downloader.h"
#include "transfer/ErrorSentence.h"
#include "transfer/Reservation.h"

#include <QFile>

#include <array>
#include <langinfo.h>
#include <poll.h>
#include <thread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr int refreshMilliseconds = 250;
/// Supervisors and shells send one stop as several signals in a row, to the process and to its group.
constexpr double sameStopSeconds = 0.3;

void printPath(const QString& path) {
    // For a script the exact bytes, for eyes nothing that a terminal would act on.
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    writeAll(STDOUT_FILENO, QFile::encodeName(isTerminal ? DisplayText::printable(path) : path) + '\n');
}

void printMessage(const QString& text) {
    writeAll(STDERR_FILENO, text.toUtf8());
}

bool terminalCanDraw() {
    const QByteArray kind = qgetenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && !kind.isEmpty() && kind != "dumb";
}

std::unique_ptr<ProgressView> makeView(const GetRequest& request, const Clock& clock) {
    const auto toOutput = [](const QByteArray& line) { writeAll(STDOUT_FILENO, line); };
    const PlainView::Streams streams{printMessage, printPath};
    switch (request.style) {
    case OutputStyle::json:
        return std::make_unique<JsonView>(JsonView::Events::all, toOutput);
    case OutputStyle::quietJson:
        return std::make_unique<JsonView>(JsonView::Events::withoutProgress, toOutput);
    case OutputStyle::quiet:
        return std::make_unique<PlainView>(PlainView::Chatter::none, streams, clock);
    case OutputStyle::plain:
        break;
    }
    if (!terminalCanDraw())
        return std::make_unique<PlainView>(PlainView::Chatter::lines, streams, clock);
    TerminalView::Setup setup{
        .server = request.url.host(),
        .colour = qgetenv("NO_COLOR").isEmpty(),
        .ascii = QByteArray(::nl_langinfo(CODESET)) != "UTF-8",
        .finishedPath = printPath,
    };
    return std::make_unique<TerminalView>(std::move(setup), clock);
}

/// The bytes that the next run of the same command will find here and continue from, judged as it will judge
/// them.
std::optional<qint64> bytesToContinueFrom(const TransferStart& start) {
    const Reservation place(start.destination);
    const auto record = ResumeStore::load(place.sidecarPath);
    if (!start.resume || !record || !ResumeStore::validate(*record, start.info, place.partPath))
        return std::nullopt;
    return record->heldBytes();
}

/// One run of `fetra get`: the transfer on a thread of its own, signals and showing on this one.
class GetRun {
public:
    GetRun(const GetRequest& request, const QUrl& target, const EngineServices& services,
           Interruption& interruption)
        : request_(request)
        , target_(target)
        , interruption_(interruption)
        , clock_(services.clock)
        , downloader_(request.options, services)
        , view_(makeView(request, services.clock)) {}

    ExitStatus run();

private:
    void transfer();
    void waitForSomething();
    void showNews();
    void hearSignals();
    void stop();
    [[nodiscard]] ExitStatus end(const TransferFeed::Outcome& outcome);
    [[noreturn]] void endAtOnce();

    const GetRequest& request_;
    const QUrl target_;
    Interruption& interruption_;
    const Clock& clock_;
    Downloader downloader_;
    TransferFeed feed_;
    std::unique_ptr<ProgressView> view_;

    std::optional<TransferStart> start_;
    qint64 receivedBytes_ = 0;
    std::optional<TimePoint> stoppingSince_;
    std::optional<TransferFeed::Outcome> outcome_;
};

ExitStatus GetRun::run() {
    std::jthread thread([this] { transfer(); });
    while (!outcome_) {
        waitForSomething();
        showNews();
        if (!outcome_)
            hearSignals();
        view_->refresh();
    }
    thread.join();
    return end(*outcome_);
}

void GetRun::transfer() {
    try {
        feed_.reportOutcome(downloader_.download({
            .url = request_.url,
            .mirrors = request_.mirrors,
            .target = target_,
            .onStart = [this](const QUrl& destination,
                              const RemoteInfo& info) { feed_.reportStart(destination, info); },
            .progress = [this](const DownloadProgress& progress) { feed_.reportProgress(progress); },
        }));
    } catch (...) {
        feed_.reportOutcome(std::current_exception());
    }
}

void GetRun::waitForSomething() {
    std::array<pollfd, 3> sources{
        pollfd{feed_.descriptor(), POLLIN, 0},
        pollfd{interruption_.descriptor(), POLLIN, 0},
        pollfd{view_->descriptor(), POLLIN, 0},
    };
    ::poll(sources.data(), sources.size(), refreshMilliseconds);
}

void GetRun::showNews() {
    TransferFeed::News news = feed_.take();
    if (news.started) {
        start_ = TransferStart{
            .url = request_.url,
            .destination = news.started->destination,
            .info = news.started->info,
            .connections = request_.options.connections,
            .mirrors = request_.mirrors.size(),
            .resume = request_.options.resume,
        };
        view_->started(*start_);
    }
    if (news.progress) {
        receivedBytes_ = news.progress->receivedBytes;
        view_->progressed(*news.progress);
    }
    outcome_ = std::move(news.outcome);
}

void GetRun::hearSignals() {
    while (const auto kind = interruption_.next()) {
        switch (*kind) {
        case Interruption::Kind::stop:
            stop();
            break;
        case Interruption::Kind::abort:
            endAtOnce();
        case Interruption::Kind::suspend:
            view_->leave();
            interruption_.suspend();
            break;
        case Interruption::Kind::resize:
            break;
        }
    }
}

void GetRun::stop() {
    if (!start_) {
        // Still asking the server, which may take as long as it likes; there is nothing to save.
        view_->failed({.sentence = u"Stopped before the download began"_s, .interrupted = true});
        ::_exit(ExitStatus::interrupted);
    }
    if (stoppingSince_) {
        if (secondsBetween(*stoppingSince_, clock_.now()) >= sameStopSeconds)
            endAtOnce();
        return;
    }
    stoppingSince_ = clock_.now();
    downloader_.cancel();
    view_->stopping();
}

ExitStatus GetRun::end(const TransferFeed::Outcome& outcome) {
    if (const auto* result = std::get_if<DownloadResult>(&outcome)) {
        view_->completed(*result);
        return ExitStatus::complete;
    }
    TransferFailure failure{
        .sentence = errorSentence(std::get<std::exception_ptr>(outcome)),
        .interrupted = stoppingSince_.has_value(),
        .receivedBytes = receivedBytes_,
    };
    if (start_) {
        const auto held = bytesToContinueFrom(*start_);
        failure.resumable = held.has_value();
        failure.receivedBytes = held.value_or(receivedBytes_);
    }
    view_->failed(failure);
    return stoppingSince_ ? ExitStatus::interrupted : ExitStatus::failed;
}

void GetRun::endAtOnce() {
    view_->leave();
    ::_exit(ExitStatus::interrupted);
}

} // namespace

ExitStatus runGet(const GetRequest& request, const QUrl& target, const EngineServices& services,
                  Interruption& interruption) {
    return GetRun(request, target, services, interruption).run();
}

} // namespace fetra::cli
