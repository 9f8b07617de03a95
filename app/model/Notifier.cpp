#include "app/model/Notifier.h"

#include "app/desktop/NotificationCenter.h"
#include "app/desktop/Workspace.h"
#include "app/model/AppSettings.h"
#include "manager/DownloadItem.h"

#include <QFileInfo>
#include <QPointer>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

const QString pathKey = u"path"_s;

} // namespace

Notifier::Notifier(NotificationCenter& center, Workspace& workspace, AppSettings& settings)
    : center_(center)
    , workspace_(workspace)
    , settings_(settings) {}

void Notifier::becomeDelegate() {
    if (!center_.isUsable())
        return;
    center_.setActivationHandler([self = QPointer(this)](const QMap<QString, QString>& userInfo) {
        const QString path = userInfo.value(pathKey);
        // Asked for a file that has gone, file managers show its folder or complain.
        if (self && path.startsWith(u'/') && QFileInfo::exists(path))
            self->workspace_.reveal({QUrl::fromLocalFile(path)},
                                    userInfo.value(QLatin1StringView(NotificationCenter::activationToken)));
    });
}

void Notifier::start() {
    becomeDelegate();
    if (!center_.isUsable() || settings_.isOn(AppSettings::requestedNotifications))
        return;
    settings_.set(AppSettings::requestedNotifications, true);
    center_.requestAuthorization([self = QPointer(this)](const std::optional<QString>& error) {
        if (self && error)
            self->report(tr("Notification authorization failed: %1").arg(*error));
    });
}

void Notifier::send(const DownloadItem& item, bool completed) {
    if (!settings_.isOn(AppSettings::notifyOnFinish) || !center_.isUsable())
        return;

    Notification notification{
        .identifier = item.id().toString(QUuid::WithoutBraces).toUpper(),
        .title = completed ? tr("Download complete") : tr("Download failed"),
        .body = item.filename(),
    };
    if (!completed)
        notification.body +=
            u": "_s + item.errorMessage().value_or(tr("The download could not be completed."));
    else if (item.destination())
        notification.userInfo.insert(pathKey, item.destination()->toLocalFile());
    center_.add(notification, [self = QPointer(this)](const std::optional<QString>& error) {
        if (self && error)
            self->report(tr("Could not deliver notification: %1").arg(*error));
    });
}

void Notifier::report(const QString& message) const {
    if (onError)
        onError(message);
}

} // namespace fetra
