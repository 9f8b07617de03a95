#include "http/CurlErrors.h"

#include <curl/curl.h>

#include <system_error>

namespace fetra::CurlErrors {

using namespace Qt::StringLiterals;

namespace {

/// libcurl's words after their own introduction: "SSL certificate problem: certificate has expired" says
/// enough with its second half.
QString afterColon(const QString& detail) {
    const qsizetype colon = detail.indexOf(": "_L1);
    return colon < 0 ? detail : detail.mid(colon + 2);
}

QString withReason(const QString& sentence, const QString& reason) {
    return reason.isEmpty() ? sentence : sentence + u": "_s + reason;
}

} // namespace

bool isNotHTTP(int code) {
    return code == CURLE_UNSUPPORTED_PROTOCOL || code == CURLE_WEIRD_SERVER_REPLY;
}

TransportError describe(const Failure& failure) {
    const QString& host = failure.host;
    switch (failure.code) {
    case CURLE_OPERATION_TIMEDOUT:
        return {TransportError::timedOut, u"The request timed out"_s};
    case CURLE_COULDNT_RESOLVE_HOST:
        return {TransportError::cannotFindHost, u"Could not find the server "_s + host};
    case CURLE_COULDNT_RESOLVE_PROXY:
        return {TransportError::cannotFindHost, u"Could not find the proxy server"_s};
    case CURLE_COULDNT_CONNECT: {
        const QString reason =
            failure.osError == 0
                ? QString()
                : QString::fromStdString(std::generic_category().message(static_cast<int>(failure.osError)));
        return {TransportError::cannotConnect, withReason(u"Could not connect to "_s + host, reason)};
    }
    case CURLE_PEER_FAILED_VERIFICATION:
        return {
            TransportError::secureConnectionFailed,
            withReason(u"The certificate of %1 cannot be trusted"_s.arg(host), afterColon(failure.detail))};
    case CURLE_SSL_CACERT_BADFILE:
        return {TransportError::secureConnectionFailed,
                u"The file with the certificates of trusted authorities cannot be read"_s};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
        return {TransportError::secureConnectionFailed,
                withReason(u"Could not make a secure connection to "_s + host, afterColon(failure.detail))};
    case CURLE_GOT_NOTHING:
        return {TransportError::connectionLost, u"The server closed the connection without an answer"_s};
    case CURLE_PARTIAL_FILE:
        return {TransportError::connectionLost, u"The server closed the connection early"_s};
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return {TransportError::connectionLost, u"The connection to %1 was lost"_s.arg(host)};
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
        return {TransportError::badResponse, u"The server's answer is not valid HTTP"_s};
    case CURLE_URL_MALFORMAT:
        return {TransportError::badURL, u"The address is not valid"_s};
    default:
        return {TransportError::badResponse,
                u"The request failed: "_s +
                    QString::fromUtf8(curl_easy_strerror(static_cast<CURLcode>(failure.code)))};
    }
}

} // namespace fetra::CurlErrors
