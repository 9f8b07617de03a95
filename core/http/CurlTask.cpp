#include "http/CurlTask.h"

#include "http/CurlErrors.h"
#include "http/CurlSession.h"
#include "http/CurlWorker.h"
#include "http/HeaderRules.h"
#include "http/SecretScope.h"

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr double longestConnect = 30;
/// A redirect's body up to this size is read over, and for so many seconds, since that is cheaper than a new
/// connection.
constexpr qint64 longestDrain = 64 * 1024;
constexpr double longestDrainTime = 1;

std::atomic<quint64> lastIdentifier{0};

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isFetchable(const QUrl& url) {
    return url.isValid() && (url.scheme() == "http"_L1 || url.scheme() == "https"_L1) &&
           !url.host().isEmpty();
}

TransportError cancelledError() {
    return {TransportError::cancelled, u"The request was cancelled"_s};
}

} // namespace

CurlTask::CurlTask(std::shared_ptr<CurlSessionState> session, const HTTPRequest& request,
                   HTTPTaskDelegate& delegate)
    : identifier_(++lastIdentifier)
    , session_(std::move(session))
    , request_(request)
    , delegate_(delegate) {}

CurlTask::~CurlTask() = default;

void CurlTask::resume() {
    if (!resumed_.exchange(true))
        session_->worker().post([self = shared_from_this()] { self->session_->admit(self); });
}

void CurlTask::cancel() {
    if (!cancelled_.exchange(true))
        session_->worker().post([self = shared_from_this()] { self->session_->withdraw(self); });
}

void CurlTask::begin() {
    if (state_ != State::created)
        return session_->release(shared_from_this());
    startedAt_ = std::chrono::steady_clock::now();
    state_ = State::running;
    if (const std::optional<TransportError> problem = requestProblem())
        return complete(&*problem);
    startExchange(request_.url);
}

std::optional<TransportError> CurlTask::requestProblem() const {
    if (cancelled_)
        return cancelledError();
    if (!isFetchable(request_.url))
        return TransportError(TransportError::badURL, u"The address is not a valid http or https address"_s);
    for (const auto& [name, value] : request_.headers.fields()) {
        if (!HeaderRules::isValidName(name) || !HeaderRules::isValidValue(value))
            return TransportError(TransportError::badHeader,
                                  u"A request header holds characters that cannot be sent"_s);
    }
    return std::nullopt;
}

void CurlTask::startExchange(const QUrl& url, Connection connection) {
    url_ = url;
    visited_.insert(url.adjusted(QUrl::RemoveFragment));
    const double connectTimeout = std::min(request_.timeout, longestConnect);
    exchange_ = session_->worker().start(*this,
                                         {.url = url,
                                          .headerLines = headerLinesFor(url),
                                          .connectTimeout = connectTimeout,
                                          .freshConnection = connection == Connection::fresh},
                                         *this);
}

void CurlTask::endExchange() {
    if (exchange_)
        session_->worker().stop(*this, *exchange_);
    exchange_.reset();
}

bool CurlTask::exchangeHead(const ResponseHead& head) {
    if (cancelled_)
        return false;
    if (isRedirect(head.status())) {
        const std::vector<QByteArray> locations = head.headers().values("Location");
        if (!locations.empty() && !locations.front().isEmpty()) {
            location_ = locations.front();
            redirectedAt_ = std::chrono::steady_clock::now();
            const qint64 length = head.expectedLength();
            return length >= 0 && length <= longestDrain;
        }
    }
    if (const std::optional<QString> problem = head.problem()) {
        problem_.emplace(TransportError::badResponse, *problem);
        return false;
    }
    responseGiven_ = true;
    const HTTPResponse response{.status = head.status(),
                                .headers = head.headers(),
                                .expectedLength = head.expectedLength(),
                                .mimeType = head.mimeType(),
                                .url = url_};
    return delegate_.didReceiveResponse(*this, response) == HTTPDisposition::allow;
}

bool CurlTask::exchangeBody(std::span<const char> data) {
    if (cancelled_)
        return false;
    if (location_) {
        drained_ += static_cast<qint64>(data.size());
        return drained_ <= longestDrain;
    }
    delegate_.didReceiveData(*this, data);
    return true;
}

