// The runner against helpers that say what a script has them say.

#include "TorrentRun.h"

#include "support/Environment.h"
#include "support/Eventually.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>

#include <optional>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

const QString stopped = u"Gave up after repeated failures: torrent stopped before completion"_s;
const QUrl magnet(u"magnet:?xt=urn:btih:00&dn=shown"_s);

/// A folder with a helper in it, which every runner of this process finds.
class Scripted {
public:
    explicit Scripted(const QByteArray& script, const QByteArray& interpreter = "/bin/sh") {
        TestCertificate::trustAuthority(); // before there is another place for temporary files
        const QString path = folder.write(u"helper"_s, "#!" + interpreter + '\n' + script + '\n');
        QFile::setPermissions(path, QFile::ReadOwner | QFile::ExeOwner);
        QDir(folder.path()).mkdir(u"tmp"_s);
        temporary_.emplace("TMPDIR", folder.path(u"tmp"_s).toUtf8());
    }

    [[nodiscard]] QString output() const { return folder.path(u"new/out"_s); }

    const TempFolder folder;

private:
    const Environment helper_{"FETRA_TORRENT_HELPER", folder.path(u"helper"_s).toUtf8()};
    std::optional<Environment> temporary_;
};

/// "ENDING; NAMES THAT THE START WAS REPORTED WITH; RECEIVED/TOTAL OF EACH REPORT"
std::string storyOf(TorrentRun& run) {
    QString text = run.ending(); // before the rest is asked for
    text += u"; "_s + run.starts().join(u' ') + u';';
    for (const DownloadProgress& report : run.reports())
        text += u' ' + QString::number(report.receivedBytes) +
                (report.totalBytes ? u'/' + QString::number(*report.totalBytes) : QString());
    return text.toStdString();
}

TEST(TorrentDownloader, UnderstandsWhatAHelperSays) {
    const std::string failed = "Gave up after repeated failures: ";
    const std::string tooSoon = failed + "torrent stopped before completion; ";
    const std::pair<QByteArray, std::string> cases[] = {
        {R"(printf '{"total":10,"comp'; sleep 0.1; printf 'leted":3}\n{"completed":5}\n{"completed":10}\n')",
         "complete; shown; 3/10 5/10 10/10"},
        {R"(echo '{"name":"first"}'; echo '{"name":"second","total":4}'; echo '{"name":"","completed":4}')",
         "complete; second; 0 0/4 4/4"},
        {R"(echo '{"name":"../../out of/here","total":1,"completed":1}')", "complete; here; 1/1"},
        {R"(echo '{"name":"..","total":1}'; echo '{"name":"good","completed":1}')",
         "complete; good; 0/1 1/1"},
        {R"(echo; echo 'noise'; echo '[]'; echo '{"total":"4"}'; echo '{"total":4,"completed":4}')",
         "complete; shown; 0 4/4"},
        {R"(echo '{"total":1e300,"completed":-2.9,"type":5,"rate":"fast"}'; echo '{"total":4,"completed":4.9}')",
         "complete; shown; -2/9223372036854775807 4/4"},
        {R"(echo '{"total":4,"completed":3}'; printf '{"completed":4}')", tooSoon + "shown; 3/4"},
        {R"(echo '{"total":0,"completed":0,"type":"done"}')", tooSoon + "; 0"},
        {"exit 1", tooSoon + ";"},
        {R"(echo '{"type":"done","total":4,"completed":4}'; exec sleep 60)", "complete; shown; 4/4"},
        {R"(echo '{"type":"done","total":4,"completed":2}'; exec sleep 60)", tooSoon + "shown; 2/4"},
        {R"(echo '{"total":4,"completed":4}'; echo '{"type":"error","error":"The disk is full."}'; exec sleep 60)",
         failed + "The disk is full.; shown; 4/4"},
        {R"(echo '{"type":"error","error":5}')", failed + "torrent failed; ;"},
    };
    for (const auto& [script, story] : cases) {
        SCOPED_TRACE(script.constData());
        const Scripted helper(script);
        TorrentRun run(magnet, helper.output());
        EXPECT_EQ(storyOf(run), story);
        const QUrl place = run.result() ? run.result()->destination : QUrl();
        EXPECT_EQ(place, story.starts_with("complete")
                             ? QUrl::fromLocalFile(helper.output() + u'/' + run.starts().join(u' '))
                             : QUrl());
    }
}

TEST(TorrentDownloader, PassesOnEveryFigureOfALineAndForgetsThoseOfThePeers) {
    const Scripted helper(
        R"(echo '{"total":9,"completed":9,"peers":5,"seeds":2,"rate":7.5,"upload":1.5,"uploaded":6}'; echo '{}')");
    TorrentRun run(magnet, helper.output());
    ASSERT_EQ(run.ending(), u"complete"_s);
    ASSERT_EQ(run.reports().size(), 2U);
    const auto figures = [](const DownloadProgress& p) {
        return QList<double>{
            p.bytesPerSecond,        double(p.activeConnections),    double(p.peers.value()),
            double(p.seeds.value()), p.uploadBytesPerSecond.value(), double(p.uploadedBytes.value())};
    };
    EXPECT_EQ(figures(run.reports()[0]), QList<double>({7.5, 5, 5, 2, 1.5, 6}));
    EXPECT_EQ(figures(run.reports()[1]), QList<double>(6, 0));
    EXPECT_EQ(run.result()->bytes, 9);
    EXPECT_GT(run.result()->averageBytesPerSecond, 0);
}

