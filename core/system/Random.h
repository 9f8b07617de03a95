#pragma once

#include <QRandomGenerator>

namespace fetra {

/// Where a component asks for chance, so that tests can answer. Callable from any thread.
class Random {
public:
    virtual ~Random() = default;
    /// A uniform number between `low` and `high`.
    [[nodiscard]] virtual double uniform(double low, double high) = 0;
};

class SystemRandom final : public Random {
public:
    [[nodiscard]] double uniform(double low, double high) override {
        return low + (high - low) * QRandomGenerator::global()->generateDouble();
    }
};

} // namespace fetra
