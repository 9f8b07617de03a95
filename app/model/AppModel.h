#pragma once

#include "app/desktop/Desktop.h"
#include "app/model/AppError.h"
#include "app/model/AppSettings.h"
#include "app/model/ClipboardWatcher.h"
#include "app/model/DownloadFilter.h"
#include "app/model/DownloadSearch.h"
#include "app/model/ListWatch.h"
#include "app/model/Notifier.h"
#include "app/model/PatientWait.h"
#include "app/model/Requests.h"
#include "app/model/ThroughputHistory.h"
#include "manager/DownloadFiles.h"
#include "manager/DownloadManager.h"
#include "system/Mailbox.h"
#include "system/MainThread.h"
#include "system/SerialQueue.h"

#include <QHash>
#include <QSet>
#include <QTimer>

#include <atomic>
#include <functional>
#include <optional>

namespace fetra {

/// All that the windows show beyond the downloads themselves, and every command of the user as an operation.
/// Views read its fields, hear of their changes, and call its operations; they never talk to transfers.
///
/// There is one for the whole process, confined to the main thread. What goes wrong becomes `errorMessage`.
class AppModel final : public QObject {
    Q_OBJECT

public:
    enum class Field {
        filter,
        search,
        selection,
        grabber,
        removal,
        errorMessage,
        deleting,
        isTerminating,
        torrentUploadLimits,
    };
    Q_ENUM(Field)

    using Item = DownloadManager::Item;
    using Items = QList<Item>;

    /// Web pages can make add links and magnet links: neither long ones nor long lists are taken.
    static constexpr qsizetype maxAddLinkLength = 65'536;
    static constexpr qsizetype maxAddLinkCount = 1'000;

    /// All three outlive the model.
    AppModel(DownloadManager& manager, const Desktop& desktop, const Clock& clock);
    /// Waits for files that are being deleted.
    ~AppModel() override;

    [[nodiscard]] DownloadManager& manager() const { return manager_; }
    /// Where to hear of every change of every download.
    [[nodiscard]] const ListWatch& list() const { return list_; }
    [[nodiscard]] const Desktop& desktop() const { return desktop_; }
    [[nodiscard]] AppSettings& settings() { return settings_; }
    [[nodiscard]] ThroughputHistory& history() { return history_; }
    [[nodiscard]] ClipboardWatcher& clipboard() { return clipboard_; }
    [[nodiscard]] Notifier& notifier() { return notifier_; }

    /// What the list is narrowed to; absent counts as all.
    [[nodiscard]] const std::optional<DownloadFilter>& filter() const { return filter_; }
    [[nodiscard]] const QString& search() const { return search_; }
    [[nodiscard]] const QSet<QUuid>& selection() const { return selection_; }
    /// While present, the link grabber is shown.
    [[nodiscard]] const std::optional<LinkGrabberRequest>& grabber() const { return grabber_; }
    /// While present, the user is asked to confirm a removal.
    [[nodiscard]] const std::optional<RemovalRequest>& removal() const { return removal_; }
    /// The one message that an alert shows.
    [[nodiscard]] const std::optional<QString>& errorMessage() const { return errorMessage_; }
    /// Downloads whose removal is under way. Commands leave them alone.
    [[nodiscard]] const QSet<QUuid>& deleting() const { return deleting_; }
    /// The user has confirmed that the application shall quit. From then on nothing new begins.
    [[nodiscard]] bool isTerminating() const { return isTerminating_; }

    void setFilter(const std::optional<DownloadFilter>& filter);
    void setSearch(const QString& search);
    void setSelection(const QSet<QUuid>& selection);
    /// With nothing, when the grabber has been closed.
    void setGrabber(const std::optional<LinkGrabberRequest>& request);
    void setRemoval(const std::optional<RemovalRequest>& request);
    void setErrorMessage(const std::optional<QString>& message);
    void setTerminating(bool terminating);

    /// Begins the once-a-second tick; effective once.
    void start();
    void tick();

