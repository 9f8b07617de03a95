#pragma once

#include "http/HTTPMessage.h"

#include <QString>

#include <optional>
#include <vector>

namespace fetra {

/// The "ETag" and "Last-Modified" that each server of a transfer puts on the file, so that bytes of two
/// versions are never mixed. Servers are compared with themselves only: mirrors name the same bytes
/// differently.
class SourceValidators {
public:
    /// The primary's are known from the probe; a mirror's are what its first answer says.
    SourceValidators(qsizetype sources, const std::optional<QString>& etag,
                     const std::optional<QString>& lastModified);

    /// Whether `response` of server `source` speaks of the version that its earlier answers spoke of. Equal
    /// tags settle it. Different ones need an equal date to be believed, since the machines behind one name
    /// often disagree on tags.
    [[nodiscard]] bool agree(qsizetype source, const HTTPResponse& response);

private:
    struct Validators {
        std::optional<QString> etag;
        std::optional<QString> lastModified;
        [[nodiscard]] bool any() const { return etag || lastModified; }
    };

    std::vector<Validators> known_;
};

} // namespace fetra
