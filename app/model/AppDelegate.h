#pragma once

#include "system/SerialQueue.h"

#include <QList>
#include <QObject>
#include <QUrl>

namespace fetra {

class AppModel;

/// What the application does when the system starts it, hands it something to open, or wants it to end.
/// Main thread only.
class AppDelegate final : public QObject {
    Q_OBJECT

public:
    enum class TerminateReply {
        now,
        /// The answer comes with `terminationReplied`.
        later,
    };

    /// `appBundle`: the folder that holds `Contents/Helpers`.
    explicit AppDelegate(const QUrl& appBundle);

    /// Outlives this, or is taken away before with null.
    void setModel(AppModel* model) { model_ = model; }

    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();
    /// Takes in torrent files and links, each for whom it may concern.
    void application(const QList<QUrl>& opened);
    /// Asks the user while downloads run.
    TerminateReply applicationShouldTerminate();
    /// The same without asking, where nobody may be there to answer.
    TerminateReply terminateUnasked();
    [[nodiscard]] bool applicationShouldTerminateAfterLastWindowClosed() const;
    /// The application goes, whether it was asked or not.
    void applicationWillTerminate();

Q_SIGNALS:
    void terminationReplied(bool mayTerminate);

private:
    void askWhetherToQuit(qint64 activeCount);
    void prepareForTermination();

    const QUrl appBundle_;
    AppModel* model_ = nullptr;
    bool isAsking_ = false;
    SerialQueue manifests_{"fetra.manifest"};
};

} // namespace fetra
