#include "app/desktop/StoredPreferences.h"

namespace fetra {

using namespace Qt::StringLiterals;

StoredPreferences::StoredPreferences()
    : settings_(QSettings::IniFormat, QSettings::UserScope, u"Fetra"_s, u"Fetra"_s) {}

StoredPreferences::StoredPreferences(const QString& path)
    : settings_(path, QSettings::IniFormat) {}

void StoredPreferences::registerDefaults(const QHash<QString, QVariant>& defaults) {
    defaults_.insert(defaults);
}

QVariant StoredPreferences::value(const QString& key) const {
    return settings_.value(key, defaults_.value(key));
}

void StoredPreferences::setValue(const QString& key, const QVariant& value) {
    settings_.setValue(key, value);
}

} // namespace fetra
