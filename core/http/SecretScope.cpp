#include "http/SecretScope.h"

#include <arpa/inet.h>
#include <libpsl.h>

namespace fetra::SecretScope {

using namespace Qt::StringLiterals;

namespace {

bool isAddress(const QByteArray& host) {
    in6_addr parsed{};
    return inet_pton(AF_INET, host.constData(), &parsed) == 1 ||
           inet_pton(AF_INET6, host.constData(), &parsed) == 1;
}

/// The part of a name that one owner registered ("example.co.uk"), or nothing for addresses and public
/// suffixes.
QByteArray registrableDomain(const QByteArray& host) {
    if (isAddress(host))
        return {};
    return QByteArray(psl_registrable_domain(psl_builtin(), host.constData()));
}

QByteArray hostOf(const QUrl& url) {
    return url.host(QUrl::FullyEncoded).toLower().toLatin1();
}

} // namespace

bool allows(const QUrl& home, const QUrl& target) {
    if (home.scheme() == "https"_L1 && target.scheme() != "https"_L1)
        return false;
    const QByteArray homeHost = hostOf(home);
    const QByteArray targetHost = hostOf(target);
    if (homeHost.isEmpty() || targetHost.isEmpty())
        return false;
    if (homeHost == targetHost)
        return true;
    const QByteArray domain = registrableDomain(homeHost);
    return !domain.isEmpty() && domain == registrableDomain(targetHost);
}

} // namespace fetra::SecretScope
