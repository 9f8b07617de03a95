#pragma once

#include <QByteArray>
#include <QUrl>

namespace fetra {

/// What every request of the process shares. Read from the environment once, on the thread that makes the
/// client, since nothing may read the environment while another thread could change it.
struct CurlSettings {
    /// Certificates of the authorities that servers must be vouched for by, in PEM form.
    QByteArray caFile;
    /// Empty: no proxy.
    QByteArray httpProxy;
    QByteArray httpsProxy;
    QByteArray noProxy;

    [[nodiscard]] static CurlSettings fromEnvironment();
    [[nodiscard]] const QByteArray& proxyFor(const QUrl& url) const;
};

} // namespace fetra
