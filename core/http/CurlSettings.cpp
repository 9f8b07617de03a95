#include "http/CurlSettings.h"

#include <initializer_list>
#include <QtGlobal>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* systemCAFile = "/etc/ssl/certs/ca-certificates.crt";

QByteArray firstOf(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        if (QByteArray value = qgetenv(name); !value.isEmpty())
            return value;
    }
    return {};
}

} // namespace

CurlSettings CurlSettings::fromEnvironment() {
    const QByteArray caFile = firstOf({"SSL_CERT_FILE"});
    // The upper-case form of http_proxy is left alone: in a CGI program a request header could set it.
    return {.caFile = caFile.isEmpty() ? QByteArray(systemCAFile) : caFile,
            .httpProxy = firstOf({"http_proxy", "all_proxy", "ALL_PROXY"}),
            .httpsProxy = firstOf({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}),
            .noProxy = firstOf({"no_proxy", "NO_PROXY"})};
}

const QByteArray& CurlSettings::proxyFor(const QUrl& url) const {
    return url.scheme() == "https"_L1 ? httpsProxy : httpProxy;
}

} // namespace fetra
