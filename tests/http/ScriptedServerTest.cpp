// The server that the other tests believe: what would make them pass for nothing.

#include "support/ScriptedServer.h"
#include "http/CurlClient.h"
#include "http/HTTPFetch.h"
#include "support/FileScript.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

/// "STATUS LABEL BODY" to a request for those bytes.
QByteArray answerOf(const ScriptedServer& server, const QByteArray& range, const QByteArray& condition = {}) {
    CurlClient client;
    HTTPRequest request{.url = server.url("/f")};
    request.headers.set("Range", "bytes=" + range);
    if (!condition.isEmpty())
        request.headers.set("If-Range", condition);
    const auto answer = HTTPFetch::body(*client.makeSession({}), request, 1'000'000);
    return QByteArray::number(answer.response.status) + ' ' +
           answer.response.headers.value("Content-Range").value_or(QString()).toUtf8() + ' ' + answer.body;
}

TEST(ScriptedServerTest, IsHonestButForTheLieThatItIsTold) {
    const std::tuple<QByteArray, QByteArray, Lies, QByteArray> cases[] = {
        {"5-7", "", {}, "206 bytes 5-7/10 fgh"},
        {"5-", "\"v1\"", {}, "206 bytes 5-9/10 fghij"},
        {"5-7", "\"v2\"", {}, "200  abcdefghij"},
        {"10-", "", {}, "416 bytes */10 "},
        {"5-7", "", {.ignoreRange = true}, "200  abcdefghij"},
        {"5-7", "", {.rangeShift = -1, .rangeExtra = 2}, "206 bytes 4-8/10 efghi"},
        {"5-7", "", {.contentRange = "bytes FIRST-LAST/*"}, "206 bytes 5-7/* fgh"},
    };
    for (const auto& [range, condition, lies, answer] : cases)
        EXPECT_EQ(answerOf(ScriptedServer(serve({.content = "abcdefghij"}, lies)), range, condition), answer);
}

} // namespace
} // namespace fetra::test
