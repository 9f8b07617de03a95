#pragma once

#include <QDir>
#include <QString>
#include <QUrl>

namespace fetra {

/// The absolute, fully encoded text of `url`: the form in which addresses are stored and compared.
[[nodiscard]] inline QString absoluteString(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

/// The same without user name and password: the form for log lines and everything that is shown.
[[nodiscard]] inline QString presentableString(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded | QUrl::RemoveUserInfo);
}

/// Whether `url` names a place on this machine by its whole path.
[[nodiscard]] inline bool isLocalPath(const QUrl& url) {
    return url.isValid() && QDir::isAbsolutePath(url.toLocalFile());
}

} // namespace fetra
