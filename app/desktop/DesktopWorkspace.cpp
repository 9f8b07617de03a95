#include "app/desktop/DesktopWorkspace.h"

#include "app/desktop/BusCall.h"
#include "system/AbsoluteURL.h"

#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStringList>

#include <utility>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr auto fileManager = "org.freedesktop.FileManager1"_L1;

/// Whether some desktops run what the file says instead of showing it.
bool isLauncher(const QString& path) {
    return QMimeDatabase().mimeTypeForFile(path).inherits(u"application/x-desktop"_s);
}

} // namespace

DesktopWorkspace::DesktopWorkspace()
    : DesktopWorkspace(QDBusConnection::sessionBus(), QDesktopServices::openUrl) {}

DesktopWorkspace::DesktopWorkspace(QDBusConnection bus, Opener opener)
    : bus_(std::move(bus))
    , opener_(std::move(opener)) {}

bool DesktopWorkspace::open(const QUrl& file) {
    if (!isLocalPath(file) || !QFileInfo::exists(file.toLocalFile()))
        return false;
    if (!isLauncher(file.toLocalFile()))
        return opener_(file);
    reveal({file});
    return true;
}

void DesktopWorkspace::reveal(const QList<QUrl>& files, const QString& activationToken) {
    QStringList uris;
    QString first;
    for (const QUrl& file : files) {
        if (!isLocalPath(file))
            continue;
        if (uris.isEmpty())
            first = file.toLocalFile();
        uris.append(absoluteString(file));
    }
    if (uris.isEmpty())
        return;

    auto call = QDBusMessage::createMethodCall(fileManager, u"/org/freedesktop/FileManager1"_s, fileManager,
                                               u"ShowItems"_s);
    call.setArguments({uris, activationToken});
    callAsync(bus_, call, receiver_, [this, first](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ErrorMessage && !saysNoReply(answer))
            openFolder(first);
    });
}

void DesktopWorkspace::openFolder(const QString& path) const {
    const QFileInfo info(path);
    const QString folder = info.isDir() ? path : info.absolutePath();
    if (QFileInfo::exists(folder))
        opener_(QUrl::fromLocalFile(folder));
}

} // namespace fetra
