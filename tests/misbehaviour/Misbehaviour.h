#pragma once

#include "support/FileScript.h"
#include "support/ScriptedServer.h"

#include <functional>
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
    static constexpr std::chrono::seconds idleTimeout{5};

    std::string name;
    std::vector<LieRule> lies;
    /// The beginning of `Ending::words`, with HOST for the server's name.
    std::string end = "complete";
    Left left = Left::Record;
    qint64 held = 0; ///< at least so many bytes are kept by a download that failed
    /// The download is over by then.
    std::chrono::seconds within = idleTimeout + std::chrono::seconds(1);

    std::vector<qint64> lanes = {1, 8, 64};
    std::vector<bool> overTLS = {false, true};
    qint64 maxRetries = 12;
    ServerFile file = defaultFile();
    /// What the finished file must hold, where it is not the content of `file`.
    std::optional<QByteArray> finished = {};
    /// In place of a script with `lies`.
    std::function<Handler(const ScriptedServer&)> handler = {};
    std::function<ConnectionFate(qint64 connection)> connections = {};
    TestCertificate::Kind certificate = TestCertificate::Kind::Valid;

    explicit Misbehaviour(std::string rowName, std::vector<LieRule> rules = {})
        : name(std::move(rowName))
        , lies(std::move(rules)) {}
    // Each answers the row with that changed. A row that leaves out numbers of lanes, plain or TLS says why.
    Misbehaviour over(std::vector<qint64> numbers) const { return with(&Misbehaviour::lanes, numbers); }
    Misbehaviour plainOnly() const { return with(&Misbehaviour::overTLS, {false}); }
    Misbehaviour onlyOverTLS() const { return with(&Misbehaviour::overTLS, {true}); }
    Misbehaviour of(const ServerFile& served) const { return with(&Misbehaviour::file, served); }
    Misbehaviour gives(const QByteArray& content) const { return with(&Misbehaviour::finished, content); }
    Misbehaviour by(const decltype(handler)& how) const { return with(&Misbehaviour::handler, how); }
    Misbehaviour meets(const decltype(connections)& how) const {
        return with(&Misbehaviour::connections, how);
    }
    Misbehaviour shows(TestCertificate::Kind kind) const { return with(&Misbehaviour::certificate, kind); }
    Misbehaviour ends(const std::string& how, Left what = Left::Record) const {
        return with(&Misbehaviour::end, how).with(&Misbehaviour::left, what);
    }
    Misbehaviour givesUp(const std::string& reason, qint64 retries = 1, Left what = Left::Record) const {
        return ends("Gave up after repeated failures: " + reason, what)
            .with(&Misbehaviour::maxRetries, retries);
    }
    Misbehaviour keeps(qint64 bytes) const { return with(&Misbehaviour::held, bytes); }
    Misbehaviour takes(std::chrono::seconds time) const { return with(&Misbehaviour::within, time); }

    [[nodiscard]] static const ServerFile& defaultFile();
    /// Enough for a segment on each of 64 lanes.
    static constexpr qint64 defaultSize = 64 * 65'536;

private:
    template <typename Value>
    Misbehaviour with(Value Misbehaviour::*member, const std::type_identity_t<Value>& value) const {
        Misbehaviour row = *this;
        row.*member = value;
        return row;
    }
};

using Row = Misbehaviour;
using Rows = std::vector<Row>;
using Left = Misbehaviour::Left;
using How = Cut::How;
using Where = Cut::Where;
using namespace std::chrono_literals;

/// Downloads under every row with each of its numbers of lanes, plain and over TLS, many at once, and judges
/// the end, how soon it came, what is in the folder, and, after a failure, whether an honest server gets
/// asked for no byte that was held. FETRA_ROW picks a row by its name; FETRA_REDUCED_MATRIX, for slow builds,
/// leaves a row one of its combinations, and does not judge the time.
void runMisbehaviours(const Rows& rows);

} // namespace fetra::test
