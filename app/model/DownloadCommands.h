#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <vector>

namespace fetra {

class AppModel;

/// Every command of the application as a row of one table, which menus, toolbar and help are made from. Main
/// thread only.
class DownloadCommands final : public QObject {
    Q_OBJECT

public:
    enum class Command {
        addLinks,
        openTorrentFile,
        pauseAll,
        resumeAll,
        clearCompleted,
        reveal,
        remove,
        toggleInspector,
    };
    Q_ENUM(Command)

    enum class Menu { file, downloads, view };

    struct Row {
        Command command;
        Menu menu;
        /// A line stands above it in its menu.
        bool beginsGroup = false;
        /// Of the symbol set.
        QString symbol;
        /// As other platforms write it, for example "Option-Command-P"; empty without one.
        QString shortcut;
        std::function<QString()> title;
        std::function<void()> perform;
        std::function<bool()> isEnabled;
    };

    /// `model` outlives this.
    explicit DownloadCommands(AppModel& model);

    /// In the order of the menus.
    [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }
    [[nodiscard]] const Row& row(Command command) const;
    /// Those of the toolbar, in its order.
    [[nodiscard]] static QList<Command> toolbar();

    /// Without the dots that menus put behind a command that asks for more.
    [[nodiscard]] QString toolbarTitle(Command command) const;
    /// For `QKeySequence`.
    [[nodiscard]] QString keys(Command command) const;
    /// The title with its shortcut; empty for a command without one.
    [[nodiscard]] QString help(Command command) const;

Q_SIGNALS:
    /// Titles and what is enabled may be others now. Once for all that happens in one turn of the event loop;
    /// whoever asks sooner gets the truth sooner.
    void changed();

private:
    [[nodiscard]] std::vector<Row> makeRows();
    void noteChange();

    AppModel& model_;
    const std::vector<Row> rows_;
    bool isChangeNoted_ = false;
};

} // namespace fetra
