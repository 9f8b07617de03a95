#pragma once

#include <functional>

#include <sys/types.h>

namespace fetra::test {

/// A call of this process about files, on its way to the system.
struct SystemCall {
    /// `truncate` by path or descriptor.
    enum class Kind {
        open,
        read,
        write,
        pwrite,
        truncate,
        fsync,
        fdatasync,
        rename,
        renameat2,
        link,
        unlink,
        mkdir
    };

    const Kind kind;
    const int descriptor = -1;
    const char* const path = nullptr;
    const char* const newPath = nullptr; ///< of `rename`, `renameat2` and `link`
    const int flags = 0;                 ///< of `open`
    const void* const data = nullptr;    ///< of `write` and `pwrite`
    /// Of a read or write; what it is lowered to is what the system is asked for. A new length otherwise.
    off_t size = 0;
    off_t offset = 0; ///< of `pwrite`
};

[[nodiscard]] const char* nameOf(SystemCall::Kind kind);

/// Stands between this process and the system; at most one at a time. A program that uses it has its own
/// functions for the calls above, which lead to the system's own while nobody watches.
class CallWatcher {
public:
    using Proceed = std::function<long()>;

    virtual ~CallWatcher() = default;
    /// Returns what the call is to return, with `errno` set on failure; `proceed` asks the system. On the
    /// calling thread, on several at once.
    virtual long call(SystemCall& call, const Proceed& proceed) = 0;

    /// From now on `watcher` is asked. Null: nobody, and none that was asked before is in use any more.
    static void install(CallWatcher* watcher);
};

} // namespace fetra::test
