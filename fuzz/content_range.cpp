#include "Check.h"
#include "transfer/HTTPProbe.h"

using namespace fetra;
using fuzz::check;

namespace {

/// Whether `number` stands in `text` in decimal, as it must when it was read from there.
bool stands(const QString& text, qint64 number) {
    return text.contains(QString::number(number).remove(QLatin1Char('-')));
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
    return 0;
}
