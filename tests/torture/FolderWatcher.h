#pragma once

#include "support/SystemCalls.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <atomic>

namespace fetra::test {

/// Sees the calls that concern a folder or what lies below it, while it is installed; all others go their
/// way.
class FolderWatcher : public CallWatcher {
public:
    explicit FolderWatcher(const QString& folder)
        : folder_(QFile::encodeName(folder)) {}
    ~FolderWatcher() override { install(nullptr); }
    FolderWatcher(const FolderWatcher&) = delete;
    FolderWatcher& operator=(const FolderWatcher&) = delete;

    long call(SystemCall& call, const Proceed& proceed) final;

    /// A kind of call that this file system does not know at all.
    void refuse(SystemCall::Kind kind, int code) {
        refused_ = kind;
        refusal_ = code;
    }

    /// While one lives, the calls of this thread are not seen: a test looks at what the product has done.
    class Unseen {
    public:
        Unseen() { ++count; }
        ~Unseen() { --count; }
        Unseen(const Unseen&) = delete;
        Unseen& operator=(const Unseen&) = delete;
        inline static thread_local int count = 0;
    };

protected:
    /// `name` is relative to the folder, empty for the folder itself.
    virtual long callBelow(SystemCall& call, const QByteArray& name, const Proceed& proceed) = 0;
    /// Relative to the folder.
    [[nodiscard]] QByteArray nameBelow(const char* path) const;

private:
    [[nodiscard]] bool isBelow(const QByteArray& path) const;

    const QByteArray folder_;
    std::atomic<int> refusal_ = 0;
    std::atomic<SystemCall::Kind> refused_{};
};

} // namespace fetra::test
