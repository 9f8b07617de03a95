#pragma once

#include <QString>

namespace fetra {

/// `text` with its words for another platform's things in those of this one: the file manager, the modifier
/// keys, the place of status icons.
[[nodiscard]] QString platformText(QString text);

} // namespace fetra
