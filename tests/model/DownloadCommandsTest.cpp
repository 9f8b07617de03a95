#include "app/model/DownloadCommands.h"

#include "app/model/PlatformText.h"
#include "app/model/SettingsPane.h"
#include "model/ModelWorld.h"

#include <QSignalSpy>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;
using Command = DownloadCommands::Command;
using Status = DownloadStatus;

class DownloadCommandsTest : public test::ModelWorld {
protected:
    /// Those that are enabled, in the order of the menus.
    [[nodiscard]] static QList<Command> enabled(const DownloadCommands& commands) {
        QList<Command> enabled;
        for (const DownloadCommands::Row& row : commands.rows())
            if (row.isEnabled())
                enabled.append(row.command);
        return enabled;
    }
};

TEST_F(DownloadCommandsTest, MenusToolbarAndHelpComeFromOneTable) {
    const DownloadCommands commands(model());
    struct Case {
        Command command;
        QString title, toolbarTitle, keys, help;
    };
    const Case cases[] = {
        {Command::addLinks, u"Add Links..."_s, u"Add Links"_s, u"Ctrl+N"_s, u"Add Links (Ctrl+N)"_s},
        {Command::openTorrentFile, u"Open Torrent File..."_s, u"Open Torrent File"_s, u"Ctrl+O"_s,
         u"Open Torrent File (Ctrl+O)"_s},
        {Command::pauseAll, u"Pause All"_s, u"Pause All"_s, u"Ctrl+Alt+P"_s, u"Pause All (Ctrl+Alt+P)"_s},
        {Command::resumeAll, u"Resume All"_s, u"Resume All"_s, u"Ctrl+Alt+R"_s, u"Resume All (Ctrl+Alt+R)"_s},
        {Command::clearCompleted, u"Clear Completed"_s, u"Clear Completed"_s, u""_s, u""_s},
        {Command::reveal, u"Reveal in Files"_s, u"Reveal in Files"_s, u"Ctrl+R"_s,
         u"Reveal in Files (Ctrl+R)"_s},
        {Command::remove, u"Remove..."_s, u"Remove"_s, u"Ctrl+Delete"_s, u"Remove (Ctrl+Delete)"_s},
        {Command::toggleInspector, u"Show Inspector"_s, u"Show Inspector"_s, u"Ctrl+I"_s,
         u"Show Inspector (Ctrl+I)"_s},
    };
    ASSERT_EQ(commands.rows().size(), std::size(cases));
    for (size_t index = 0; index < std::size(cases); ++index) {
        const Case& each = cases[index];
        EXPECT_EQ(commands.rows()[index].command, each.command);
        EXPECT_EQ(commands.rows()[index].title(), each.title);
        EXPECT_EQ(commands.toolbarTitle(each.command), each.toolbarTitle);
        EXPECT_EQ(commands.keys(each.command), each.keys);
        EXPECT_EQ(commands.help(each.command), each.help);
    }
    model().settings().set(AppSettings::showInspector, true);
    EXPECT_EQ(commands.help(Command::toggleInspector), u"Hide Inspector (Ctrl+I)"_s);
}

TEST_F(DownloadCommandsTest, EnablementFollowsTheModelAtOnce) {
    const DownloadCommands commands(model());
    QSignalSpy changes(&commands, &DownloadCommands::changed);
    const QList always{Command::addLinks, Command::openTorrentFile};
    EXPECT_EQ(enabled(commands), (always + QList{Command::toggleInspector}));
    const Item item = addAt(u"http://host.example/a"_s);
    EXPECT_EQ(enabled(commands), (always + QList{Command::resumeAll, Command::toggleInspector}));
    ASSERT_TRUE(runUntil([&] { return changes.size() == 1; }));
    item->setStatus(Status::completed);
    EXPECT_EQ(enabled(commands), (always + QList{Command::clearCompleted, Command::toggleInspector}));
    ASSERT_TRUE(runUntil([&] { return changes.size() == 2; }));
    item->setReceivedBytes(7);
    item->setStatus(Status::failed);
    item->setStatus(Status::queued);
    model().setSelection({item->id()});
    EXPECT_EQ(enabled(commands), (always + QList{Command::pauseAll, Command::resumeAll, Command::reveal,
                                                 Command::remove, Command::toggleInspector}));
    ASSERT_TRUE(runUntil([&] { return changes.size() == 3; }));
    model().setTerminating(true);
    EXPECT_EQ(enabled(commands), (QList{Command::reveal, Command::toggleInspector}));
}

