#include "http/CurlClient.h"

#include "http/CurlSession.h"
#include "http/CurlSettings.h"
#include "http/CurlWorker.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <curl/curl.h>
#include <mutex>
#include <new>
#include <thread>

namespace fetra {

namespace {

constexpr unsigned maxWorkers = 4;

/// The name look-ups that all workers share, so that the probe's serves every lane. TLS sessions are not
/// shared: libcurl races there between threads.
class SharedLookups {
public:
    SharedLookups()
        : share_(curl_share_init()) {
        if (!share_)
            throw std::bad_alloc();
        curl_share_setopt(share_, CURLSHOPT_USERDATA, this);
        curl_share_setopt(share_, CURLSHOPT_LOCKFUNC, &SharedLookups::lock);
        curl_share_setopt(share_, CURLSHOPT_UNLOCKFUNC, &SharedLookups::unlock);
        curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    }
    ~SharedLookups() { curl_share_cleanup(share_); }
    SharedLookups(const SharedLookups&) = delete;
    SharedLookups& operator=(const SharedLookups&) = delete;

    [[nodiscard]] CURLSH* handle() const { return share_; }

private:
    static void lock(CURL*, curl_lock_data data, curl_lock_access, void* self) {
        static_cast<SharedLookups*>(self)->mutexes_.at(data).lock();
    }
    static void unlock(CURL*, curl_lock_data data, void* self) {
        static_cast<SharedLookups*>(self)->mutexes_.at(data).unlock();
    }

    CURLSH* share_;
    std::array<std::mutex, CURL_LOCK_DATA_LAST> mutexes_;
};

void initialiseCurl() {
    static std::once_flag once;
    std::call_once(once, [] {
        curl_global_init(CURL_GLOBAL_ALL);
        // A server that goes away while we write must end a request, not the process.
        std::signal(SIGPIPE, SIG_IGN);
    });
}

} // namespace

struct CurlClient::Shared {
    const CurlSettings settings = CurlSettings::fromEnvironment();
    SharedLookups lookups;
    std::vector<std::unique_ptr<CurlWorker>> workers;
    std::atomic<size_t> nextWorker{0};
};

CurlClient::CurlClient() {
    initialiseCurl();
    shared_ = std::make_unique<Shared>();
    const unsigned count = std::clamp(std::thread::hardware_concurrency(), 1U, maxWorkers);
    for (unsigned i = 0; i < count; ++i) {
        shared_->workers.push_back(
            std::make_unique<CurlWorker>(shared_->settings, shared_->lookups.handle(), static_cast<int>(i)));
    }
}

CurlClient::~CurlClient() = default;

std::unique_ptr<HTTPSession> CurlClient::makeSession(const HTTPSessionConfiguration& configuration) {
    const size_t turn = shared_->nextWorker++;
    return std::make_unique<CurlSession>(*shared_->workers[turn % shared_->workers.size()], configuration);
}

} // namespace fetra
