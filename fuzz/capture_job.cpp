#include "browser/CaptureJob.h"
#include "Check.h"

#include <QJsonDocument>

#include <algorithm>

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray content(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto job = CaptureJob::parse(content);
    if (!job)
        return 0;
    check(job->url.isValid() && !job->url.scheme().isEmpty(), "the link is absolute");
    for (const QString& value : job->headers()) {
        check(!value.isEmpty(), "no header is empty");
        check(std::ranges::none_of(value, [](QChar c) { return c.unicode() < 0x20 || c.unicode() == 0x7f; }),
              "no header smuggles in a line");
    }
    // So short, it cannot grow over a limit when it is encoded.
    if (size < 10'000) {
        const auto again = CaptureJob::parse(QJsonDocument(job->toJson()).toJson());
        check(again && again->toJson() == job->toJson(), "a job survives being written");
    }
    return 0;
}
