#pragma once

namespace fetra::MainThread {

/// Whether the calling thread is that of the `QCoreApplication`, to which list, items and views are confined.
[[nodiscard]] bool isCurrent();

} // namespace fetra::MainThread
