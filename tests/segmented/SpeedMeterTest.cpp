#include "segmented/SpeedMeter.h"

#include <gtest/gtest.h>

#include <vector>

namespace fetra {
namespace {

TEST(SpeedMeterTest, SmoothsTheRateFromSampleToSample) {
    struct Sample {
        double at; ///< seconds after the start
        qint64 bytes;
        double rate;
    };
    const std::tuple<const char*, qint64, std::vector<Sample>> cases[] = {
        {"the first sample stands unsmoothed", 0, {{0.5, 1'000'000, 2e6}, {1.0, 2'000'000, 2e6}}},
        {"the newest weighs a quarter", 0, {{0.5, 1'000'000, 2e6}, {1.0, 1'500'000, 1.75e6}}},
        {"too early a sample changes nothing, not even the next",
         0,
         {{0.5, 1'000'000, 2e6}, {0.51, 9'000'000, 2e6}, {1.0, 2'000'000, 2e6}}},
        {"resumed bytes are no speed", 5'000, {{0.25, 5'000, 0}, {0.5, 5'250, 1'000}}},
        {"a loss shows as no speed and is remembered",
         0,
         {{1.0, 1'000, 1'000}, {2.0, -9'000, 0}, {3.0, 1'000, 1'000 * (0.25 * 10 + 0.75 * -1.75)}}},
    };
    for (const auto& [name, initial, samples] : cases) {
        SCOPED_TRACE(name);
        const TimePoint start{};
        SpeedMeter meter(SpeedMeter::engineAlpha, initial, start);
        EXPECT_EQ(meter.rate(), 0);
        for (const Sample& sample : samples) {
            EXPECT_NEAR(meter.sample(sample.bytes, start + asDuration(sample.at)), sample.rate, 0.01);
            EXPECT_NEAR(meter.rate(), sample.rate, 0.01);
        }
    }
}

} // namespace
} // namespace fetra
