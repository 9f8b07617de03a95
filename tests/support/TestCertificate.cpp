#include "support/TestCertificate.h"

#include "support/TempFolder.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <atomic>
#include <stdexcept>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

constexpr long kDay = 24 * 60 * 60;
constexpr char kNames[] = "DNS:localhost,DNS:a.localhost,DNS:b.localhost,DNS:x.a.localhost,DNS:y.a.localhost,"
                          "DNS:*.test.localhost,IP:127.0.0.1";

void require(bool done) {
    if (!done)
        throw std::runtime_error("cannot make a test certificate");
}

Key makeKey() {
    Key key(EVP_EC_gen("P-256"), EVP_PKEY_free);
    require(key != nullptr);
    return key;
}

struct Draft {
    const char* commonName = "localhost";
    const char* names = kNames; ///< subjectAltName; none for an authority
    long fromDay = -1;
    long toDay = 30;
};

/// Signed by the authority, or by itself when there is none.
Certificate makeCertificate(const Draft& draft, EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey) {
    Certificate certificate(X509_new(), X509_free);
    require(certificate != nullptr);
    X509* raw = certificate.get();
    X509_set_version(raw, X509_VERSION_3);
    static std::atomic<long> serial = 0;
    ASN1_INTEGER_set(X509_get_serialNumber(raw), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(raw), draft.fromDay * kDay);
    X509_gmtime_adj(X509_getm_notAfter(raw), draft.toDay * kDay);
    X509_set_pubkey(raw, key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(raw), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(draft.commonName), -1, -1, 0);
    X509* const issuer = authority ? authority : raw;
    X509_set_issuer_name(raw, X509_get_subject_name(issuer));

    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, raw, nullptr, nullptr, 0);
    const auto extend = [&](int kind, const char* value) {
        const std::shared_ptr<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value),
                                                        X509_EXTENSION_free);
        require(extension && X509_add_ext(raw, extension.get(), -1) == 1);
    };
    extend(NID_basic_constraints, draft.names ? "critical,CA:FALSE" : "critical,CA:TRUE");
    if (draft.names)
        extend(NID_subject_alt_name, draft.names);
    else
        extend(NID_key_usage, "critical,keyCertSign,cRLSign");
    require(X509_sign(raw, authorityKey ? authorityKey : key, EVP_sha256()) > 0);
    return certificate;
}

QByteArray toPEM(X509* certificate) {
    const std::shared_ptr<BIO> bio(BIO_new(BIO_s_mem()), BIO_free);
    require(bio && PEM_write_bio_X509(bio.get(), certificate) == 1);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return QByteArray(data, size);
}

struct Authority {
    Key key = makeKey();
    Certificate certificate =
        makeCertificate({.commonName = "Test Authority", .names = nullptr}, key.get(), nullptr, nullptr);
    TempFolder folder;
    QString file = folder.write(u"authority.pem"_s, toPEM(certificate.get()));

    static const Authority& shared() {
        static const Authority authority;
        return authority;
    }
};

} // namespace

TestCertificate::TestCertificate(Kind kind)
    : key_(makeKey()) {
    Draft draft;
    if (kind == Kind::Expired)
        draft = {.fromDay = -60, .toDay = -30};
    if (kind == Kind::OtherName)
        draft = {.commonName = "elsewhere.example", .names = "DNS:elsewhere.example"};
    const Authority& authority = Authority::shared();
    const bool isSigned = kind != Kind::SelfSigned;
    certificate_ = makeCertificate(draft, key_.get(), isSigned ? authority.certificate.get() : nullptr,
                                   isSigned ? authority.key.get() : nullptr);
}

std::shared_ptr<ssl_ctx_st> TestCertificate::makeServerContext() const {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    require(context && SSL_CTX_use_certificate(context.get(), certificate_.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context.get(), key_.get()) == 1);
    return context;
}

QString TestCertificate::authorityFile() {
    return Authority::shared().file;
}

void TestCertificate::trustAuthority() {
    qputenv("SSL_CERT_FILE", authorityFile().toUtf8());
}

} // namespace fetra::test
