#include "torrent/TorrentHelperSearch.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace fetra::TorrentHelperSearch {

using namespace Qt::StringLiterals;

Surroundings Surroundings::current() {
    Surroundings result;
    if (qEnvironmentVariableIsSet("FETRA_TORRENT_HELPER"))
        result.override = qEnvironmentVariable("FETRA_TORRENT_HELPER");
    result.programFolder = QFileInfo(QFileInfo(u"/proc/self/exe"_s).canonicalFilePath()).path();
    result.path = qEnvironmentVariable("PATH");
    return result;
}

QStringList candidates(const Surroundings& surroundings) {
    constexpr int ancestors = 5;
    const auto below = [](const QString& folder, const QString& name) {
        return QDir::cleanPath(folder + u'/' + name);
    };
    QStringList places;
    if (surroundings.override)
        places += *surroundings.override;
    const QString& folder = surroundings.programFolder;
    places += below(folder, u"fetra-torrent"_s);
    places += below(folder, u"../Helpers/fetra-torrent"_s);
    // The folder that holds what belongs to the application, as installed and in the build tree.
    places += below(folder, u"../lib/fetra/Contents/Helpers/fetra-torrent"_s);
    QString step;
    for (int level = 0; level <= ancestors; ++level, step += u"../"_s)
        places += below(folder, step + u"torrent-helper/fetra-torrent"_s);
    for (const QString& entry : surroundings.path.split(u':', Qt::SkipEmptyParts))
        places += entry + u"/fetra-torrent"_s;
    return places;
}

std::optional<QString> find(const Surroundings& surroundings) {
    const QStringList places = candidates(surroundings);
    const auto found = std::ranges::find_if(places, [](const QString& place) {
        const QFileInfo info(place);
        return info.isFile() && info.isExecutable();
    });
    return found == places.end() ? std::nullopt : std::optional(*found);
}

} // namespace fetra::TorrentHelperSearch
