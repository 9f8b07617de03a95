#pragma once

#include "support/TempFolder.h"
#include "support/TestCertificate.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <optional>
#include <sys/types.h>

namespace fetra::test {

struct NginxOptions {
    QString folder = {};                             ///< what it serves
    std::optional<TestCertificate> certificate = {}; ///< TLS when present
    QByteArray serverLines =
        {}; ///< into server {}, for example "limit_rate 1m;" or "location /x { return 503; }"
    QByteArray httpLines = {}; ///< into http {}, for example "limit_conn_zone $server_addr zone=all:1m;"
    int workers = 1;
};

/// A real nginx on a free port of 127.0.0.1, a child of this process that ends with the object (and with the
/// thread that made it). Runs as root and as an ordinary user. Not thread-safe.
class NginxServer {
public:
    /// Whether an nginx is installed; tests skip without.
    [[nodiscard]] static bool available();

    /// Accepts connections when the constructor returns; throws std::runtime_error with nginx's own words
    /// otherwise.
    explicit NginxServer(NginxOptions options);
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    [[nodiscard]] quint16 port() const { return port_; }
    [[nodiscard]] QUrl url(const QByteArray& path = "/", const QByteArray& host = "127.0.0.1") const;
    /// Lines so far: "<connection> <status> <body bytes> "<range or ->" <request line>".
    [[nodiscard]] QByteArray accessLog() const;
    [[nodiscard]] QByteArray errorLog() const;
    /// Ends it; idempotent.
    void stop();

private:
    void writeConfiguration() const;
    bool start();
    bool acceptsConnections() const;
    bool lostThePort() const;

    const NginxOptions options_;
    TempFolder prefix_;
    quint16 port_ = 0;
    pid_t process_ = -1;
};

} // namespace fetra::test
