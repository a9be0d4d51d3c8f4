// Authorities that issue, revoke and sign lists.
#include "tests/platform/chain/authority.h"

#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cctype>

#include "platform/base/ticks.h"
#include "platform/der/der.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/openssl.h"

namespace platform::testing {
namespace {

long nextSerial = 1000;

void Check(bool good, const std::string& what) {
    if (!good) throw std::runtime_error(what);
}

std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION_free>> MakeExtension(
    const Extension& extension, X509V3_CTX* context) {
    std::string value = extension.value;
    const bool dotted = std::isdigit(static_cast<unsigned char>(extension.name[0])) != 0;
    if (dotted) value.insert(value.starts_with("critical,") ? 9 : 0, "DER:");
    return std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION_free>>(
        X509V3_EXT_nconf(nullptr, context, extension.name.c_str(), value.c_str()));
}

template <class Target>
void AddExtensions(const std::vector<Extension>& extensions, X509V3_CTX* context, Target* target,
                   int (*add)(Target*, X509_EXTENSION*, int)) {
    for (const Extension& extension : extensions) {
        const auto made = MakeExtension(extension, context);
        Check(made != nullptr, "extension " + extension.name);
        add(target, made.get(), -1);
    }
}

void AddName(X509_NAME* name, const char* field, const std::string& text) {
    X509_NAME_add_entry_by_txt(name, field, MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(text.c_str()), -1, -1, 0);
}

std::shared_ptr<EVP_PKEY> KeyFor(const Recipe& recipe) {
    if (recipe.key == nullptr) {
        const AnyKey fresh = GenerateKey(static_cast<DWORD>(recipe.type));
        EVP_PKEY_up_ref(fresh.Native());
        return EvpKey(fresh.Native());
    }
    EVP_PKEY_up_ref(recipe.key);
    return EvpKey(recipe.key);
}

// Null for Ed25519, which names none.
const EVP_MD* DigestFor(const char* name) {
    return name == nullptr ? nullptr : EVP_get_digestbyname(name);
}

void Sign(X509* certificate, EVP_PKEY* key, const Recipe& recipe) {
    const std::unique_ptr<EVP_MD_CTX, Freer<EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* parameters = nullptr;
    EVP_DigestSignInit(context.get(), &parameters, DigestFor(recipe.digest), nullptr, key);
    if (recipe.pss) EVP_PKEY_CTX_set_rsa_padding(parameters, RSA_PKCS1_PSS_PADDING);
    Check(X509_sign_ctx(certificate, context.get()) > 0, "signing");
}

NativeCertificate Unsigned(const Recipe& recipe, EVP_PKEY* key, const Identity* issuer) {
    NativeCertificate made(X509_new());
    X509* certificate = made.get();
    X509_set_version(certificate, recipe.extensions.empty() ? X509_VERSION_1 : X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), nextSerial++);
    X509_gmtime_adj(X509_getm_notBefore(certificate), recipe.from);
    X509_gmtime_adj(X509_getm_notAfter(certificate), recipe.to);
    X509_set_pubkey(certificate, key);
    AddName(X509_get_subject_name(certificate), "CN", recipe.name);
    X509* above = issuer == nullptr ? certificate : issuer->Cert()->Native();
    X509_set_issuer_name(certificate, X509_get_subject_name(above));
    X509V3_CTX context;
    X509V3_set_ctx(&context, above, certificate, nullptr, nullptr, 0);
    std::vector<Extension> extensions = recipe.extensions;
    if (X509_get_version(above) == X509_VERSION_1) {
        std::erase_if(extensions, [](const Extension& extension) {
            return extension.name == "authorityKeyIdentifier";  // it has no identifier to name
        });
    }
    AddExtensions(extensions, &context, certificate, &X509_add_ext);
    return made;
}

std::unique_ptr<X509_REVOKED, Freer<X509_REVOKED_free>> EntryOf(const RevokedEntry& entry) {
    std::unique_ptr<X509_REVOKED, Freer<X509_REVOKED_free>> made(X509_REVOKED_new());
    X509_REVOKED_set_serialNumber(made.get(),
                                  X509_get_serialNumber(entry.identity->Cert()->Native()));
    const std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>> when(
        X509_gmtime_adj(nullptr, entry.when));
    X509_REVOKED_set_revocationDate(made.get(), when.get());
    AddExtensions(entry.extensions, nullptr, made.get(), &X509_REVOKED_add_ext);
    return made;
}

// ecdsa-with-SHA384 under a signature that is made and told as ecdsa-with-SHA256.
Bytes WithOtherInner(const Bytes& crl, EVP_PKEY* key) {
    const Bytes sha256 = FromHex("06082A8648CE3D040302");
    der::Cursor parts = der::Inside(crl, der::kSequence);
    Bytes signedPart = Copy(parts.Next().whole);
    const Bytes algorithm = Copy(parts.Next().whole);
    const auto at = std::search(signedPart.begin(), signedPart.end(), sha256.begin(), sha256.end());
    Check(at != signedPart.end(), "inner algorithm");
    at[9] = 0x03;
    const std::unique_ptr<EVP_MD_CTX, Freer<EVP_MD_CTX_free>> context(EVP_MD_CTX_new());
    EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key);
    Bytes signature(static_cast<std::size_t>(EVP_PKEY_get_size(key)) + 1);
    std::size_t size = signature.size() - 1;
    Check(EVP_DigestSign(context.get(), &signature[1], &size, signedPart.data(),
                         signedPart.size()) > 0,
          "signing");
    signature.resize(size + 1);
    return der::Element(der::kSequence, {signedPart, algorithm, der::Element(0x03, signature)});
}

}  // namespace

