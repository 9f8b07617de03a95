#include "HelperRun.h"

#include "support/Eventually.h"

#include <QJsonDocument>
#include <QProcessEnvironment>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace fetra::test {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

HelperRun::HelperRun(const Setup& setup) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"FETRA_TORRENT_LOCAL"_s, u"1"_s);
    environment.insert(u"XDG_DATA_HOME"_s, setup.dataFolder);
    if (setup.port != 0)
        environment.insert(u"FETRA_TORRENT_LISTEN"_s, u"127.0.0.1:%1"_s.arg(setup.port));
    process_.setProcessEnvironment(environment);
    process_.setStandardErrorFile(QProcess::nullDevice());
    QStringList command =
        setup.wrapper + QStringList{QStringLiteral(FETRA_BIN_DIR "/fetra-torrent")} + setup.arguments;
    const QString program = command.takeFirst();
    process_.start(program, command);
    if (!process_.waitForStarted())
        throw std::runtime_error("the helper does not start");
}

HelperRun::~HelperRun() {
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished();
    }
}

void HelperRun::send(int signal) {
    ::kill(pid_t(process_.processId()), signal);
}

bool HelperRun::runUntil(const std::function<bool()>& condition) {
    bool held = false;
    const bool ended = eventually(30s, [&] {
        const bool running = !process_.waitForFinished(5) && process_.state() == QProcess::Running;
        output_ += process_.readAllStandardOutput();
        held = condition();
        return held || !running;
    });
    return ended && held;
}

std::optional<int> HelperRun::exitStatus() {
    if (process_.state() != QProcess::NotRunning)
        process_.waitForFinished(30'000);
    output_ += process_.readAllStandardOutput();
    if (process_.state() != QProcess::NotRunning || process_.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return process_.exitCode();
}

QList<QJsonObject> HelperRun::lines() const {
    QList<QJsonObject> objects;
    const QByteArrayList texts = output_.split('\n');
    for (qsizetype i = 0; i + 1 < texts.size(); ++i)
        objects += QJsonDocument::fromJson(texts[i]).object();
    return objects;
}

qint64 HelperRun::last(const QString& key) const {
    qint64 value = 0;
    for (const QJsonObject& line : lines())
        value = line.value(key).toInteger(value);
    return value;
}

QString HelperRun::ending() const {
    const QList<QJsonObject> all = lines();
    if (all.isEmpty() || !all.last().contains("type"_L1))
        return {};
    const QJsonObject line = all.last();
    return line.value("type"_L1) == "error"_L1 ? line.value("error"_L1).toString()
                                               : line.value("type"_L1).toString();
}

void confineHelpers(const QString& dataFolder) {
    qputenv("FETRA_TORRENT_LOCAL", "1");
    qputenv("XDG_DATA_HOME", dataFolder.toUtf8());
    qunsetenv("FETRA_TORRENT_HELPER");
}

quint16 freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const bool known = ::bind(probe, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                       ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(probe);
    if (!known)
        throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

} // namespace fetra::test
