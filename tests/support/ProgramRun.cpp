#include "support/ProgramRun.h"

#include "support/Eventually.h"

#include <QJsonDocument>

#include <csignal>
#include <stdexcept>

namespace fetra::test {

using namespace std::chrono_literals;

ProgramRun::ProgramRun(const Setup& setup) {
    process_.setProcessEnvironment(setup.environment);
    process_.setWorkingDirectory(setup.folder);
    process_.setChildProcessModifier([inChild = setup.inChild] {
        // The program keeps ignoring what its parent does, and a shell starts its background jobs so.
        for (const int number : {SIGINT, SIGHUP, SIGTERM, SIGQUIT})
            std::signal(number, SIG_DFL);
        if (inChild)
            inChild();
    });
    process_.start(setup.program, setup.arguments);
    if (!process_.waitForStarted())
        throw std::runtime_error("the program does not start");
}

ProgramRun::~ProgramRun() {
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

void ProgramRun::send(int signal) {
    // 0 after its end would mean everybody in the group of this process.
    if (process_.processId() > 0)
        ::kill(pid_t(process_.processId()), signal);
}

bool ProgramRun::runUntil(const std::function<bool()>& condition) {
    bool held = false;
    const bool ended = eventually(30s, [&] {
        const bool running = !process_.waitForFinished(5) && process_.state() == QProcess::Running;
        collect();
        held = condition();
        return held || !running;
    });
    return ended && held;
}

std::optional<int> ProgramRun::exitStatus() {
    if (process_.state() != QProcess::NotRunning)
        process_.waitForFinished(30'000);
    collect();
    if (process_.state() != QProcess::NotRunning || process_.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return process_.exitCode();
}

QList<QJsonObject> ProgramRun::lines() const {
    QList<QJsonObject> objects;
    for (const QByteArray& line : output_.first(output_.lastIndexOf('\n') + 1).split('\n'))
        if (!line.isEmpty())
            objects += QJsonDocument::fromJson(line).object();
    return objects;
}

void ProgramRun::collect() {
    output_ += process_.readAllStandardOutput();
    errors_ += process_.readAllStandardError();
}

} // namespace fetra::test
