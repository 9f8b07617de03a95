#pragma once

#include <QList>
#include <QObject>
#include <QUrl>

namespace fetra {

class DownloadManager;
class Pasteboard;

/// Offers the links that the user copies, as long as they are not downloads yet. Only offers: what becomes of
/// them is for the user to say. Whoever owns it lets it look once a second. Main thread only.
class ClipboardWatcher final : public QObject {
    Q_OBJECT

public:
    /// `pasteboard` outlives this.
    explicit ClipboardWatcher(Pasteboard& pasteboard);

    /// What lies on the pasteboard when watching begins is never offered.
    void poll(const DownloadManager& manager, bool enabled);

    [[nodiscard]] const QList<QUrl>& links() const { return links_; }
    /// How many links are offered, as a phrase.
    [[nodiscard]] QString detail() const;

    void setLinks(const QList<QUrl>& links);
    /// Withdraws the offer.
    void clear() { setLinks({}); }

Q_SIGNALS:
    /// Other links than before.
    void changed();

private:
    Pasteboard& pasteboard_;
    QList<QUrl> links_;
    bool wasEnabled_ = false;
    /// Of the last look while it was enabled.
    qint64 changeCount_ = 0;
};

} // namespace fetra
