#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

namespace fetra {

/// Whether the user wants light or dark applications, from the settings that desktop portals serve. Main
/// thread only; waits for nothing. Without a portal there is no wish.
class DesktopColorScheme final : public QObject {
    Q_OBJECT

public:
    enum class Wish { none, dark, light };

    explicit DesktopColorScheme(const QDBusConnection& bus = QDBusConnection::sessionBus());

    /// None until the portal has answered.
    [[nodiscard]] Wish wish() const { return wish_; }

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void take(const QDBusMessage& change);

private:
    void set(const QVariant& value);

    Wish wish_ = Wish::none;
};

} // namespace fetra
