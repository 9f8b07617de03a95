#include "support/FileScript.h"

#include "support/FileAnswer.h"

#include <algorithm>
#include <list>

namespace fetra::test {

std::shared_ptr<void> SlotLimit::enter() {
    const std::lock_guard lock(mutex_);
    if (inside_ >= slots_)
        return nullptr;
    ++inside_;
    return {this, [self = shared_from_this()](void*) { --self->inside_; }};
}

FixedAnswer statusAnswer(int status, QByteArray retryAfter) {
    FixedAnswer answer{.status = status, .headers = {{"Content-Type", "text/plain"}}, .body = "no\n"};
    if (!retryAfter.isEmpty())
        answer.headers.emplace_back("Retry-After", std::move(retryAfter));
    return answer;
}

FixedAnswer loginPage() {
    return {.status = 200,
            .headers = {{"Content-Type", "text/html; charset=utf-8"}},
            .body = "<!DOCTYPE html><html><title>Sign in</title><form>...</form></html>\n"};
}

std::chrono::steady_clock::time_point SharedPace::reserve(qint64 bytes, double bytesPerSecond) {
    if (bytesPerSecond <= 0)
        return {};
    const std::chrono::duration<double> span(static_cast<double>(bytes) / bytesPerSecond);
    const std::lock_guard lock(mutex_);
    next_ = std::max(next_, std::chrono::steady_clock::now()) +
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(span);
    return next_;
}

namespace {

/// What a script's handler keeps between requests.
class RunningScript {
public:
    explicit RunningScript(const FileScript& script)
        : file_(script.file) {
        for (const LieRule& rule : script.rules)
            rules_.emplace_back(rule);
        rules_.emplace_back(LieRule{}); // whoever is told no lie gets the truth
    }

    void answer(ServerExchange& exchange) {
        Rule& rule = choose(exchange.request());
        const Lies& lies = rule.told.lies;
        ServerFile file = lies.file.value_or(file_);
        if (lies.freshETag)
            file.etag = "\"fresh-" + QByteArray::number(exchange.request().serial) + '"';
        answerAbout(std::move(file), lies, rule.pace, exchange);
    }

private:
    struct Rule {
        explicit Rule(LieRule rule)
            : told(std::move(rule)) {}
        const LieRule told;
        qint64 matched = 0;
        SharedPace pace;
    };

    // Every rule counts every request, so that the numbers of one do not hang on the rules before it.
    Rule& choose(const ServerRequest& request) {
        const std::lock_guard lock(mutex_);
        Rule* chosen = nullptr;
        for (Rule& rule : rules_) {
            const auto& [what, first, last] = rule.told.when;
            if (what != When::What::Every && request.isProbe() != (what == When::What::Probe))
                continue;
            ++rule.matched;
            if (!chosen && rule.matched >= first && rule.matched <= last)
                chosen = &rule;
        }
        return *chosen;
    }

    const ServerFile file_;
    std::mutex mutex_;
    std::list<Rule> rules_;
};

} // namespace

Handler FileScript::handler() const {
    return [running = std::make_shared<RunningScript>(*this)](auto& exchange) { running->answer(exchange); };
}

Handler serve(ServerFile file, Lies lies, When when) {
    return FileScript{.file = std::move(file), .rules = {{.when = std::move(when), .lies = std::move(lies)}}}
        .handler();
}

} // namespace fetra::test
