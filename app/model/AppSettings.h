#pragma once

#include <QHash>
#include <QObject>
#include <QString>

namespace fetra {

class PreferencesStore;

/// The application's own preferences, each read where it takes effect. The engine's settings are the
/// manager's. Main thread only.
class AppSettings final : public QObject {
    Q_OBJECT

public:
    static constexpr const char* showMenuBar = "showMenuBar";
    static constexpr const char* watchClipboard = "watchClipboard";
    static constexpr const char* notifyOnFinish = "notifyOnFinish";
    static constexpr const char* showInspector = "showInspector";
    static constexpr const char* requestedNotifications = "requestedNotifications";

    /// `store` outlives this.
    explicit AppSettings(PreferencesStore& store);

    /// Any number of times; never overwrites what the user has set.
    static void registerDefaults(PreferencesStore& store);

    /// One of the keys above.
    [[nodiscard]] bool isOn(const char* key) const;
    void set(const char* key, bool on);

Q_SIGNALS:
    /// Once for each assignment of another value.
    void changed(const QString& key);

private:
    PreferencesStore& store_;
};

} // namespace fetra
