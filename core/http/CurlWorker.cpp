#include "http/CurlWorker.h"

#include "http/CurlTask.h"
#include "http/TLSClosure.h"
#include "system/OpenDescriptors.h"

#include <new>
#include <pthread.h>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// How often idle timers are looked at: their resolution.
constexpr std::chrono::milliseconds judgePeriod{100};
constexpr int sleepWhileIdleMs = 60'000;
/// Idle connections kept for the next request to their server.
constexpr long keptConnections = 64;

CURLM* makeMulti() {
    const std::set<int> before = OpenDescriptors::list();
    CURLM* const multi = curl_multi_init();
    if (!multi)
        throw std::bad_alloc();
    // The pair behind curl_multi_wakeup would be inherited by every child process.
    OpenDescriptors::closeOnExecSince(before);
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
    return multi;
}

} // namespace

CurlWorker::CurlWorker(const CurlSettings& settings, CURLSH* share, int number)
    : settings_(settings)
    , share_(share)
    , multi_(makeMulti())
    , thread_([this] { runLoop(); }) {
    const std::string name = "fetra.http" + std::to_string(number);
    pthread_setname_np(thread_.native_handle(), name.c_str());
}

CurlWorker::~CurlWorker() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    curl_multi_wakeup(multi_);
    thread_.join();
    curl_multi_cleanup(multi_);
}

void CurlWorker::post(std::function<void()> command) {
    {
        const std::lock_guard lock(mutex_);
        commands_.push_back(std::move(command));
    }
    curl_multi_wakeup(multi_);
}

std::unique_ptr<CurlExchange> CurlWorker::start(CurlTask& task, const CurlExchange::Request& request,
                                                CurlExchange::Listener& listener) {
    auto exchange = std::make_unique<CurlExchange>(request, settings_, share_, listener);
    curl_easy_setopt(exchange->handle(), CURLOPT_PRIVATE, static_cast<void*>(&task));
    curl_multi_add_handle(multi_, exchange->handle());
    running_.push_back(&task);
    return exchange;
}

void CurlWorker::stop(CurlTask& task, CurlExchange& exchange) {
    curl_multi_remove_handle(multi_, exchange.handle());
    std::erase(running_, &task);
}

void CurlWorker::runLoop() {
    for (;;) {
        int running = 0;
        curl_multi_perform(multi_, &running);
        handOnCollected();
        reapEnded();
        if (!runCommands())
            return;
        judgeIdle();
        const int timeout = running_.empty() ? sleepWhileIdleMs : static_cast<int>(judgePeriod.count());
        curl_multi_poll(multi_, nullptr, 0, timeout, nullptr);
    }
}

void CurlWorker::handOnCollected() {
    for (CurlTask* const task : running_)
        task->flush();
}

void CurlWorker::reapEnded() {
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode code = message->data.result;
        CurlTask* task = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &task);
        // The message dies with the handle's removal, and the task may die with its completion.
        const std::shared_ptr<CurlTask> keepAlive = task->shared_from_this();
        keepAlive->exchangeEnded(code);
    }
    TLSClosure::forget();
}

/// Answers false once the worker is to end; by then nothing runs.
bool CurlWorker::runCommands() {
    std::vector<std::function<void()>> commands;
    bool stopping = false;
    {
        const std::lock_guard lock(mutex_);
        commands.swap(commands_);
        stopping = stopping_;
    }
    for (const std::function<void()>& command : commands)
        command();
    if (!stopping)
        return true;
    for (const std::shared_ptr<CurlTask>& task : runningTasks())
        task->abort({TransportError::cancelled, u"The request was cancelled"_s});
    const std::lock_guard lock(mutex_);
    return !commands_.empty();
}

/// Called after the sockets have been read, so that a long pause of this thread is not taken for one of the
/// server.
void CurlWorker::judgeIdle() {
    const TimePoint now = std::chrono::steady_clock::now();
    if (now - lastJudged_ < judgePeriod)
        return;
    lastJudged_ = now;
    for (const std::shared_ptr<CurlTask>& task : runningTasks())
        task->judge(now);
}

/// A copy that keeps its tasks alive, since ending one changes the list.
std::vector<std::shared_ptr<CurlTask>> CurlWorker::runningTasks() const {
    std::vector<std::shared_ptr<CurlTask>> tasks;
    tasks.reserve(running_.size());
    for (CurlTask* const task : running_)
        tasks.push_back(task->shared_from_this());
    return tasks;
}

} // namespace fetra
