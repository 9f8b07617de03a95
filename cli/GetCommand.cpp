#include "GetCommand.h"

#include "cli/ArgumentValues.h"
#include "cli/DisplayText.h"
#include "cli/GetRun.h"
#include "cli/JsonView.h"
#include "cli/PlainView.h"
#include "cli/StandardStreams.h"
#include "cli/TerminalView.h"
#include "manager/StateFile.h"
#include "manager/StateLock.h"
#include "system/AbsoluteURL.h"
#include "system/PosixError.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <langinfo.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

void printPath(const QString& path) {
    // For a script the exact bytes, for eyes nothing that a terminal would act on.
    const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    writeAll(STDOUT_FILENO, QFile::encodeName(isTerminal ? DisplayText::printable(path) : path) + '\n');
}

void printMessage(const QString& text) {
    writeAll(STDERR_FILENO, text.toUtf8());
}

ExitStatus endWith(const QString& sentence, ExitStatus status) {
    printMessage(u"fetra: %1\n"_s.arg(sentence));
    return status;
}

bool terminalCanDraw() {
    const QByteArray kind = qgetenv("TERM");
    return ::isatty(STDERR_FILENO) == 1 && !kind.isEmpty() && kind != "dumb";
}

std::unique_ptr<ProgressView> makeView(OutputStyle style, bool several, const Clock& clock) {
    const auto toOutput = [](const QByteArray& line) { writeAll(STDOUT_FILENO, line); };
    const PlainView::Streams streams{printMessage, printPath};
    const auto extent = several ? PlainView::Extent::several : PlainView::Extent::one;
    switch (style) {
    case OutputStyle::json:
        return std::make_unique<JsonView>(JsonView::Events::all, toOutput);
    case OutputStyle::quietJson:
        return std::make_unique<JsonView>(JsonView::Events::withoutProgress, toOutput);
    case OutputStyle::quiet:
        return std::make_unique<PlainView>(PlainView::Chatter::none, extent, streams, clock);
    case OutputStyle::plain:
        break;
    }
    if (!terminalCanDraw())
        return std::make_unique<PlainView>(PlainView::Chatter::lines, extent, streams, clock);
    TerminalView::Setup setup{
        .several = several,
        .colour = qgetenv("NO_COLOR").isEmpty(),
        .ascii = QByteArray(::nl_langinfo(CODESET)) != "UTF-8",
        .finishedPath = printPath,
    };
    return std::make_unique<TerminalView>(std::move(setup), clock);
}

/// Why the state file cannot be used; nothing once `lock` holds it.
std::optional<QString> whyNotUsable(const GetPlan& plan, std::optional<StateLock>& lock) {
    const QString& path = *plan.statePath;
    const QString shown = ArgumentValues::quoted(path);
    const QString synced = path + QLatin1StringView(StateFile::syncedSuffix);
    if (plan.urls.isEmpty() && !QFileInfo::exists(path) && !QFileInfo::exists(synced))
        return u"There is no list %1 to go on with; name an address too."_s.arg(shown);
    try {
        lock = StateLock::tryAcquire(path);
    } catch (const PosixError& error) {
        return u"%1 cannot be used as a state file (%2)."_s.arg(shown, error.description());
    }
    if (!lock)
        return u"%1 is in use by another process; wait for its end or name another file."_s.arg(shown);
    if (QFileInfo(path).size() > 0 && !StateFile(path).load())
        return u"%1 is not a list of downloads and is left as it is; name another file."_s.arg(shown);
    return std::nullopt;
}

/// The list of one run of `fetra get`, held until it is as the command line wants it.
class List {
public:
    List(const GetRequest& request, const GetPlan& plan, RunnerFactory& runners)
        : request_(request)
        , plan_(plan)
        , manager_({.storeURL =
                        plan.statePath ? std::optional(QUrl::fromLocalFile(*plan.statePath)) : std::nullopt,
                    .defaultDirectory = folder(),
                    .held = true},
                   runners) {}

    /// Adds the new links, and puts everything that is not complete into the queue.
    void prepare();
    [[nodiscard]] DownloadManager& manager() { return manager_; }

private:
    [[nodiscard]] QUrl folder() const;
    [[nodiscard]] QMap<QString, QString> headers() const;
    void applySettings();
    void add(const QUrl& url);
    /// Lets the command line's options hold for an item of an earlier run.
    void adopt(DownloadItem& item) const;

    const GetRequest& request_;
    const GetPlan& plan_;
    DownloadManager manager_;
};

QUrl List::folder() const {
    return plan_.hasFileTarget() ? plan_.target.adjusted(QUrl::RemoveFilename) : plan_.target;
}

QMap<QString, QString> List::headers() const {
    QMap<QString, QString> headers = request_.options.headers;
    if (request_.options.userAgent != DownloadOptions::defaultUserAgent)
        headers.insert(u"User-Agent"_s, request_.options.userAgent);
    return headers;
}

void List::prepare() {
    applySettings();
    QHash<QString, DownloadManager::Item> unfinished;
    for (const DownloadManager::Item& item : manager_.items())
        if (item->status() != DownloadStatus::completed && !unfinished.contains(absoluteString(item->url())))
            unfinished.insert(absoluteString(item->url()), item);
    for (const QUrl& url : plan_.urls) {
        if (const auto known = unfinished.value(absoluteString(url)))
            adopt(*known);
        else
            add(url);
    }
    manager_.resumeAll();
}

void List::applySettings() {
    if (request_.maxDownloads)
        manager_.setMaxConcurrentDownloads(*request_.maxDownloads);
    if (request_.uploadLimitKB)
        manager_.setTorrentUploadLimitKB(*request_.uploadLimitKB);
    if (request_.seed)
        manager_.setTorrentSeedAfterComplete(true);
}

void List::add(const QUrl& url) {
    const auto item = manager_.add({
        .url = url,
        .mirrors = request_.mirrors,
        .directory = folder(),
        .connections = request_.hasConnections ? std::optional(request_.options.connections) : std::nullopt,
        .sha256 = request_.options.expectedSHA256,
        .headers = headers(),
    });
    if (plan_.hasFileTarget() && !item->isTorrent())
        item->setDestination(plan_.target);
}

void List::adopt(DownloadItem& item) const {
    if (!request_.mirrors.isEmpty())
        item.setMirrors(request_.mirrors);
    if (request_.hasConnections)
        item.setConnections(request_.options.connections);
    if (request_.options.expectedSHA256)
        item.setExpectedSHA256(request_.options.expectedSHA256);
    if (!headers().isEmpty())
        item.setHeaders(headers());
}

} // namespace

ExitStatus runGet(const GetRequest& request, const GetPlan& plan, const EngineServices& services,
                  Interruption& interruption) {
    std::optional<StateLock> lock;
    if (plan.statePath)
        if (const auto sentence = whyNotUsable(plan, lock))
            return endWith(*sentence, ExitStatus::failed);
    EngineRunners engine(services);
    ObservedRunners runners(engine, {.resume = request.options.resume});
    List list(request, plan, runners);
    list.prepare();
    const qsizetype unfinished = GetRun::unfinishedIn(list.manager());
    if (unfinished == 0) {
        printMessage(u"Nothing of the list is left to download.\n"_s);
        return ExitStatus::complete;
    }
    const std::unique_ptr<ProgressView> view = makeView(request.style, unfinished > 1, services.clock);
    GetRun run({.manager = list.manager(),
                .runners = runners,
                .interruption = interruption,
                .clock = services.clock,
                .view = *view,
                .resume = request.options.resume,
                .state = request.state});
    return run.run();
}

} // namespace fetra::cli
