#pragma once

#include <QUrl>

namespace fetra::SecretScope {

/// Whether a secret that was given for `home` may be sent to `target`: the same host or the same registrable
/// domain, and never from https down to http.
[[nodiscard]] bool allows(const QUrl& home, const QUrl& target);

} // namespace fetra::SecretScope
