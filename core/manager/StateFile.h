#pragma once

#include "manager/ManagerState.h"
#include "system/PosixFile.h"
#include "system/SerialQueue.h"

#include <QByteArrayView>

#include <mutex>
#include <span>

namespace fetra {

/// The file that brings list and settings over a restart, and what keeps it readable: the main thread
/// replaces it whole without waiting for the disk; a queue then syncs it and keeps that generation beside it
/// under a second name, for a power loss that leaves the first one empty or torn.
///
/// Used on the main thread. The destructor waits for the syncs under way.
class StateFile {
public:
    static constexpr const char* syncedSuffix = ".synced";
    static constexpr const char* unreadableSuffix = ".unreadable";

    explicit StateFile(const QString& path);

    /// What the file says; the last synced generation when the file is missing, empty or no JSON; nothing
    /// when that one does not decode.
    [[nodiscard]] std::optional<ManagerState> load();

    /// Replaces the file by `pieces`, one after the other; mode 0600, in a folder that is made with mode 0700
    /// when it is missing. What `load` could not read is first put aside under a name of its own. Throws
    /// `PosixError`; then the file is as it was.
    void save(std::span<const QByteArrayView> pieces);

private:
    /// Something in the way that could not be loaded, to be kept before the first save replaces it.
    struct Unreadable {
        QString path;
        /// Absent when the file could not even be read.
        std::optional<QByteArray> content;
    };

    [[nodiscard]] std::optional<QJsonObject> readObject(const QString& path);
    void keepUnreadable();
    void keep(const Unreadable& file);
    void syncSoon(PosixFile::Descriptor file);
    void syncNewest();
    /// Makes the generation under `secondName`, or a copy where there are no second names, the synced one.
    void keepSynced(const std::optional<QString>& secondName) const;

    const QString path_;
    const QString syncedPath_;
    QList<Unreadable> unreadable_;
    /// The newest generation, until the queue takes it. Only that one is worth the disk's time.
    std::mutex mutex_;
    PosixFile::Descriptor newest_;
    /// The queue's own.
    bool folderLasts_ = false;
    SerialQueue syncs_{"fetra.state"};
};

} // namespace fetra
