#include "transfer/ByteFormat.h"

#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace fetra::ByteFormat {

using namespace Qt::StringLiterals;

namespace {

constexpr double step = 1024.0;

/// With two decimals, as printf would in the C locale; QString::number rounds ties the other way.
QString twoDecimals(double value) {
    std::array<char, 512> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 2).ptr;
    return QString::fromLatin1(text.data(), end - text.data());
}

/// In the unit that suits `other`.
QString scaled(double value, double other, std::span<const QLatin1StringView> units) {
    size_t unit = 0;
    while (!(other < step) && unit + 1 < units.size()) {
        other /= step;
        value /= step;
        ++unit;
    }
    return twoDecimals(value) + u' ' + units[unit];
}

QString twoDigits(qint64 value) {
    return QString::number(value).rightJustified(2, u'0');
}

} // namespace

QString size(qint64 bytes) {
    static constexpr std::array units{"KB"_L1, "MB"_L1, "GB"_L1, "TB"_L1};
    if (bytes < 1024)
        return QString::number(bytes) + u" B"_s;
    const double value = static_cast<double>(bytes) / step;
    return scaled(value, value, units);
}

QString rate(double bytesPerSecond) {
    return rateBeside(bytesPerSecond, bytesPerSecond);
}

QString rateBeside(double other, double bytesPerSecond) {
    static constexpr std::array units{"B/s"_L1, "KB/s"_L1, "MB/s"_L1, "GB/s"_L1};
    return scaled(bytesPerSecond, other, units);
}

QString duration(double seconds) {
    constexpr double tooLong = 9.2e18; // No 64-bit integer holds what is above.
    if (!std::isfinite(seconds) || seconds < 0 || seconds > tooLong)
        return u"--"_s;
    const qint64 whole = std::llround(seconds);
    if (whole < 60)
        return QString::number(whole) + u's';
    if (whole < 3600)
        return QString::number(whole / 60) + u'm' + twoDigits(whole % 60) + u's';
    return QString::number(whole / 3600) + u'h' + twoDigits(whole % 3600 / 60) + u'm';
}

} // namespace fetra::ByteFormat
