#include "support/FakeHTTP.h"

#include <stdexcept>

namespace fetra::test {

using namespace Qt::StringLiterals;

class FakeHTTP::Session final : public HTTPSession {
public:
    Session(FakeHTTP& client, size_t number)
        : client_(client)
        , number_(number) {}
    ~Session() override { client_.endSession(number_, SessionState::cancelled); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    std::shared_ptr<HTTPTask> dataTask(const HTTPRequest& request, HTTPTaskDelegate& delegate) override {
        const std::lock_guard lock(client_.mutex_);
        return std::make_shared<FakeTask>(FakeTask::Making{.client = client_,
                                                           .identifier = ++client_.lastIdentifier_,
                                                           .session = number_,
                                                           .request = request,
                                                           .delegate = delegate});
    }
    void finishTasksAndInvalidate() override { client_.endSession(number_, SessionState::finishing); }
    void invalidateAndCancel() override { client_.endSession(number_, SessionState::cancelled); }

private:
    FakeHTTP& client_;
    const size_t number_;
};

FakeTask::FakeTask(Making making)
    : making_(std::move(making))
    , asked_(RequestedRange::parse(range()).value_or(RequestedRange())) {}

QByteArray FakeTask::range() const {
    const std::vector<QByteArray> values = making_.request.headers.values("Range");
    return values.empty() ? QByteArray() : values.front();
}

void FakeTask::resume() {
    if (started_.exchange(true))
        return;
    {
        const std::lock_guard lock(making_.client.mutex_);
        making_.client.started_.push_back(shared_from_this());
        making_.client.live_.push_back(shared_from_this());
        if (making_.client.sessions_[making_.session].state != FakeHTTP::SessionState::running)
            cancelAsked_ = true;
        if (cancelAsked_)
            making_.client.cancelQueue_.push_back(shared_from_this());
    }
    if (making_.client.onStart)
        making_.client.onStart(*this);
}

void FakeTask::cancel() {
    const std::lock_guard lock(making_.client.mutex_);
    if (cancelAsked_.exchange(true) || complete_ || !started_)
        return;
    making_.client.cancelQueue_.push_back(shared_from_this());
}

void FakeTask::require(bool possible) const {
    if (!possible || !started_ || complete_)
        throw std::logic_error("no client would hear this now");
}

HTTPDisposition FakeTask::respond(const HTTPResponse& response) {
    require(!answered_);
    answered_ = true;
    bodyStart_ = response.status == 206 ? asked_.first : 0;
    const HTTPDisposition disposition = making_.delegate.didReceiveResponse(*this, response);
    refused_ = disposition == HTTPDisposition::cancel;
    if (refused_)
        cancel();
    return disposition;
}

void FakeTask::send(std::span<const char> data) {
    require(answered_ && !refused_);
    sent_ += static_cast<qint64>(data.size());
    making_.delegate.didReceiveData(*this, data);
}

void FakeTask::finish() {
    require(answered_ && !refused_);
    complete(nullptr);
}

void FakeTask::fail(int code, const QString& description) {
    require(true);
    const TransportError error(code, description);
    complete(&error);
}

void FakeTask::complete(const TransportError* error) {
    const std::shared_ptr<FakeTask> self = shared_from_this();
    {
        const std::lock_guard lock(making_.client.mutex_);
        complete_ = true;
        std::erase(making_.client.live_, self);
    }
    making_.delegate.didComplete(*this, error);
}

std::unique_ptr<HTTPSession> FakeHTTP::makeSession(const HTTPSessionConfiguration& configuration) {
    const std::lock_guard lock(mutex_);
    sessions_.push_back({.configuration = configuration});
    return std::make_unique<Session>(*this, sessions_.size() - 1);
}

void FakeHTTP::endSession(size_t session, SessionState state) {
    const std::lock_guard lock(mutex_);
    if (sessions_[session].state == SessionState::running)
        sessions_[session].state = state;
    if (state != SessionState::cancelled)
        return;
    for (const std::shared_ptr<FakeTask>& task : live_) {
        if (task->session() == session && !task->cancelAsked_.exchange(true))
            cancelQueue_.push_back(task);
    }
}

void FakeHTTP::pump() {
    for (;;) {
        std::vector<std::shared_ptr<FakeTask>> wanted;
        {
            const std::lock_guard lock(mutex_);
            wanted.swap(cancelQueue_);
        }
        if (wanted.empty())
            return;
        for (const std::shared_ptr<FakeTask>& task : wanted) {
            if (!task->isComplete())
                task->fail(TransportError::cancelled, u"The request was cancelled"_s);
        }
    }
}

} // namespace fetra::test
