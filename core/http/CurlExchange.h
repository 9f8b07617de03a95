#pragma once

#include "http/CurlSettings.h"
#include "http/ResponseHead.h"
#include "http/TransportError.h"
#include "system/Clock.h"

#include <QByteArray>
#include <QUrl>

#include <array>
#include <curl/curl.h>
#include <memory>
#include <span>
#include <vector>

namespace fetra {

/// One request and its answer, without redirects, over an easy handle of its own: a handle that met one
/// origin never serves another. Lives on the worker's thread.
class CurlExchange {
public:
    /// Hears of the exchange from inside libcurl. False ends the exchange there.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual bool exchangeHead(const ResponseHead& head) = 0;
        virtual bool exchangeBody(std::span<const char> data) = 0;
        virtual bool exchangeMayContinue() const = 0;
    };

    struct Request {
        /// http or https, with a host.
        QUrl url;
        /// Complete header lines, checked.
        std::vector<QByteArray> headerLines;
        /// Bound on name look-up, connect and handshake, in seconds.
        double connectTimeout = 30;
        /// Not over a connection that an earlier exchange has left.
        bool freshConnection = false;
    };

    CurlExchange(const Request& request, const CurlSettings& settings, CURLSH* share, Listener& listener);
    ~CurlExchange();
    CurlExchange(const CurlExchange&) = delete;
    CurlExchange& operator=(const CurlExchange&) = delete;

    /// Hands on what has been collected; false when the listener has ended the exchange. The worker calls it
    /// after each pass over the sockets, so that nothing lies here longer than that.
    bool flush();

    [[nodiscard]] CURL* handle() const { return easy_; }
    /// When the last line of the head or piece of the body came, or the exchange began.
    [[nodiscard]] TimePoint lastActivity() const { return lastActivity_; }
    /// Whether the exchange ran over a connection that an earlier one had left. For the end of the exchange.
    [[nodiscard]] bool usedKeptConnection() const;
    [[nodiscard]] bool headTooLarge() const { return headTooLarge_; }
    /// What a result of libcurl comes to, which takes some answers for whole that are not. For the end of the
    /// exchange.
    [[nodiscard]] CURLcode verdict(CURLcode code) const;
    /// The failure behind a result of libcurl that is not CURLE_OK.
    [[nodiscard]] TransportError failure(CURLcode code) const;

private:
    static size_t onHeader(char* data, size_t size, size_t count, void* self);
    static size_t onBody(char* data, size_t size, size_t count, void* self);
    static curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address);

    template <typename T>
    void set(CURLoption option, T value);

    const QUrl url_;
    Listener& listener_;
    CURL* easy_;
    curl_slist* headerList_ = nullptr;
    ResponseHead head_;
    bool headTooLarge_ = false;
    size_t trailerBytes_ = 0;
    bool bodyBeforeHead_ = false;
    /// The number of the TLS connection whose end is the end of the body, 0 if the body does not end so.
    std::uintptr_t closingConnection_ = 0;
    TimePoint lastActivity_;
    /// libcurl hands out pieces of 16 KiB at most; a write to the file is worth more than that.
    std::vector<char> collected_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
};

} // namespace fetra
