#pragma once

#include <QByteArray>

namespace fetra::cli {

/// Writes all of `bytes` to a descriptor. False when somebody has closed the other end or the disk is full.
bool writeAll(int descriptor, const QByteArray& bytes);

} // namespace fetra::cli
