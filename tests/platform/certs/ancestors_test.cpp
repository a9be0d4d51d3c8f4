// The way from a certificate to its root among honest and other certificates.
#include <openssl/x509v3.h>

#include "platform/certs/ancestors.h"
#include "platform/providers/openssl.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

struct Name {
    const char* name;
    AnyKey key;
    const char* keyId = "";  // one letter
};

void AddKeyIds(X509* made, const char* own, const char* issuers) {
    const std::unique_ptr<ASN1_OCTET_STRING, Freer<ASN1_OCTET_STRING_free>> id(
        ASN1_OCTET_STRING_new());
    ASN1_OCTET_STRING_set(id.get(), reinterpret_cast<const unsigned char*>(own), -1);
    if (*own != 0) X509_add1_ext_i2d(made, NID_subject_key_identifier, id.get(), 0, 0);
    const std::unique_ptr<AUTHORITY_KEYID, Freer<AUTHORITY_KEYID_free>> named(
        AUTHORITY_KEYID_new());
    named->keyid = ASN1_OCTET_STRING_dup(id.get());
    ASN1_OCTET_STRING_set(named->keyid, reinterpret_cast<const unsigned char*>(issuers), -1);
    if (*issuers != 0) X509_add1_ext_i2d(made, NID_authority_key_identifier, named.get(), 0, 0);
}

CertificatePointer Make(const Name& subject, const Name& issuer, bool altered = false) {
    static long serial = 0;
    const NativeCertificate made(X509_new());
    X509_set_version(made.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made.get()), ++serial);
    const auto add = [](X509_NAME* name, const char* text) {
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(text), -1, -1, 0);
    };
    add(X509_get_subject_name(made.get()), subject.name);
    add(X509_get_issuer_name(made.get()), issuer.name);
    X509_gmtime_adj(X509_getm_notBefore(made.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(made.get()), 1000);
    X509_set_pubkey(made.get(), subject.key.Native());
    AddKeyIds(made.get(), subject.keyId, issuer.keyId);
    X509_sign(made.get(), issuer.key.Native(), EVP_sha256());
    Bytes der = EncodeWhole<X509>(&i2d_X509, made.get());
    if (altered) der.back() ^= 1;
    return Certificate::Parse(der);
}

TEST(Ancestors, AreFoundWithinABound) {
    const AnyKey one = GenerateKey(kTypeEcdsa);
    const AnyKey two = GenerateKey(kTypeEcdsa);
    const Name leaf{"leaf", two};
    const Name sub{"sub", one};
    const Name root{"root", two};
    const Name marked{"sub", one, "m"};
    const auto theLeaf = Make(leaf, sub);
    const auto markedLeaf = Make(leaf, marked);
    const auto theSub = Make(sub, root);
    const auto theRoot = Make(root, root);
    const auto markedSub = Make(marked, root);
    Certificates crowd;
    for (int i = 0; i < 300; ++i) crowd.push_back(Make({"sub", two}, root));
    const auto with = [](Certificates list, const Certificates& more) {
        list.insert(list.end(), more.begin(), more.end());
        return list;
    };
    const auto forgedSub = Make(sub, root, true);
    const auto circle = Make(sub, {"other", two});
    const auto rest = Make({"other", two}, sub);
    const struct {
        const char* what;
        CertificatePointer certificate;
        Certificates pool;
        Certificates issuers;
        bool broken;
    } rows[] = {
        {"a chain", theLeaf, {theRoot, theLeaf, theSub}, {theSub, theRoot}, false},
        {"nobody here", theLeaf, {theRoot}, {}, false},
        {"altered", Make(leaf, sub, true), {theSub, theRoot}, {}, true},
        {"altered on the way", theLeaf, {forgedSub, theRoot}, {forgedSub}, true},
        {"a circle", theLeaf, {circle, rest}, {circle, rest}, false},
        {"a crowd of the name", theLeaf, with(crowd, {theSub, theRoot}), {}, true},
        {"known in the crowd",
         markedLeaf,
         with(crowd, {markedSub, theRoot}),
         {markedSub, theRoot},
         false},
    };
    for (const auto& row : rows) {
        const Ancestors found = FindAncestors(row.certificate, row.pool);
        EXPECT_EQ(found.issuers, row.issuers) << row.what;
        EXPECT_EQ(found.broken, row.broken) << row.what;
    }
}

}  // namespace
}  // namespace platform::testing
