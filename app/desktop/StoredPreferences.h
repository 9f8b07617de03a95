#pragma once

#include "app/desktop/PreferencesStore.h"
#include "system/SerialQueue.h"

#include <atomic>

namespace fetra {

/// Preferences in a file of the user's configuration folder, closed to others. Values are booleans, numbers,
/// texts, lists of texts and bytes. They are kept in memory and written behind the caller's back, the last of
/// them when this ends; without a file to keep them in they last as long as this does. A stored value that is
/// not of its default's type counts as not set. Main thread only; waits for the disk at the start and the
/// end.
class StoredPreferences final : public PreferencesStore {
public:
    /// Of this user: `Fetra/Preferences.json` in the folder for settings.
    StoredPreferences();
    explicit StoredPreferences(const QString& path);

    void registerDefaults(const QHash<QString, QVariant>& defaults) override;
    [[nodiscard]] QVariant value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;

private:
    const QString path_;
    QVariantHash values_;
    /// What has been set since the start; the rest of the file may be another process's by now.
    QVariantHash set_;
    QVariantHash defaults_;
    /// Of the last save that was asked for; the earlier ones need not be made.
    std::atomic<quint64> newestSave_ = 0;
    /// Ends first: what it does takes the others.
    SerialQueue saves_{"fetra.prefs"};
};

} // namespace fetra
