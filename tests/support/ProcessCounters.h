#pragma once

#include <QtGlobal>

namespace fetra::test {

/// What this process holds now, as the system counts it.
struct ProcessCounters {
    int descriptors = 0;
    int threads = 0;

    [[nodiscard]] static ProcessCounters now();
};

} // namespace fetra::test
