#pragma once

#include "system/PosixFile.h"

#include <QObject>
#include <QSocketNotifier>

namespace fetra {

/// Hears the signals by which a session or a terminal ends the application. There is one for the process, on
/// the main thread. Programs that the application starts do not inherit any of it.
class TerminationSignals final : public QObject {
    Q_OBJECT

public:
    /// Throws `PosixError` when the process has no descriptor left.
    TerminationSignals();
    ~TerminationSignals() override;

Q_SIGNALS:
    /// Once for each time that some have come.
    void received();

private:
    PosixFile::Descriptor wake_;
    QSocketNotifier notifier_;
};

} // namespace fetra