void CurlTask::exchangeEnded(CURLcode result) {
    exchange_->flush();
    const bool headTooLarge = exchange_->headTooLarge();
    const CURLcode code = exchange_->verdict(result);
    const TransportError failure = exchange_->failure(code);
    const bool spoiled = CurlErrors::isNotHTTP(code) && !responseGiven_ && exchange_->usedKeptConnection();
    endExchange();

    // What an earlier answer has left over on the connection is no answer to this request.
    if (spoiled && !cancelled_)
        return startExchange(url_, Connection::fresh);

    if (location_ && !cancelled_)
        return followRedirect();
    // A cancelled task hands no data on, so its answer is not whole even if it came whole.
    if (code == CURLE_OK && !cancelled_)
        return complete(nullptr);
    if (cancelled_)
        problem_ = cancelledError();
    if (headTooLarge)
        problem_.emplace(TransportError::badResponse, u"The head of the server's answer is too large"_s);
    if (!problem_ && CurlErrors::isNotHTTP(code) && !responseGiven_) {
        responseGiven_ = true;
        delegate_.didReceiveResponse(*this, {.status = 0, .url = url_});
    }
    if (!problem_)
        problem_ = code == CURLE_WRITE_ERROR ? cancelledError() : failure;
    complete(&*problem_);
}

void CurlTask::followRedirect() {
    const QUrl target = url_.resolved(QUrl::fromEncoded(*location_)).adjusted(QUrl::RemoveUserInfo);
    location_.reset();
    drained_ = 0;
    std::optional<TransportError> problem;
    if (!isFetchable(target))
        problem.emplace(TransportError::badURL,
                        u"The server redirected to an address that is not http or https"_s);
    else if (visited_.contains(target.adjusted(QUrl::RemoveFragment)))
        problem.emplace(TransportError::tooManyRedirects, u"The server redirects in a circle"_s);
    else if (visited_.size() > maxRedirects)
        problem.emplace(TransportError::tooManyRedirects, u"The server redirected too many times"_s);
    if (problem)
        return complete(&*problem);
    startExchange(target);
}

void CurlTask::abort(const TransportError& error) {
    if (state_ == State::done)
        return;
    cancelled_ = true;
    endExchange();
    complete(&error);
}

void CurlTask::judge(TimePoint now) {
    if (exchange_ && location_ && secondsBetween(redirectedAt_, now) > longestDrainTime) {
        endExchange();
        return followRedirect();
    }
    const bool idle = exchange_ && secondsBetween(exchange_->lastActivity(), now) > request_.timeout;
    if (idle || secondsBetween(startedAt_, now) > session_->configuration().resourceTimeout)
        abort({TransportError::timedOut, u"The request timed out"_s});
}

void CurlTask::complete(const TransportError* error) {
    state_ = State::done;
    const std::shared_ptr<CurlTask> keepAlive = shared_from_this();
    session_->release(keepAlive);
    delegate_.didComplete(*this, error);
}

std::vector<QByteArray> CurlTask::headerLinesFor(const QUrl& url) const {
    const QUrl& home = session_->configuration().secretsHome;
    const bool mayHaveSecrets = SecretScope::allows(home.isEmpty() ? request_.url : home, url);
    std::vector<QByteArray> lines;
    bool authorized = false;
    for (const auto& [name, value] : request_.headers.fields()) {
        if (HeaderRules::isSecret(name) && !mayHaveSecrets)
            continue;
        authorized = authorized || name.compare("Authorization", Qt::CaseInsensitive) == 0;
        // libcurl reads a line without a value as "leave this header out", and one that ends in ";" as an
        // empty value.
        lines.push_back(value.isEmpty() ? name + ';' : name + ": " + value);
    }
    if (const QByteArray credentials = credentialsFor(url); !authorized && !credentials.isEmpty())
        lines.push_back("Authorization: Basic " + credentials.toBase64());
    return lines;
}

QByteArray CurlTask::credentialsFor(const QUrl& url) const {
    const QUrl& home = session_->configuration().secretsHome;
    for (const QUrl& owner : {request_.url, home}) {
        if (!owner.userName().isEmpty() && SecretScope::allows(owner, url))
            return owner.userName(QUrl::FullyDecoded).toUtf8() + ':' +
                   owner.password(QUrl::FullyDecoded).toUtf8();
    }
    return {};
}

} // namespace fetra
