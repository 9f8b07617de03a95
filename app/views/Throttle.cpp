#include "app/views/Throttle.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace fetra {

Throttle::Throttle(std::chrono::milliseconds interval, std::function<void()> work)
    : interval_(interval)
    , work_(std::move(work)) {
    timer_.setSingleShot(true);
    timer_.callOnTimeout(this, &Throttle::run);
}

void Throttle::request() {
    if (timer_.isActive())
        return;
    const auto passed = sinceLast_.isValid() ? std::chrono::milliseconds(sinceLast_.elapsed()) : interval_;
    timer_.start(std::max(interval_ - passed, 0ms));
}

void Throttle::flush() {
    if (timer_.isActive())
        run();
}

void Throttle::run() {
    timer_.stop();
    sinceLast_.start();
    work_();
}

} // namespace fetra
