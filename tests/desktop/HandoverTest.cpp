#include "app/desktop/Handover.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

/// A message with one part replaced by another.
QByteArray messageWith(const QByteArray& part, const QByteArray& other) {
    QByteArray message = R"({"version":1,"opened":["https://a.example/x"],"activationToken":"t"})";
    EXPECT_TRUE(message.contains(part));
    return message.replace(part, other);
}

QByteArray addresses(qsizetype count) {
    return "[" + QByteArray("\"a:b\",").repeated(count).chopped(1) + "]";
}

TEST(HandoverTest, TakesNothingMalformedOrBeyondTheLimits) {
    const QByteArray opened = R"(["https://a.example/x"])";
    const QByteArray longest = "https://a.example/" + QByteArray(Handover::maxURLBytes - 18, 'x');
    const QByteArray longestToken(Handover::maxTokenBytes, 't');
    const struct {
        const char* what;
        QByteArray message;
        bool isTaken;
    } cases[] = {
        {"keys of a later version", messageWith("{", R"({"later":[1],)"), true},
        {"another version", messageWith("1", "2"), false},
        {"no list", messageWith(opened, R"("https://a.example/x")"), false},
        {"an empty address", messageWith(opened, R"([""])"), false},
        {"a relative address", messageWith(opened, R"(["x/y"])"), false},
        {"half a character", messageWith("/x", R"(/\ud800)"), false},
        {"most addresses", messageWith(opened, addresses(Handover::maxOpened)), true},
        {"too many addresses", messageWith(opened, addresses(Handover::maxOpened + 1)), false},
        {"longest address", messageWith("https://a.example/x", longest), true},
        {"address too long", messageWith("https://a.example/x", longest + 'x'), false},
        {"address too long once encoded", messageWith("https://a.example/x", longest.chopped(1) + "\xc3\xbc"),
         false},
        {"longest token", messageWith(R"("t")", '"' + longestToken + '"'), true},
        {"token too long", messageWith(R"("t")", '"' + longestToken + "t\""), false},
        {"token with a line feed", messageWith(R"("t")", R"("t\nu")"), false},
        {"two values", messageWith("}", "}{}"), false},
        {"too long a message", messageWith("{", "{" + QByteArray(Handover::maxMessageBytes, ' ')), false},
    };
    for (const auto& [what, message, isTaken] : cases)
        EXPECT_EQ(Handover::parse(message).has_value(), isTaken) << what;
}

} // namespace
} // namespace fetra::test
