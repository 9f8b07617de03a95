#include "app/model/PatientWait.h"

#include <chrono>
#include <utility>

using namespace std::chrono_literals;

namespace fetra {

PatientWait::PatientWait(Plan plan, const Clock& clock, QObject* parent)
    : QObject(parent)
    , plan_(std::move(plan))
    , clock_(clock)
    , deadline_(clock.now() + asDuration(limitSeconds)) {
    timer_.setSingleShot(true);
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.callOnTimeout(this, [this] { look(); });
    timer_.start(0ms);
}

void PatientWait::look() {
    if (plan_.hasHappened())
        finish(Outcome::happened);
    else if (clock_.now() >= deadline_)
        finish(Outcome::timedOut);
    else
        timer_.start(100ms);
}

void PatientWait::finish(Outcome outcome) {
    timer_.stop();
    deleteLater();
    if (const auto done = std::exchange(plan_.done, nullptr))
        done(outcome);
}

} // namespace fetra
