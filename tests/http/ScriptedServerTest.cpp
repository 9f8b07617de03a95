// The server that the other tests believe: what would make them pass for nothing.

#include "support/ScriptedServer.h"
#include "http/CurlClient.h"
#include "http/HTTPFetch.h"
#include "support/FileScript.h"

#include <gtest/gtest.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class ScriptedServerTest : public ::testing::Test {
protected:
    HTTPFetch::Answer ask(const QUrl& url, const QByteArray& range = {}, const QByteArray& condition = {}) {
        HTTPRequest request{.url = url};
        if (!range.isEmpty())
            request.headers.set("Range", "bytes=" + range);
        if (!condition.isEmpty())
            request.headers.set("If-Range", condition);
        return HTTPFetch::body(*session, request, 1'000'000);
    }

    CurlClient client;
    std::unique_ptr<HTTPSession> session = client.makeSession({});
};

TEST_F(ScriptedServerTest, IsHonestButForTheLieThatItIsTold) {
    const ServerFile file = ServerFile::ofSize(1000);
    const QByteArray& all = file.content;
    struct Row {
        const char* name;
        QByteArray range;
        QByteArray condition;
        Lies lies;
        int status;
        QString label;
        QByteArray body;
    };
    const Row rows[] = {
        {"whole", "", "", {}, 200, u""_s, all},
        {"range", "5-9", "", {}, 206, u"bytes 5-9/1000"_s, all.sliced(5, 5)},
        {"beyond the end", "1000-", "", {}, 416, u"bytes */1000"_s, ""},
        {"this version", "5-9", "\"v1\"", {}, 206, u"bytes 5-9/1000"_s, all.sliced(5, 5)},
        {"another version", "5-9", "\"v2\"", {}, 200, u""_s, all},
        {"ignored", "5-9", "", {.ignoreRange = true}, 200, u""_s, all},
        {"too long", "5-9", "", {.rangeExtra = 2}, 206, u"bytes 5-11/1000"_s, all.sliced(5, 7)},
        {"no total",
         "5-9",
         "",
         {.contentRange = "bytes FIRST-LAST/*"},
         206,
         u"bytes 5-9/*"_s,
         all.sliced(5, 5)},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const ScriptedServer server(serve(file, row.lies));
        const auto answer = ask(server.url("/f"), row.range, row.condition);
        EXPECT_EQ(answer.response.status, row.status);
        EXPECT_EQ(answer.response.headers.value("Content-Range").value_or(QString()), row.label);
        EXPECT_EQ(answer.body, row.body);
    }
}

TEST_F(ScriptedServerTest, LiesToTheRequestsMeant) {
    const auto status = [](int value) { return Lies{.answer = statusAnswer(value)}; };
    const ScriptedServer server(FileScript{
        .file = ServerFile::ofSize(100),
        .rules = {{{.what = When::What::Probe, .first = 2}, status(401)},
                  {{.what = When::What::Data, .first = 2, .last = 2},
                   status(402)}}}.handler());
    std::vector<int> statuses;
    for (const char* range : {"0-0", "0-9", "0-0", "0-9", "0-9"})
        statuses.push_back(ask(server.url("/f"), range).response.status);
    EXPECT_EQ(statuses, (std::vector{206, 206, 401, 402, 206}));
}

} // namespace
} // namespace fetra::test
