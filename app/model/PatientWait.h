#pragma once

#include "system/Clock.h"

#include <QObject>
#include <QTimer>

#include <functional>

namespace fetra {

/// Looks every tenth of a second whether something has come to pass, for a minute at most, while the event
/// loop goes on. Lives until then or until its parent goes. Main thread only.
class PatientWait final : public QObject {
    Q_OBJECT

public:
    static constexpr double limitSeconds = 60;

    enum class Outcome { happened, timedOut, cancelled };

    struct Plan {
        std::function<bool()> hasHappened;
        /// Called once, from the event loop or from `cancel`.
        std::function<void(Outcome)> done;
    };

    /// Looks for the first time when the event loop runs.
    PatientWait(Plan plan, const Clock& clock, QObject* parent);

    void cancel() { finish(Outcome::cancelled); }

private:
    void look();
    void finish(Outcome outcome);

    Plan plan_;
    const Clock& clock_;
    const TimePoint deadline_;
    QTimer timer_;
};

} // namespace fetra
