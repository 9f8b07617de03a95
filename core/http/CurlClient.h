#pragma once

#include "http/HTTPSession.h"

#include <memory>

namespace fetra {

/// The HTTP client over libcurl: `min(4, cores)` I/O threads that every session of the process shares. Made
/// once, by the composition root, and destroyed after the last session.
class CurlClient final : public HTTPClient {
public:
    /// Reads the proxy variables and `SSL_CERT_FILE` from the environment, and makes the process ignore
    /// SIGPIPE.
    CurlClient();
    ~CurlClient() override;

    [[nodiscard]] std::unique_ptr<HTTPSession>
    makeSession(const HTTPSessionConfiguration& configuration) override;

private:
    struct Shared;
    std::unique_ptr<Shared> shared_;
};

} // namespace fetra
