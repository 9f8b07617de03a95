#pragma once

#include "http/CurlExchange.h"

#include <curl/curl.h>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace fetra {

class CurlTask;

/// One I/O thread with its multi handle and the exchanges that run on it.
class CurlWorker {
public:
    CurlWorker(const CurlSettings& settings, CURLSH* share, int number);
    /// Aborts what still runs and joins.
    ~CurlWorker();
    CurlWorker(const CurlWorker&) = delete;
    CurlWorker& operator=(const CurlWorker&) = delete;

    /// Runs `command` on the worker's thread soon, in the order posted. Any thread; never waits.
    void post(std::function<void()> command);

    /// For tasks, on the worker's thread: lets an exchange run, and takes one away without a word.
    [[nodiscard]] std::unique_ptr<CurlExchange> start(CurlTask& task, const CurlExchange::Request& request,
                                                      CurlExchange::Listener& listener);
    void stop(CurlTask& task, CurlExchange& exchange);

private:
    void runLoop();
    void handOnCollected();
    void reapEnded();
    bool runCommands();
    void judgeIdle();
    [[nodiscard]] std::vector<std::shared_ptr<CurlTask>> runningTasks() const;

    const CurlSettings& settings_;
    CURLSH* const share_;
    CURLM* const multi_;

    std::mutex mutex_;
    std::vector<std::function<void()>> commands_;
    bool stopping_ = false;

    /// Tasks with an exchange in the multi handle.
    std::vector<CurlTask*> running_;
    TimePoint lastJudged_;

    std::thread thread_;
};

} // namespace fetra
