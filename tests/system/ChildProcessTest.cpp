#include "system/ChildProcess.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <thread>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using Clock = std::chrono::steady_clock;

ChildProcess::Command shell(const QString& script, std::chrono::milliseconds grace = 5s) {
    return {.program = u"/bin/sh"_s, .arguments = {u"-c"_s, script}, .grace = grace};
}

QByteArray readAll(ChildProcess& child) {
    QByteArray all;
    for (QByteArray data = child.read(); !data.isEmpty(); data = child.read())
        all += data;
    return all;
}

TEST(ChildProcess, StartsWithItsOutputAndNothingElseOfOurs) {
    const int leaky = ::open("/dev/zero", O_RDONLY); // as a library opens it, without close-on-exec
    qputenv("FETRA_TEST_WORD", "inherited");
    std::signal(SIGPIPE, SIG_IGN);
    ChildProcess child(shell(u"readlink /proc/$$/fd/0 /proc/$$/fd/2; ls /proc/$$/fd; "
                             "grep SigIgn /proc/$$/status; echo $FETRA_TEST_WORD \"$0\""_s));
    const QByteArrayList lines = readAll(child).split('\n');
    child.wait();
    ::close(leaky);
    ASSERT_EQ(lines.size(), 8) << lines.join('|').constData();
    EXPECT_EQ(lines[0] + lines[1], "/dev/null/dev/null");
    EXPECT_EQ(lines.mid(2, 3).join(' '), "0 1 2") << "descriptors";
    EXPECT_EQ(lines[5].trimmed().right(8).toUInt(nullptr, 16) & 0x7fff'ffffU, 0U) << "ignored signals";
    EXPECT_EQ(lines[6], "inherited /bin/sh");
}

TEST(ChildProcess, TerminatedEndsByItselfOrIsKilledAfterTheGrace) {
    // Whether it takes a kill, which comes after the grace.
    const std::tuple<const char*, bool, QString> cases[] = {
        {"ends when asked", false, u"echo up; exec sleep 60"_s},
        {"ignores it", true, u"trap '' TERM; echo up; while :; do sleep 0.05; done"_s},
        {"never stops writing", true, u"trap '' TERM; echo up; exec yes"_s},
        {"has closed its output", true, u"trap '' TERM; echo up; exec >&-; while :; do sleep 0.05; done"_s},
        {"leaves a grandchild with its output", true, u"trap '' TERM; echo up; sleep 8"_s},
    };
    for (const auto& [what, isKilled, script] : cases) {
        SCOPED_TRACE(what);
        ChildProcess child(shell(script, isKilled ? 300ms : 5s));
        EXPECT_TRUE(child.read().startsWith("up\n"));
        const auto begun = Clock::now();
        std::thread other([&] { child.terminate(); });
        while (Clock::now() - begun < 4s && !child.read().isEmpty())
            ;
        child.wait();
        const auto took = Clock::now() - begun;
        other.join();
        EXPECT_GE(took, isKilled ? 300ms : 0ms);
        EXPECT_LT(took, 4s);
        child.terminate(); // the number may be another process's by now
    }
}

TEST(ChildProcess, IsGoneWithTheObjectAndWhenItLingersAfterItsOutput) {
    for (const bool lingers : {false, true}) {
        const auto begun = Clock::now();
        std::optional<ChildProcess> child(
            std::in_place, shell(u"echo $$; exec sleep 60 >&%1"_s.arg(lingers ? u"-"_s : u"1"_s), 200ms));
        const pid_t number = child->read().trimmed().toInt();
        ASSERT_GT(number, 0);
        if (lingers) {
            EXPECT_EQ(readAll(*child), "");
            child->wait();
        }
        child.reset();
        EXPECT_LT(Clock::now() - begun, 5s);
        EXPECT_TRUE(::kill(number, 0) == -1 && errno == ESRCH);
    }
}

} // namespace
} // namespace fetra::test
