#include "app/model/DownloadCommands.h"

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

TEST_F(DownloadCommandsTest, EnablementFollowsTheModelAtOnce) {
    manager().setMaxConcurrentDownloads(0);
    const DownloadCommands commands(model());
    const QSignalSpy changes(&commands, &DownloadCommands::changed);
    const Item item = addAt(u"http://host.example/a"_s);
    const std::pair<Status, QList<Command>> cases[] = {
        {Status::queued, {Command::pauseAll, Command::resumeAll}},
        {Status::probing, {Command::pauseAll}},
        {Status::completed, {Command::clearCompleted}},
        {Status::downloading, {Command::pauseAll}},
        {Status::failed, {Command::resumeAll}},
        {Status::paused, {Command::resumeAll}},
    };
    const QList<Command> always{Command::addLinks, Command::openTorrentFile};
    for (const auto& [status, fitting] : cases) {
        const qsizetype before = changes.size();
        item->setStatus(status);
        EXPECT_EQ(enabled(commands), always + fitting + QList{Command::toggleInspector})
            << static_cast<int>(status);
        ASSERT_TRUE(runUntil([&] { return changes.size() > before; }));
    }
    model().setSelection({item->id()});
    EXPECT_EQ(enabled(commands), (always + QList{Command::resumeAll, Command::reveal, Command::remove,
                                                 Command::toggleInspector}));
    model().setTerminating(true);
    EXPECT_EQ(enabled(commands), (QList{Command::reveal, Command::toggleInspector}));
}

} // namespace
} // namespace fetra
