#include "HelperRun.h"

#include "support/Eventually.h"

#include <QJsonDocument>

#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fetra::test {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

HelperRun::HelperRun(const Setup& setup) {
    QByteArrayList words{"/usr/bin/env", "FETRA_TORRENT_LOCAL=1",
                         "XDG_DATA_HOME=" + setup.dataFolder.toUtf8()};
    if (setup.port != 0)
        words += "FETRA_TORRENT_LISTEN=127.0.0.1:" + QByteArray::number(setup.port);
    for (const QString& word : setup.wrapper)
        words += word.toUtf8();
    words += FETRA_BIN_DIR "/fetra-torrent";
    for (const QString& word : setup.arguments)
        words += word.toUtf8();
    std::vector<char*> pointers;
    for (QByteArray& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    const int quiet = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    process_ = ::fork();
    if (process_ == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(quiet, STDERR_FILENO);
        ::execv(pointers.front(), pointers.data());
        ::_exit(127);
    }
    ::close(quiet);
    ::close(ends[1]);
    pipe_ = ends[0];
    ::fcntl(pipe_, F_SETFL, O_NONBLOCK);
}

HelperRun::~HelperRun() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    ::close(pipe_);
}

void HelperRun::send(int signal) {
    ::kill(process_, signal);
}

bool HelperRun::collect() {
    char buffer[4096];
    ssize_t count = 0;
    while ((count = ::read(pipe_, buffer, sizeof buffer)) > 0)
        output_.append(buffer, count);
    return count < 0;
}

bool HelperRun::runUntil(const std::function<bool()>& condition) {
    bool held = false;
    const bool ended = eventually(30s, [&] {
        const bool open = collect();
        held = condition();
        return held || !open;
    });
    return ended && held;
}

std::optional<int> HelperRun::exitStatus() {
    int status = 0;
    if (!eventually(30s, [&] {
            collect();
            return ::waitpid(process_, &status, WNOHANG) == process_;
        }))
        return std::nullopt;
    process_ = -1;
    collect();
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
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
    // Below those that the system gives to connections, and where no other test of this moment begins.
    constexpr int lowest = 10'000;
    constexpr int count = 22'000;
    static int next = ::getpid() * 64;
    for (int tried = 0; tried < count; ++tried) {
        const auto port = static_cast<quint16>(lowest + next++ % count);
        const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const bool isFree = ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        ::close(probe);
        if (isFree)
            return port;
    }
    throw std::runtime_error("no free port");
}

} // namespace fetra::test
