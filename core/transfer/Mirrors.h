#pragma once

#include "http/HTTPSession.h"
#include "transfer/DownloadOptions.h"
#include "transfer/RemoteInfo.h"
#include "transfer/Validators.h"

#include <QList>
#include <QUrl>

namespace fetra::Mirrors {

struct Admitted {
    /// The address as the caller gave it, and as redirects resolved it.
    QUrl original;
    QUrl resolved;
    /// What the mirror named while it was asked. Later answers are of the same bytes only if they agree.
    Validators validators;
};

/// Those of `mirrors`, in their order, that have shown that they serve the bytes of the primary: the same
/// size, and the same bytes in three samples, all of them of one version of its file. Asks all of them at
/// once and blocks until the slowest has answered. The others are left out with a warning in the log; nothing
/// is thrown. `info` is the primary's, with ranges and a size of at least 1.
[[nodiscard]] QList<Admitted> admit(const QList<QUrl>& mirrors, const RemoteInfo& info, HTTPSession& session,
                                    const DownloadOptions& options);

} // namespace fetra::Mirrors
