// Waiting for transfers to stop: before the application quits, and before downloads are removed.

#include "app/model/AppModel.h"

#include <algorithm>
#include <vector>

namespace fetra {

void AppModel::wait(std::function<bool()> hasHappened, std::function<void(PatientWait::Outcome)> done) {
    new PatientWait({.hasHappened = std::move(hasHappened), .done = std::move(done)}, clock_, this);
}

void AppModel::interruptWaits() {
    for (PatientWait* wait : findChildren<PatientWait*>())
        wait->cancel();
}

// Quitting

void AppModel::prepareForTermination(std::function<void(const std::optional<AppError>&)> done) {
    setTerminating(true);
    QSet<QUuid> unfinished;
    for (const Item& item : manager_.items())
        if (item->isActive() || item->status() == DownloadStatus::queued)
            unfinished.insert(item->id());
    manager_.pauseAll();
    wait([this] { return manager_.activeCount() == 0 && deleting_.isEmpty(); },
         [this, unfinished, done = std::move(done)](PatientWait::Outcome outcome) {
             switch (outcome) {
             case PatientWait::Outcome::happened:
                 storeAsWaiting(unfinished);
                 done(std::nullopt);
                 break;
             case PatientWait::Outcome::timedOut:
                 done(AppError{AppError::Code::stillStopping,
                               tr("Downloads are still stopping. Fetra stayed open to protect their resume "
                                  "data. Try quitting again when they are paused.")});
                 break;
             case PatientWait::Outcome::cancelled:
                 done(AppError{AppError::Code::other, tr("Quitting was interrupted.")});
                 break;
             }
         });
}

/// The next start goes on with them.
void AppModel::storeAsWaiting(const QSet<QUuid>& ids) {
    const DownloadManager::Batch batch(manager_);
    for (const Item& item : itemsWith(ids))
        if (item->status() == DownloadStatus::paused)
            item->setStatus(DownloadStatus::queued);
    // Moves nothing, but stores the list.
    manager_.move({}, 0);
}

// Removing

void AppModel::requestRemoval(const QSet<QUuid>& ids, bool deleteFiles) {
    if (ids.isEmpty() || deleting_.intersects(ids) || isTerminating_)
        return;
    setRemoval(RemovalRequest{.ids = ids, .deleteFiles = deleteFiles});
}

void AppModel::performRemoval(const RemovalRequest& request) {
    const Items items = itemsWith(request.ids);
    assign(deleting_, deleting_ | request.ids, Field::deleting);
    {
        const DownloadManager::Batch batch(manager_);
        for (const Item& item : items)
            manager_.pause(item);
    }
    wait([items] { return std::ranges::none_of(items, [](const Item& item) { return item->isActive(); }); },
         [this, request, items](PatientWait::Outcome outcome) {
             switch (outcome) {
             case PatientWait::Outcome::happened:
                 if (request.deleteFiles)
                     deleteFiles(request, items);
                 else
                     endRemoval(request, items);
                 return;
             case PatientWait::Outcome::timedOut:
                 setErrorMessage(tr("The selected downloads are still stopping. Try removing them again when "
                                    "they are paused."));
                 break;
             case PatientWait::Outcome::cancelled:
                 setErrorMessage(tr("Removal was interrupted. The downloads have been kept."));
                 break;
             }
             endRemoval(request, {});
         });
}

void AppModel::deleteFiles(const RemovalRequest& request, const Items& items) {
    std::vector<DownloadFiles> doomed;
    for (const Item& item : items)
        doomed.emplace_back(*item);
    std::vector<DownloadFiles> others;
    for (const Item& item : manager_.items())
        if (!request.ids.contains(item->id()) && item->destination())
            others.emplace_back(*item);
    deletions_.async([this, request, items, doomed = std::move(doomed), others = std::move(others)] {
        DownloadFiles::Places places;
        for (const DownloadFiles& each : others)
            places.insert(each);
        std::vector<std::optional<AppError>> errors;
        for (const DownloadFiles& each : doomed)
            errors.push_back(deleteUnshared(each, places));
        deleted_.post([this, request, items, errors = std::move(errors)] {
            Items gone;
            for (qsizetype index = 0; index < items.size(); ++index) {
                if (const std::optional<AppError>& error = errors[static_cast<size_t>(index)])
                    setErrorMessage(tr("Could not delete files for %1: %2")
                                        .arg(items[index]->filename(), error->description));
                else
                    gone.append(items[index]);
            }
            endRemoval(request, gone);
        });
    });
}

/// On the thread of the deletions.
std::optional<AppError> AppModel::deleteUnshared(const DownloadFiles& files, DownloadFiles::Places& others) {
    if (others.touches(files))
        return AppError{AppError::Code::filesShared,
                        tr("Another download uses these files. Remove that download from the list before "
                           "deleting shared files.")};
    if (const std::optional<QString> reason = files.remove())
        return AppError{.description = *reason};
    return std::nullopt;
}

void AppModel::endRemoval(const RemovalRequest& request, const Items& gone) {
    manager_.remove(gone, false);
    QSet<QUuid> selection = selection_;
    for (const Item& item : gone)
        selection.remove(item->id());
    setSelection(selection);
    assign(deleting_, deleting_ - request.ids, Field::deleting);
}

} // namespace fetra
