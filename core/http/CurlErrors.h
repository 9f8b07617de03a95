#pragma once

#include "http/TransportError.h"

namespace fetra::CurlErrors {

struct Failure {
    /// A CURLcode that is not CURLE_OK.
    int code = 0;
    /// The errno of the failed connect, or 0.
    long osError = 0;
    QString host;
    /// libcurl's own words about this failure, possibly empty.
    QString detail;
};

/// Whether the failure means that what came back was not HTTP at all.
[[nodiscard]] bool isNotHTTP(int code);

[[nodiscard]] TransportError describe(const Failure& failure);

} // namespace fetra::CurlErrors
