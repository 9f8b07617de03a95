#pragma once

#include "support/Eventually.h"

#include <QCoreApplication>

namespace fetra::test {

/// Runs the main thread's events until the predicate says yes; false when ten seconds passed first.
template <typename Predicate>
[[nodiscard]] bool runUntil(Predicate&& predicate) {
    return eventually(std::chrono::seconds(10), [&] {
        QCoreApplication::processEvents();
        return predicate();
    });
}

} // namespace fetra::test
