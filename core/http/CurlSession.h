#pragma once

#include "http/CurlTask.h"
#include "http/HTTPSession.h"

#include <QString>

#include <deque>
#include <map>
#include <memory>
#include <set>

namespace fetra {

class CurlWorker;

/// What the tasks of a session share: their worker, the configuration, and who may connect now. Outlives the
/// session for as long as a task does. `worker` and `configuration` may be read anywhere, everything else
/// belongs to the worker's thread.
class CurlSessionState : public std::enable_shared_from_this<CurlSessionState> {
public:
    CurlSessionState(CurlWorker& worker, const HTTPSessionConfiguration& configuration)
        : worker_(worker)
        , configuration_(configuration) {}

    [[nodiscard]] CurlWorker& worker() const { return worker_; }
    [[nodiscard]] const HTTPSessionConfiguration& configuration() const { return configuration_; }

    /// A resumed task begins now, or when its host has a connection to spare.
    void admit(const std::shared_ptr<CurlTask>& task);
    /// A cancelled task ends, whether it ran or waited.
    void withdraw(const std::shared_ptr<CurlTask>& task);
    /// A task has ended and leaves its place to the next.
    void release(const std::shared_ptr<CurlTask>& task);

    /// No further tasks; those admitted go on.
    void close() { closed_ = true; }
    /// No further tasks, and an end to those admitted.
    void abortAll();

private:
    void beginWaiting();

    CurlWorker& worker_;
    const HTTPSessionConfiguration configuration_;

    std::set<std::shared_ptr<CurlTask>> running_;
    std::map<QString, int> runningPerHost_;
    std::deque<std::shared_ptr<CurlTask>> waiting_;
    bool closed_ = false;
};

class CurlSession final : public HTTPSession {
public:
    CurlSession(CurlWorker& worker, const HTTPSessionConfiguration& configuration);
    ~CurlSession() override;

    [[nodiscard]] std::shared_ptr<HTTPTask> dataTask(const HTTPRequest& request,
                                                     HTTPTaskDelegate& delegate) override;
    void finishTasksAndInvalidate() override;
    void invalidateAndCancel() override;

private:
    const std::shared_ptr<CurlSessionState> state_;
};

} // namespace fetra
