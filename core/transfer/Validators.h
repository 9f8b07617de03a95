#pragma once

#include "http/HTTPMessage.h"
#include "transfer/RemoteInfo.h"

#include <QString>

#include <optional>

namespace fetra {

/// The "ETag" and "Last-Modified" that one server puts on a file, verbatim, so that bytes of two versions are
/// never mixed. Servers are compared with themselves only: mirrors name the same bytes differently. A plain
/// value.
struct Validators {
    std::optional<QString> etag = {};
    std::optional<QString> lastModified = {};

    [[nodiscard]] static Validators of(const HTTPResponse& response);
    [[nodiscard]] static Validators of(const RemoteInfo& info);

    /// Whether `seen`, of a later answer, speaks of the same version. Equal tags settle it. Different ones
    /// need an equal date to be believed, since the machines behind one name often disagree on tags. What was
    /// not named before is believed, and later answers are compared with it.
    [[nodiscard]] bool agree(const Validators& seen);
    /// Whether both have a tag, or both a date.
    [[nodiscard]] bool canBeCompared(const Validators& seen) const;

    bool operator==(const Validators&) const = default;
};

} // namespace fetra
