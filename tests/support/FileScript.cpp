#include "support/FileScript.h"

#include "support/FileAnswer.h"

#include <algorithm>

namespace fetra::test {

bool SlotLimit::tryEnter() {
    const std::lock_guard lock(mutex_);
    if (inside_ >= terms_.slots)
        return false;
    ++inside_;
    return true;
}

FixedAnswer statusAnswer(int status, QByteArray retryAfter) {
    FixedAnswer answer{.status = status, .headers = {{"Content-Type", "text/plain"}}, .body = "no\n"};
    if (!retryAfter.isEmpty())
        answer.headers.emplace_back("Retry-After", std::move(retryAfter));
    return answer;
}

FixedAnswer loginPage() {
    return {
        .status = 200,
        .headers = {{"Content-Type", "text/html; charset=utf-8"}},
        .body =
            "<!DOCTYPE html><html><head><title>Sign in</title></head><body><form>...</form></body></html>\n"};
}

std::chrono::steady_clock::time_point SharedPace::reserve(qint64 bytes, double bytesPerSecond) {
    const auto span = std::chrono::duration<double>(static_cast<double>(bytes) / bytesPerSecond);
    const std::lock_guard lock(mutex_);
    next_ = std::max(next_, std::chrono::steady_clock::now()) +
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(span);
    return next_;
}

namespace {

bool matches(When::What what, const ServerRequest& request) {
    return what == When::What::Every || request.isProbe() == (what == When::What::Probe);
}

/// What a script's handler keeps between requests.
class RunningScript {
public:
    explicit RunningScript(FileScript script)
        : script_(std::move(script))
        , rules_(script_.rules.size()) {}

    void answer(ServerExchange& exchange) {
        qint64 serial = 0;
        const std::optional<std::size_t> rule = choose(exchange.request(), serial);
        static const Lies honest;
        SharedPace unused;
        const Lies& lies = rule ? script_.rules[*rule].lies : honest;
        ServerFile file = lies.file.value_or(script_.file);
        if (lies.freshETag)
            file.etag = "\"fresh-" + QByteArray::number(serial) + '"';
        answerAbout(std::move(file), lies, rule ? rules_[*rule].pace : unused, exchange);
    }

private:
    struct RuleState {
        qint64 matched = 0;
        SharedPace pace;
    };

    // Every rule counts every request, so that the numbers of one do not hang on the rules before it.
    std::optional<std::size_t> choose(const ServerRequest& request, qint64& serial) {
        const std::lock_guard lock(mutex_);
        serial = ++requests_;
        std::optional<std::size_t> chosen;
        for (std::size_t index = 0; index < rules_.size(); ++index) {
            const When& when = script_.rules[index].when;
            if (!matches(when.what, request))
                continue;
            const qint64 number = ++rules_[index].matched;
            if (!chosen && number >= when.first && number <= when.last)
                chosen = index;
        }
        return chosen;
    }

    const FileScript script_;
    std::mutex mutex_;
    qint64 requests_ = 0;
    std::vector<RuleState> rules_;
};

} // namespace

Handler FileScript::handler() const {
    return [running = std::make_shared<RunningScript>(*this)](ServerExchange& exchange) {
        running->answer(exchange);
    };
}

Handler serve(ServerFile file, Lies lies, When when) {
    return FileScript{.file = std::move(file), .rules = {{.when = std::move(when), .lies = std::move(lies)}}}
        .handler();
}

} // namespace fetra::test
