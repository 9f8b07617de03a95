#include "support/PlainClient.h"

#include <openssl/ssl.h>

#include <stdexcept>

namespace fetra::test {

namespace {

thread_local bool sawCloseNotify = false;

CURLcode watchForNotify(CURL*, void* context, void*) {
    sawCloseNotify = false;
    SSL_CTX_set_info_callback(static_cast<SSL_CTX*>(context), [](const SSL*, int where, int alert) {
        if (where == SSL_CB_READ_ALERT && (alert & 0xFF) == SSL_AD_CLOSE_NOTIFY)
            sawCloseNotify = true;
    });
    return CURLE_OK;
}

std::size_t append(char* data, std::size_t, std::size_t size, void* target) {
    static_cast<QByteArray*>(target)->append(data, static_cast<qsizetype>(size));
    return size;
}

} // namespace

bool closeWasNotified() {
    return sawCloseNotify;
}

CurlHandle makeHandle() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_ALL);
    CurlHandle handle(curl_easy_init(), curl_easy_cleanup);
    if (ready != CURLE_OK || !handle)
        throw std::runtime_error("libcurl does not start");
    return handle;
}

Reply ask(CURL* curl, const QUrl& url, const Question& question) {
    Reply reply;
    curl_easy_reset(curl);
    curl_slist* headers = nullptr;
    for (const QByteArray& header : question.headers)
        headers = curl_slist_append(headers, header.constData());
    curl_easy_setopt(curl, CURLOPT_URL, url.toEncoded().constData());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, question.timeoutMs);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_NOBODY, question.head ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, question.follow ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L);
    if (!question.range.isEmpty())
        curl_easy_setopt(curl, CURLOPT_RANGE, question.range.constData());
    if (!question.authority.isEmpty())
        curl_easy_setopt(curl, CURLOPT_CAINFO, question.authority.constData());
    curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, watchForNotify);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply.head);
    reply.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
    curl_slist_free_all(headers);
    return reply;
}

Reply ask(const QUrl& url, const Question& question) {
    return ask(makeHandle().get(), url, question);
}

} // namespace fetra::test
