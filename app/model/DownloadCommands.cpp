#include "app/model/DownloadCommands.h"

#include "app/desktop/Windows.h"
#include "app/model/AppModel.h"
#include "app/model/PlatformText.h"

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

DownloadCommands::DownloadCommands(AppModel& model)
    : model_(model)
    , rows_(makeRows()) {
    connect(&model_, &AppModel::changed, this, &DownloadCommands::noteChange);
    connect(&model_.manager(), &DownloadManager::changed, this, &DownloadCommands::noteChange);
    connect(&model_.settings(), &AppSettings::changed, this, &DownloadCommands::noteChange);
    connect(&model_.list(), &ListWatch::itemChanged, this,
            [this](const DownloadManager::Item&, DownloadItem::Field field) {
                if (field == DownloadItem::Field::status)
                    noteChange();
            });
}

std::vector<DownloadCommands::Row> DownloadCommands::makeRows() {
    const auto titled = [](const char* text) { return [text] { return platformText(tr(text)); }; };
    const auto openMain = [this] { model_.desktop().windows.openMain(); };
    const auto staysOpen = [this] { return !model_.isTerminating(); };
    const auto hasSelection = [this] { return !model_.selection().isEmpty(); };
    return {
        {.command = Command::addLinks,
         .menu = Menu::file,
         .symbol = u"plus"_s,
         .shortcut = u"Command-N"_s,
         .title = titled(QT_TR_NOOP("Add Links...")),
         .perform =
             [this, openMain] {
                 openMain();
                 model_.showGrabber();
             },
         .isEnabled = staysOpen},
        {.command = Command::openTorrentFile,
         .menu = Menu::file,
         .symbol = u"doc.badge.plus"_s,
         .shortcut = u"Command-O"_s,
         .title = titled(QT_TR_NOOP("Open Torrent File...")),
         .perform =
             [this, openMain] {
                 openMain();
                 model_.chooseTorrentFiles(std::nullopt, [] {});
             },
         .isEnabled = staysOpen},
        {.command = Command::pauseAll,
         .menu = Menu::downloads,
         .symbol = u"pause"_s,
         .shortcut = u"Option-Command-P"_s,
         .title = titled(QT_TR_NOOP("Pause All")),
         .perform = [this] { model_.manager().pauseAll(); },
         .isEnabled = [this, staysOpen] { return staysOpen() && model_.canPause(); }},
        {.command = Command::resumeAll,
         .menu = Menu::downloads,
         .symbol = u"play"_s,
         .shortcut = u"Option-Command-R"_s,
         .title = titled(QT_TR_NOOP("Resume All")),
         .perform = [this] { model_.resumeAll(); },
         .isEnabled = [this, staysOpen] { return staysOpen() && model_.canResume(); }},
        {.command = Command::clearCompleted,
         .menu = Menu::downloads,
         .symbol = u"checkmark.circle"_s,
         .shortcut = {},
         .title = titled(QT_TR_NOOP("Clear Completed")),
         .perform = [this] { model_.manager().clearCompleted(); },
         .isEnabled = [this, staysOpen] { return staysOpen() && model_.hasCompleted(); }},
        {.command = Command::reveal,
         .menu = Menu::downloads,
         .beginsGroup = true,
         .symbol = u"folder"_s,
         .shortcut = u"Command-R"_s,
         .title = titled(QT_TR_NOOP("Reveal in Finder")),
         .perform = [this] { model_.reveal(model_.selectedItems()); },
         .isEnabled = hasSelection},
        {.command = Command::remove,
         .menu = Menu::downloads,
         .symbol = u"trash"_s,
         .shortcut = u"Command-Delete"_s,
         .title = titled(QT_TR_NOOP("Remove...")),
         .perform = [this] { model_.requestRemoval(model_.selection(), false); },
         .isEnabled = [staysOpen, hasSelection] { return staysOpen() && hasSelection(); }},
        {.command = Command::toggleInspector,
         .menu = Menu::view,
         .symbol = u"sidebar.right"_s,
         .shortcut = u"Command-I"_s,
         .title =
             [this] {
                 return model_.settings().isOn(AppSettings::showInspector) ? tr("Hide Inspector")
                                                                           : tr("Show Inspector");
             },
         .perform =
             [this] {
                 AppSettings& settings = model_.settings();
                 settings.set(AppSettings::showInspector, !settings.isOn(AppSettings::showInspector));
             },
         .isEnabled = [] { return true; }},
    };
}

const DownloadCommands::Row& DownloadCommands::row(Command command) const {
    return *std::ranges::find(rows_, command, &Row::command);
}

QList<DownloadCommands::Command> DownloadCommands::toolbar() {
    return {Command::addLinks, Command::openTorrentFile, Command::resumeAll,
            Command::pauseAll, Command::clearCompleted,  Command::toggleInspector};
}

QString DownloadCommands::toolbarTitle(Command command) const {
    QString title = row(command).title();
    while (title.endsWith(u'.'))
        title.chop(1);
    return title;
}

QString DownloadCommands::keys(Command command) const {
    return platformText(row(command).shortcut);
}

QString DownloadCommands::help(Command command) const {
    const QString shortcut = keys(command);
    return shortcut.isEmpty() ? QString() : u"%1 (%2)"_s.arg(toolbarTitle(command), shortcut);
}

void DownloadCommands::noteChange() {
    if (std::exchange(isChangeNoted_, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            isChangeNoted_ = false;
            Q_EMIT changed();
        },
        Qt::QueuedConnection);
}

} // namespace fetra
