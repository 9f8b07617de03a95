#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

namespace fetra {

class AppModel;

/// What the settings window shows and changes: the engine's settings, within the ranges of its controls. The
/// switches of the application itself are those of `AppSettings`. Stateless; main thread only.
class SettingsPane final : public QObject {
    Q_OBJECT

public:
    struct Range {
        qint64 least;
        qint64 most;
    };
    static constexpr Range simultaneousDownloads{1, 10};
    static constexpr Range connections{1, 64};
    /// In KB/s; 0 never uploads.
    static constexpr Range uploadLimit{0, 100'000};

    /// `model` outlives this.
    explicit SettingsPane(AppModel& model)
        : model_(model) {}

    void setMaxConcurrentDownloads(qint64 count);
    void setConnectionsPerDownload(qint64 count);
    /// Torrents that run keep the limit they have.
    void setTorrentUploadLimitKB(qint64 limit);
    void setAutoStart(bool on);
    void setTorrentSeedAfterComplete(bool on);
    void chooseDefaultDirectory();

    [[nodiscard]] static QString uploadLimitNote();
    [[nodiscard]] static QString clipboardNote();
    [[nodiscard]] static QString versionText();
    /// Where the command line lies; `appBundle` as for `AppDelegate`.
    [[nodiscard]] static QString commandLinePath(const QUrl& appBundle);

private:
    AppModel& model_;
};

} // namespace fetra
