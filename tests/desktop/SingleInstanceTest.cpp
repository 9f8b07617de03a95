#include "app/desktop/SingleInstance.h"

#include "desktop/RawClient.h"
#include "desktop/Starting.h"
#include "support/Environment.h"
#include "support/EventLoop.h"
#include "support/TempFolder.h"
#include "system/PosixError.h"

#include <gtest/gtest.h>
#include <QElapsedTimer>
#include <QSet>

#include <algorithm>
#include <csignal>
#include <span>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr uid_t stranger = 65534;

class SingleInstanceTest : public ::testing::Test {
protected:
    [[nodiscard]] QString runtime() const { return folder_.path(); }
    [[nodiscard]] QString socket() const { return folder_.path(u"fetra/instance.socket"_s); }

    /// Makes this process the first instance.
    void beFirst(const SingleInstance::Limits& limits) {
        instance_ = std::make_unique<SingleInstance>(runtime(), limits);
        QObject::connect(instance_.get(), &SingleInstance::received, instance_.get(),
                         [this](const Handover& handover) { heard_.append(handover); });
        ASSERT_EQ(instance_->start({}), SingleInstance::Start::first);
    }

    TempFolder folder_;
    std::unique_ptr<SingleInstance> instance_;
    QList<Handover> heard_;
};

TEST_F(SingleInstanceTest, TheFirstHearsExactlyWhatALaterStartWasAsked) {
    const TempFolder elsewhere;
    Starting first(runtime(), {.arguments = {u"https://own.example/"_s}});
    ASSERT_EQ(first.line(), "first");
    Starting second(runtime(), {.arguments = {u"magnet:?xt=urn:btih:abc"_s, u"sub/a b.torrent"_s},
                                .workingFolder = elsewhere.path(),
                                .token = u"token-1"_s});
    EXPECT_EQ(second.line(), "handedOver");
    EXPECT_EQ(Handover::parse(first.line()),
              (Handover{.opened = {QUrl(u"magnet:?xt=urn:btih:abc"_s),
                                   QUrl::fromLocalFile(elsewhere.path(u"sub/a b.torrent"_s))},
                        .activationToken = u"token-1"_s}));
    // What a crash leaves is in nobody's way.
    first.send(SIGKILL);
    ASSERT_EQ(first.line(), "");
    ASSERT_TRUE(folder_.contains(u"fetra/instance.socket"_s));
    Starting restarted(runtime());
    ASSERT_EQ(restarted.line(), "first");
    Starting third(runtime());
    EXPECT_EQ(third.line(), "handedOver");
    EXPECT_EQ(Handover::parse(restarted.line()), Handover{}) << "asks for the window only";
}

TEST_F(SingleInstanceTest, SendsAWholeLargeMessageAndRefusesAnEvenLargerOne) {
    ASSERT_NO_FATAL_FAILURE(beFirst({}));
    Handover large;
    large.opened.resize(1000, QUrl(u"https://a.example/"_s + QString(1000, u'x')));
    Handover tooLarge;
    tooLarge.opened.resize(Handover::maxOpened + 1, QUrl(u"https://a.example/"_s));
    for (const auto& [handover, answer] : {std::pair(large, SingleInstance::Start::handedOver),
                                           std::pair(tooLarge, SingleInstance::Start::notTaken)}) {
        std::optional<SingleInstance::Start> start;
        std::jthread second([&, sent = handover] {
            SingleInstance instance(runtime());
            const auto result = instance.start(sent);
            QMetaObject::invokeMethod(QCoreApplication::instance(), [&start, result] { start = result; });
        });
        ASSERT_TRUE(runUntil([&] { return start.has_value(); }));
        EXPECT_EQ(start, answer);
    }
    EXPECT_EQ(heard_, QList{large});
}

