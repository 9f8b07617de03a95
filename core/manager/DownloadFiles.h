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

    /// Deletes what the download owns: its partial file and resume record, unless another transfer has taken
    /// them, and the file or folder itself when it is complete and still the one that was there when this was
    /// made. Answers why not, in the system's words; some of the files may be gone then.
    [[nodiscard]] std::optional<QString> remove() const;

    /// Deletes the partial file and the resume record of an HTTP download. Answers why not.
    static std::optional<QString> removePartial(const QUrl& destination);

    /// Compares places of many downloads, by whatever links they are named.
    class Places {
    public:
        /// All places that a download of this destination has, or has claimed for later.
        void insert(const QUrl& destination);
        /// Whether `remove` of `files` would touch a place that was inserted, or a folder that holds one.
        [[nodiscard]] bool touches(const DownloadFiles& files);

    private:
        [[nodiscard]] QString resolved(const QString& path);

        QSet<QString> paths_;
        QHash<QString, QString> folders_;
    };

private:
    /// What tells a file from another one that has taken its name.
    struct Identity {
        quint64 device = 0;
        quint64 inode = 0;
        bool operator==(const Identity&) const = default;
    };

    [[nodiscard]] static std::optional<Identity> identityAt(const QUrl& file);
    /// What `remove` deletes.
    [[nodiscard]] QStringList owned() const;
    [[nodiscard]] std::optional<QString> removeDestination() const;

    std::optional<QUrl> destination_;
    QUrl directory_;
    bool isTorrent_;
    /// Of what is complete.
    std::optional<Identity> identity_;
};

} // namespace fetra
