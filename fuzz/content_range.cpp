#include "Check.h"
#include "transfer/HTTPProbe.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace fetra;
using fuzz::check;

namespace {

/// Whether `number` stands in `text` in decimal, as it must when it was read from there.
bool stands(const QString& text, qint64 number) {
    return text.contains(QString::number(number).remove(QLatin1Char('-')));
}

/// Whatever numbers a proper value holds, these are read.
void checkWritten(const uint8_t* data, size_t size) {
    std::array<quint64, 2> numbers{};
    std::memcpy(numbers.data(), data, std::min(size, sizeof numbers));
    const auto start = static_cast<qint64>(numbers[0] >> 1);
    const auto total = static_cast<qint64>(numbers[1] >> 1);
    const QString value = QStringLiteral("bytes %1-%2/%3").arg(start).arg(total - 1).arg(total);
    check(HTTPProbe::contentRangeStart(value) == start, "the start is read");
    check(HTTPProbe::contentRangeTotal(value) == total, "the total is read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString value = fuzz::headerText(data, size);
    if (const auto total = HTTPProbe::contentRangeTotal(value)) {
        check(value.contains(QLatin1Char('/')), "no total without a slash");
        check(stands(value, *total), "the total was read, not made");
    }
    if (const auto start = HTTPProbe::contentRangeStart(value)) {
        check(*start >= 0, "the minus sign ends a start");
        check(stands(value, *start), "the start was read, not made");
    }
    checkWritten(data, size);
    return 0;
}
