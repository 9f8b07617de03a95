#pragma once

#include <QString>

namespace fetra::RetryAfter {

/// Seconds that a "Retry-After" value asks for, 0 to 120. Dates and everything else that is no number give 0.
[[nodiscard]] double seconds(const QString& value);

} // namespace fetra::RetryAfter
