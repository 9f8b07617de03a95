#include "http/CurlExchange.h"

#include "http/CurlErrors.h"
#include "http/TLSClosure.h"

#include <new>
#include <sys/socket.h>

namespace fetra {

namespace {

constexpr long receiveBufferBytes = 256 * 1024;
constexpr size_t collectBytes = 256 * 1024;
constexpr long keepAliveIdleSeconds = 30;
constexpr long keepAliveIntervalSeconds = 15;
constexpr long dnsCacheSeconds = 300;

} // namespace

template <typename T>
void CurlExchange::set(CURLoption option, T value) {
    if (curl_easy_setopt(easy_, option, value) == CURLE_OUT_OF_MEMORY)
        throw std::bad_alloc();
}

CurlExchange::CurlExchange(const Request& request, const CurlSettings& settings, CURLSH* share,
                           Listener& listener)
    : url_(request.url)
    , listener_(listener)
    , easy_(curl_easy_init())
    , lastActivity_(std::chrono::steady_clock::now()) {
    if (!easy_)
        throw std::bad_alloc();

    set(CURLOPT_URL, url_.toEncoded(QUrl::RemoveUserInfo | QUrl::RemoveFragment).constData());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_HTTP09_ALLOWED, 0L);
    // Bytes are stored as they were sent; a coding that was not asked for is an error, never undone silently.
    set(CURLOPT_HTTP_CONTENT_DECODING, 0L);

    for (const QByteArray& line : request.headerLines) {
        curl_slist* const longer = curl_slist_append(headerList_, line.constData());
        if (!longer)
            throw std::bad_alloc();
        headerList_ = longer;
    }
    set(CURLOPT_HTTPHEADER, headerList_);

    // A folder of certificates would keep libcurl from sharing the parsed store between handles.
    set(CURLOPT_CAINFO, settings.caFile.constData());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    TLSClosure::watch(easy_);
    set(CURLOPT_PROXY, settings.proxyFor(url_).constData());
    set(CURLOPT_NOPROXY, settings.noProxy.constData());
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    set(CURLOPT_NOSIGNAL, 1L);
    // Without it, removing a handle waits for a name look-up that may hang.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectTimeout * 1000));
    set(CURLOPT_FRESH_CONNECT, request.freshConnection ? 1L : 0L);
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_TCP_KEEPIDLE, keepAliveIdleSeconds);
    set(CURLOPT_TCP_KEEPINTVL, keepAliveIntervalSeconds);
    set(CURLOPT_OPENSOCKETFUNCTION, &CurlExchange::openSocket);
    set(CURLOPT_DNS_CACHE_TIMEOUT, dnsCacheSeconds);
    set(CURLOPT_SHARE, share);
    set(CURLOPT_BUFFERSIZE, receiveBufferBytes);

    set(CURLOPT_ERRORBUFFER, errorText_.data());
    set(CURLOPT_HEADERFUNCTION, &CurlExchange::onHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &CurlExchange::onBody);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
}

CurlExchange::~CurlExchange() {
    curl_easy_cleanup(easy_);
    curl_slist_free_all(headerList_);
}

TransportError CurlExchange::failure(CURLcode code) const {
    long osError = 0;
    curl_easy_getinfo(easy_, CURLINFO_OS_ERRNO, &osError);
    return CurlErrors::describe({.code = code,
                                 .osError = osError,
                                 .host = url_.host(),
                                 .detail = QString::fromUtf8(errorText_.data())});
}

size_t CurlExchange::onHeader(char* data, size_t size, size_t count, void* self) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    const size_t length = size * count;
    // Trailers may come for ever; the body is over.
    if (exchange.head_.isComplete()) {
        exchange.trailerBytes_ += length;
        exchange.headTooLarge_ = exchange.trailerBytes_ > size_t{ResponseHead::maxBytes};
        return exchange.headTooLarge_ ? CURL_WRITEFUNC_ERROR : length;
    }
    exchange.lastActivity_ = std::chrono::steady_clock::now();
    switch (exchange.head_.feed({data, length})) {
    case ResponseHead::Progress::more:
        return exchange.listener_.exchangeMayContinue() ? length : CURL_WRITEFUNC_ERROR;
    case ResponseHead::Progress::complete:
        if (exchange.head_.endsWithConnection())
            exchange.closingConnection_ = TLSClosure::connectionOf(exchange.easy_);
        return exchange.listener_.exchangeHead(exchange.head_) ? length : CURL_WRITEFUNC_ERROR;
    case ResponseHead::Progress::tooLarge:
        exchange.headTooLarge_ = true;
        break;
    }
    return CURL_WRITEFUNC_ERROR;
}

size_t CurlExchange::onBody(char* data, size_t size, size_t count, void* self) {
    auto& exchange = *static_cast<CurlExchange*>(self);
    const size_t length = size * count;
    exchange.lastActivity_ = std::chrono::steady_clock::now();
    // Heads that libcurl reads to an end and `ResponseHead` does not: nobody knows what this belongs to.
    exchange.bodyBeforeHead_ = !exchange.head_.isComplete();
    if (exchange.bodyBeforeHead_)
        return CURL_WRITEFUNC_ERROR;
    std::vector<char>& collected = exchange.collected_;
    if (collected.size() + length > collectBytes && !exchange.flush())
        return CURL_WRITEFUNC_ERROR;
    if (collected.capacity() == 0)
        collected.reserve(collectBytes);
    collected.insert(collected.end(), data, data + length);
    return exchange.listener_.exchangeMayContinue() ? length : CURL_WRITEFUNC_ERROR;
}

bool CurlExchange::usedKeptConnection() const {
    long opened = 1;
    curl_easy_getinfo(easy_, CURLINFO_NUM_CONNECTS, &opened);
    return opened == 0;
}

CURLcode CurlExchange::verdict(CURLcode code) const {
    if (bodyBeforeHead_)
        return CURLE_WEIRD_SERVER_REPLY;
    if (code != CURLE_OK)
        return code;
    if (!head_.isComplete())
        return CURLE_GOT_NOTHING;
    const bool wasCutShort = closingConnection_ != 0 && !TLSClosure::wasAnnounced(closingConnection_);
    return wasCutShort ? CURLE_RECV_ERROR : CURLE_OK;
}

bool CurlExchange::flush() {
    if (collected_.empty())
        return true;
    const bool goesOn = listener_.exchangeBody(collected_);
    collected_.clear();
    return goesOn;
}

curl_socket_t CurlExchange::openSocket(void*, curlsocktype, curl_sockaddr* address) {
    // libcurl's own sockets would be inherited by every child process.
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

} // namespace fetra
