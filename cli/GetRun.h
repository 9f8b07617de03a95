#pragma once

#include "cli/ExitStatus.h"
#include "cli/Interruption.h"
#include "cli/ObservedRunners.h"
#include "cli/ProgressView.h"
#include "manager/DownloadManager.h"
#include "system/Clock.h"

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace fetra::cli {

/// One run of `fetra get`: from the prepared list to the end of its last download, hearing the manager's
/// items and the signals and telling the view. Main thread only, in the event loop that `run` starts.
class GetRun {
public:
    struct Setup {
        /// Held until `run`.
        DownloadManager& manager;
        ObservedRunners& runners;
        Interruption& interruption;
        const Clock& clock;
        ProgressView& view;
        /// Resume data are read and written.
        bool resume = true;
        /// The state file, as the user named it.
        std::optional<QString> state = {};
    };

    explicit GetRun(const Setup& setup);

    /// A second Ctrl-C, or one before any transfer has begun, ends the process from within.
    ExitStatus run();

    /// How many items of the list are to be run.
    [[nodiscard]] static qsizetype unfinishedIn(const DownloadManager& manager);

private:
    struct Download {
        DownloadManager::Item item;
        /// Of its latest transfer.
        std::shared_ptr<TransferNotes> notes = {};
        /// Once that has begun.
        std::optional<TransferStart> start = {};
    };

    void watch(const DownloadManager::Item& item);
    void hear(Download& download, DownloadItem::Field field);
    void hearStatus(Download& download);
    void begin(Download& download);
    void tellProgress(Download& download);
    void complete(Download& download);
    void fail(Download& download);
    void finishIfDone();
    void refresh();

    void hearSignals();
    void stop();
    /// Whether something runs whose state has to be saved.
    [[nodiscard]] bool hasWorkToSave() const;
    void tellEnd();
    [[nodiscard]] RunTotals totals() const;
    [[noreturn]] void endAtOnce();

    const Setup setup_;
    const TimePoint begun_;
    std::map<QUuid, Download> downloads_;
    std::set<Download*> running_;
    /// Those with progress that the view has not heard of.
    std::set<Download*> changed_;
    RunTotals counts_;
    qint64 bytes_ = 0;
    qint64 resumable_ = 0;
    /// Of the files whose size is known: how many, and their bytes.
    qint64 sized_ = 0;
    double sizedBytes_ = 0;
    std::optional<TimePoint> stoppingSince_;

    QTimer timer_;
    QSocketNotifier signals_;
    std::optional<QSocketNotifier> messages_;
    /// Ends the connections to the items.
    QObject context_;
};

} // namespace fetra::cli
