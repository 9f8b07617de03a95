// Waiting for transfers to stop: before the application quits, and before downloads are removed.

#include "app/model/AppModel.h"

#include <algorithm>
#include <vector>

namespace fetra {

void AppModel::wait(std::function<bool()> hasHappened, std::function<void(PatientWait::Outcome)> done) {
    new PatientWait({.hasHappened = std::move(hasHappened), .done = std::move(done)}, clock_, this);
}

void AppModel::interruptWaits() {
    isInterrupted_ = true;
    for (PatientWait* wait : findChildren<PatientWait*>())
        wait->cancel();
    // One file at most is still being deleted. What has gone must not be in the list of the next start.
    deletions_.sync([] {});
    deleted_.deliver();
}

// Quitting

void AppModel::prepareForTermination(std::function<void(const std::optional<AppError>&)> done) {
    setTerminating(true);
    manager_.suspend();
    wait([this] { return manager_.activeCount() == 0 && deleting_.isEmpty(); },
         [this, done = std::move(done)](PatientWait::Outcome outcome) {
             switch (outcome) {
             case PatientWait::Outcome::happened:
                 // Moves nothing, but stores the list.
                 manager_.move({}, 0);
                 done(std::nullopt);
                 break;
             case PatientWait::Outcome::timedOut:
                 manager_.endSuspension();
                 done(AppError{AppError::Code::stillStopping,
                               tr("Downloads are still stopping. Fetra stayed open to protect their resume "
                                  "data. Try quitting again when they are paused.")});
                 break;
             case PatientWait::Outcome::cancelled:
                 done(AppError{.description = tr("Quitting was interrupted.")});
                 break;
             }
         });
}

// Removing

void AppModel::requestRemoval(const QSet<QUuid>& ids, bool deleteFiles) {
    if (ids.isEmpty() || deleting_.intersects(ids) || isTerminating_)
        return;
    setRemoval(RemovalRequest{.ids = ids, .deleteFiles = deleteFiles});
}

void AppModel::performRemoval(const RemovalRequest& asked) {
    RemovalRequest request = asked;
    request.ids.subtract(deleting_);
    if (request.ids.isEmpty())
        return;
    const Items items = itemsWith(request.ids);
    setDeleting(deleting_ | request.ids);
    {
        const DownloadManager::Batch batch(manager_);
        for (const Item& item : items)
            manager_.pause(item);
    }
    wait([items] { return std::ranges::none_of(items, [](const Item& item) { return item->isActive(); }); },
         [this, request](PatientWait::Outcome outcome) {
             switch (outcome) {
             case PatientWait::Outcome::happened:
                 if (request.deleteFiles)
                     deleteFiles(request);
                 else
                     endRemoval(request, itemsWith(request.ids));
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

void AppModel::deleteFiles(const RemovalRequest& request) {
    // Values only: the downloads themselves stay on the main thread.
    std::vector<std::pair<QUuid, DownloadFiles>> doomed;
    QList<QUrl> others;
    for (const Item& item : manager_.items()) {
        if (request.ids.contains(item->id()))
            doomed.emplace_back(item->id(), *item);
        else if (item->destination())
            others.append(*item->destination());
    }
    deletions_.async([this, request, doomed = std::move(doomed), others] {
        DownloadFiles::Places places;
        for (const QUrl& each : others)
            places.insert(each);
        QHash<QUuid, std::optional<AppError>> outcomes;
        for (const auto& [id, files] : doomed)
            if (!isInterrupted_)
                outcomes.insert(id, deleteUnshared(files, places));
        deleted_.post([this, request, outcomes] { filesDeleted(request, outcomes); });
    });
}

void AppModel::filesDeleted(const RemovalRequest& request,
                            const QHash<QUuid, std::optional<AppError>>& outcomes) {
    Items gone;
    for (const Item& item : itemsWith(request.ids)) {
        const auto outcome = outcomes.constFind(item->id());
        if (outcome == outcomes.cend())
            continue;
        if (*outcome)
            setErrorMessage(
                tr("Could not delete files for %1: %2").arg(item->filename(), (*outcome)->description));
        else
            gone.append(item);
    }
    endRemoval(request, gone);
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
    QSet<QUuid> selection = selection_;
    for (const Item& item : gone)
        selection.remove(item->id());
    if (!gone.isEmpty())
        manager_.remove(gone, false);
    setSelection(selection);
    setDeleting(deleting_ - request.ids);
}

void AppModel::setDeleting(const QSet<QUuid>& ids) {
    manager_.setDeparting(ids);
    assign(deleting_, ids, Field::deleting);
}

} // namespace fetra
