// The real program against a real server, as a script sees it.

#include "cli/FetraRun.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QCryptographicHash>
#include <QJsonDocument>

#include <csignal>
#include <sys/resource.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

constexpr qint64 size = 6'000'000;

QString text(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

/// A file that takes about `seconds` to send, after an answer to the probe without delay.
Handler slow(const ServerFile& file, double seconds) {
    return serve(file, {.totalBytesPerSecond = double(file.content.size()) / seconds},
                 {.what = When::What::Data});
}

class ProgramTest : public ::testing::Test {
protected:
    FetraRun start(const QStringList& arguments, std::function<void()> inChild = {}) const {
        return FetraRun({.arguments = arguments, .folder = folder.path(), .inChild = std::move(inChild)});
    }

    /// Whether it comes to say how far it is.
    static bool isUnderWay(FetraRun& run) {
        return run.runUntil([&] { return run.errors().count('\n') >= 2; });
    }

    const ServerFile file = ServerFile::ofSize(size);
    ScriptedServer server{serve(file)};
    const QString url = text(server.url("/disk.iso"));
    const TempFolder folder;
};

TEST_F(ProgramTest, PrintsThePathOfTheFinishedFileLast) {
    for (const QStringList& mode : {QStringList{}, {u"--quiet"_s}}) {
        FetraRun run = start(QStringList{url} + mode);
        EXPECT_EQ(run.exitStatus(), 0);
        EXPECT_EQ(run.output(), folder.path(u"disk.iso\n"_s).toUtf8());
        EXPECT_TRUE(folder.read(u"disk.iso"_s) == file.content);
        EXPECT_EQ(folder.names(), QStringList{u"disk.iso"_s});
        EXPECT_EQ(run.errors().contains("disk.iso, 5.72 MB\n"), mode.isEmpty()) << run.errors().constData();
        EXPECT_EQ(run.errors().isEmpty(), !mode.isEmpty()) << run.errors().constData();
        QFile::remove(folder.path(u"disk.iso"_s));
    }
}

TEST_F(ProgramTest, TellsEventsInOrder) {
    server.setHandler(slow(file, 1.2));
    const QByteArray digest = QCryptographicHash::hash(file.content, QCryptographicHash::Sha256).toHex();
    FetraRun run = start({text(server.url("/disk.iso?key=1")), u"--json"_s, u"-x4"_s, u"--sha256"_s,
                          QString::fromLatin1(digest)});
    ASSERT_EQ(run.exitStatus(), 0) << run.output().constData();
    const QList<QJsonObject> events = run.lines();
    ASSERT_GE(events.size(), 4);

    // Those fields have these values, whatever others there are.
    const auto expectFields = [](const QJsonObject& event, const QJsonObject& fields) {
        for (const QString& key : fields.keys())
            EXPECT_EQ(event.value(key), fields.value(key)) << qPrintable(key);
    };
    const QString path = folder.path(u"disk.iso"_s);
    expectFields(events.first(), {{u"event"_s, u"start"_s},
                                  {u"url"_s, text(server.url("/disk.iso?key=1"))},
                                  {u"path"_s, path},
                                  {u"total"_s, size},
                                  {u"ranges"_s, true},
                                  {u"connections"_s, 4}});
    qint64 received = 0;
    for (const QJsonObject& progress : events.mid(1, events.size() - 2)) {
        expectFields(progress, {{u"event"_s, u"progress"_s}, {u"totalBytes"_s, size}});
        EXPECT_GE(progress[u"receivedBytes"].toInteger(-1), received);
        received = progress[u"receivedBytes"].toInteger();
        EXPECT_LE(progress[u"activeConnections"].toInteger(99), progress[u"connectionLimit"].toInteger());
    }
    EXPECT_EQ(received, size);
    expectFields(events.last(), {{u"event"_s, u"complete"_s},
                                 {u"path"_s, path},
                                 {u"bytes"_s, size},
                                 {u"resumedFrom"_s, 0},
                                 {u"mirrorsUsed"_s, 1},
                                 {u"sha256"_s, QString::fromLatin1(digest)},
                                 {u"peakConnections"_s, 4}});
    EXPECT_GT(events.last()[u"elapsed"].toDouble(), 0.5);
    EXPECT_TRUE(run.errors().isEmpty()) << run.errors().constData();
}

TEST_F(ProgramTest, AFailureIsOneSentenceAndStatusOne) {
    server.setHandler(routes({{"/f", serve(file)}}));
    ScriptedServer gone;
    const QUrl nobody = gone.url("/f");
    gone.stop();
    const std::pair<QStringList, const char*> cases[] = {
        {{text(server.url("/missing"))}, "Server returned HTTP 404"},
        {{text(nobody)}, "Connection refused"},
        {{text(server.url("/f")), u"--sha256"_s, QString(64, u'0')}, "SHA-256 mismatch: expected 000"},
        {{u"probe"_s, text(server.url("/missing"))}, "Server returned HTTP 404"},
    };
    for (const auto& [arguments, sentence] : cases) {
        FetraRun run = start(arguments);
        EXPECT_EQ(run.exitStatus(), 1);
        EXPECT_TRUE(run.output().isEmpty()) << run.output().constData();
        EXPECT_TRUE(run.errors().contains(sentence)) << run.errors().constData();
        EXPECT_FALSE(folder.contains(u"f"_s));
        if (arguments.first() == "probe"_L1)
            continue;

        FetraRun json = start(arguments + QStringList{u"--json"_s});
        EXPECT_EQ(json.exitStatus(), 1);
        ASSERT_FALSE(json.lines().isEmpty());
        EXPECT_EQ(json.lines().last()[u"event"], u"failed"_s);
        EXPECT_TRUE(json.lines().last()[u"error"].toString().contains(QLatin1StringView(sentence)));
    }
}

TEST_F(ProgramTest, WrongUsageAsksNobodyAndCreatesNothing) {
    for (const QStringList& arguments : {
             QStringList{},
             {url, url + u'2', u"-m"_s, url},
             {url, url + u'2', u"--sha256"_s, QString(64, u'0')},
             {url, url + u'2', u"-o"_s, u"one.bin"_s},
             {u"missing.torrent"_s},
             {u"-i"_s, u"missing"_s},
             {u"-i"_s, u"/dev/null"_s},
             {u"-i"_s, u"/dev/zero"_s},
             {url, u"-o"_s, u"new/"_s, u"--sha256"_s, u"12"_s},
             {url, u"-o"_s, u"/dev/null/f"_s},
         }) {
        FetraRun run = start(arguments);
        EXPECT_EQ(run.exitStatus(), 2) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(run.output().isEmpty());
        EXPECT_EQ(run.errors().count('\n'), arguments.isEmpty() ? 5 : 1) << run.errors().constData();
        EXPECT_TRUE(folder.names().isEmpty());
    }
    EXPECT_EQ(server.requests(), 0);
}

TEST_F(ProgramTest, HelpAndVersionGoToStandardOutput) {
    FetraRun help = start({u"get"_s, u"-h"_s});
    EXPECT_EQ(help.exitStatus(), 0);
    for (const char* word : {"--output", "--no-resume", "--state", "add", "list", "probe", ".part", "130"})
        EXPECT_TRUE(help.output().contains(word)) << word;
    for (const QByteArray& line : help.output().split('\n'))
        EXPECT_LE(line.size(), 80) << line.constData();
    FetraRun version = start({u"--version"_s});
    EXPECT_EQ(version.exitStatus(), 0);
    EXPECT_TRUE(version.output().startsWith("fetra "));
}

TEST_F(ProgramTest, SecretsAreSentAndNeverPrinted) {
    server.setHandler(
        serve(file, {.answer = statusAnswer(503)}, {.what = When::What::Data, .first = 1, .last = 3}));
    QUrl secret = server.url("/disk.iso");
    secret.setUserName(u"hunter1"_s);
    secret.setPassword(u"hunter2"_s);
    const QStringList common{text(secret), u"-H"_s, u"Cookie: id=hunter3"_s, u"--log"_s, u"debug"_s};
    for (const QStringList& arguments :
         {common, common + QStringList{u"--json"_s}, QStringList{u"probe"_s} + common}) {
        FetraRun run = start(arguments);
        EXPECT_EQ(run.exitStatus(), 0) << run.errors().constData();
        EXPECT_FALSE((run.output() + run.errors()).contains("hunter"))
            << run.output().constData() << run.errors().constData();
    }
    for (const ServerRequest& request : server.log())
        EXPECT_EQ(request.header("Cookie"), "id=hunter3");
}

TEST_F(ProgramTest, ProbePrintsWhatTheServerSays) {
    server.setHandler(serve(ServerFile::ofSize(1234).withETag("\"a\x9b\"")));
    FetraRun run = start({u"probe"_s, url});
    ASSERT_EQ(run.exitStatus(), 0) << run.errors().constData();
    EXPECT_FALSE(run.output().contains('\x9b'));
    const QJsonObject info = QJsonDocument::fromJson(run.output()).object();
    EXPECT_EQ(info[u"totalSize"], 1234);
    EXPECT_EQ(info[u"acceptsRanges"], true);
    EXPECT_EQ(info[u"suggestedFilename"], u"disk.iso"_s);
    EXPECT_EQ(info[u"etag"], u"\"a\x9b\""_s);
    EXPECT_TRUE(folder.names().isEmpty());
}

TEST_F(ProgramTest, AStopSaysWhetherTheSameCommandContinuesAndItDoes) {
    const QByteArray continues = "the same command continues from there.\n";
    const QByteArray starts = "the same command starts from the beginning.\n";
    const std::tuple<QList<int>, Lies, QStringList, QByteArray> cases[] = {
        {{SIGINT}, {}, {}, continues},
        {{SIGHUP}, {}, {}, continues},
        // What supervisors do: the process and its group are told, one after the other.
        {{SIGTERM, SIGHUP, SIGTERM}, {}, {}, continues},
        {{SIGINT}, {.ignoreRange = true}, {}, starts},
        {{SIGINT}, {.file = file.withoutValidators()}, {}, starts},
        {{SIGINT}, {}, {u"--no-resume"_s, u"-x2"_s}, starts},
    };
    for (const auto& [signals, lies, options, promise] : cases) {
        Lies slowly = lies;
        slowly.totalBytesPerSecond = 1e6;
        server.setHandler(serve(file, slowly));
        FetraRun run = start(options + QStringList{url});
        ASSERT_TRUE(isUnderWay(run));
        for (const int signal : signals)
            run.send(signal);
        EXPECT_EQ(run.exitStatus(), 130);
        EXPECT_TRUE(run.output().isEmpty());
        EXPECT_TRUE(run.errors().endsWith(promise)) << run.errors().constData();

        server.setHandler(serve(file));
        FetraRun again = start({url, u"--json"_s});
        EXPECT_EQ(again.exitStatus(), 0);
        ASSERT_FALSE(again.lines().isEmpty());
        EXPECT_EQ(again.lines().last()[u"resumedFrom"].toInteger() > 0, promise == continues);
        EXPECT_TRUE(folder.tryRead(u"disk.iso"_s) == file.content);
        QFile::remove(folder.path(u"disk.iso"_s));
    }
}

TEST_F(ProgramTest, AFailureOnTheWaySaysThatTheSameCommandContinues) {
    server.setHandler(slow(file, 8));
    FetraRun first = start({url});
    ASSERT_TRUE(isUnderWay(first));
    first.send(SIGINT);
    ASSERT_EQ(first.exitStatus(), 130);

    server.setHandler(serve(file));
    FetraRun second = start({url}, [] {
        const rlimit limit{.rlim_cur = size / 2, .rlim_max = size / 2};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_TRUE(second.output().isEmpty());
    EXPECT_TRUE(second.errors().contains("\nfetra: Disk error: File too large\n") &&
                second.errors().endsWith("the same command continues from there.\n"))
        << second.errors().constData();

    FetraRun third = start({url});
    EXPECT_EQ(third.exitStatus(), 0);
    EXPECT_TRUE(third.errors().contains("of them from before")) << third.errors().constData();
}

TEST_F(ProgramTest, AStopBeforeTheAnswerEndsAtOnce) {
    server.setConnectionRule([](qint64) { return ConnectionFate::Silence; });
    for (const QStringList& command : {QStringList{}, {u"--json"_s}, {u"probe"_s}}) {
        const qint64 before = server.connectionsAccepted();
        FetraRun run = start(command + QStringList{url});
        ASSERT_TRUE(run.runUntil([&] { return server.connectionsAccepted() > before; }));
        const auto began = std::chrono::steady_clock::now();
        run.send(SIGINT);
        EXPECT_EQ(run.exitStatus(), 130);
        EXPECT_LT(std::chrono::steady_clock::now() - began, 15s);
        EXPECT_TRUE(folder.names().isEmpty());
        EXPECT_FALSE(run.errors().contains("continues")) << run.errors().constData();
    }
}

TEST_F(ProgramTest, WhatTheParentIgnoresStaysIgnored) {
    server.setHandler(slow(file, 2));
    FetraRun run = start({url}, [] { std::signal(SIGHUP, SIG_IGN); });
    ASSERT_TRUE(run.runUntil([&] { return run.errors().contains('\n'); }));
    run.send(SIGHUP);
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_TRUE(folder.tryRead(u"disk.iso"_s) == file.content);
}

} // namespace
} // namespace fetra::test
