#include "transfer/Validators.h"

namespace fetra {

Validators Validators::of(const HTTPResponse& response) {
    return {.etag = response.headers.value("ETag"), .lastModified = response.headers.value("Last-Modified")};
}

bool Validators::agree(const Validators& seen) {
    if (!etag && !lastModified) {
        *this = seen;
        return true;
    }
    const bool bothTagged = etag && seen.etag;
    if (bothTagged && *etag == *seen.etag)
        return true;
    if (lastModified && seen.lastModified)
        return *lastModified == *seen.lastModified;
    return !bothTagged;
}

} // namespace fetra
