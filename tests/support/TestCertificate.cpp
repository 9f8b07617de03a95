#include "support/TestCertificate.h"

#include "support/TempFolder.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

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
    const char* commonName;
    const char* names = nullptr; ///< subjectAltName; none for an authority
    long fromDay = -1;
    long toDay = 30;
};

/// Signed by the authority, or by itself when there is none.
Certificate makeCertificate(const Draft& draft, EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey) {
    Certificate certificate(X509_new(), X509_free);
    require(certificate != nullptr);
    X509* raw = certificate.get();
    X509_set_version(raw, X509_VERSION_3);
    unsigned char serial[8];
    require(RAND_bytes(serial, sizeof serial) == 1);
    serial[0] &= 0x7F;
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_bin2bn(serial, sizeof serial, nullptr),
                                                             BN_free);
    BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(raw));
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
        const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
            X509V3_EXT_conf_nid(nullptr, &context, kind, value), X509_EXTENSION_free);
        require(extension && X509_add_ext(raw, extension.get(), -1) == 1);
    };
    if (draft.names) {
        extend(NID_basic_constraints, "critical,CA:FALSE");
        extend(NID_subject_alt_name, draft.names);
    } else {
        extend(NID_basic_constraints, "critical,CA:TRUE");
        extend(NID_key_usage, "critical,keyCertSign,cRLSign");
    }
    require(X509_sign(raw, authorityKey ? authorityKey : key, EVP_sha256()) > 0);
    return certificate;
}

template <typename Write>
QByteArray toPEM(Write write) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), BIO_free);
    require(bio && write(bio.get()) == 1);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return QByteArray(data, size);
}

QByteArray toPEM(X509* certificate) {
    return toPEM([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

struct Authority {
    Key key = makeKey();
    Certificate certificate = makeCertificate({.commonName = "Test Authority"}, key.get(), nullptr, nullptr);
    TempFolder folder;
    QString file = folder.write(u"authority.pem"_s, toPEM(certificate.get()));

    static const Authority& shared() {
        static const Authority authority;
        return authority;
    }
};

Draft draftFor(TestCertificate::Kind kind) {
    switch (kind) {
    case TestCertificate::Kind::Expired:
        return {.commonName = "localhost", .names = kNames, .fromDay = -60, .toDay = -30};
    case TestCertificate::Kind::OtherName:
        return {.commonName = "elsewhere.example", .names = "DNS:elsewhere.example"};
    default:
        return {.commonName = "localhost", .names = kNames};
    }
}

} // namespace

TestCertificate::TestCertificate(Kind kind) {
    const Key key = makeKey();
    const Authority* const authority = kind == Kind::SelfSigned ? nullptr : &Authority::shared();
    const Certificate certificate =
        makeCertificate(draftFor(kind), key.get(), authority ? authority->certificate.get() : nullptr,
                        authority ? authority->key.get() : nullptr);
    certificate_ = toPEM(certificate.get());
    key_ = toPEM([&](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
}

QString TestCertificate::authorityFile() {
    return Authority::shared().file;
}

void TestCertificate::trustAuthority() {
    qputenv("SSL_CERT_FILE", authorityFile().toUtf8());
}

} // namespace fetra::test
