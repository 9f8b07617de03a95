#pragma once

#include <QString>

namespace fetra {

/// Byte counts, speeds and durations as the short texts that people read. Units step by 1,024.
namespace ByteFormat {

/// "1023 B", "1.50 KB", up to TB.
[[nodiscard]] QString size(qint64 bytes);
/// "512.50 B/s", "2.00 MB/s", up to GB/s.
[[nodiscard]] QString rate(double bytesPerSecond);
/// In the unit that `other` has: "0.50 MB/s" beside "1.50 MB/s".
[[nodiscard]] QString rateBeside(double other, double bytesPerSecond);
/// "59s", "1m01s", "25h01m"; "--" for what is negative or not finite.
[[nodiscard]] QString duration(double seconds);

} // namespace ByteFormat
} // namespace fetra
