#pragma once

#include <set>

namespace fetra::OpenDescriptors {

/// The descriptors that this process has open now, as far as the system tells.
[[nodiscard]] std::set<int> list();

/// Keeps those from child processes that are open now and were not in `before`.
void closeOnExecSince(const std::set<int>& before);

/// Lets this process have as many as the system allows it. Many downloads of many connections need more than
/// the usual 1,024; the lower number is for programs that use `select`.
void raiseLimit();

} // namespace fetra::OpenDescriptors
