// The real program against a real server, as a script sees it.

#include "cli/FetraRun.h"
#include "support/FileScript.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <csignal>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

constexpr qint64 size = 6'000'000;

QString text(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

class ProgramTest : public ::testing::Test {
protected:
    FetraRun start(const QStringList& arguments, std::function<void()> inChild = {}) const {
        return FetraRun({.arguments = arguments, .folder = folder.path(), .inChild = std::move(inChild)});
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

TEST_F(ProgramTest, AFailureIsOneSentenceAndStatusOne) {
    server.setHandler(routes({{"/f", serve(file)}}));
    const QString missing = text(server.url("/missing"));
    const std::tuple<QStringList, bool, const char*> cases[] = {
        {{missing}, false, "Server returned HTTP 404"},
        {{u"probe"_s, missing}, false, "Server returned HTTP 404"},
        {{missing, u"--json"_s}, true, "Server returned HTTP 404"},
        {{text(server.url("/f")), u"--sha256"_s, QString(64, u'0')}, false, "SHA-256 mismatch: expected 000"},
    };
    for (const auto& [arguments, json, sentence] : cases) {
        FetraRun run = start(arguments);
        EXPECT_EQ(run.exitStatus(), 1);
        EXPECT_EQ(run.output().isEmpty(), !json) << run.output().constData();
        EXPECT_EQ(run.lines().value(0)[u"event"] == u"failed"_s, json);
        EXPECT_TRUE((json ? run.output() : run.errors()).contains(sentence)) << run.errors().constData();
        EXPECT_FALSE(folder.contains(u"f"_s));
    }
}

TEST_F(ProgramTest, WrongUsageAsksNobodyAndCreatesNothing) {
    const QString magnet = u"magnet:?xt=urn:btih:"_s + QString(40, u'a');
    for (const QStringList& arguments : {
             QStringList{},
             {url, url + u'2', u"-m"_s, url},
             {url, url + u'2', u"-o"_s, u"one.bin"_s},
             {u"missing.torrent"_s},
             {u"-i"_s, u"missing"_s},
             {u"-i"_s, u"/dev/null"_s},
             {u"-i"_s, u"/dev/zero"_s},
             {url, u"-o"_s, u"/dev/null/f"_s},
             {magnet, u"--sha256"_s, QString(64, u'a')},
             {magnet, u"-m"_s, url},
         }) {
        FetraRun run = start(arguments);
        EXPECT_EQ(run.exitStatus(), 2) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(run.output().isEmpty());
        EXPECT_EQ(run.errors().count('\n'), arguments.isEmpty() ? 5 : 1) << run.errors().constData();
        EXPECT_TRUE(folder.names().isEmpty());
    }
    EXPECT_EQ(server.requests(), 0);
}

TEST_F(ProgramTest, SecretsAreSentAndNeverPrinted) {
    QUrl secret = server.url("/disk.iso");
    secret.setUserInfo(u"hunter1:hunter2"_s);
    const QStringList common{text(secret), u"-H"_s, u"Cookie: id=hunter3"_s};
    QByteArray said;
    for (const QStringList& more : {QStringList{u"--log"_s, u"debug"_s}, {u"--json"_s}, {u"probe"_s}}) {
        server.setHandler(
            serve(file, {.answer = statusAnswer(503)}, {.what = When::What::Data, .first = 1, .last = 3}));
        FetraRun run = start(more + common);
        EXPECT_EQ(run.exitStatus(), 0) << run.errors().constData();
        EXPECT_EQ(run.errors().contains("[DBG] "), more.contains(u"debug"_s)) << run.errors().constData();
        said += run.output() + run.errors();
    }
    EXPECT_TRUE(said.contains("\"totalSize\": 6000000")) << "what the server says";
    EXPECT_FALSE(said.contains("hunter")) << said.constData();
    for (const ServerRequest& request : server.log())
        EXPECT_EQ(request.header("Cookie"), "id=hunter3");
}

TEST_F(ProgramTest, AStopSaysWhetherTheSameCommandContinuesAndItDoes) {
    const QByteArray continues = "the same command continues from there.\n";
    const QByteArray starts = "the same command starts from the beginning.\n";
    const std::tuple<QList<int>, Lies, QStringList, QByteArray> cases[] = {
        {{SIGINT}, {}, {}, continues},
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
        ASSERT_TRUE(run.runUntil([&] { return run.errors().count('\n') >= 2; })) << "says how far it is";
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

TEST_F(ProgramTest, AStopBeforeTheAnswerEndsAtOnce) {
    server.setConnectionRule([](qint64) { return ConnectionFate::Silence; });
    for (const QStringList& command : {QStringList{}, {u"probe"_s}}) {
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
    server.setHandler(serve(file, {.totalBytesPerSecond = 5e6}, {.what = When::What::Data}));
    FetraRun run = start({url}, [] { std::signal(SIGHUP, SIG_IGN); });
    ASSERT_TRUE(run.runUntil([&] { return run.errors().contains('\n'); }));
    run.send(SIGHUP);
    EXPECT_EQ(run.exitStatus(), 0);
    EXPECT_TRUE(folder.tryRead(u"disk.iso"_s) == file.content);
}

} // namespace
} // namespace fetra::test
