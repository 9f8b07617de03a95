#pragma once

#include <QByteArray>

namespace fetra::HeaderRules {

/// Whether `name` may stand before the colon: a token of RFC 9110.
[[nodiscard]] bool isValidName(const QByteArray& name);

/// Whether `value` can be sent as it is: no control character but the tab, so that nothing can smuggle in a
/// line.
[[nodiscard]] bool isValidValue(const QByteArray& value);

/// Whether the header belongs to the HTTP layer and the engine (framing, ranges, codings, conditions), so
/// that a user setting it could only break a download.
[[nodiscard]] bool isReserved(const QByteArray& name);

/// Whether the header carries a secret that must stay with its site.
[[nodiscard]] bool isSecret(const QByteArray& name);

} // namespace fetra::HeaderRules
