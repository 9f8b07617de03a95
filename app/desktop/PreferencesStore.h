#pragma once

#include <QHash>
#include <QString>
#include <QVariant>

namespace fetra {

/// The application's preferences of this user, kept over restarts. Main thread only.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;

    /// What `value` answers for keys that nobody has set. Never touches what is set; calls add up.
    virtual void registerDefaults(const QHash<QString, QVariant>& defaults) = 0;
    /// Invalid for a key that is neither set nor registered.
    [[nodiscard]] virtual QVariant value(const QString& key) const = 0;
    virtual void setValue(const QString& key, const QVariant& value) = 0;
};

} // namespace fetra
