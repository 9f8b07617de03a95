#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QStringList>

#include <functional>
#include <optional>
#include <sys/types.h>

namespace fetra::test {

/// One start of the real helper program, which speaks with this computer only. Killed with the object.
class HelperRun {
public:
    struct Setup {
        QStringList arguments;
        /// Where it keeps its state.
        QString dataFolder;
        /// Where peers reach it; 0: anywhere.
        quint16 port = 0;
        /// Starts this program, which has to start the helper named by its arguments.
        QStringList wrapper = {};
    };

    explicit HelperRun(const Setup& setup);
    ~HelperRun();

    void send(int signal);
    /// Collects output until `condition` holds; false when the program ends or half a minute passes before.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition);
    /// The exit status; nothing when it crashed or did not end within half a minute.
    [[nodiscard]] std::optional<int> exitStatus();

    /// The lines that are complete; an empty object for one that is no JSON.
    [[nodiscard]] QList<QJsonObject> lines() const;
    /// A number of the last line that has it.
    [[nodiscard]] qint64 last(const QString& key) const;
    /// "done", or the sentence of an error line, or empty.
    [[nodiscard]] QString ending() const;

private:
    /// Takes in what has come; false once there is no more to come.
    bool collect();

    pid_t process_ = -1;
    int pipe_ = -1;
    QByteArray output_;
};

/// The environment of every helper that this process starts from now on, runners' helpers included.
void confineHelpers(const QString& dataFolder);

/// One that is free now.
[[nodiscard]] quint16 freePort();

} // namespace fetra::test
