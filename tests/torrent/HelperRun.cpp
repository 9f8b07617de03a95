#include "HelperRun.h"

#include <QRegularExpression>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

ProgramRun::Setup programSetup(const HelperRun::Setup& setup) {
    QStringList words = setup.wrapper + QStringList{QStringLiteral(FETRA_BIN_DIR "/fetra-torrent")};
    ProgramRun::Setup program{.program = words.first(), .arguments = words.sliced(1) + setup.arguments};
    program.environment.insert(u"FETRA_TORRENT_LOCAL"_s, u"1"_s);
    program.environment.insert(u"XDG_DATA_HOME"_s, setup.dataFolder);
    if (setup.port != 0)
        program.environment.insert(u"FETRA_TORRENT_LISTEN"_s, u"127.0.0.1:%1"_s.arg(setup.port));
    return program;
}

} // namespace

HelperRun::HelperRun(const Setup& setup)
    : ProgramRun(programSetup(setup)) {}

qint64 HelperRun::last(const QString& key) const {
    qint64 value = 0;
    for (const QJsonObject& line : lines())
        value = line.value(key).toInteger(value);
    return value;
}

QString HelperRun::ending() const {
    const QJsonObject line = lines().value(lines().size() - 1);
    const QString type = line.value("type"_L1).toString();
    return type == "error"_L1 ? line.value("error"_L1).toString() : type;
}

bool isLike(const QString& sentence, const QString& pattern) {
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(sentence).hasMatch();
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
