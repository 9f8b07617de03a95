#include "Check.h"
#include "transfer/HTTPProbe.h"

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString header = fuzz::headerText(data, size);
    const auto name = HTTPProbe::filenameFromDisposition(header);
    if (name) {
        check(!name->isEmpty(), "a name is never empty");
        check(name->size() <= header.size(), "a name is part of its header");
        check(header.contains(QLatin1StringView("filename"), Qt::CaseInsensitive), "no name without the key");
    }
    return 0;
}
