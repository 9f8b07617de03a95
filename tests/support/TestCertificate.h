#pragma once

#include <QByteArray>
#include <QString>

namespace fetra::test {

/// A throw-away server certificate with its key. All but the self-signed one come from one authority that
/// each test process makes for itself, so that an expired certificate fails for its date and nothing else.
class TestCertificate {
public:
    enum class Kind {
        Valid,      ///< localhost, a.localhost, b.localhost, x.a.localhost, y.a.localhost, *.test.localhost,
                    ///< 127.0.0.1
        Expired,    ///< a month ago
        OtherName,  ///< elsewhere.example
        SelfSigned, ///< right names, no authority
    };
    explicit TestCertificate(Kind kind = Kind::Valid);

    [[nodiscard]] const QByteArray& certificatePEM() const { return certificate_; }
    [[nodiscard]] const QByteArray& keyPEM() const { return key_; }

    /// The authority's certificate, in a temporary folder that lasts as long as the process.
    [[nodiscard]] static QString authorityFile();
    /// Sets SSL_CERT_FILE to that file for this process and its children. Call it before any client exists:
    /// the environment is not to be changed while other threads read it.
    static void trustAuthority();

private:
    QByteArray certificate_;
    QByteArray key_;
};

} // namespace fetra::test
