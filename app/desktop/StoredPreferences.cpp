#include "app/desktop/StoredPreferences.h"

#include "system/AtomicFile.h"
#include "system/Log.h"
#include "system/MakeFolder.h"
#include "system/PosixError.h"
#include "system/StandardFolders.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/stat.h>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 mostBytes = 1'048'576;
/// The one key of an object that stands for bytes, which JSON has none of.
const QString bytesKey = u"base64"_s;

QString standardPath() {
    return StandardFolders::configuration().value_or(StandardFolders::home()) + "/Fetra/Preferences.json"_L1;
}

/// Where `path` leads: some keep their settings elsewhere and have links to them.
QString resolved(const QString& path) {
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

QJsonValue encoded(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QByteArray>())
        return QJsonObject{{bytesKey, QString::fromLatin1(value.toByteArray().toBase64())}};
    return QJsonValue::fromVariant(value);
}

QVariant decoded(const QJsonValue& value) {
    if (const QJsonValue bytes = value[bytesKey]; bytes.isString())
        return QByteArray::fromBase64(bytes.toString().toLatin1());
    return value.toVariant();
}

/// Nothing of a file that is missing, unreadable or damaged.
QVariantHash readFrom(const QString& path) {
    QVariantHash values;
    const QJsonObject object =
        QJsonDocument::fromJson(AtomicFile::read(path, mostBytes).value_or(QByteArray())).object();
    for (auto each = object.begin(); each != object.end(); ++each)
        values.insert(each.key(), decoded(*each));
    return values;
}

/// Puts `set` into the file and leaves there what else it holds.
void save(const QString& path, const QVariantHash& set) {
    QVariantHash values = readFrom(path);
    values.insert(set);
    QJsonObject object;
    for (auto each = values.cbegin(); each != values.cend(); ++each)
        object.insert(each.key(), encoded(*each));
    try {
        MakeFolder::withParents(QFileInfo(path).absolutePath());
        AtomicFile::write(path, QJsonDocument(object).toJson());
    } catch (const PosixError& error) {
        Log::warn([&] { return u"preferences are not kept: %1"_s.arg(error.description()); });
    }
}

void closeToOthers(const QString& path) {
    const PosixFile::Descriptor file = PosixFile::open(path, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    if (file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
        ::fchmod(file.number(), S_IRUSR | S_IWUSR) != 0)
        Log::warn(
            [] { return u"preferences stay open to others: %1"_s.arg(PosixError::last().description()); });
}

/// `stored` as a value of `type`; invalid where it is none.
QVariant meaning(QVariant stored, QMetaType type) {
    if (stored.metaType() == type)
        return stored;
    // To QVariant most texts and all numbers are booleans, and most numbers fit anywhere.
    const auto boolean = QMetaType::fromType<bool>();
    const QVariant before = stored;
    if (type == boolean || before.metaType() == boolean || !stored.convert(type))
        return {};
    QVariant back = stored;
    return back.convert(before.metaType()) && back == before ? stored : QVariant();
}

} // namespace

StoredPreferences::StoredPreferences()
    : StoredPreferences(standardPath()) {}

StoredPreferences::StoredPreferences(const QString& path)
    : path_(resolved(path))
    , values_(readFrom(path_)) {
    closeToOthers(path_);
}

void StoredPreferences::registerDefaults(const QHash<QString, QVariant>& defaults) {
    defaults_.insert(defaults);
}

QVariant StoredPreferences::value(const QString& key) const {
    const QVariant stored = values_.value(key);
    const auto registered = defaults_.constFind(key);
    if (registered == defaults_.cend())
        return stored;
    const QVariant value = meaning(stored, registered->metaType());
    return value.isValid() ? value : *registered;
}

void StoredPreferences::setValue(const QString& key, const QVariant& value) {
    values_.insert(key, value);
    set_.insert(key, value);
    saves_.async([this, set = set_, number = ++newestSave_] {
        if (number == newestSave_)
            save(path_, set);
    });
}

} // namespace fetra
