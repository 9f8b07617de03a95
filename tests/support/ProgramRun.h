#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <functional>
#include <optional>

namespace fetra::test {

/// One start of a real program. What it prints is collected as it comes.
class ProgramRun {
public:
    struct Setup {
        QString program;
        QStringList arguments = {};
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        QString folder = {}; ///< where it starts
        /// Runs in the child before the program does.
        std::function<void()> inChild = {};
    };

    explicit ProgramRun(const Setup& setup);
    /// Kills it if it still runs.
    ~ProgramRun();

    void send(int signal);
    /// Collects output until `condition` holds; false when the program ends or half a minute passes before.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition);
    /// Nothing when it crashed or did not end within half a minute.
    [[nodiscard]] std::optional<int> exitStatus();

    [[nodiscard]] const QByteArray& output() const { return output_; }
    [[nodiscard]] const QByteArray& errors() const { return errors_; }
    /// The complete lines of the output as JSON objects; an empty object for what is none.
    [[nodiscard]] QList<QJsonObject> lines() const;

private:
    void collect();

    QProcess process_;
    QByteArray output_;
    QByteArray errors_;
};

} // namespace fetra::test
