#include "app/model/AppDelegate.h"

#include "app/desktop/Alerts.h"
#include "app/desktop/NotificationCenter.h"
#include "app/desktop/Tray.h"
#include "app/model/AppModel.h"
#include "browser/NativeHostInstaller.h"

#include <QPointer>

namespace fetra {

AppDelegate::AppDelegate(const QUrl& appBundle)
    : appBundle_(appBundle) {}

void AppDelegate::applicationWillFinishLaunching() {
    if (model_ && model_->desktop().notifications.isUsable())
        model_->notifier().becomeDelegate();
}

void AppDelegate::applicationDidFinishLaunching() {
    manifests_.async([bundle = appBundle_] { NativeHostInstaller::install(bundle); });
    if (model_)
        model_->start();
}

void AppDelegate::application(const QList<QUrl>& opened) {
    if (!model_)
        return;
    model_->openTorrentFiles(opened);
    for (const QUrl& url : opened)
        if (!url.isLocalFile())
            model_->handleURL(url);
}

bool AppDelegate::applicationShouldTerminateAfterLastWindowClosed() const {
    // Without a place for the icon nobody could bring the application back.
    return !model_ || !model_->settings().isOn(AppSettings::showMenuBar) ||
           !model_->desktop().tray.isAvailable();
}

void AppDelegate::applicationWillTerminate() {
    if (model_)
        model_->interruptWaits();
}

// Quitting

AppDelegate::TerminateReply AppDelegate::applicationShouldTerminate() {
    if (!model_)
        return TerminateReply::now;
    const qint64 activeCount = model_->manager().activeCount();
    if (activeCount < 1 || model_->isTerminating())
        return terminateUnasked();
    if (!isAsking_)
        askWhetherToQuit(activeCount);
    return TerminateReply::later;
}

AppDelegate::TerminateReply AppDelegate::terminateUnasked() {
    if (!model_)
        return TerminateReply::now;
    // Also when all has stopped: what has stopped is not stored as waiting before the wait is over.
    if (model_->isTerminating())
        return TerminateReply::later;
    if (model_->manager().activeCount() < 1 && model_->deleting().isEmpty())
        return TerminateReply::now;
    prepareForTermination();
    return TerminateReply::later;
}

void AppDelegate::askWhetherToQuit(qint64 activeCount) {
    isAsking_ = true;
    model_->desktop().alerts.warn(
        {.message = tr("Quit Fetra?"),
         .informativeText =
             tr("%1 downloads are in progress. They will resume next time you open Fetra.").arg(activeCount),
         .buttons = {tr("Quit"), tr("Cancel")}},
        [self = QPointer(this)](qsizetype button) {
            if (!self)
                return;
            self->isAsking_ = false;
            if (button == 0 && self->model_ && !self->model_->isTerminating())
                self->prepareForTermination();
            else if (button != 0)
                Q_EMIT self->terminationReplied(false);
        });
}

void AppDelegate::prepareForTermination() {
    model_->prepareForTermination([self = QPointer(this)](const std::optional<AppError>& error) {
        if (!self || !self->model_)
            return;
        if (error) {
            self->model_->setTerminating(false);
            self->model_->setErrorMessage(error->description);
        }
        Q_EMIT self->terminationReplied(!error);
    });
}

} // namespace fetra
