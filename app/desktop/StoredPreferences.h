#pragma once

#include "app/desktop/PreferencesStore.h"

#include <QSettings>

namespace fetra {

/// Preferences in an ini file of the user's configuration folder, made for this user alone. Without a
/// file to keep them in they last as long as this does. A stored value that cannot be of its default's type
/// counts as not set.
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
