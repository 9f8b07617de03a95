#pragma once

#include "system/Clock.h"

#include <QtGlobal>

namespace fetra {

/// Turns a growing byte count into a smoothed rate. Used under its owner's lock.
class SpeedMeter {
public:
    static constexpr double engineAlpha = 0.25;

    /// `alpha` is the weight of the newest measurement.
    SpeedMeter(double alpha, qint64 initialBytes, TimePoint now);

    /// Takes the total byte count at `now` and returns the smoothed bytes per second, never below 0. Samples
    /// less than 0.05 s after the last one are passed over.
    double sample(qint64 bytes, TimePoint now);
    [[nodiscard]] double rate() const { return ewma_ > 0 ? ewma_ : 0; }

private:
    qint64 lastBytes_;
    TimePoint lastTime_;
    double ewma_ = 0;
    double alpha_;
};

} // namespace fetra
