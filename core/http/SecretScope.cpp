#include "http/SecretScope.h"

#include "system/PublicSuffixes.h"

namespace fetra::SecretScope {

using namespace Qt::StringLiterals;

namespace {

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
    const QByteArray domain = PublicSuffixes::registrableDomain(homeHost);
    return !domain.isEmpty() && domain == PublicSuffixes::registrableDomain(targetHost);
}

} // namespace fetra::SecretScope
