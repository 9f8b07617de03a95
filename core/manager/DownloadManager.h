#pragma once

#include "manager/DownloadItem.h"
#include "manager/ManagerState.h"
#include "manager/StateFile.h"
#include "manager/TransferRunner.h"
#include "system/Mailbox.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <thread>

namespace fetra {

struct CaptureJob;

/// What to add to the list. What is left out comes from the manager's settings.
struct NewDownload {
    /// A valid absolute address: http, https, magnet or of a .torrent file.
    QUrl url{};
    QList<QUrl> mirrors{};
    /// A folder (a file URL).
    std::optional<QUrl> directory{};
    std::optional<qint64> connections{};
    std::optional<QString> sha256{};
    QMap<QString, QString> headers{};
    std::optional<QString> filenameHint{};
    /// Into the queue rather than paused.
    bool startImmediately = true;
};

/// The list of downloads and everything that moves them: the queue and its scheduler, one runner for each
/// active item, pausing, removing, saving, and the inbox that browsers hand their links to.
///
/// Confined to the main thread, like its items. A change of the list or of a setting is in the state file
/// when the operation returns; progress is never saved.
class DownloadManager final : public QObject {
    Q_OBJECT

public:
    enum class Field {
        items,
        maxConcurrentDownloads,
        connectionsPerDownload,
        defaultDirectory,
        autoStart,
        torrentUploadLimitKB,
        torrentSeedAfterComplete,
    };
    Q_ENUM(Field)

    using Item = std::shared_ptr<DownloadItem>;
    using ItemHandler = std::function<void(const Item&)>;

    struct Setup {
        /// The state file; absent: nothing is loaded or saved.
        std::optional<QUrl> storeURL{};
        /// For new downloads until a loaded state says otherwise; absent: the user's downloads folder, or the
        /// home folder.
        std::optional<QUrl> defaultDirectory{};
        /// The inbox folders to watch. Those of `inboxURLs()` for the application, none for a command line.
        QList<QUrl> inboxes{};
        /// One batch until `release`, so that the list and the settings can be brought to what they are to
        /// be before anything starts or is saved.
        bool held = false;
    };

    /// Loads the saved state, starts what is queued, and watches the inboxes. `runners` outlives the manager.
    DownloadManager(const Setup& setup, RunnerFactory& runners);
    /// Cancels what runs and waits until it has saved its resume data.
    ~DownloadManager() override;
    DownloadManager(const DownloadManager&) = delete;
    DownloadManager& operator=(const DownloadManager&) = delete;

    /// Ends what `Setup::held` began; once.
    void release();

    /// `state.json` in the folder `Fetra` of the application-support folder.
    [[nodiscard]] static std::optional<QUrl> defaultStoreURL();
    /// The application's own inbox, and all inboxes in the order they are read.
    [[nodiscard]] static std::optional<QUrl> inboxURL();
    [[nodiscard]] static QList<QUrl> inboxURLs();

    /// In queue order.
    [[nodiscard]] const QList<Item>& items() const { return items_; }
    [[nodiscard]] qint64 maxConcurrentDownloads() const { return settings_.maxConcurrentDownloads; }
    [[nodiscard]] qint64 connectionsPerDownload() const { return settings_.connectionsPerDownload; }
    [[nodiscard]] const QUrl& defaultDirectory() const { return settings_.defaultDirectory; }
    [[nodiscard]] bool autoStart() const { return settings_.autoStart; }
    [[nodiscard]] qint64 torrentUploadLimitKB() const { return settings_.torrentUploadLimitKB; }
    [[nodiscard]] bool torrentSeedAfterComplete() const { return settings_.torrentSeedAfterComplete; }
    [[nodiscard]] const std::optional<QUrl>& storeURL() const { return storeURL_; }

    /// Values are taken as they stand. Upload limit and seeding apply to torrents that start afterwards.
    void setMaxConcurrentDownloads(qint64 count);
    void setConnectionsPerDownload(qint64 count);
    void setDefaultDirectory(const QUrl& directory);
    void setAutoStart(bool on);
    void setTorrentUploadLimitKB(qint64 limit);
    void setTorrentSeedAfterComplete(bool on);

    /// Called once when an item completes or fails.
    ItemHandler onCompleted;
    ItemHandler onFailed;

    /// While one lives, nobody hears of another list, no transfer starts and nothing is saved; each happens
    /// once, at the end of the outermost. For operations on many items.
    class Batch {
    public:
        explicit Batch(DownloadManager& manager)
            : manager_(manager) {
            manager_.beginBatch();
        }
        ~Batch() { manager_.endBatch(); }
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

    private:
        DownloadManager& manager_;
    };

    /// Appends one item. The same address may be added any number of times.
    Item add(const NewDownload& download);
    /// Appends an item for each link in `text`, in the order found.
    QList<Item> add(const QString& text, const std::optional<QUrl>& directory = {},
                    bool startImmediately = true);

