#pragma once

#include "http/HTTPMessage.h"
#include "http/TransportError.h"

#include <memory>
#include <span>

namespace fetra {

enum class HTTPDisposition { allow, cancel };

/// One request on its way. Callable from any thread.
class HTTPTask {
public:
    virtual ~HTTPTask() = default;

    /// Unique in the process.
    [[nodiscard]] virtual quint64 identifier() const = 0;
    /// Starts the request; a second call does nothing.
    virtual void resume() = 0;
    /// Ends the request soon, with `TransportError::cancelled` unless it has ended by then. Never waits.
    virtual void cancel() = 0;
};

/// Hears of a task, on an HTTP I/O thread: at most one response, then chunks of its body, and exactly one
/// completion, after which nothing follows. Calls for one task never overlap. A delegate lives until the
/// completion of its last task and must not block: many transfers share these threads.
class HTTPTaskDelegate {
public:
    virtual ~HTTPTaskDelegate() = default;

    virtual HTTPDisposition didReceiveResponse(HTTPTask& task, const HTTPResponse& response) = 0;
    virtual void didReceiveData(HTTPTask& task, std::span<const char> data) = 0;
    /// `error` is null when the answer was received whole, its head and its body.
    virtual void didComplete(HTTPTask& task, const TransportError* error) = 0;
};

struct HTTPSessionConfiguration {
    /// Seconds after which a task ends whatever it is doing.
    double resourceTimeout = 604'800.0;
    int maxConnectionsPerHost = 6;
    /// The address whose site the caller's secrets belong to: Cookie and Authorization headers, and the user
    /// name and password in this address. Elsewhere they are withheld. Empty: each request's own address.
    QUrl secretsHome{};
};

/// Makes tasks that share a configuration and end together. Callable from any thread. Sessions keep no cache
/// and no cookies. Destroying a session cancels what it still runs.
class HTTPSession {
public:
    virtual ~HTTPSession() = default;

    /// A task that has not started. On an ended session it completes with `cancelled` once it is resumed.
    [[nodiscard]] virtual std::shared_ptr<HTTPTask> dataTask(const HTTPRequest& request,
                                                             HTTPTaskDelegate& delegate) = 0;
    /// No new tasks; the running ones go on to their ends.
    virtual void finishTasksAndInvalidate() = 0;
    /// No new tasks; the running ones are cancelled.
    virtual void invalidateAndCancel() = 0;
};

/// Where components get their sessions from, so that tests can hand out others.
class HTTPClient {
public:
    virtual ~HTTPClient() = default;
    [[nodiscard]] virtual std::unique_ptr<HTTPSession>
    makeSession(const HTTPSessionConfiguration& configuration) = 0;
};

} // namespace fetra
