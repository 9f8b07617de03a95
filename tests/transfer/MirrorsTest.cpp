#include "transfer/Mirrors.h"

#include "support/DownloadRun.h"
#include "support/Routes.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using What = When::What;

constexpr qint64 fileSize = 3 * 1024 * 1024;
const QString differs = u"size or range support differs"_s;
const QString sampledBytesDiffer = u"sampled bytes differ from the primary"_s;

class MirrorsTest : public DownloadTest {
protected:
    MirrorsTest()
        : DownloadTest(fileSize) {}

    Ending run(const QList<QUrl>& mirrors, DownloadOptions options = impatient(8)) {
        ::testing::internal::CaptureStderr();
        const Ending ending =
            download(world, toFolder(primary.url("/f.bin"), folder.path(), mirrors), options);
        log = QString::fromStdString(::testing::internal::GetCapturedStderr());
        expectNothingWrongIsFinished(folder.path(), file.content);
        return ending;
    }
    static QString skipped(const QString& reason, const QUrl& url) {
        return u"[WRN] mirror skipped, "_s + reason + u": "_s + url.toString(QUrl::FullyEncoded) + u'\n';
    }

    ScriptedServer& primary = server;
    ScriptedServer mirror;
    QString log;
};

/// Requests for more than a sample.
qint64 partsAskedOf(const ScriptedServer& server) {
    const std::vector<ServerRequest> log = server.log();
    return std::ranges::count_if(log, [](const ServerRequest& request) {
        return request.range && request.range->last && *request.range->last - request.range->first >= 16'384;
    });
}