TEST_F(DownloadCommandsTest, SettingsStayWithinTheRangesOfTheirControls) {
    SettingsPane pane(model());
    struct Case {
        void (SettingsPane::*set)(qint64);
        qint64 (DownloadManager::*get)() const;
        qint64 given, stored;
    };
    const Case cases[] = {
        {&SettingsPane::setTorrentUploadLimitKB, &DownloadManager::torrentUploadLimitKB, 250'000, 100'000},
        {&SettingsPane::setTorrentUploadLimitKB, &DownloadManager::torrentUploadLimitKB, -5, 0},
        {&SettingsPane::setTorrentUploadLimitKB, &DownloadManager::torrentUploadLimitKB, 20, 20},
        {&SettingsPane::setMaxConcurrentDownloads, &DownloadManager::maxConcurrentDownloads, 11, 10},
        {&SettingsPane::setMaxConcurrentDownloads, &DownloadManager::maxConcurrentDownloads, 0, 1},
        {&SettingsPane::setConnectionsPerDownload, &DownloadManager::connectionsPerDownload, 65, 64},
        {&SettingsPane::setConnectionsPerDownload, &DownloadManager::connectionsPerDownload, 0, 1},
    };
    for (const Case& each : cases) {
        (pane.*each.set)(each.given);
        EXPECT_EQ((manager().*each.get)(), each.stored) << each.given;
    }
    pane.chooseDefaultDirectory();
    fake.panels.choose({file(u"chosen"_s)});
    EXPECT_EQ(manager().defaultDirectory(), file(u"chosen"_s));
}

TEST_F(DownloadCommandsTest, ANewUploadLimitLeavesTorrentsThatRunAsTheyAre) {
    SettingsPane pane(model());
    const Item torrent =
        manager().add({.url = QUrl(u"magnet:?xt=urn:btih:0123456789abcdef0123456789abcdef01234567"_s)});
    const qint64 before = manager().torrentUploadLimitKB();
    pane.setTorrentUploadLimitKB(before + 7);
    EXPECT_EQ(model().torrentUploadLimit(*torrent), before);
}

TEST_F(DownloadCommandsTest, AFreshInstallationHasItsDefaultsAndKeepsWhatTheUserSets) {
    AppSettings& settings = model().settings();
    EXPECT_TRUE(settings.isOn(AppSettings::showMenuBar));
    EXPECT_TRUE(settings.isOn(AppSettings::notifyOnFinish));
    EXPECT_FALSE(settings.isOn(AppSettings::watchClipboard));
    EXPECT_FALSE(settings.isOn(AppSettings::showInspector));
    EXPECT_FALSE(settings.isOn(AppSettings::requestedNotifications));
    settings.set(AppSettings::showMenuBar, false);
    AppSettings::registerDefaults(fake.preferences);
    EXPECT_FALSE(AppSettings(fake.preferences).isOn(AppSettings::showMenuBar));
}

TEST(PlatformTextTest, NamesThingsAsThisPlatformDoes) {
    for (const auto& [theirs, ours] : {
             std::pair{u"Reveal in Finder"_s, u"Reveal in Files"_s},
             {u"Add Links (Command-N)"_s, u"Add Links (Ctrl+N)"_s},
             {u"Resume All (Option-Command-R)"_s, u"Resume All (Ctrl+Alt+R)"_s},
             {u"Paste a link or magnet with Cmd-N, drop files here."_s,
              u"Paste a link or magnet with Ctrl+N, drop files here."_s},
             {u"Show in menu bar"_s, u"Show in system tray"_s},
             {u"Pause All"_s, u"Pause All"_s},
         })
        EXPECT_EQ(platformText(theirs), ours);
}

} // namespace
} // namespace fetra