TEST_F(SingleInstanceTest, FoldersThatOthersMayTouchAreNotUsed) {
    using enum SingleInstance::Start;
    const struct {
        const char* what;
        std::function<void(const QByteArray& runtime)> prepare;
        SingleInstance::Start start = unguarded;
    } cases[] = {
        {"private", [](const QByteArray&) {}, first},
        {"missing", [](const QByteArray& path) { ::rmdir(path); }},
        {"a relative name",
         [](const QByteArray& path) {
             ASSERT_EQ(::chdir(path), 0);
             qputenv("XDG_RUNTIME_DIR", ".");
         }},
        {"others write", [](const QByteArray& path) { ::chmod(path, 0777); }},
        {"the group reads", [](const QByteArray& path) { ::chmod(path, 0740); }},
        {"a link to a private one",
         [](const QByteArray& path) {
             ::rename(path, path + "-real");
             ASSERT_EQ(::symlink(path + "-real", path), 0);
         },
         first},
        {"ours within is open",
         [](const QByteArray& path) {
             ::mkdir(path + "/fetra", 0700);
             ::chmod(path + "/fetra", 0770);
         }},
        {"ours within is a link",
         [](const QByteArray& path) {
             ::mkdir(path + "/other", 0700);
             ASSERT_EQ(::symlink("other", path + "/fetra"), 0);
         }},
        {"ours within is a file",
         [](const QByteArray& path) {
             ::close(::open(path + "/fetra", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
         }},
        {"the lock is a link",
         [](const QByteArray& path) {
             ::mkdir(path + "/fetra", 0700);
             ASSERT_EQ(::symlink("../elsewhere", path + "/fetra/instance.lock"), 0);
         }},
        {"a folder has the socket's name",
         [](const QByteArray& path) {
             ::mkdir(path + "/fetra", 0700);
             ::mkdir(path + "/fetra/instance.socket", 0700);
         }},
        {"somebody else's", [](const QByteArray& path) { ASSERT_EQ(::chown(path, stranger, stranger), 0); }},
    };
    // Without root nothing can be given to somebody else.
    for (const auto& [what, prepare, expected] :
         std::span(cases).first(std::size(cases) - (::geteuid() != 0))) {
        SCOPED_TRACE(what);
        const TempFolder folder;
        const QByteArray path = QFile::encodeName(folder.path(u"runtime"_s));
        ASSERT_EQ(::mkdir(path, 0700), 0);
        const Environment session("XDG_RUNTIME_DIR", path);
        ASSERT_NO_FATAL_FAILURE(prepare(path));
        const mode_t before = ::umask(0);
        auto instance = std::make_unique<SingleInstance>();
        EXPECT_EQ(instance->start({}), expected);
        ::umask(before);
        if (expected != first)
            continue;
        EXPECT_EQ(folder.mode(u"runtime/fetra"_s), 0700U);
        // Sticky, for runtime folders are cleaned.
        EXPECT_EQ(folder.mode(u"runtime/fetra/instance.socket"_s), 01700U);
        EXPECT_EQ(folder.mode(u"runtime/fetra/instance.lock"_s), 01600U);
        instance.reset();
        EXPECT_EQ(folder.names(u"runtime/fetra"_s), QStringList{u"instance.lock"_s});
    }
    SingleInstance deep(runtime() + u'/' + QString(120, u'x'));
    ASSERT_EQ(::mkdir(QFile::encodeName(runtime() + u'/' + QString(120, u'x')), 0700), 0);
    EXPECT_EQ(deep.start({}), unguarded) << "no socket has such a long name";
}

TEST_F(SingleInstanceTest, OfManyStartsAtOnceExactlyOneIsFirst) {
    constexpr int starts = 8;
    for (int round = 0; round < 4; ++round) {
        std::vector<std::unique_ptr<Starting>> racing;
        for (int i = 0; i < starts; ++i)
            racing.push_back(
                std::make_unique<Starting>(runtime(), Starting::Setup{.arguments = {u"a:%1"_s.arg(i)}}));
        std::map<QByteArray, int> said;
        Starting* first = nullptr;
        for (const auto& start : racing) {
            const QByteArray line = start->line();
            ++said[line];
            if (line == "first")
                first = start.get();
        }
        ASSERT_EQ(said, (std::map<QByteArray, int>{{"first", 1}, {"handedOver", starts - 1}})) << round;
        QSet<QByteArray> heard;
        for (int i = 1; i < starts; ++i)
            heard.insert(first->line());
        EXPECT_EQ(heard.size(), starts - 1) << "each is heard once";
        Starting later(runtime());
        ASSERT_EQ(later.line(), "handedOver") << "the winner's socket is still there";
    }
}

TEST_F(SingleInstanceTest, AHangingFirstCostsABoundedWait) {
    Starting first(runtime());
    ASSERT_EQ(first.line(), "first");
    first.send(SIGSTOP);
    QElapsedTimer clock;
    clock.start();
    Starting second(runtime(), {.arguments = {u"https://given-up.example/"_s}, .answerWithin = 500});
    EXPECT_EQ(second.line(), "notTaken");
    EXPECT_GE(clock.elapsed(), 500);

    std::vector<std::unique_ptr<RawClient>> others;
    do
        others.push_back(std::make_unique<RawClient>(socket()));
    while (others.back()->isConnected() && others.size() < 5000);
    ASSERT_FALSE(others.back()->isConnected()) << "no more are let wait";
    Starting third(runtime(), {.answerWithin = 500});
    EXPECT_EQ(third.line(), "notTaken");
    others.clear();

    first.send(SIGCONT);
    Starting fourth(runtime(), {.arguments = {u"https://new.example/"_s}});
    EXPECT_EQ(fourth.line(), "handedOver");
    EXPECT_EQ(Handover::parse(first.line()), (Handover{.opened = {QUrl(u"https://new.example/"_s)}}))
        << "nothing of those who gave up";
}

/// Holds the lock and listens, as an instance that has not come to answer.
class Holder {
public:
    explicit Holder(const TempFolder& runtime) {
        const QString socket = runtime.path(u"fetra/instance.socket"_s);
        const sockaddr_un address = addressOf(socket);
        if (::mkdir(QFile::encodeName(runtime.path(u"fetra"_s)), 0700) != 0 ||
            ::flock((lock = PosixFile::open(runtime.path(u"fetra/instance.lock"_s), O_RDWR | O_CREAT, 0600))
                        .number(),
                    LOCK_EX) != 0 ||
            ::bind(listening.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw PosixError::last();
    }
    /// Comes back when somebody has asked it, and hangs up.
    [[nodiscard]] bool refusesOne() const {
        return ::listen(listening.number(), 8) == 0 &&
               PosixFile::Descriptor(::accept(listening.number(), nullptr, nullptr)).isOpen();
    }

    PosixFile::Descriptor lock;
    PosixFile::Descriptor listening{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST_F(SingleInstanceTest, WhoWaitsForAnEndingInstanceTakesItsPlace) {
    Holder ending(folder_);
    Starting next(runtime());
    ASSERT_TRUE(ending.refusesOne());
    ASSERT_TRUE(ending.refusesOne());
    ending.lock = PosixFile::Descriptor();
    ending.listening = PosixFile::Descriptor();
    EXPECT_EQ(next.line(), "first");
}

TEST_F(SingleInstanceTest, ALockThatHasLostItsNameKeepsNobodyOut) {
    Holder old(folder_);
    Starting next(runtime());
    ASSERT_TRUE(old.refusesOne());
    next.send(SIGSTOP);
    ASSERT_TRUE(PosixFile::unlink(folder_.path(u"fetra/instance.lock"_s)));
    ASSERT_NO_FATAL_FAILURE(beFirst({}));
    old.lock = PosixFile::Descriptor();
    next.send(SIGCONT);
    EXPECT_EQ(next.line(), "handedOver");
}

TEST_F(SingleInstanceTest, ClientsThatSendNoMessageAreDroppedWithoutAnAnswer) {
    const QByteArray good = Handover{.opened = {QUrl(u"https://a.example/"_s)}}.encoded();
    struct Case {
        const char* what;
        QByteArray content;
    };
    const std::pair<std::chrono::milliseconds, std::vector<Case>> groups[] = {
        {1h, // at once
         {{"an empty line", "\n" + good + "\n"},
          {"noise", QByteArray("\x00\xff{]\n", 5)},
          {"a line that is too long", QByteArray(Handover::maxMessageBytes, ' ') + good + '\n'},
          {"no line at all", QByteArray(4 * Handover::maxMessageBytes, 'x')}}},
        {250ms, // when they have had their time
         {{"silence", ""}, {"half a message", good.first(good.size() / 2)}, {"no end of the line", good}}},
    };
    for (const auto& [messageWithin, cases] : groups) {
        instance_.reset();
        ASSERT_NO_FATAL_FAILURE(beFirst({.messageWithin = messageWithin}));
        for (const auto& [what, content] : cases) {
            RawClient client(socket(), content);
            ASSERT_TRUE(runUntil([&] { return client.hasEnded(); })) << what;
            EXPECT_EQ(client.answer(), "") << what;
        }
        {
            RawClient leaves(socket(), good.first(20));
            ASSERT_TRUE(runUntil([&] { return leaves.hasSent(); }));
        }
        EXPECT_TRUE(heard_.isEmpty());
        if (messageWithin < 1h)
            continue;
        RawClient honest(socket(), good + '\n');
        ASSERT_TRUE(runUntil([&] { return honest.hasEnded(); }));
        EXPECT_EQ(honest.answer(), "taken\n");
        EXPECT_EQ(std::exchange(heard_, {}).size(), 1);
    }
}

TEST_F(SingleInstanceTest, AnyNumberOfSilentClientsKeepsNobodyOut) {
    ASSERT_NO_FATAL_FAILURE(beFirst({.messageWithin = 1h, .maxClients = 4}));
    std::vector<std::unique_ptr<RawClient>> silent;
    const auto openClients = [&] {
        return std::ranges::count_if(silent, [](auto& client) { return !client->hasEnded(); });
    };
    for (int i = 0; i < 40; ++i) {
        silent.push_back(std::make_unique<RawClient>(socket()));
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(runUntil([&] { return openClients() == 4; }));
    Starting second(runtime(), {.arguments = {u"https://a.example/"_s}});
    EXPECT_EQ(second.line(), "handedOver");
    EXPECT_EQ(heard_, QList{(Handover{.opened = {QUrl(u"https://a.example/"_s)}})});
    EXPECT_EQ(openClients(), 3);
}

/// Runs `program` in a child of another user; its result is the child's exit status.
pid_t asStranger(const std::function<int()>& program) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        ::_exit(program());
    }
    return child;
}

bool endsWell(pid_t child) {
    int status = -1;
    EXPECT_TRUE(runUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }));
    return status == 0;
}

TEST_F(SingleInstanceTest, StrangersAreNotHeardEvenWhenAllDoorsAreOpen) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "takes a second user";
    ASSERT_NO_FATAL_FAILURE(beFirst({}));
    for (const QString& path : {runtime(), runtime() + u"/fetra"_s, socket()})
        ASSERT_EQ(::chmod(QFile::encodeName(path), 0777), 0);
    const QByteArray message = Handover{}.encoded() + '\n';
    const pid_t child = asStranger([&] {
        if (::setuid(stranger) != 0)
            return 2;
        const int number = connectTo(socket());
        if (number < 0)
            return 3;
        static_cast<void>(
            !::send(number, message.constData(), static_cast<size_t>(message.size()), MSG_NOSIGNAL));
        char buffer[8];
        return ::recv(number, buffer, sizeof buffer, 0) > 0 ? 4 : 0;
    });
    EXPECT_TRUE(endsWell(child));
    EXPECT_TRUE(heard_.isEmpty());
}

TEST_F(SingleInstanceTest, NothingIsHandedToAStranger) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "takes a second user";
    const Holder held(folder_);
    const pid_t child = asStranger([&] {
        if (::setuid(stranger) != 0 || ::listen(held.listening.number(), 1) != 0)
            return 2;
        const int client = ::accept(held.listening.number(), nullptr, nullptr);
        char buffer[8];
        return ::recv(client, buffer, sizeof buffer, 0) > 0 ? 4 : 0;
    });
    SingleInstance second(runtime(), {.answerWithin = 300ms});
    EXPECT_EQ(second.start({}), SingleInstance::Start::notTaken);
    EXPECT_TRUE(endsWell(child)) << "it was sent something";
}

} // namespace
} // namespace fetra::test
