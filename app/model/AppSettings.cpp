#include "app/model/AppSettings.h"

#include "app/desktop/PreferencesStore.h"

namespace fetra {

AppSettings::AppSettings(PreferencesStore& store)
    : store_(store) {
    registerDefaults(store_);
}

void AppSettings::registerDefaults(PreferencesStore& store) {
    store.registerDefaults({
        {QLatin1StringView(showMenuBar), true},
        {QLatin1StringView(watchClipboard), false},
        {QLatin1StringView(notifyOnFinish), true},
        {QLatin1StringView(showInspector), false},
    });
}

bool AppSettings::isOn(const char* key) const {
    return store_.value(QLatin1StringView(key)).toBool();
}

void AppSettings::set(const char* key, bool on) {
    if (isOn(key) == on)
        return;
    store_.setValue(QLatin1StringView(key), on);
    Q_EMIT changed(QLatin1StringView(key));
}

} // namespace fetra
