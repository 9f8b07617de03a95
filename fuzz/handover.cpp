#include "app/desktop/Handover.h"
#include "Check.h"

#include <algorithm>

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray message(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto handover = Handover::parse(message);
    if (!handover)
        return 0;
    check(handover->opened.size() <= Handover::maxOpened, "the number is limited");
    check(handover->activationToken.size() <= Handover::maxTokenBytes, "the token is short");
    check(std::ranges::all_of(handover->opened, [](const QUrl& url) { return !url.isRelative(); }),
          "addresses need no place to begin from");
    const QByteArray encoded = handover->encoded();
    check(!encoded.contains('\n'), "one line");
    if (const auto again = Handover::parse(encoded); encoded.size() <= Handover::maxMessageBytes)
        check(again && again->encoded() == encoded, "what was heard can be said");
    return 0;
}
