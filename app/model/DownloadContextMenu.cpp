#include "app/model/DownloadContextMenu.h"

#include "app/model/AppModel.h"
#include "app/model/PlatformText.h"
#include "system/AbsoluteURL.h"

#include <QCoreApplication>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

using Item = AppModel::Item;
using Items = AppModel::Items;
using Test = bool (*)(const DownloadItem& item);

bool canResume(const DownloadItem& item) {
    return item.status() == DownloadStatus::paused || item.status() == DownloadStatus::queued;
}

bool canPause(const DownloadItem& item) {
    return item.isActive() || item.status() == DownloadStatus::queued;
}

bool canRetry(const DownloadItem& item) {
    return item.status() == DownloadStatus::failed;
}

bool hasDestination(const DownloadItem& item) {
    return item.destination().has_value();
}

bool canOpen(const DownloadItem& item) {
    return item.status() == DownloadStatus::completed && hasDestination(item);
}

bool isAny(const DownloadItem&) {
    return true;
}

/// Some downloads of a list, looked up anew each time: they may be gone by then, or others than they were.
class Chosen {
public:
    Chosen(AppModel& model, const QSet<QUuid>& ids)
        : model_(model)
        , ids_(ids) {}

    [[nodiscard]] Items those(Test test) const {
        Items items = model_.manager().items();
        items.removeIf([&](const Item& item) { return !ids_.contains(item->id()) || !test(*item); });
        return items;
    }
    [[nodiscard]] bool any(Test test) const {
        return std::ranges::any_of(model_.manager().items(), [&](const Item& item) {
            return ids_.contains(item->id()) && test(*item);
        });
    }

    void resume(Test test) const { model_.resume(those(test)); }
    void pause() const {
        const DownloadManager::Batch batch(model_.manager());
        for (const Item& item : those(canPause))
            model_.manager().pause(item);
    }
    void open() const {
        for (const Item& item : those(canOpen))
            model_.open(*item);
    }
    void reveal() const { model_.reveal(those(isAny)); }
    void copyLinks() const {
        QStringList links;
        for (const Item& item : those(isAny))
            links.append(absoluteString(item->url()));
        model_.copy(links);
    }
    void copyPaths() const {
        QStringList paths;
        for (const Item& item : those(hasDestination))
            paths.append(item->destination()->toLocalFile());
        model_.copy(paths);
    }
    [[nodiscard]] bool isBeingDeleted() const { return model_.deleting().intersects(ids_); }
    void remove(bool deleteFiles) const { model_.requestRemoval(ids_, deleteFiles); }

private:
    AppModel& model_;
    QSet<QUuid> ids_;
};

QString text(const char* source) {
    return platformText(QCoreApplication::translate("fetra::DownloadContextMenu", source));
}

std::vector<DownloadContextMenu::Entry> entriesFor(const Chosen& chosen) {
    const bool removable = !chosen.isBeingDeleted();
    return {
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Resume")),
         .symbol = u"play"_s,
         .isEnabled = chosen.any(canResume),
         .perform = [chosen] { chosen.resume(canResume); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Pause")),
         .symbol = u"pause"_s,
         .isEnabled = chosen.any(canPause),
         .perform = [chosen] { chosen.pause(); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Retry")),
         .symbol = u"arrow.clockwise"_s,
         .isEnabled = chosen.any(canRetry),
         .perform = [chosen] { chosen.resume(canRetry); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Open")),
         .symbol = u"arrow.up.forward.square"_s,
         .beginsGroup = true,
         .isEnabled = chosen.any(canOpen),
         .perform = [chosen] { chosen.open(); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Reveal in Finder")),
         .symbol = u"folder"_s,
         .isEnabled = true,
         .perform = [chosen] { chosen.reveal(); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Copy Link")),
         .symbol = {},
         .beginsGroup = true,
         .isEnabled = true,
         .perform = [chosen] { chosen.copyLinks(); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Copy File Path")),
         .symbol = {},
         .isEnabled = chosen.any(hasDestination),
         .perform = [chosen] { chosen.copyPaths(); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Remove")),
         .symbol = {},
         .beginsGroup = true,
         .isEnabled = removable,
         .perform = [chosen] { chosen.remove(false); }},
        {.title = text(QT_TRANSLATE_NOOP("fetra::DownloadContextMenu", "Remove and Delete Files...")),
         .symbol = {},
         .isEnabled = removable,
         .perform = [chosen] { chosen.remove(true); }},
    };
}

} // namespace

DownloadContextMenu::DownloadContextMenu(AppModel& model, const QSet<QUuid>& ids)
    : entries_(entriesFor(Chosen(model, ids))) {}

} // namespace fetra
