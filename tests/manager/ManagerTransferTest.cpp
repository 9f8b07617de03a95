// The manager with real transfers from a real server.

#include "http/CurlClient.h"
#include "support/FileScript.h"
#include "support/ManagerWorld.h"
#include "support/Routes.h"
#include "support/ScriptedServer.h"

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class ManagerTransferTest : public ::testing::Test {
protected:
    using Item = DownloadManager::Item;

    DownloadManager& start() {
        manager_.reset();
        manager_ = std::make_unique<DownloadManager>(
            DownloadManager::Setup{.storeURL = QUrl::fromLocalFile(folder.path(u"Fetra/state.json"_s)),
                                   .defaultDirectory = QUrl::fromLocalFile(folder.path()),
                                   .inboxes = {}},
            runners_);
        return *manager_;
    }
    void stop() { manager_.reset(); }
    DownloadManager& manager() { return *manager_; }

    static bool reaches(const Item& item, DownloadStatus status) {
        return runUntil([&] { return item->status() == status; });
    }
    Item addSlowFile(double bytesPerSecond) {
        server.setHandler(test::serve(file, {.totalBytesPerSecond = bytesPerSecond}));
        const Item item = start().add({.url = server.url("/f.bin"), .connections = 4});
        EXPECT_TRUE(runUntil([&] { return item->receivedBytes() > 0; }));
        return item;
    }

    const test::TempFolder folder;
    const test::ServerFile file = test::ServerFile::ofSize(6 * 1024 * 1024);
    test::ScriptedServer server;

private:
    CurlClient http_;
    SystemClock clock_;
    SystemRandom random_;
    Ticker ticker_;
    EngineRunners runners_{{http_, clock_, random_, ticker_}};
    std::unique_ptr<DownloadManager> manager_;
};

TEST_F(ManagerTransferTest, GoesOnAfterAPauseAndAfterARestartFromWhatItHas) {
    Item item = addSlowFile(2e6);
    manager().pause(item);
    ASSERT_TRUE(reaches(item, DownloadStatus::paused));
    ASSERT_TRUE(folder.contains(u"f.bin.fetra"_s));
    manager().resume(item);
    const qint64 held = item->receivedBytes();
    ASSERT_TRUE(runUntil([&] { return item->receivedBytes() > held + 200'000; }));

    const QUuid id = item->id();
    stop();
    server.setHandler(test::serve(file));
    item = start().items().at(0);
    EXPECT_EQ(item->id(), id);
    ASSERT_TRUE(reaches(item, DownloadStatus::completed));
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
    EXPECT_EQ(folder.names(), (QStringList{u"Fetra"_s, u"f.bin"_s}));
    // What was on the way at each of the two stops, and two probes, may come twice.
    EXPECT_LT(server.bodyBytesSent(), file.content.size() * 3 / 2);
}

TEST_F(ManagerTransferTest, ARemovedDownloadLeavesNothingAndItsSuccessorGetsTheRightFile) {
    const Item first = addSlowFile(1e6);
    manager().remove(first, true);
    const Item second = manager().add({.url = server.url("/f.bin"), .connections = 4});
    server.setHandler(test::serve(file));
    ASSERT_TRUE(reaches(second, DownloadStatus::completed))
        << second->errorMessage().value_or(QString()).toStdString();
    ASSERT_TRUE(runUntil([&] { return !manager().isTransferring(); }));
    EXPECT_EQ(folder.names(), (QStringList{u"Fetra"_s, second->filename()}));
    EXPECT_TRUE(folder.read(second->filename()) == file.content);
}

TEST_F(ManagerTransferTest, AFileOfTheSameNameFromElsewhereLeavesAPausedOneItsBytes) {
    const Item paused = addSlowFile(2e6);
    manager().pause(paused);
    ASSERT_TRUE(reaches(paused, DownloadStatus::paused));
    const test::ServerFile other = test::ServerFile::ofSize(100'000, 2);
    server.setHandler(test::routes({{"/f.bin", test::serve(file)}, {"/other/f.bin", test::serve(other)}}));
    const qint64 held = paused->receivedBytes();
    const qint64 sent = server.bodyBytesSent();
    const Item second = manager().add({.url = server.url("/other/f.bin")});
    ASSERT_TRUE(reaches(second, DownloadStatus::completed));
    EXPECT_EQ(second->filename(), u"f (1).bin"_s);
    manager().resume(paused);
    ASSERT_TRUE(reaches(paused, DownloadStatus::completed));
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
    EXPECT_TRUE(folder.read(u"f (1).bin"_s) == other.content);
    EXPECT_LT(server.bodyBytesSent() - sent, file.content.size() + other.content.size() - held / 2);
}

} // namespace
} // namespace fetra
