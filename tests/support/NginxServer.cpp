#include "support/NginxServer.h"

#include "support/Eventually.h"

#include <QStandardPaths>

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fetra::test {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int kPortAttempts = 5;

QString program() {
    const QString found = QStandardPaths::findExecutable(u"nginx"_s);
    return found.isEmpty()
               ? QStandardPaths::findExecutable(u"nginx"_s, {u"/usr/sbin"_s, u"/usr/local/sbin"_s})
               : found;
}

sockaddr_in loopback(quint16 port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// Free now; another process may take it before nginx does, hence the attempts.
quint16 freePort() {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t length = sizeof address;
    const bool known = ::bind(probe, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                       ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    ::close(probe);
    if (!known)
        throw std::runtime_error("no free port");
    return ntohs(address.sin_port);
}

QByteArray quoted(const QString& path) {
    return '"' + path.toUtf8() + '"';
}

} // namespace

bool NginxServer::available() {
    return !program().isEmpty();
}

NginxServer::NginxServer(NginxOptions options)
    : options_(std::move(options)) {
    if (!available())
        throw std::runtime_error("nginx is not installed");
    for (int attempt = 0; attempt < kPortAttempts && (attempt == 0 || lostThePort()); ++attempt) {
        port_ = freePort();
        writeConfiguration();
        if (start())
            return;
        stop();
    }
    throw std::runtime_error("nginx does not start: " + errorLog().toStdString());
}

NginxServer::~NginxServer() {
    stop();
}

void NginxServer::writeConfiguration() const {
    // As root nginx would give its workers to an account that may not read the temporary folder.
    QByteArray text = ::geteuid() == 0 ? "user root;\n" : "";
    text += "daemon off;\nworker_processes " + QByteArray::number(options_.workers) +
            ";\npid nginx.pid;\nerror_log error.log notice;\nevents { worker_connections 1024; }\nhttp {\n"
            "log_format ranges '$connection $status $body_bytes_sent \"$http_range\" $request';\n"
            "access_log access.log ranges;\ndefault_type application/octet-stream;\nsendfile on;\n"
            "keepalive_requests 100000;\n";
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        text += QByteArray(kind) + "_temp_path temp_" + kind + ";\n";
    text += options_.httpLines + "\nserver {\nlisten 127.0.0.1:" + QByteArray::number(port_);
    if (options_.certificate) {
        const QString certificate = prefix_.write(u"server.pem"_s, options_.certificate->certificatePEM());
        const QString key = prefix_.write(u"server.key"_s, options_.certificate->keyPEM());
        text += " ssl;\nssl_certificate " + quoted(certificate) + ";\nssl_certificate_key " + quoted(key);
    }
    text += ";\nroot " + quoted(options_.folder) + ";\n" + options_.serverLines + "\n}\n}\n";
    prefix_.write(u"nginx.conf"_s, text);
}

bool NginxServer::start() {
    const std::string path = program().toStdString();
    const std::string prefix = prefix_.path().toStdString() + '/';
    const char* const arguments[] = {path.c_str(), "-p", prefix.c_str(), "-c",
                                     "nginx.conf", "-e", "error.log",    nullptr};
    const pid_t parent = ::getpid();
    const int quiet = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    process_ = ::fork();
    if (process_ == 0) {
        // Only calls that are safe between fork and exec in a process with threads.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::dup2(quiet, STDERR_FILENO); // the error log has it all
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        if (::getppid() == parent)
            ::execv(path.c_str(), const_cast<char* const*>(arguments));
        ::_exit(127);
    }
    ::close(quiet);
    if (process_ < 0)
        return false;
    bool running = true;
    return eventually(10s,
                      [&] {
                          running = ::waitpid(process_, nullptr, WNOHANG) == 0;
                          if (!running)
                              process_ = -1;
                          return !running || acceptsConnections();
                      }) &&
           running;
}

bool NginxServer::lostThePort() const {
    return errorLog().contains("Address already in use");
}

bool NginxServer::acceptsConnections() const {
    const int probe = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port_);
    const bool accepted = ::connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(probe);
    return accepted;
}

void NginxServer::stop() {
    if (process_ <= 0)
        return;
    ::kill(process_, SIGTERM);
    // A master that does not end is killed; its workers then find their channel closed.
    if (!eventually(5s, [this] { return ::waitpid(process_, nullptr, WNOHANG) != 0; })) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    process_ = -1;
}

QUrl NginxServer::url(const QByteArray& path, const QByteArray& host) const {
    const QByteArray scheme = options_.certificate ? "https://" : "http://";
    return QUrl::fromEncoded(scheme + host + ':' + QByteArray::number(port_) + path);
}

QByteArray NginxServer::accessLog() const {
    return prefix_.tryRead(u"access.log"_s).value_or(QByteArray());
}

QByteArray NginxServer::errorLog() const {
    return prefix_.tryRead(u"error.log"_s).value_or(QByteArray());
}

} // namespace fetra::test