TEST(TorrentDownloader, HandsTheHelperItsArguments) {
    const Scripted helper(
        R"(cd "${0%helper}"; printf '%s|' "$@" > words; rm -f copy; cp "$5" copy 2>/dev/null; exit 0)");
    ScriptedServer server([](ServerExchange& exchange) {
        exchange.respond(exchange.request().path == "/there.torrent" ? 200 : 404, {}, "d4:info0:e");
    });
    const QString local = helper.folder.write(u"a b.torrent"_s, "x");
    const QString remote = helper.folder.path(u"tmp/fetra-"_s);
    const std::tuple<QUrl, TorrentOptions, QString> cases[] = {
        {magnet, {}, u"-upload-limit|0|"_s + magnet.toString() + u'|'},
        {QUrl::fromLocalFile(local),
         {.uploadLimitKB = 9, .downloadLimitKB = -1},
         u"-upload-limit|9|"_s + local + u'|'},
        {magnet,
         {.uploadLimitKB = 5, .downloadLimitKB = 1, .seedAfterComplete = true},
         u"-upload-limit|5|-download-limit|1|-seed|"_s + magnet.toString() + u'|'},
        {server.url("/there.torrent"), {}, u"-upload-limit|0|"_s + remote},
    };
    for (const auto& [url, options, words] : cases) {
        TorrentRun run(url, helper.output(), options);
        EXPECT_EQ(run.ending(), stopped);
        const QString given = QString::fromUtf8(helper.folder.read(u"words"_s));
        EXPECT_TRUE(given.startsWith(u"-o|%1|%2"_s.arg(helper.output(), words))) << given.toStdString();
        EXPECT_TRUE(QDir(helper.output()).exists());
        EXPECT_TRUE(helper.folder.names(u"tmp"_s).isEmpty());
    }
    EXPECT_EQ(helper.folder.read(u"copy"_s), "d4:info0:e");
    EXPECT_EQ(helper.folder.mode(u"copy"_s), 0600U) << "it may hold a key";
}

TEST(TorrentDownloader, FailsWithTheReasonWhenItCannotBegin) {
    const Scripted helper("exit 0");
    const QByteArray large(11'000'000, 'x');
    ScriptedServer server([&](ServerExchange& exchange) {
        const bool isThere = exchange.request().path == "/large.torrent";
        exchange.respond(isThere ? 200 : 404, {}, isThere ? large : QByteArray());
    });
    const std::tuple<QUrl, QString, QString> cases[] = {
        {magnet, helper.folder.write(u"file"_s, "") + u"/below"_s, u"posix %1"_s.arg(ENOTDIR)},
        {QUrl(u"http://127.0.0.1:1/x.torrent"_s), helper.output(),
         u"transport -1004 Could not connect to 127.0.0.1: Connection refused"_s},
        {server.url("/missing.torrent"), helper.output(), u"Server returned HTTP 404"_s},
        {server.url("/large.torrent"), helper.output(),
         u"Gave up after repeated failures: the torrent file is too large"_s},
    };
    for (const auto& [url, output, ending] : cases)
        EXPECT_EQ(TorrentRun(url, output).ending(), ending);
    const Scripted broken("", "/no/such/interpreter");
    EXPECT_EQ(TorrentRun(magnet, broken.output()).ending(), u"posix %1"_s.arg(ENOENT));
}

TEST(TorrentDownloader, CancelledEndsSoonAtWhateverMoment) {
    // Whether the torrent file is fetched first, and how many reports must have come.
    const std::tuple<const char*, QByteArray, bool, qsizetype> cases[] = {
        {"at once", "echo '{}'; exec sleep 60", false, 0},
        {"while the torrent file is fetched", "exit 0", true, 0},
        {"during the transfer", R"(echo '{"total":4,"completed":2}'; exec sleep 60)", false, 1},
        {"and it still completes",
         R"(trap 'echo "{\"completed\":4,\"type\":\"done\"}"; exit 0' TERM; echo '{"total":4}'; while :; do sleep 0.02; done)",
         false, 1},
    };
    for (const auto& [what, script, isRemote, reports] : cases) {
        SCOPED_TRACE(what);
        const Scripted helper(script);
        ScriptedServer silent;
        silent.setConnectionRule([](qint64) { return ConnectionFate::Silence; });
        TorrentRun run(isRemote ? silent.url("/x.torrent") : magnet, helper.output());
        EXPECT_TRUE(eventually(5s, [&] {
            return (!isRemote || silent.connectionsAccepted() > 0) &&
                   qsizetype(run.reports().size()) >= reports;
        }));
        const auto begun = std::chrono::steady_clock::now();
        run.cancel();
        EXPECT_EQ(run.ending(), pausedWords);
        EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s);
        EXPECT_FALSE(run.result());
        EXPECT_TRUE(helper.folder.names(u"tmp"_s).isEmpty());
    }
}

} // namespace
} // namespace fetra::test
