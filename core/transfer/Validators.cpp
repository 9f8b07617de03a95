#include "transfer/Validators.h"

namespace fetra {

Validators Validators::of(const HTTPResponse& response) {
    return {.etag = response.headers.value("ETag"), .lastModified = response.headers.value("Last-Modified")};
}

Validators Validators::of(const RemoteInfo& info) {
    return {.etag = info.etag, .lastModified = info.lastModified};
}

bool Validators::agree(const Validators& seen) {
    const bool bothTagged = etag && seen.etag;
    const bool bothDated = lastModified && seen.lastModified;
    const bool sameTag = bothTagged && *etag == *seen.etag;
    const bool same = sameTag || (bothDated ? *lastModified == *seen.lastModified : !bothTagged);
    if (same && !etag)
        etag = seen.etag;
    if (same && !lastModified)
        lastModified = seen.lastModified;
    return same;
}

bool Validators::canBeCompared(const Validators& seen) const {
    return (etag && seen.etag) || (lastModified && seen.lastModified);
}

} // namespace fetra
