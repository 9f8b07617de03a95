#include "transfer/Mirrors.h"

#include "http/TransportError.h"
#include "system/AbsoluteURL.h"
#include "system/Log.h"
#include "transfer/DownloadError.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <future>
#include <optional>
#include <vector>

namespace fetra::Mirrors {

using namespace Qt::StringLiterals;

namespace {

struct Check {
    /// Present when the mirror has ranges and the right size.
    std::optional<QUrl> resolved;
    /// Present when the samples were answered.
    std::optional<QByteArray> sampled;
    Validators validators;
    /// No answer spoke of another version than those before it.
    bool steady = true;
};

/// What `question` answers, or nothing when the server fails it.
template <typename Question>
auto answerOf(Question question) -> std::optional<decltype(question())> {
    try {
        return question();
    } catch (const DownloadError&) {
    } catch (const TransportError&) {
    }
    return std::nullopt;
}

/// Whether none of the samples' answers spoke of another version than those before it, the first of which
/// named `known`.
bool isSteady(Validators& known, const HTTPProbe::Fingerprint& fingerprint) {
    return std::ranges::all_of(fingerprint.named,
                               [&](const Validators& named) { return known.agree(named); });
}

} // namespace

QList<Admitted> admit(const QList<QUrl>& mirrors, const RemoteInfo& info, HTTPSession& session,
                      const DownloadOptions& options) {
    const qint64 total = info.totalSize.value_or(0);
    const auto fingerprintOf = [&](const QUrl& url) {
        return answerOf([&] { return HTTPProbe::fingerprint(url, total, session, options); });
    };
    const auto check = [&](const QUrl& mirror) {
        const std::optional<RemoteInfo> answer =
            answerOf([&] { return HTTPProbe::probe(mirror, session, options); });
        Check result;
        if (answer && answer->acceptsRanges && answer->totalSize == info.totalSize) {
            result.resolved = answer->finalURL;
            result.validators = Validators::of(*answer);
            if (const auto fingerprint = fingerprintOf(answer->finalURL)) {
                result.sampled = fingerprint->bytes;
                result.steady = isSteady(result.validators, *fingerprint);
            }
        }
        return result;
    };

    const auto primary = fingerprintOf(info.finalURL);
    Validators known = Validators::of(info);
    const bool isPrimarySteady = primary && isSteady(known, *primary);
    std::vector<std::future<Check>> checks;
    for (const QUrl& mirror : mirrors)
        checks.push_back(std::async(std::launch::async, check, mirror));

    QList<Admitted> admitted;
    for (qsizetype i = 0; i < mirrors.size(); ++i) {
        const QUrl& mirror = mirrors[i];
        const Check result = checks[static_cast<size_t>(i)].get();
        if (!result.resolved) {
            Log::warn([&] {
                return u"mirror skipped, size or range support differs: "_s + presentableString(mirror);
            });
        } else if (!isPrimarySteady || result.sampled != primary->bytes) {
            Log::warn([&] {
                return u"mirror skipped, sampled bytes differ from the primary: "_s +
                       presentableString(mirror);
            });
        } else if (!result.steady) {
            Log::warn([&] {
                return u"mirror skipped, it changed while it was sampled: "_s + presentableString(mirror);
            });
        } else {
            admitted.append(
                {.original = mirror, .resolved = *result.resolved, .validators = result.validators});
        }
    }
    return admitted;
}

} // namespace fetra::Mirrors