TEST_F(MirrorsTest, AdmitsOnlyThoseThatShowTheSameBytes) {
    const auto damagedAt = [this](qint64 offset) {
        ServerFile damaged = file;
        damaged.content = withDamage(file.content, offset);
        return damaged;
    };
    const QString admitted;
    const QString changed = u"it changed while it was sampled"_s;
    ServerFile otherTags = file.withETag("\"mirror\"");
    otherTags.lastModified.clear();
    const auto samples = [this](const Lies& lies, qint64 first = 1) {
        return serve(file, lies, {.what = What::Data, .first = first});
    };
    const std::tuple<const char*, Handler, QString> rows[] = {
        {"honest", serve(file), admitted},
        {"other validators", serve(otherTags), admitted},
        {"another tag in every answer", serve(file, {.freshETag = true}), admitted},
        {"the same without a date", serve(otherTags, {.freshETag = true}), changed},
        {"other validators in the last sample", samples({.file = otherTags}, 3), changed},
        {"one byte longer", serve(ServerFile::ofSize(fileSize + 1)), differs},
        {"no ranges", serve(file, {.ignoreRange = true}), differs},
        {"missing", serve(file, {.answer = statusAnswer(404)}), differs},
        {"reset", serve(file, {.cut = Cut{.how = Cut::How::Reset, .where = Cut::Where::Head}}), differs},
        {"other byte in the middle", serve(damagedAt(fileSize / 2 + 16'383)), sampledBytesDiffer},
        {"other last byte", serve(damagedAt(fileSize - 1)), sampledBytesDiffer},
        {"samples refused", samples({.answer = statusAnswer(503)}), sampledBytesDiffer},
        {"samples too long", samples({.rangeExtra = 1}), sampledBytesDiffer},
        {"whole file for samples", samples({.ignoreRange = true}), sampledBytesDiffer},
        {"samples without labels", samples({.omitContentRange = true}), sampledBytesDiffer},
    };
    const QUrl url = mirror.url("/mirror/f.bin");
    for (const auto& [name, handler, reason] : rows) {
        SCOPED_TRACE(name);
        mirror.setHandler(handler);
        const qint64 asked = partsAskedOf(mirror);
        const Ending ending = run({url});
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(ending.result->mirrorsUsed, reason == admitted ? 2 : 1);
        EXPECT_EQ(partsAskedOf(mirror) > asked, reason == admitted);
        EXPECT_EQ(log, reason == admitted ? QString() : skipped(reason, url));
        ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    }
}

TEST_F(MirrorsTest, KeepsTheOrderGivenWhateverTheOrderOfTheAnswers) {
    mirror.setHandler(routes({{"/slow", serve(file, {.latency = 200ms}, {.what = What::Probe})},
                              {"/wrong", serve(ServerFile::ofSize(5))},
                              {"/elsewhere", redirect("/fast?signed")},
                              {"/fast", serve(file)},
                              {"/different", serve(ServerFile::ofSize(fileSize, 9))}}));
    const QList<QUrl> mirrors{mirror.url("/slow"), mirror.url("/wrong"), mirror.url("/elsewhere"),
                              mirror.url("/different"), mirror.url("/fast")};
    const DownloadOptions options = impatient(8);
    const auto session = world.services().http.makeSession({.maxConnectionsPerHost = 8});
    const RemoteInfo info = HTTPProbe::probe(primary.url("/f.bin"), *session, options);
    ::testing::internal::CaptureStderr();
    const QList<Mirrors::Admitted> admitted = Mirrors::admit(mirrors, info, *session, options);
    EXPECT_EQ(QString::fromStdString(::testing::internal::GetCapturedStderr()),
              skipped(differs, mirrors[1]) + skipped(sampledBytesDiffer, mirrors[3]));
    ASSERT_EQ(admitted.size(), 3);
    EXPECT_EQ(admitted[0].original, mirrors[0]);
    EXPECT_EQ(admitted[1].original, mirrors[2]);
    EXPECT_EQ(admitted[1].resolved, mirror.url("/fast?signed"));
    EXPECT_EQ(admitted[2].original, mirrors[4]);
}

TEST_F(MirrorsTest, AreNotComparedWithAPrimaryThatChangesMeanwhile) {
    const ServerFile other = ServerFile::ofSize(fileSize, 9).withETag("\"v2\"").withoutDate();
    primary.setHandler(FileScript{.file = file, .rules = {data({.file = other}, 1, 3)}}.handler());
    mirror.setHandler(serve(other));
    EXPECT_EQ(run({mirror.url("/f.bin")}).words, u"complete"_s);
    EXPECT_EQ(log, skipped(sampledBytesDiffer, mirror.url("/f.bin")));
}

TEST_F(MirrorsTest, AreDoneWithoutWhereTheyTurnOutOtherwise) {
    ServerFile dated = ServerFile::ofSize(fileSize, 9).withETag({});
    const std::tuple<const char*, ServerFile, Lies> rows[] = {
        {"a page", file, {.answer = loginPage()}},
        {"no ranges any more", file, {.ignoreRange = true}},
        {"another version that names nothing in common", file.withoutDate(), {.file = dated}},
    };
    for (const auto& [name, shown, lies] : rows) {
        SCOPED_TRACE(name);
        mirror.setHandler(serve(shown, lies, {.what = What::Data, .first = 4}));
        const Ending ending = run({mirror.url("/f.bin")});
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(ending.result->mirrorsUsed, 2);
        EXPECT_EQ(log, QString()) << "nor is the primary asked for a single stream";
        ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    }
}

TEST_F(MirrorsTest, GetNothingToDoBesideAPrimaryWithoutRangesBytesOrSamples) {
    mirror.setHandler(serve(file));
    primary.setHandler(serve(file, {.ignoreRange = true}));
    EXPECT_EQ(run({mirror.url("/f.bin")}).words, u"complete"_s);
    ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    primary.setHandler(serve(ServerFile::ofSize(0)));
    const Ending empty =
        download(world, toFolder(primary.url("/empty"), folder.path(), {mirror.url("/f.bin")}), impatient(8));
    EXPECT_EQ(empty.words, u"complete"_s);
    EXPECT_EQ(mirror.requests(), 0);
    ASSERT_TRUE(QFile::remove(folder.path(u"empty"_s)));
    primary.setHandler(serve(file, {.answer = statusAnswer(500)}, {.what = What::Data, .last = 1}));
    EXPECT_EQ(run({mirror.url("/f.bin")}).words, u"complete"_s);
    EXPECT_EQ(log, skipped(sampledBytesDiffer, mirror.url("/f.bin")));
    EXPECT_EQ(partsAskedOf(mirror), 0);
}

} // namespace
} // namespace fetra::test
