#include "support/StartChild.h"

#include <QProcess>

#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>

namespace fetra::test {

void startChild(QProcess& process, const QString& program, const QStringList& arguments) {
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process.start(program, arguments, QIODevice::ReadOnly);
    if (!process.waitForStarted())
        throw std::runtime_error(program.toStdString() + ": " + process.errorString().toStdString());
}

void sendSignal(const QProcess& process, int signal) {
    if (process.processId() <= 0 || ::kill(static_cast<pid_t>(process.processId()), signal) != 0)
        throw std::runtime_error(process.program().toStdString() + " has ended");
}

} // namespace fetra::test
