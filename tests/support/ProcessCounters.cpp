#include "support/ProcessCounters.h"

#include <filesystem>
#include <thread>

namespace fetra::test {

namespace {

int entries(const char* folder) {
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder))
        ++count;
    return count;
}

} // namespace

ProcessCounters ProcessCounters::now() {
    // A sanitizer starts a thread of its own with the first of the process; it is there before anything is
    // counted.
    [[maybe_unused]] static const bool started = [] {
        std::thread([] {}).join();
        return true;
    }();
    // The listing itself holds one descriptor.
    return {.descriptors = entries("/proc/self/fd") - 1, .threads = entries("/proc/self/task")};
}

} // namespace fetra::test
