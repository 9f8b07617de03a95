#include "system/ChildProcess.h"

#include "system/PosixError.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <unistd.h>

// The header of glibc 2.36 does not say so itself.
extern "C" {
#include <sys/pidfd.h>
}

namespace fetra {

using std::chrono::steady_clock;

namespace {

void require(int code) {
    if (code != 0)
        throw PosixError(code);
}

/// What becomes of the descriptors and signals between the fork and the start of the program.
class SpawnSetup {
public:
    explicit SpawnSetup(int output) {
        require(::posix_spawn_file_actions_init(&actions_));
        require(::posix_spawnattr_init(&attributes_));
        // Standard output comes first: the pipe's own number may be that of one of the other two.
        require(::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO));
        require(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        require(::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
        // Libraries open descriptors without close-on-exec, for a moment at least.
        require(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));

        sigset_t none;
        sigset_t usual;
        ::sigemptyset(&none);
        ::sigfillset(&usual);
        require(::posix_spawnattr_setsigmask(&attributes_, &none));
        require(::posix_spawnattr_setsigdefault(&attributes_, &usual));
        require(::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    ~SpawnSetup() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    [[nodiscard]] pid_t start(const ChildProcess::Command& command) const {
        std::vector<QByteArray> words{QFile::encodeName(command.program)};
        for (const QString& argument : command.arguments)
            words.push_back(QFile::encodeName(argument));
        std::vector<char*> pointers;
        std::ranges::transform(words, std::back_inserter(pointers),
                               [](QByteArray& word) { return word.data(); });
        pointers.push_back(nullptr);
        pid_t process = -1;
        require(
            ::posix_spawn(&process, pointers.front(), &actions_, &attributes_, pointers.data(), ::environ));
        return process;
    }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

ChildProcess::ChildProcess(const Command& command)
    : grace_(command.grace)
    , wake_(::eventfd(0, EFD_CLOEXEC)) {
    std::array<int, 2> ends{};
    if (!wake_.isOpen() || ::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw PosixError::last();
    output_ = PosixFile::Descriptor(ends[0]);
    const PosixFile::Descriptor input(ends[1]);
    process_ = SpawnSetup(input.number()).start(command);
    end_ = PosixFile::Descriptor(::pidfd_open(process_, 0));
    if (!end_.isOpen()) {
        const PosixError error = PosixError::last();
        kill();
        reap();
        throw error;
    }
}

ChildProcess::~ChildProcess() {
    if (process_ > 0) {
        kill();
        reap();
    }
}

QByteArray ChildProcess::read() {
    constexpr qsizetype pipeSize = 65'536;
    if (killed_ || !await(output_.number()))
        return {};
    QByteArray data(pipeSize, Qt::Uninitialized);
    ssize_t count = -1;
    do {
        count = ::read(output_.number(), data.data(), pipeSize);
    } while (count < 0 && errno == EINTR);
    if (count < 0)
        throw PosixError::last();
    data.resize(count);
    return data;
}

void ChildProcess::wait() {
    if (process_ <= 0)
        return;
    if (!killed_ && !await(end_.number(), steady_clock::now() + grace_) && !killed_) {
        terminate();
        static_cast<void>(await(end_.number()));
    }
    reap();
}

void ChildProcess::terminate() {
    const std::lock_guard lock(lock_);
    if (process_ <= 0 || killAt_)
        return;
    killAt_ = steady_clock::now() + grace_;
    ::kill(process_, SIGTERM);
    ::eventfd_write(wake_.number(), 1);
}

std::optional<ChildProcess::Moment> ChildProcess::killMoment() const {
    const std::lock_guard lock(lock_);
    return killAt_;
}

bool ChildProcess::await(int descriptor, std::optional<Moment> until) {
    for (;;) {
        const std::optional<Moment> killAt = killMoment();
        // Whether there is something to read does not matter then: it may go on for ever.
        if (killAt && steady_clock::now() >= *killAt) {
            kill();
            return false;
        }
        const std::optional<Moment> deadline = killAt ? killAt : until;
        int timeout = -1;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - steady_clock::now());
            timeout = static_cast<int>(std::max<qint64>(left.count(), 0));
        }
        // Once `terminate` was called there is nothing more to be woken for.
        std::array<pollfd, 2> events{{{descriptor, POLLIN, 0}, {killAt ? -1 : wake_.number(), POLLIN, 0}}};
        const int ready = ::poll(events.data(), events.size(), timeout);
        if (ready < 0 && errno != EINTR)
            throw PosixError::last();
        if (ready > 0 && events[0].revents != 0)
            return true;
        if (ready == 0 && !killAt)
            return false;
    }
}

void ChildProcess::kill() {
    killed_ = true;
    ::kill(process_, SIGKILL);
}

void ChildProcess::reap() {
    // Waits without reaping first: until then the number is the child's, and `terminate` need not wait.
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR)
        ;
    const std::lock_guard lock(lock_);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

} // namespace fetra
