#include "segmented/RetryAfter.h"

#include "system/TextTrim.h"

#include <QByteArray>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace fetra::RetryAfter {

namespace {

constexpr double longestWait = 120.0;

} // namespace

double seconds(const QString& value) {
    QByteArray text = TextTrim::trimmed(value, TextTrim::isSpaceOrTab).toLatin1();
    if (text.startsWith('+') && !text.startsWith("+-"))
        text.remove(0, 1);
    double number = 0;
    const char* const end = text.constData() + text.size();
    const auto [rest, error] = std::from_chars(text.constData(), end, number);
    if (error != std::errc() || rest != end || !std::isfinite(number))
        return 0;
    return std::clamp(number, 0.0, longestWait);
}

} // namespace fetra::RetryAfter