Identity::Identity(const Recipe& recipe, const Identity* issuer) : key_(KeyFor(recipe)) {
    const NativeCertificate made = Unsigned(recipe, key_.get(), issuer);
    Sign(made.get(), issuer == nullptr ? key_.get() : issuer->Key(), recipe);
    certificate_ = Certificate::Parse(EncodeWhole<X509>(&i2d_X509, made.get()));
}

std::shared_ptr<Certificate> Identity::Forged() const {
    Bytes der = Copy(certificate_->Der());
    der.back() ^= 1;
    return Certificate::Parse(der);
}

const std::vector<Extension>& AuthorityExtensions() {
    static const std::vector<Extension> extensions = {{"basicConstraints", "critical,CA:TRUE"},
                                                      {"keyUsage", "critical,keyCertSign,cRLSign"},
                                                      {"subjectKeyIdentifier", "hash"}};
    return extensions;
}

Recipe AuthorityNamed(const std::string& name) { return {name, AuthorityExtensions()}; }

Recipe LeafNamed(const std::string& name) {
    return {name,
            {{"basicConstraints", "CA:FALSE"},
             {"subjectKeyIdentifier", "hash"},
             {"authorityKeyIdentifier", "keyid"}}};
}

void SetExtension(Recipe& recipe, const std::string& name, const std::string& value) {
    std::erase_if(recipe.extensions, [&](const Extension& e) { return e.name == name; });
    if (!value.empty()) recipe.extensions.push_back({name, value});
}

const Identity& Root() {
    static const Identity root(AuthorityNamed("Root"));
    return root;
}

const Identity& Middle() {
    static const Identity middle(AuthorityNamed("Middle"), &Root());
    return middle;
}

Leaf LeafOf(const Identity& issuer, std::vector<Extension> more, long from, long to) {
    Recipe recipe = LeafNamed("Leaf");
    recipe.extensions.insert(recipe.extensions.end(), more.begin(), more.end());
    recipe.from = from;
    recipe.to = to;
    return Identity(recipe, &issuer).Cert();
}

