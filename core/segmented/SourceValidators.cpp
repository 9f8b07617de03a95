#include "segmented/SourceValidators.h"

namespace fetra {

SourceValidators::SourceValidators(qsizetype sources, const std::optional<QString>& etag,
                                   const std::optional<QString>& lastModified)
    : known_(static_cast<size_t>(sources)) {
    known_.front() = {.etag = etag, .lastModified = lastModified};
}

bool SourceValidators::agree(qsizetype source, const HTTPResponse& response) {
    Validators& known = known_[static_cast<size_t>(source)];
    const Validators seen{.etag = response.headers.value("ETag"),
                          .lastModified = response.headers.value("Last-Modified")};
    if (!known.any()) {
        known = seen;
        return true;
    }
    const bool bothTagged = known.etag && seen.etag;
    if (bothTagged && *known.etag == *seen.etag)
        return true;
    if (known.lastModified && seen.lastModified)
        return *known.lastModified == *seen.lastModified;
    return !bothTagged;
}

} // namespace fetra
