#pragma once

#include <set>

namespace fetra::OpenDescriptors {

/// The descriptors that this process has open now, as far as the system tells.
[[nodiscard]] std::set<int> list();

/// Keeps those from child processes that are open now and were not in `before`.
void closeOnExecSince(const std::set<int>& before);

} // namespace fetra::OpenDescriptors
