#pragma once

#include "support/FileScript.h"
#include "support/ScriptedServer.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace fetra::test {

/// One thing that a server does wrong, and the one right way for a download to end.
struct Misbehaviour {
    /// What must be left of a download that failed.
    enum class Left {
        Nothing, ///< the folder is empty
        Part,    ///< the partial file
        Record,  ///< the partial file and a record of what is in it
    };

    std::string name; ///< letters, digits and underscores
    std::vector<LieRule> lies;
    /// The beginning of `Ending::words`.
    std::string end = "complete";
    Left left = Left::Record;

    std::vector<qint64> lanes = {1, 8};
    qint64 maxRetries = 12;
    bool alsoOverTLS = false;
    ServerFile file = defaultFile();
    /// What the finished file must hold, where it is not the content of `file`.
    std::optional<QByteArray> finished = {};
    /// In place of a script with `lies`.
    std::function<Handler(const ScriptedServer&)> handler = {};
    std::function<ConnectionFate(qint64 connection)> connections = {};

    explicit Misbehaviour(std::string rowName, std::vector<LieRule> rules = {})
        : name(std::move(rowName))
        , lies(std::move(rules)) {}
    // For rows of tables: each answers the row with that changed.
    Misbehaviour over(std::vector<qint64> numbers) const { return with(&Misbehaviour::lanes, numbers); }
    Misbehaviour of(const ServerFile& served) const { return with(&Misbehaviour::file, served); }
    Misbehaviour gives(const QByteArray& content) const { return with(&Misbehaviour::finished, content); }
    Misbehaviour by(const decltype(handler)& how) const { return with(&Misbehaviour::handler, how); }
    Misbehaviour meets(const decltype(connections)& how) const {
        return with(&Misbehaviour::connections, how);
    }
    Misbehaviour alsoTLS() const { return with(&Misbehaviour::alsoOverTLS, true); }
    Misbehaviour ends(const std::string& how, qint64 retries = 12, Left what = Left::Record) const {
        return with(&Misbehaviour::end, how)
            .with(&Misbehaviour::maxRetries, retries)
            .with(&Misbehaviour::left, what);
    }

    [[nodiscard]] static const ServerFile& defaultFile();
    static constexpr qint64 defaultSize = 2 * 1024 * 1024;

private:
    template <typename Member, typename Value>
    Misbehaviour with(Member Misbehaviour::*member, const Value& value) const {
        Misbehaviour row = *this;
        row.*member = value;
        return row;
    }
};

/// Rules for all requests, for the probe, and for the data requests of those numbers.
[[nodiscard]] inline LieRule every(const Lies& lies) {
    return {.when = {}, .lies = lies};
}
[[nodiscard]] inline LieRule probe(const Lies& lies) {
    return {.when = {.what = When::What::Probe}, .lies = lies};
}
[[nodiscard]] inline LieRule data(const Lies& lies, qint64 first = 1,
                                  qint64 last = std::numeric_limits<qint64>::max()) {
    return {.when = {.what = When::What::Data, .first = first, .last = last}, .lies = lies};
}

inline std::ostream& operator<<(std::ostream& out, const Misbehaviour& row) {
    return out << row.name;
}

/// Downloads with each of the numbers of lanes, over TLS too where the row says so, and judges the end, what
/// is in the folder, and, after a failure, whether an honest server gets asked for no byte that was held.
void runMisbehaviour(const Misbehaviour& row);

/// Makes a test of every row of a table.
#define FETRA_MISBEHAVIOUR_TESTS(Suite, rows)                                                                \
    class Suite : public ::testing::TestWithParam<Misbehaviour> {};                                          \
    TEST_P(Suite, EndsRight) {                                                                               \
        runMisbehaviour(GetParam());                                                                         \
    }                                                                                                        \
    INSTANTIATE_TEST_SUITE_P(Server, Suite, ::testing::ValuesIn(rows()),                                     \
                             [](const auto& row) { return row.param.name; })

} // namespace fetra::test
