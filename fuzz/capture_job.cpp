#include "browser/CaptureJob.h"
#include "Check.h"
#include "http/HeaderRules.h"

#include <QJsonDocument>

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray content(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto job = CaptureJob::parse(content);
    if (!job)
        return 0;
    check(job->url.isValid() && !job->url.scheme().isEmpty(), "the link is absolute");
    const QMap<QString, QString> headers = job->headers();
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        check(!header->isEmpty(), "no header is empty");
        check(header->toUtf8().size() <= CaptureJob::maxStringBytes, "nor too long");
        check(HeaderRules::isValidName(header.key().toUtf8()) && HeaderRules::isValidValue(header->toUtf8()),
              "every header can be sent");
        check(!HeaderRules::isReserved(header.key().toUtf8()), "none of them breaks a transfer");
    }
    // So short, it cannot grow over a limit when it is encoded.
    if (size < 10'000) {
        const auto again = CaptureJob::parse(QJsonDocument(job->toJson()).toJson());
        check(again && again->toJson() == job->toJson(), "a job survives being written");
    }
    return 0;
}
