#include "http/TLSClosure.h"

#include <algorithm>
#include <openssl/ssl.h>
#include <vector>

namespace fetra::TLSClosure {

namespace {

thread_local std::uintptr_t connections = 0;
thread_local std::vector<std::uintptr_t> announced;

/// Where a connection keeps its number.
int numberPlace() {
    static const int place = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return place;
}

std::uintptr_t numberOf(const SSL* connection) {
    return reinterpret_cast<std::uintptr_t>(SSL_get_ex_data(connection, numberPlace()));
}

void note(const SSL* connection, int where, int value) {
    constexpr int alertMask = 0xff;
    if (where == SSL_CB_READ_ALERT && (value & alertMask) == SSL_AD_CLOSE_NOTIFY)
        announced.push_back(numberOf(connection));
}

CURLcode configure(CURL*, void* context, void*) {
    SSL_CTX_set_info_callback(static_cast<SSL_CTX*>(context), &note);
    return CURLE_OK;
}

} // namespace

void watch(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &configure);
}

std::uintptr_t connectionOf(CURL* easy) {
    curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session ||
        !session->internals)
        return 0;
    auto* const connection = static_cast<SSL*>(session->internals);
    if (numberOf(connection) == 0)
        SSL_set_ex_data(connection, numberPlace(), reinterpret_cast<void*>(++connections));
    return numberOf(connection);
}

bool wasAnnounced(std::uintptr_t connection) {
    return std::ranges::find(announced, connection) != announced.end();
}

void forget() {
    announced.clear();
}

} // namespace fetra::TLSClosure
