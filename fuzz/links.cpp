#include "Check.h"
#include "links/LinkParser.h"
#include "system/AbsoluteURL.h"

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = fuzz::headerText(data, size);
    QSet<QString> seen;
    bool ordinary = false;
    for (const QUrl& link : LinkParser::extract(text)) {
        const bool magnet = link.scheme() == QLatin1StringView("magnet");
        check(link.isValid(), "links are valid");
        check(magnet || LinkParser::schemes().contains(link.scheme()), "nothing but http, https and magnet");
        check(magnet || !link.host().isEmpty(), "there is a host to ask");
        check(!magnet || !ordinary, "magnets come first");
        ordinary = !magnet;
        const QString address = absoluteString(link);
        check(!seen.contains(address), "each link once");
        seen.insert(address);
    }
    return 0;
}
