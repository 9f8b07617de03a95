#include "http/CurlSession.h"

#include "http/CurlWorker.h"

#include <algorithm>
#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

const TransportError& cancelledError() {
    static const TransportError error(TransportError::cancelled, u"The request was cancelled"_s);
    return error;
}

} // namespace

void CurlSessionState::admit(const std::shared_ptr<CurlTask>& task) {
    if (closed_)
        return task->abort(cancelledError());
    waiting_.push_back(task);
    beginWaiting();
}

void CurlSessionState::beginWaiting() {
    const auto hasRoom = [this](const std::shared_ptr<CurlTask>& task) {
        return runningPerHost_[task->host()] < configuration_.maxConnectionsPerHost;
    };
    for (auto next = std::ranges::find_if(waiting_, hasRoom); next != waiting_.end();
         next = std::ranges::find_if(waiting_, hasRoom)) {
        const std::shared_ptr<CurlTask> task = *next;
        waiting_.erase(next);
        ++runningPerHost_[task->host()];
        running_.insert(task);
        task->begin();
    }
}

void CurlSessionState::withdraw(const std::shared_ptr<CurlTask>& task) {
    std::erase(waiting_, task);
    task->abort(cancelledError());
}

void CurlSessionState::release(const std::shared_ptr<CurlTask>& task) {
    if (running_.erase(task) == 0)
        return;
    --runningPerHost_[task->host()];
    // Through the queue: the delegate of the released task hears of its end first.
    if (!waiting_.empty())
        worker_.post([self = shared_from_this()] { self->beginWaiting(); });
}

void CurlSessionState::abortAll() {
    closed_ = true;
    const std::set<std::shared_ptr<CurlTask>> running = running_;
    const std::deque<std::shared_ptr<CurlTask>> waiting = std::exchange(waiting_, {});
    for (const std::shared_ptr<CurlTask>& task : running)
        task->abort(cancelledError());
    for (const std::shared_ptr<CurlTask>& task : waiting)
        task->abort(cancelledError());
}

CurlSession::CurlSession(CurlWorker& worker, const HTTPSessionConfiguration& configuration)
    : state_(std::make_shared<CurlSessionState>(worker, configuration)) {}

CurlSession::~CurlSession() {
    invalidateAndCancel();
}

std::shared_ptr<HTTPTask> CurlSession::dataTask(const HTTPRequest& request, HTTPTaskDelegate& delegate) {
    return std::make_shared<CurlTask>(state_, request, delegate);
}

void CurlSession::finishTasksAndInvalidate() {
    state_->worker().post([state = state_] { state->close(); });
}

void CurlSession::invalidateAndCancel() {
    state_->worker().post([state = state_] { state->abortAll(); });
}

} // namespace fetra
