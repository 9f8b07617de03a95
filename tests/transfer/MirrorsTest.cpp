#include "transfer/Mirrors.h"

#include "support/DownloadRun.h"
#include "support/Routes.h"
#include "transfer/HTTPProbe.h"

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using What = When::What;

constexpr qint64 fileSize = 3 * 1024 * 1024;

class MirrorsTest : public DownloadTest {
protected:
    MirrorsTest()
        : DownloadTest(fileSize) {}

    Ending run(const QList<QUrl>& mirrors, DownloadOptions options = impatient(8)) {
        ::testing::internal::CaptureStderr();
        const Ending ending =
            download(world, toFolder(primary.url("/f.bin"), folder.path(), mirrors), options);
        log = QString::fromStdString(::testing::internal::GetCapturedStderr());
        expectNothingWrongIsFinished(folder, file.content);
        return ending;
    }
    static QString differs(const QUrl& url) {
        return u"[WRN] mirror skipped, size or range support differs: "_s + url.toString(QUrl::FullyEncoded) +
               u'\n';
    }
    static QString sampledBytesDiffer(const QUrl& url) {
        return u"[WRN] mirror skipped, sampled bytes differ from the primary: "_s +
               url.toString(QUrl::FullyEncoded) + u'\n';
    }
    static QString changedMeanwhile(const QUrl& url) {
        return u"[WRN] mirror skipped, it changed while it was sampled: "_s +
               url.toString(QUrl::FullyEncoded) + u'\n';
    }

    ScriptedServer& primary = server;
    ScriptedServer mirror;
    QString log;
};

/// What the server was asked for besides the probe and samples, in bytes.
qint64 bytesAskedOf(const ScriptedServer& server) {
    qint64 bytes = 0;
    for (const ServerRequest& request : server.log()) {
        if (request.range && request.range->first && request.range->last) {
            const qint64 length = *request.range->last - *request.range->first + 1;
            bytes += length > 16'384 ? length : 0;
        }
    }
    return bytes;
}

