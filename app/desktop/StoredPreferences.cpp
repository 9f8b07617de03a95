#include "app/desktop/StoredPreferences.h"

#include "system/Log.h"
#include "system/MakeFolder.h"
#include "system/PosixError.h"
#include "system/PosixFile.h"
#include "system/StandardFolders.h"

#include <QFileInfo>

#include <fcntl.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

QString standardPath() {
    return StandardFolders::configuration().value_or(StandardFolders::home()) + "/Fetra/Fetra.ini"_L1;
}

/// `path` with a file there; one that QSettings made itself would be open to others.
QString prepared(const QString& path) {
    try {
        MakeFolder::withParents(QFileInfo(path).absolutePath());
        if (!PosixFile::open(path, O_WRONLY | O_CREAT, 0600).isOpen())
            throw PosixError::last();
    } catch (const PosixError& error) {
        Log::warn([&] { return u"preferences are not kept: %1"_s.arg(error.description()); });
    }
    return path;
}

/// `stored` as a value of `type`, for a file holds little but texts; invalid where it means none.
QVariant meaning(QVariant stored, QMetaType type) {
    if (stored.metaType() == type)
        return stored;
    // To QVariant every other text is true.
    if (type == QMetaType::fromType<bool>() && stored != u"true"_s && stored != u"false"_s)
        return {};
    return stored.convert(type) ? stored : QVariant();
}

} // namespace

StoredPreferences::StoredPreferences()
    : StoredPreferences(standardPath()) {}

StoredPreferences::StoredPreferences(const QString& path)
    : settings_(prepared(path), QSettings::IniFormat) {}

void StoredPreferences::registerDefaults(const QHash<QString, QVariant>& defaults) {
    defaults_.insert(defaults);
}

QVariant StoredPreferences::value(const QString& key) const {
    const QVariant stored = settings_.value(key);
    const auto registered = defaults_.constFind(key);
    if (registered == defaults_.cend())
        return stored;
    const QVariant value = meaning(stored, registered->metaType());
    return value.isValid() ? value : *registered;
}

void StoredPreferences::setValue(const QString& key, const QVariant& value) {
    settings_.setValue(key, value);
}

} // namespace fetra
