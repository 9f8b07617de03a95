#pragma once

#include <QMap>
#include <QString>

#include <functional>
#include <optional>

namespace fetra {

/// A message that the desktop shows beside whatever the user is doing. Plain text, no markup.
struct Notification {
    /// A later notification of the same identifier takes the place of the earlier one.
    QString identifier;
    QString title;
    QString body;
    /// Comes back when the user activates it.
    QMap<QString, QString> userInfo{};
};

/// The desktop's notification service. Main thread only, and every handler is called there.
class NotificationCenter {
public:
    virtual ~NotificationCenter() = default;

    /// With nothing, or with a sentence on why it failed.
    using Completion = std::function<void(const std::optional<QString>& error)>;
    using Activation = std::function<void(const QMap<QString, QString>& userInfo)>;

    /// In the `userInfo` of an activation: what lets one window come to the front for it, where the desktop
    /// gives such a thing.
    static constexpr const char* activationToken = "activationToken";

    /// False where this session has no such service; nothing else is called then.
    [[nodiscard]] virtual bool isUsable() const = 0;
    /// Who hears that the user has activated a notification itself.
    virtual void setActivationHandler(Activation handler) = 0;
    /// Asks whether notifications may be shown. A refusal is no error.
    virtual void requestAuthorization(Completion completion) = 0;
    /// Shows it at once, with the desktop's usual sound.
    virtual void add(const Notification& notification, Completion completion) = 0;
};

} // namespace fetra
