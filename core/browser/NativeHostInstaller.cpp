#include "browser/NativeHostInstaller.h"

#include "system/AtomicFile.h"
#include "system/Log.h"
#include "system/MakeFolder.h"
#include "system/PosixError.h"
#include "system/StandardFolders.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace fetra::NativeHostInstaller {

using namespace Qt::StringLiterals;

const QStringList extensionIDs{u"kembcdlbgbcnnchcnbdhbmbhbejnedjf"_s};

const QStringList browserDirectories{
    u"Google/Chrome"_s,
    u"Google/Chrome Beta"_s,
    u"Google/Chrome Canary"_s,
    u"Chromium"_s,
    u"BraveSoftware/Brave-Browser"_s,
    u"Microsoft Edge"_s,
    u"Vivaldi"_s,
    u"Arc/User Data"_s,
    u"Aside"_s,
};

const QStringList configDirectories{
    u"google-chrome"_s, u"google-chrome-beta"_s,          u"google-chrome-unstable"_s,
    u"chromium"_s,      u"BraveSoftware/Brave-Browser"_s, u"microsoft-edge"_s,
    u"vivaldi"_s,
};

namespace {

QByteArray manifest(const QString& hostPath) {
    QJsonArray origins;
    for (const QString& id : extensionIDs)
        origins += u"chrome-extension://%1/"_s.arg(id);
    const QJsonObject object{
        {u"name"_s, QLatin1StringView(hostName)},
        {u"description"_s, u"Fetra download handoff"_s},
        {u"path"_s, hostPath},
        {u"type"_s, u"stdio"_s},
        {u"allowed_origins"_s, origins},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

/// Makes `content` the manifest of the browser whose data are in `folder`. Throws `PosixError`.
void installInto(const QString& folder, const QByteArray& content) {
    const QString hosts = folder + "/NativeMessagingHosts"_L1;
    MakeFolder::withParents(hosts);
    const QString file = hosts + u'/' + QLatin1StringView(hostName) + ".json"_L1;
    if (AtomicFile::read(file, content.size()) != content)
        AtomicFile::write(file, content);
}

int installBelow(const std::optional<QString>& base, const QStringList& directories,
                 const QByteArray& content) {
    int current = 0;
    for (const QString& directory : directories) {
        const QString folder = base ? *base + u'/' + directory : QString();
        if (!QFileInfo::exists(folder))
            continue;
        try {
            installInto(folder, content);
            ++current;
        } catch (const PosixError& error) {
            Log::warn([&] {
                return u"native host manifest not written for "_s + directory + ": "_L1 + error.description();
            });
        }
    }
    return current;
}

} // namespace

int install(const QUrl& appBundle) {
    const QFileInfo host(QDir(appBundle.toLocalFile()).absoluteFilePath(u"Contents/Helpers/fetra-host"_s));
    if (!appBundle.isLocalFile() || !host.isFile() || !host.isExecutable())
        return 0;
    const QByteArray content = manifest(host.absoluteFilePath());
    return installBelow(StandardFolders::applicationSupport(), browserDirectories, content) +
           installBelow(StandardFolders::configuration(), configDirectories, content);
}

} // namespace fetra::NativeHostInstaller
