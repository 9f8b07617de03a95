#include "segmented/SpeedMeter.h"

namespace fetra {

SpeedMeter::SpeedMeter(double alpha, qint64 initialBytes, TimePoint now)
    : lastBytes_(initialBytes)
    , lastTime_(now)
    , alpha_(alpha) {}

double SpeedMeter::sample(qint64 bytes, TimePoint now) {
    constexpr double shortestInterval = 0.05;
    const double elapsed = secondsBetween(lastTime_, now);
    if (elapsed < shortestInterval)
        return rate();
    const double instant = static_cast<double>(bytes - lastBytes_) / elapsed;
    ewma_ = ewma_ == 0.0 ? instant : alpha_ * instant + (1.0 - alpha_) * ewma_;
    lastBytes_ = bytes;
    lastTime_ = now;
    return rate();
}

} // namespace fetra
