#pragma once

#include <QObject>
#include <QString>

#include <functional>

namespace fetra {

class AppSettings;
class DownloadItem;
class NotificationCenter;
class Workspace;

/// Tells the user that a download has ended, and shows the file when the user answers to that. Main thread
/// only.
class Notifier final : public QObject {
    Q_OBJECT

public:
    /// All three outlive this.
    Notifier(NotificationCenter& center, Workspace& workspace, AppSettings& settings);

    /// Gets a sentence for the user when the desktop could not do what it was asked.
    std::function<void(const QString& message)> onError;

    /// From then on the notifier hears of activated notifications, those of an earlier run included.
    void becomeDelegate();
    /// Asks for permission the first time that this user's application starts.
    void start();
    /// Takes the place of an earlier notification of the same download.
    void send(const DownloadItem& item, bool completed);

private:
    void report(const QString& message) const;

    NotificationCenter& center_;
    Workspace& workspace_;
    AppSettings& settings_;
};

} // namespace fetra
