#pragma once

#include "cli/Arguments.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <optional>
#include <variant>

namespace fetra::cli {

/// What a command line comes to once the disk has been looked at.
struct GetPlan {
    /// Each once.
    QList<QUrl> urls = {};
    /// A folder (its path ends in "/") or, for a single link, the file itself.
    QUrl target = {};
    /// Absolute.
    std::optional<QString> statePath = {};

    [[nodiscard]] bool hasFileTarget() const { return !target.path().endsWith(u'/'); }
};

/// Why the .torrent file that `url` names cannot be had; nothing for web addresses and magnet links.
[[nodiscard]] std::optional<UsageError> whyNotThere(const QUrl& url);

/// Reads the inputs, standard input among them, and changes nothing.
[[nodiscard]] std::variant<GetPlan, UsageError> planFor(const GetRequest& request,
                                                        const QString& currentFolder);

} // namespace fetra::cli
