#pragma once

#include "support/SystemCalls.h"
#include "transfer/ResumeStore.h"

#include <QByteArray>

#include <array>
#include <atomic>
#include <bitset>
#include <functional>
#include <mutex>
#include <span>
#include <string>

#include <sys/types.h>

namespace fetra::test {

/// A small partial file, reused for run after run, and what is known of each of its bytes: whether the
/// engine has taken it, what a reader sees now, and what a power failure would leave. It watches the calls
/// of the program, and what they do wrong becomes a complaint. Bytes that were never written are 0; the right
/// ones never are. Any thread.
class OracleFile final : public CallWatcher {
public:
    static constexpr size_t capacity = 512;
    using Bytes = std::bitset<capacity>;

    enum class Fault { write, sync, sidecarWrite, sidecarSync };

    explicit OracleFile(const QString& path);
    ~OracleFile() override;
    OracleFile(const OracleFile&) = delete;
    OracleFile& operator=(const OracleFile&) = delete;

    /// A run begins on a file of `total` bytes, in which only those of `held` are left.
    void begin(qint64 total, const Bytes& held);
    /// No write is right from now on.
    void end();

    /// Syncs never reach the system: no test ends the power.
    long call(SystemCall& call, const Proceed& proceed) override;

    /// What happens while a write of the engine is under way. Called on the writing thread.
    std::function<void()> midWrite;

    /// The next such call fails with that errno value.
    void failNext(Fault fault, int code) { coming_[static_cast<size_t>(fault)] = code; }
    /// How many have come to pass in this run.
    [[nodiscard]] int faults(Fault fault) const { return come_[static_cast<size_t>(fault)]; }
    [[nodiscard]] int dataFaults() const { return faults(Fault::write) + faults(Fault::sync); }
    [[nodiscard]] int sidecarFaults() const {
        return faults(Fault::sidecarWrite) + faults(Fault::sidecarSync);
    }
    [[nodiscard]] int recordCount() const { return records_; }

    /// The next sync of the file waits to be released, unless one waits already.
    void holdSync() { hold_ = !holding_; }
    void releaseSync();
    /// Whether the sync that is under way, or about to begin, has to wait. Returns when it does.
    [[nodiscard]] bool isHeldUp() const;

    /// What the engine has taken and not given up since.
    [[nodiscard]] Bytes held() const;
    /// The segment at the head of the file begins again.
    void rewind();
    [[nodiscard]] const QByteArray& content() const { return content_; }
    [[nodiscard]] const QString& path() const { return path_; }

    /// The bytes that `record` claims. A record that does not tile the file, or claims what would not survive
    /// a power failure, is complained about.
    Bytes check(const ResumeRecord& record);
    /// Complains unless every byte is there, and right, and safe.
    void checkWhole();

    /// Keeps the first one.
    void complain(const std::string& what);
    [[nodiscard]] std::string complaint() const;
    /// Empty when there was none.
    [[nodiscard]] std::string takeComplaint();

private:
    [[nodiscard]] bool isOwn(int descriptor) const;
    /// These answer the errno value that the call fails with, or 0.
    [[nodiscard]] int willWrite(int descriptor, std::span<const char> data, qint64 offset);
    [[nodiscard]] int willSync(int descriptor);
    [[nodiscard]] int willSave(std::span<const char> data);
    /// What this call fails with.
    [[nodiscard]] int comes(Fault fault);
    void take(qint64 offset, qint64 end);
    void complainLocked(const std::string& what);

    const QString path_;
    int descriptor_ = -1;
    ino_t inode_ = 0;

    mutable std::mutex mutex_;
    qint64 total_ = 0;
    bool running_ = false;
    QByteArray content_;
    Bytes held_;
    QByteArray cache_;
    QByteArray disk_;
    /// Bytes that a failed sync gave up: no later one brings them to the disk.
    Bytes lost_;
    std::string complaint_;

    std::array<std::atomic<int>, 4> coming_{};
    std::array<std::atomic<int>, 4> come_{};
    std::atomic<int> records_ = 0;
    /// Orders to hold a sync are `hold_` until they are obeyed.
    std::atomic<bool> hold_ = false;
    std::atomic<bool> holding_ = false;
};

} // namespace fetra::test