std::shared_ptr<Crl> MakeCrl(const Identity& issuer, const CrlRecipe& recipe) {
    const NativeCrl made(X509_CRL_new());
    X509_CRL* crl = made.get();
    if (recipe.version >= 0) X509_CRL_set_version(crl, recipe.version);
    X509_CRL_set_issuer_name(crl, X509_get_subject_name(issuer.Cert()->Native()));
    const std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>> from(
        X509_gmtime_adj(nullptr, recipe.from));
    X509_CRL_set1_lastUpdate(crl, from.get());
    if (recipe.to != 0) {
        const std::unique_ptr<ASN1_TIME, Freer<ASN1_TIME_free>> to(
            X509_gmtime_adj(nullptr, recipe.to));
        X509_CRL_set1_nextUpdate(crl, to.get());
    }
    for (const RevokedEntry& entry : recipe.revoked) {
        X509_CRL_add0_revoked(crl, EntryOf(entry).release());
    }
    X509V3_CTX context;
    const Identity& signer = recipe.signer == nullptr ? issuer : *recipe.signer;
    X509V3_set_ctx(&context, signer.Cert()->Native(), nullptr, nullptr, crl, 0);
    AddExtensions(recipe.extensions, &context, crl, &X509_CRL_add_ext);
    EVP_PKEY* key = signer.Key();
    Check(X509_CRL_sign(crl, key, DigestFor(recipe.digest)) > 0, "CRL");
    const Bytes der = EncodeWhole<X509_CRL>(&i2d_X509_CRL, crl);
    return Crl::Parse(recipe.otherInner ? WithOtherInner(der, key) : der);
}

ChainTest::~ChainTest() { EXPECT_EQ(ERR_peek_error(), 0U); }

void Put(const char* store, const std::shared_ptr<Certificate>& certificate, Side side) {
    OpenSystemStore(side, store, OpenMode::OpenOrCreate)
        ->Add(*certificate, CERT_STORE_ADD_USE_EXISTING);
}

void Put(const char* store, const std::shared_ptr<Crl>& crl, Side side) {
    OpenSystemStore(side, store, OpenMode::OpenOrCreate)->Add(*crl, CERT_STORE_ADD_ALWAYS);
}

DWORD StatusOf(const std::shared_ptr<Certificate>& leaf, DWORD flags, long when) {
    PCCERT_CONTEXT context = Certificate::Share(leaf);
    CERT_CHAIN_PARA para{};
    para.cbSize = sizeof para;
    FILETIME time = FileTimeOf(CurrentTicks() + static_cast<Ticks>(when) * kTicksPerSecond);
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    const BOOL built = CertGetCertificateChain(nullptr, context, when == 0 ? nullptr : &time,
                                               nullptr, &para, flags, nullptr, &chain);
    const DWORD status = built ? chain->TrustStatus.dwErrorStatus : GetLastError();
    EXPECT_TRUE(built) << std::hex << status;
    CertFreeCertificateChain(chain);
    CertFreeCertificateContext(context);
    return status;
}

bool OpenSslAccepts(const std::shared_ptr<Certificate>& leaf) {
    const std::unique_ptr<X509_STORE, Freer<X509_STORE_free>> trust(X509_STORE_new());
    const auto stackFree = [](STACK_OF(X509) * stack) { sk_X509_free(stack); };
    const std::unique_ptr<STACK_OF(X509), decltype(stackFree)> others(sk_X509_new_null());
    std::vector<std::shared_ptr<Certificate>> kept;
    for (const Side side : {Side::User, Side::Machine}) {
        for (const std::string& name : SystemStoreNames(side)) {
            for (const auto& one :
                 OpenSystemStore(side, name, OpenMode::Existing)->Certificates()) {
                kept.push_back(one);
                if (name == "Root") {
                    X509_STORE_add_cert(trust.get(), one->Native());
                } else {
                    sk_X509_push(others.get(), one->Native());
                }
            }
        }
    }
    const std::unique_ptr<X509_STORE_CTX, Freer<X509_STORE_CTX_free>> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), trust.get(), leaf->Native(), others.get());
    X509_VERIFY_PARAM_add0_policy(X509_STORE_CTX_get0_param(context.get()),
                                  OBJ_nid2obj(NID_any_policy));
    X509_STORE_CTX_set_flags(context.get(), X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_POLICY_CHECK);
    const bool accepted = X509_verify_cert(context.get()) == 1;
    ERR_clear_error();
    return accepted;
}

}  // namespace platform::testing