    /// Takes in a link that the system hands over: an add link, a magnet link or a torrent file.
    void handleURL(const QUrl& url);
    /// Stops all transfers so that each saves its resume data, waits until they and all removals have ended,
    /// and stores what was running as waiting. `done` is called later, with what went wrong if something did.
    void prepareForTermination(std::function<void(const std::optional<AppError>&)> done);
    /// Ends all waiting, because the application goes without being asked. Waits itself only for the file
    /// that is being deleted.
    void interruptWaits();

    /// Opens the link grabber, with the links of the clipboard when no text is given.
    void showGrabber(const std::optional<QString>& text = std::nullopt);
    /// Adds and shows the torrent files among `urls`; false when there are none.
    bool openTorrentFiles(const QList<QUrl>& urls, const std::optional<QUrl>& directory = std::nullopt);
    /// Lets the user choose torrent files; `onOpened` is called once some were added.
    void chooseTorrentFiles(const std::optional<QUrl>& directory, std::function<void()> onOpened);

    [[nodiscard]] bool canPause() const;
    [[nodiscard]] bool canResume() const;
    [[nodiscard]] bool hasCompleted() const;
    void resumeAll();

    /// In the order of the list.
    [[nodiscard]] Items selectedItems() const;
    /// Those that filter and search let through, in the order of the list.
    [[nodiscard]] Items filteredItems();

    void requestRemoval(const QSet<QUuid>& ids, bool deleteFiles);
    void performRemoval(const RemovalRequest& request);

    void refreshTorrentUploadLimits();
    /// In KB/s: of a running torrent the limit that it was started with.
    [[nodiscard]] qint64 torrentUploadLimit(const DownloadItem& item) const;

    void resume(const Items& items);
    /// Pauses what runs or waits, resumes what is paused or has failed.
    void toggle(const Items& items);
    /// Opens what is complete, toggles the rest.
    void primaryAction(const QSet<QUuid>& ids);
    void open(const DownloadItem& item);
    void reveal(const Items& items);
    void copy(const QStringList& strings);

    /// Shows exactly these downloads, selected, whatever the list was narrowed to.
    void revealInList(const Items& items);

Q_SIGNALS:
    /// Once for each assignment of another value.
    void changed(fetra::AppModel::Field field);

private:
    template <typename T>
    void assign(T& field, const T& value, Field name) {
        Q_ASSERT(MainThread::isCurrent());
        if (field == value)
            return;
        field = value;
        Q_EMIT changed(name);
    }

    void pruneSelection();
    void add(const QList<QUrl>& urls, const std::optional<QUrl>& directory);
    [[nodiscard]] Items itemsWith(const QSet<QUuid>& ids) const;

    void wait(std::function<bool()> hasHappened, std::function<void(PatientWait::Outcome)> done);
    void setDeleting(const QSet<QUuid>& ids);
    void deleteFiles(const RemovalRequest& request);
    /// An outcome for each download whose turn came.
    void filesDeleted(const RemovalRequest& request, const QHash<QUuid, std::optional<AppError>>& outcomes);
    [[nodiscard]] static std::optional<AppError> deleteUnshared(const DownloadFiles& files,
                                                                DownloadFiles::Places& others);
    /// `gone` are those that leave the list.
    void endRemoval(const RemovalRequest& request, const Items& gone);

    DownloadManager& manager_;
    ListWatch list_;
    const Desktop desktop_;
    const Clock& clock_;
    AppSettings settings_;
    ThroughputHistory history_;
    ClipboardWatcher clipboard_;
    Notifier notifier_;
    DownloadSearch finder_;

    std::optional<DownloadFilter> filter_ = DownloadFilter::all;
    QString search_;
    QSet<QUuid> selection_;
    std::optional<LinkGrabberRequest> grabber_;
    std::optional<RemovalRequest> removal_;
    std::optional<QString> errorMessage_;
    QSet<QUuid> deleting_;
    bool isTerminating_ = false;
    /// In KB/s, of the torrents that run.
    QHash<QUuid, qint64> torrentUploadLimits_;

    QTimer ticks_;
    bool isStarted_ = false;
    std::atomic<bool> isInterrupted_ = false;
    /// Large files take the file system a while. The queue ends before what it posts to.
    Mailbox deleted_{[](const Mailbox::Work& runAll) { runAll(); }};
    SerialQueue deletions_{"fetra.delete"};
};

} // namespace fetra
