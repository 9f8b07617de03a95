#pragma once

#include "app/desktop/Handover.h"
#include "system/PosixFile.h"

#include <QObject>

#include <chrono>
#include <memory>

namespace fetra {

class HandoverServer;

/// Keeps the application to one instance a user: a later start hands over what it was asked to open and
/// ends. Who holds a lock in the user's runtime folder is first and listens on a socket beside it; lock and
/// socket are held while the object lives. Main thread only.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    enum class Start {
        first,      ///< nobody else runs, and this instance hears later starts
        unguarded,  ///< may run, but there is no safe place to meet other instances; the log says why
        handedOver, ///< another instance has taken the handover
        notTaken,   ///< another instance runs and took nothing: it hangs
        tooLarge,   ///< another instance runs, and the handover is beyond the limits of what it takes
    };

    struct Limits {
        /// For the other instance to answer. Past it the start fails.
        std::chrono::milliseconds answerWithin{5000};
        /// For another start to send its message, once this one is first.
        std::chrono::milliseconds messageWithin{3000};
        /// Served at once.
        qsizetype maxClients = 8;
    };

    /// `$XDG_RUNTIME_DIR`, or what stands in for it where that is not set; empty where that is no folder to
    /// rely on.
    [[nodiscard]] static QString runtimeFolder();

    /// `runtime` must be ours and closed to others, or the start is unguarded.
    explicit SingleInstance(const QString& runtime = runtimeFolder())
        : SingleInstance(runtime, Limits{}) {}
    SingleInstance(const QString& runtime, const Limits& limits);
    ~SingleInstance() override;

    /// Called once. Blocks for `answerWithin` at most. When the other instance ends instead of answering,
    /// this one becomes first. Being first takes an application object.
    [[nodiscard]] Start start(const Handover& handover);

    /// While the first instance does not listen, as when it ends, later starts wait for that and then run
    /// themselves.
    void setListening(bool listens);

Q_SIGNALS:
    /// A later start wants this opened, and the window raised.
    void received(const fetra::Handover& handover);

private:
    Start listen(const QString& path);

    QString runtime_;
    QString socket_;
    Limits limits_;
    /// Let go last: without it nobody may touch the socket.
    PosixFile::Descriptor lock_;
    std::unique_ptr<HandoverServer> server_;
};

} // namespace fetra
