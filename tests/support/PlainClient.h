#pragma once

#include <QByteArray>
#include <QUrl>

#include <curl/curl.h>

#include <memory>
#include <vector>

namespace fetra::test {

/// One request by libcurl's blocking interface and nothing of ours: the second opinion about a server.
struct Question {
    QByteArray range = {}; ///< "0-9"
    std::vector<QByteArray> headers = {};
    long timeoutMs = 20'000;
    QByteArray authority = {}; ///< PEM file; the system's when empty
    bool head = false;
    bool follow = false; ///< up to ten redirects
};

struct Reply {
    CURLcode code = CURLE_OK;
    long status = 0;
    QByteArray head; ///< every head that came, 1xx and redirects included
    QByteArray body;
};

using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

[[nodiscard]] CurlHandle makeHandle();
/// A handle that is used again keeps its connection.
Reply ask(CURL* curl, const QUrl& url, const Question& question = {});
/// On a connection of its own.
Reply ask(const QUrl& url, const Question& question = {});

/// Whether this thread's last new connection under TLS ended with close_notify; libcurl itself does not tell.
[[nodiscard]] bool closeWasNotified();

} // namespace fetra::test
