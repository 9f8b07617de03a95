#pragma once

#include "app/desktop/PreferencesStore.h"

#include <QSettings>

namespace fetra {

/// Preferences in an ini file of the user's configuration folder.
class StoredPreferences final : public PreferencesStore {
public:
    /// Of this user: `Fetra/Fetra.ini` in the folder for settings.
    StoredPreferences();
    explicit StoredPreferences(const QString& path);

    void registerDefaults(const QHash<QString, QVariant>& defaults) override;
    [[nodiscard]] QVariant value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;

private:
    QSettings settings_;
    QHash<QString, QVariant> defaults_;
};

} // namespace fetra