    /// An active item becomes `paused` when its transfer has ended, a queued one at once.
    void pause(const Item& item);
    void pauseAll();
    /// Puts a paused or failed item back into the queue.
    void resume(const Item& item);
    void resumeAll();
    /// Takes the item off the list at once. With `deleteFiles` its partial file and resume data go, as soon
    /// as no transfer uses them, and the file itself when it is complete.
    void remove(const Item& item, bool deleteFiles);
    void remove(const QList<Item>& items, bool deleteFiles);
    /// Takes all completed items off the list; their files stay.
    void clearCompleted();
    /// Takes in what lies in the inboxes now.
    void ingestInbox();

    /// Stops everything because the application is about to end: each transfer saves its resume data, what
    /// ran goes back to the queue, and nothing starts any more.
    void suspend();
    /// The application stays: what `suspend` has stopped is paused, and the rest goes on.
    void endSuspension();
    /// Downloads that somebody is about to remove: their addresses may be captured again.
    void setDeparting(const QSet<QUuid>& ids) { departing_ = ids; }
    /// Moves the items at the given indices, in their order, before the one at `toOffset`.
    void move(const QSet<qsizetype>& fromOffsets, qsizetype toOffset);

    [[nodiscard]] Item item(const QUuid& id) const;
    /// Whether an item of exactly this address has neither completed nor failed, and is not about to go.
    [[nodiscard]] bool hasUnfinished(const QUrl& url) const;
    [[nodiscard]] qint64 activeCount() const;
    /// Sums over the active items.
    [[nodiscard]] double totalBytesPerSecond() const;
    [[nodiscard]] double totalUploadBytesPerSecond() const;

    /// Whether some transfer, perhaps of an item removed meanwhile, has yet to end.
    [[nodiscard]] bool isTransferring() const { return !runners_.empty() || !torrentRunners_.empty(); }

Q_SIGNALS:
    /// Once for each assignment of another value.
    void changed(fetra::DownloadManager::Field field);

private:
    template <typename Runner>
    struct Run {
        std::unique_ptr<Runner> runner;
        /// Joined before the runner goes.
        std::jthread thread{};
    };
    template <typename Runner>
    using Runs = std::map<QUuid, Run<Runner>>;

    /// What ended a transfer.
    struct Failure {
        bool isCancellation = false;
        QString message;
    };

    Item append(const NewDownload& download, DownloadStatus status);
    [[nodiscard]] static QString nameFor(const QUrl& url, const std::optional<QString>& hint);
    template <typename T>
    void assignSetting(T& setting, const T& value, Field field);
    void setItems(const QList<Item>& items);

    void schedule();
    void start(DownloadItem& item);
    void startTorrent(DownloadItem& item);
    template <typename Runner, typename Request>
    void launch(Runs<Runner>& runs, std::unique_ptr<Runner> runner, const QUuid& id, Request request);
    void cancelRunner(const DownloadItem& item);

    void didStart(const QUuid& id, const QUrl& target, std::optional<qint64> totalSize);
    void didStartTorrent(const QUuid& id, const QString& name);
    void didProgress(const QUuid& id, const DownloadProgress& progress);
    void didFinish(const QUuid& id, const DownloadResult& result);
    void didFail(const QUuid& id, const Failure& failure);
    /// Whether the manager itself had cancelled the transfer.
    bool didEnd(const QUuid& id);
    [[nodiscard]] static Failure failureOf(const std::exception_ptr& error);

    void noteItemsChanged();
    void beginBatch() { ++batches_; }
    void endBatch();

    void load();
    void persist();

    void startInbox();
    void watchInboxes();
    void ingest(const CaptureJob& job);

    RunnerFactory& factory_;
    const std::optional<QUrl> storeURL_;
    const QList<QUrl> inboxes_;

    QList<Item> items_;
    TransferSettings settings_;

    /// What the transfers report, from their threads. Outlives them.
    Mailbox events_;
    Runs<HTTPRunner> runners_;
    Runs<TorrentRunner> torrentRunners_;
    /// Cancelled by the manager, and not at their end yet.
    QSet<QUuid> pausing_;
    /// What `suspend` has found unfinished; absent while nothing is suspended.
    std::optional<QSet<QUuid>> suspended_;
    QSet<QUuid> departing_;
    /// Removed with their files while their transfers ran; where the files are, once that is known.
    std::map<QUuid, std::optional<QUrl>> deletions_;

    std::unique_ptr<StateFile> stateFile_;
    bool loading_ = false;
    bool isEnding_ = false;
    bool held_ = false;
    /// How deep batches lie in each other, and what they put off.
    int batches_ = 0;
    bool itemsChanged_ = false;
    bool scheduleWanted_ = false;
    bool saveWanted_ = false;
    /// The last save failed.
    bool unsaved_ = false;

    QFileSystemWatcher inboxSources_;
};

} // namespace fetra
