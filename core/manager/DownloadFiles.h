#pragma once

#include <QHash>
#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

namespace fetra {

class DownloadItem;

/// The files of one download as they are when this is made, on the main thread. Afterwards it is a value for
/// any thread.
class DownloadFiles {
public:
    explicit DownloadFiles(const DownloadItem& item);

    /// Whether there is anything that deleting would look at.
    [[nodiscard]] bool isEmpty() const { return !destination_; }

    /// Deletes what the download owns: its partial file and resume record, unless another transfer has taken
    /// them, and the file or folder itself when it is complete. Answers why not, in the system's words; some
    /// of the files may be gone then.
    [[nodiscard]] std::optional<QString> remove() const;

    /// Deletes the partial file and the resume record of an HTTP download; false when another transfer has
    /// taken them or the system refuses.
    static bool discardPartial(const QUrl& destination);

    /// Compares places of many downloads, by whatever links they are named.
    class Places {
    public:
        /// All places that the download has, or has claimed for later.
        void insert(const DownloadFiles& files);
        /// Whether `remove` of `files` would touch a place that was inserted.
        [[nodiscard]] bool touches(const DownloadFiles& files);

    private:
        [[nodiscard]] QString resolved(const QString& path);

        QSet<QString> paths_;
        QHash<QString, QString> folders_;
    };

private:
    /// What `remove` deletes.
    [[nodiscard]] QStringList owned() const;
    [[nodiscard]] std::optional<QString> removeDestination() const;

    std::optional<QUrl> destination_;
    QUrl directory_;
    bool isTorrent_;
    bool isComplete_;
};

} // namespace fetra
