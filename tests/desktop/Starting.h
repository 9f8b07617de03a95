#pragma once

#include "support/EventLoop.h"
#include "support/StartChild.h"

#include <QProcess>

namespace fetra::test {

/// A start of the application in a process of its own; killed with this object.
class Starting {
public:
    struct Setup {
        QStringList arguments = {};
        QString workingFolder = {};
        QString token = {};
        /// For the other instance to answer.
        int answerWithin = 10'000;
    };

    explicit Starting(const QString& runtime)
        : Starting(runtime, Setup{}) {}
    Starting(const QString& runtime, const Setup& setup) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_ACTIVATION_TOKEN"), setup.token);
        process_.setProcessEnvironment(environment);
        process_.setWorkingDirectory(setup.workingFolder);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        startChild(process_, QStringLiteral(FETRA_BIN_DIR "/start_instance"),
                   QStringList{runtime, QString::number(setup.answerWithin)} + setup.arguments);
    }
    ~Starting() {
        process_.kill();
        process_.waitForFinished();
    }

    /// The next line it says; empty when it says none.
    [[nodiscard]] QByteArray line() {
        const bool isThere =
            runUntil([&] { return process_.canReadLine() || process_.state() == QProcess::NotRunning; });
        return isThere ? process_.readLine().trimmed() : QByteArray();
    }
    void send(int signal) { sendSignal(process_, signal); }

private:
    QProcess process_;
};

} // namespace fetra::test