TEST_F(MirrorsTest, AdmitsOnlyThoseThatShowTheSameBytes) {
    const auto damagedAt = [this](qint64 offset) {
        ServerFile damaged = file;
        damaged.content = withDamage(file.content, offset, 1);
        return damaged;
    };
    enum class Verdict { Admitted, Differs, SampledBytesDiffer, Changed };
    ServerFile otherTags = file.withETag("\"mirror\"");
    otherTags.lastModified.clear();
    const auto samples = [this](const Lies& lies) { return serve(file, lies, {.what = What::Data}); };
    const auto turnsTo = [this](const ServerFile& other, qint64 honestSamples) {
        return FileScript{
            .file = other,
            .rules = {{.when = {.what = What::Probe}, .lies = {.file = file}},
                      {.when = {.what = What::Data, .last = honestSamples}, .lies = {.file = file}}}}
            .handler();
    };
    using enum Verdict;
    const std::tuple<const char*, Handler, Verdict> rows[] = {
        {"honest", serve(file), Admitted},
        {"other validators", serve(otherTags), Admitted},
        {"no validators", serve(file.withoutValidators()), Admitted},
        {"another tag in every answer", serve(file, {.freshETag = true}), Admitted},
        {"the same without a date", serve(otherTags, {.freshETag = true}), Changed},
        {"other validators from the first sample on", turnsTo(otherTags, 0), Changed},
        {"other validators in the last sample", turnsTo(otherTags, 2), Changed},
        {"slow to answer", serve(file, {.latency = 300ms}), Admitted},
        {"one byte longer", serve(ServerFile::ofSize(fileSize + 1)), Differs},
        {"no ranges", serve(file, {.ignoreRange = true}), Differs},
        {"no total", serve(file, {.contentRange = "bytes FIRST-LAST/*"}), Differs},
        {"missing", serve(file, {.answer = statusAnswer(404)}), Differs},
        {"reset", serve(file, {.cut = Cut{.how = Cut::How::Reset, .where = Cut::Where::Head}}), Differs},
        {"other first byte", serve(damagedAt(0)), SampledBytesDiffer},
        {"other byte in the middle", serve(damagedAt(fileSize / 2 + 16'383)), SampledBytesDiffer},
        {"other last byte", serve(damagedAt(fileSize - 1)), SampledBytesDiffer},
        {"samples refused", samples({.answer = statusAnswer(503)}), SampledBytesDiffer},
        {"samples shifted", samples({.rangeShift = 1}), SampledBytesDiffer},
        {"samples too short", samples({.rangeExtra = -1}), SampledBytesDiffer},
        {"samples too long", samples({.rangeExtra = 1}), SampledBytesDiffer},
        {"whole file for samples", samples({.ignoreRange = true}), SampledBytesDiffer},
        {"samples without labels", samples({.omitContentRange = true}), SampledBytesDiffer},
    };
    const QUrl url = mirror.url("/mirror/f.bin");
    for (const auto& [name, handler, verdict] : rows) {
        SCOPED_TRACE(name);
        mirror.setHandler(handler);
        const qint64 asked = bytesAskedOf(mirror);
        const Ending ending = run({url});
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(ending.result->mirrorsUsed, verdict == Admitted ? 2 : 1);
        EXPECT_EQ(bytesAskedOf(mirror) > asked, verdict == Admitted);
        EXPECT_EQ(log, verdict == Admitted  ? QString()
                       : verdict == Differs ? differs(url)
                       : verdict == Changed ? changedMeanwhile(url)
                                            : sampledBytesDiffer(url));
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
              differs(mirrors[1]) + sampledBytesDiffer(mirrors[3]));
    ASSERT_EQ(admitted.size(), 3);
    EXPECT_EQ(admitted[0].original, mirrors[0]);
    EXPECT_EQ(admitted[1].original, mirrors[2]);
    EXPECT_EQ(admitted[1].resolved, mirror.url("/fast?signed"));
    EXPECT_EQ(admitted[2].original, mirrors[4]);
}

TEST_F(MirrorsTest, SkipsEveryMirrorOfAPrimaryThatShowsNoSamples) {
    primary.setHandler(serve(file, {.answer = statusAnswer(500)}, {.what = What::Data, .last = 1}));
    mirror.setHandler(serve(file));
    EXPECT_EQ(run({mirror.url("/f.bin")}).words, u"complete"_s);
    EXPECT_EQ(log, sampledBytesDiffer(mirror.url("/f.bin")));
    EXPECT_EQ(bytesAskedOf(mirror), 0);
}

TEST_F(MirrorsTest, AsksNoMirrorWhenThePrimaryHasNoRangesOrNoBytes) {
    mirror.setHandler(serve(file));
    primary.setHandler(serve(file, {.ignoreRange = true}));
    EXPECT_EQ(run({mirror.url("/f.bin")}).words, u"complete"_s);
    ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    primary.setHandler(serve(ServerFile::ofSize(0)));
    const Ending empty =
        download(world, toFolder(primary.url("/empty"), folder.path(), {mirror.url("/f.bin")}), impatient(8));
    EXPECT_EQ(empty.words, u"complete"_s);
    EXPECT_EQ(mirror.requests(), 0);
}

TEST_F(MirrorsTest, ShareTheWork) {
    ScriptedServer third;
    for (ScriptedServer* each : {&primary, &mirror, &third})
        each->setHandler(throttled(file, 2e6));
    const Ending ending = run({mirror.url("/f.bin"), third.url("/f.bin")}, impatient(6));
    ASSERT_EQ(ending.words, u"complete"_s);
    EXPECT_EQ(ending.result->mirrorsUsed, 3);
    for (const ScriptedServer* each : {&primary, &mirror, &third})
        EXPECT_GT(each->bodyBytesSent(), fileSize / 6);
}

TEST_F(MirrorsTest, GoesOnWithTheOthersWhenOneFails) {
    ServerFile changed = ServerFile::ofSize(fileSize, 3).withETag("\"changed\"");
    changed.lastModified = "Thu, 07 Mar 2024 10:00:00 GMT";
    const std::pair<const char*, Lies> rows[] = {
        {"dies", {.cut = Cut{.how = Cut::How::Reset, .where = Cut::Where::Head}}},
        {"forbids", {.answer = statusAnswer(403)}},
        {"changes", {.file = changed}},
        {"compresses", {.contentEncoding = "gzip"}},
    };
    // So late that the mirror's first answer comes before any data.
    const Lies slow{.latency = 50ms, .totalBytesPerSecond = 1e7};
    DownloadOptions options = impatient(4);
    options.minSegmentSize = fileSize / 8;
    for (const auto& [name, lies] : rows) {
        // Three samples are honest, and then perhaps one stretch of data, but for its end.
        for (const qint64 honest : {3, 4}) {
            SCOPED_TRACE(::testing::Message() << name << " after " << honest);
            mirror.setHandler(FileScript{
                .file = file,
                .rules = {{.when = {.what = What::Data, .last = 3}, .lies = {}},
                          {.when = {.what = What::Data, .last = honest}, .lies = {.cut = Cut{.at = 100'000}}},
                          {.when = {.what = What::Data}, .lies = lies}}}
                                  .handler());
            primary.setHandler(serve(file, slow, {.what = What::Data}));
            const Ending ending = run({mirror.url("/f.bin")}, options);
            ASSERT_EQ(ending.words, u"complete"_s);
            EXPECT_EQ(ending.result->mirrorsUsed, 2);
            EXPECT_EQ(log, QString());
            ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
        }
    }
}

TEST_F(MirrorsTest, OutlivesThePrimary) {
    mirror.setHandler(serve(file));
    primary.setHandler(
        FileScript{.file = file,
                   .rules = {{.when = {.what = What::Data, .last = 3}, .lies = {}},
                             {.when = {.what = What::Data}, .lies = {.answer = statusAnswer(500)}}}}
            .handler());
    const Ending ending = run({mirror.url("/f.bin")});
    EXPECT_EQ(ending.words, u"complete"_s);
}

} // namespace
} // namespace fetra::test
