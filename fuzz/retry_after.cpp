#include "Check.h"
#include "segmented/RetryAfter.h"

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString value = fuzz::headerText(data, size);
    const double seconds = RetryAfter::seconds(value);
    check(seconds >= 0 && seconds <= 120, "the wait is in its range"); // Also false for NaN.
    if (seconds > 0)
        check(RetryAfter::seconds(QLatin1Char('\t') + value + QLatin1Char(' ')) == seconds,
              "blanks do not matter");
    return 0;
}
