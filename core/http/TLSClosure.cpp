#include "http/TLSClosure.h"

#include <algorithm>
#include <openssl/ssl.h>
#include <vector>

namespace fetra::TLSClosure {

namespace {

thread_local std::vector<const void*> announced;

void note(const SSL* connection, int where, int value) {
    constexpr int alertMask = 0xff;
    if (where == SSL_CB_READ_ALERT && (value & alertMask) == SSL_AD_CLOSE_NOTIFY)
        announced.push_back(connection);
}

CURLcode configure(CURL*, void* context, void*) {
    SSL_CTX_set_info_callback(static_cast<SSL_CTX*>(context), &note);
    return CURLE_OK;
}

} // namespace

void watch(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &configure);
}

const void* connectionOf(CURL* easy) {
    curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || !session)
        return nullptr;
    return session->internals;
}

bool wasAnnounced(const void* connection) {
    return std::ranges::find(announced, connection) != announced.end();
}

void forget() {
    announced.clear();
}

} // namespace fetra::TLSClosure
