// Cookies, authorisation and passwords reach the site they were given for and nobody else.

#include "support/DownloadRun.h"
#include "support/Routes.h"

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

class DownloaderSecrets : public DownloadTest {
protected:
    DownloaderSecrets()
        : DownloadTest(600'000) {}

    /// What requests for a path carried, over the whole download.
    static void expectShown(const ScriptedServer& asked, const QByteArray& path, qint64 atLeast,
                            const QByteArray& cookie, const QByteArray& authorization) {
        EXPECT_GE(asked.requests(path), atLeast);
        for (const ServerRequest& each : asked.log(path)) {
            EXPECT_EQ(each.header("Cookie").value_or("none"), cookie);
            EXPECT_EQ(each.header("Authorization").value_or("none"), authorization);
            EXPECT_EQ(each.header("X-Other"), "yes") << "headers without secrets go along";
        }
    }
    Ending run(const QUrl& url, const QList<QUrl>& mirrors, DownloadOptions options) {
        const TempFolder fresh;
        options.headers.insert(u"X-Other"_s, u"yes"_s);
        options.headers.insert(u"range"_s, u"bytes=5-6"_s); // is ours to say
        const Ending ending = download(world, toFolder(url, fresh.path(), mirrors), options);
        expectNothingWrongIsFinished(fresh.path(), file.content);
        return ending;
    }
    static DownloadOptions withSecrets() {
        DownloadOptions options = impatient(4);
        options.headers = {{u"cookie"_s, u"session=1"_s}, {u"Authorization"_s, u"Bearer t"_s}};
        return options;
    }

    static QUrl withPassword(QUrl url, const QString& user, const QString& password) {
        url.setUserName(user);
        url.setPassword(password);
        return url;
    }

    ScriptedServer& plain = server;
    ScriptedServer secure{{}, {.certificate = TestCertificate()}};
};

TEST_F(DownloaderSecrets, StayWithTheirSiteAcrossRedirectsAndInAllLaterRequests) {
    struct Row {
        const char* name;
        bool fromTLS;
        QByteArray from;
        bool toTLS;
        QByteArray to;
        bool allowed;
    };
    const Row rows[] = {
        {"same host", false, "a.localhost", false, "a.localhost", true},
        {"other host of the site", false, "x.a.localhost", false, "y.a.localhost", true},
        {"up to the site itself", false, "x.a.localhost", false, "a.localhost", true},
        {"other site", false, "a.localhost", false, "b.localhost", false},
        {"bare public name", false, "a.localhost", false, "localhost", false},
        {"address of the same machine", false, "a.localhost", false, "127.0.0.1", false},
        {"from http to https", false, "a.localhost", true, "a.localhost", true},
        {"from https to http", true, "a.localhost", false, "a.localhost", false},
        {"https, other site", true, "a.localhost", true, "b.localhost", false},
    };
    int number = 0;
    for (const Row& row : rows) {
        ScriptedServer& from = row.fromTLS ? secure : plain;
        ScriptedServer& to = row.toTLS ? secure : plain;
        for (const bool inAddress : {false, true}) {
            SCOPED_TRACE(::testing::Message()
                         << row.name << (inAddress ? ", in the address" : ", as headers"));
            const QByteArray id = QByteArray::number(++number);
            const QByteArray start = "/start" + id;
            const QByteArray end = "/end" + id;
            const Handler handler =
                routes({{start, redirect(to.url(end, row.to).toEncoded())}, {end, serve(file)}});
            from.setHandler(handler);
            to.setHandler(handler);
            QUrl url = from.url(start, row.from);
            if (inAddress)
                url = withPassword(url, u"me"_s, u"p:w"_s);
            EXPECT_EQ(run(url, {}, inAddress ? impatient(4) : withSecrets()).words, u"complete"_s);
            const QByteArray basic = "Basic " + QByteArray("me:p:w").toBase64();
            const QByteArray cookie = inAddress ? "none" : "session=1";
            const QByteArray authorization = inAddress ? basic : "Bearer t";
            expectShown(from, start, 1, cookie, authorization);
            expectShown(to, end, 5, row.allowed ? cookie : "none", row.allowed ? authorization : "none");
        }
    }
}

TEST_F(DownloaderSecrets, AreShownToMirrorsOfTheSameSiteOnly) {
    plain.setHandler(throttled(file, 3e6));
    secure.setHandler(throttled(file, 3e6));
    const QUrl own = withPassword(plain.url("/own", "b.localhost"), u"mirror"_s, u"pw"_s);
    const QList<QUrl> mirrors{plain.url("/sister", "y.a.localhost"), plain.url("/stranger", "b.localhost"),
                              secure.url("/secure", "a.localhost"), own};
    const Ending ending = run(plain.url("/primary", "x.a.localhost"), mirrors, withSecrets());
    ASSERT_EQ(ending.words, u"complete"_s);
    EXPECT_EQ(ending.result->mirrorsUsed, 5);
    expectShown(plain, "/primary", 4, "session=1", "Bearer t");
    expectShown(plain, "/sister", 4, "session=1", "Bearer t");
    expectShown(secure, "/secure", 4, "session=1", "Bearer t");
    expectShown(plain, "/stranger", 4, "none", "none");
    // What stands in a mirror's own address is for that mirror.
    expectShown(plain, "/own", 4, "none", "Basic " + QByteArray("mirror:pw").toBase64());
}

TEST_F(DownloaderSecrets, OfTheAddressReachNoMirrorOfAnotherSiteAndNoMessage) {
    plain.setHandler(routes(
        {{"/f.bin", serve(file)}, {"/stranger", serve(file)}, {"/other", serve(ServerFile::ofSize(5))}}));
    const QUrl url = withPassword(plain.url("/f.bin", "a.localhost"), u"me"_s, u"hidden"_s);
    const QUrl other = withPassword(plain.url("/other", "a.localhost"), u"me"_s, u"hidden"_s);
    ::testing::internal::CaptureStderr();
    const Ending ending = run(url, {plain.url("/stranger", "b.localhost"), other}, impatient(4));
    const std::string log = ::testing::internal::GetCapturedStderr();
    ASSERT_EQ(ending.words, u"complete"_s);
    expectShown(plain, "/stranger", 4, "none", "none");
    EXPECT_NE(log.find("mirror skipped"), std::string::npos);
    EXPECT_EQ(log.find("hidden"), std::string::npos) << log;
}

TEST_F(DownloaderSecrets, GoToTheOriginalAddressAgainWhenTheRedirectTargetFails) {
    const QByteArray target = plain.url("/target", "b.localhost").toEncoded();
    plain.setHandler(routes(
        {{"/start", redirect(target)},
         {"/target", serve(file, {.answer = statusAnswer(403)}, {.what = When::What::Data, .last = 12})}}));
    const Ending ending = run(plain.url("/start", "a.localhost"), {}, withSecrets());
    ASSERT_EQ(ending.words, u"complete"_s);
    expectShown(plain, "/start", 2, "session=1", "Bearer t");
    expectShown(plain, "/target", 5, "none", "none");
}

} // namespace
} // namespace fetra::test
