#pragma once

#include <QByteArray>
#include <QStringList>
#include <QUrl>

namespace fetra {

/// Tells the browsers of this user which program their Fetra extension may talk to: a manifest in the
/// `NativeMessagingHosts` folder of every browser whose data folder exists. Stateless; on any thread.
namespace NativeHostInstaller {

inline constexpr const char* hostName = "com.fetra.host";

/// The extensions that may call the host.
extern const QStringList extensionIDs;

/// Data folders of browsers below the application-support folder, in the order in which they are tried.
extern const QStringList browserDirectories;
/// And after them those below the folder for settings, where browsers keep their data on Linux.
extern const QStringList configDirectories;

/// Writes the manifests that are missing or differ; none when `appBundle` holds no host program that can be
/// started. Answers how many browsers have a current manifest now. A browser where that fails is logged and
/// the others go on.
int install(const QUrl& appBundle);

} // namespace NativeHostInstaller
} // namespace fetra
