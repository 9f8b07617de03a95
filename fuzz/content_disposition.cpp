#include "Check.h"
#include "transfer/HTTPProbe.h"

using namespace fetra;
using fuzz::check;

namespace {

/// A name that a server writes as the standard has it is read as it was.
void checkWritten(const QString& name) {
    // A mark of byte order at the beginning is none of the text.
    if (name.isEmpty() || name.startsWith(QChar::ByteOrderMark))
        return;
    const QString header = QStringLiteral("attachment; filename=plain; filename*=UTF-8''") +
                           QString::fromLatin1(QUrl::toPercentEncoding(name));
    check(HTTPProbe::filenameFromDisposition(header) == name, "what was written is read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString header = fuzz::headerText(data, size);
    const auto name = HTTPProbe::filenameFromDisposition(header);
    if (name) {
        check(!name->isEmpty(), "a name is never empty");
        check(name->size() <= header.size(), "a name is part of its header");
        check(header.contains(QLatin1StringView("filename"), Qt::CaseInsensitive), "no name without the key");
    }
    checkWritten(header);
    return 0;
}
