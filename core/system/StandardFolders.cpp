#include "system/StandardFolders.h"

#include <QDir>
#include <QStandardPaths>

namespace fetra::StandardFolders {

namespace {

std::optional<QString> location(QStandardPaths::StandardLocation which) {
    const QString path = QStandardPaths::writableLocation(which);
    return path.isEmpty() ? std::nullopt : std::optional(path);
}

} // namespace

std::optional<QString> applicationSupport() {
    return location(QStandardPaths::GenericDataLocation);
}

std::optional<QString> configuration() {
    return location(QStandardPaths::GenericConfigLocation);
}

std::optional<QString> downloads() {
    return location(QStandardPaths::DownloadLocation);
}

QString home() {
    return QDir::homePath();
}

QString temporary() {
    return QDir::tempPath();
}

} // namespace fetra::StandardFolders
