#pragma once

#include <QString>

#include <memory>

struct evp_pkey_st;
struct ssl_ctx_st;
struct x509_st;

namespace fetra::test {

/// A throw-away server certificate with its key. All but the self-signed one come from one authority that
/// each test process makes for itself, so that an expired certificate fails for its date and nothing else.
class TestCertificate {
public:
    enum class Kind {
        Valid,      ///< the hosts that `ScriptedServer::url` names
        Expired,    ///< a month ago
        OtherName,  ///< elsewhere.example
        SelfSigned, ///< right names, no authority
    };
    explicit TestCertificate(Kind kind = Kind::Valid);

    /// What a TLS server shows.
    [[nodiscard]] std::shared_ptr<ssl_ctx_st> makeServerContext() const;

    /// The authority's certificate, in a temporary folder that lasts as long as the process.
    [[nodiscard]] static QString authorityFile();
    /// Sets SSL_CERT_FILE to that file for this process and its children. Call it before any client exists:
    /// the environment is not to be changed while other threads read it.
    static void trustAuthority();

private:
    std::shared_ptr<evp_pkey_st> key_;
    std::shared_ptr<x509_st> certificate_;
};

} // namespace fetra::test
