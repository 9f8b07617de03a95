#pragma once

#include <functional>

namespace fetra {

/// Functions to run on the thread of the `QCoreApplication`, from its event loop.
namespace MainQueue {

/// Whether the calling thread is that thread.
[[nodiscard]] bool isCurrent();

/// Runs `work` there, after everything that was posted before. Callable from any thread.
void post(std::function<void()> work);

} // namespace MainQueue
} // namespace fetra
