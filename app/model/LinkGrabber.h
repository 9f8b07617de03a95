#pragma once

#include "app/model/FileKind.h"
#include "app/model/LinkDrop.h"

#include <QObject>
#include <QSet>
#include <QUrl>

#include <optional>

namespace fetra {

class AppModel;

/// The state of the sheet in which links are reviewed before they become downloads. Made when the model's
/// `grabber` appears, and gone with the sheet. Main thread only.
class LinkGrabber final : public QObject {
    Q_OBJECT

public:
    enum class Field {
        text,
        links,
        checked,
        directory,
        connections,
        mirrors,
        checksum,
        errorMessage,
    };
    Q_ENUM(Field)

    static constexpr qint64 minConnections = 1;
    static constexpr qint64 maxConnections = 64;
    /// In characters; links beyond are not looked for.
    static constexpr qsizetype maxTextLength = 1'048'576;

    /// One link as the sheet lists it.
    struct Row {
        FileKind kind;
        QString title;
        QString detail;
        /// The whole address.
        QString help;
    };

    /// Opens with `text`. The model outlives this.
    LinkGrabber(AppModel& model, const QString& text);

    [[nodiscard]] const QString& text() const { return text_; }
    /// All links found, and the torrent files after them.
    [[nodiscard]] const QList<QUrl>& links() const { return links_; }
    [[nodiscard]] const QSet<QUrl>& checked() const { return checked_; }
    [[nodiscard]] const QUrl& directory() const { return directory_; }
    [[nodiscard]] qint64 connections() const { return connections_; }
    /// Whether the links are mirrors of one file.
    [[nodiscard]] bool mirrors() const { return mirrors_; }
    [[nodiscard]] const QString& checksum() const { return checksum_; }
    /// Shown inside the sheet.
    [[nodiscard]] const std::optional<QString>& errorMessage() const { return errorMessage_; }

    void setText(const QString& text);
    /// Links that are not listed are passed over.
    void setChecked(const QList<QUrl>& links, bool checked);
    void setDirectory(const QUrl& directory);
    /// Clamped to what the stepper offers.
    void setConnections(qint64 count);
    void setMirrors(bool on);
    void setChecksum(const QString& checksum);
    void setErrorMessage(const std::optional<QString>& message);

    /// The checked links, in the order of `links`.
    [[nodiscard]] QList<QUrl> selected() const;
    [[nodiscard]] bool hasSelectedTorrent() const;
    /// Whether the selection makes one download: only then is there one file to check.
    [[nodiscard]] bool isOneDownload() const;
    [[nodiscard]] bool takesChecksum() const { return isOneDownload() && !hasSelectedTorrent(); }
    [[nodiscard]] bool checksumValid() const;
    [[nodiscard]] bool canAdd() const;

    [[nodiscard]] static Row row(const QUrl& link);
    /// For example "2 links detected" and "1 selected".
    [[nodiscard]] QString countText() const;
    [[nodiscard]] QString selectedText() const;
    [[nodiscard]] QString connectionsText() const;
    /// Beneath the field for the checksum.
    [[nodiscard]] QString checksumNote() const;

    /// Adds what is checked, to be started now or as paused, and closes the sheet.
    void add(bool start);
    bool drop(const QList<LinkDrop::Item>& items);
    void chooseDirectory();
    /// Opens torrent files directly, and closes the sheet when some were added.
    void chooseTorrentFiles();
    void close();

Q_SIGNALS:
    /// Once for each assignment of another value.
    void changed(fetra::LinkGrabber::Field field);

private:
    template <typename T>
    void assign(T& field, const T& value, Field name);
    void parse();
    void addTorrentFiles(const QList<QUrl>& files);
    [[nodiscard]] std::optional<QString> wantedChecksum() const;

    AppModel& model_;
    QString text_;
    QList<QUrl> links_;
    QList<QUrl> torrentFiles_;
    QSet<QUrl> checked_;
    QUrl directory_;
    qint64 connections_;
    bool mirrors_ = false;
    QString checksum_;
    std::optional<QString> errorMessage_;
};

} // namespace fetra
