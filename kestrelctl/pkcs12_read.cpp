// Reading PKCS #12 files: piece by piece, so that the work that a piece asks for is known
// before it is done.
#include <openssl/err.h>
#include <openssl/provider.h>

#include <algorithm>
#include <optional>

#include "kestrelctl/cli.h"
#include "kestrelctl/pkcs12_file.h"
#include "kestrelctl/pkcs12_parts.h"
#include "platform/base/home.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/container.h"
#include "platform/providers/key_file.h"
#include "platform/providers/pkcs12.h"
#include "platform/providers/round_budget.h"

namespace kestrelctl {
namespace {

// A bag may hold bags (RFC 7292 4.2.6).
constexpr int kDeepestBag = 8;

using LegacyProvider = std::unique_ptr<OSSL_PROVIDER, platform::Freer<OSSL_PROVIDER_unload>>;

STACK_OF(PKCS12_SAFEBAG) *
    DecodeBags(STACK_OF(PKCS12_SAFEBAG) * *into, const unsigned char** at, long size) {
    return reinterpret_cast<STACK_OF(PKCS12_SAFEBAG)*>(ASN1_item_d2i(
        reinterpret_cast<ASN1_VALUE**>(into), at, size, ASN1_ITEM_rptr(PKCS12_SAFEBAGS)));
}

// An empty password and none at all derive different keys (RFC 7292 B.1).
using Password = std::optional<platform::Secret>;

// One walk over a file's bags. A piece that cannot be opened is passed over: whether what
// was found will do is decided at the end.
class Walk {
  public:
    explicit Walk(const Password& password) {
        if (password) password_ = Terminated(*password);
    }

    void Take(const PKCS12* file) {
        const Contents contents(PKCS12_unpack_authsafes(file));
        for (int i = 0; i < sk_PKCS7_num(contents.get()); ++i) {
            Take(sk_PKCS7_value(contents.get(), i));
        }
        ERR_clear_error();
    }
    std::vector<platform::AnyKey> keys;
    std::vector<platform::Bytes> certificates;
    std::string unknown;    // the first algorithm of a piece that nobody here knows
    bool unusable = false;  // a key was opened and cannot be used

  private:
    // Whether the piece has been passed over.
    template <class Open>
    void IfKnown(Open&& open) {
        try {
            open();
        } catch (const platform::Error& error) {
            if (error.Code() != static_cast<DWORD>(NTE_BAD_ALGID)) throw;
            if (unknown.empty()) unknown = error.Detail();
        }
    }
    void Take(PKCS7* content) {
        Bags bags;
        if (PKCS7_type_is_data(content)) {
            bags.reset(PKCS12_unpack_p7data(content));
        } else if (PKCS7_type_is_encrypted(content) && content->d.encrypted != nullptr) {
            budget_.Spend(content->d.encrypted->enc_data->algorithm);
            IfKnown([&] { bags = Decrypted(content); });
        }
        Take(bags.get(), 0);
    }
    [[nodiscard]] Bags Decrypted(PKCS7* content) const {
        const PKCS7_ENC_CONTENT* sealed = content->d.encrypted->enc_data;
        if (sealed->enc_data == nullptr || !platform::UsesGost(sealed->algorithm)) {
            return Bags(PKCS12_unpack_p7encdata(content, Text(), Length()));
        }
        const platform::Secret plain = platform::DecryptGostPbes2(
            sealed->algorithm, platform::ViewOf(sealed->enc_data), Plain());
        return platform::DecodeWhole<Bags>(&DecodeBags, plain.View());
    }
    void Take(const STACK_OF(PKCS12_SAFEBAG) * bags, int depth) {
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            Take(sk_PKCS12_SAFEBAG_value(bags, i), depth);
        }
    }
    void Take(const PKCS12_SAFEBAG* bag, int depth) {
        switch (PKCS12_SAFEBAG_get_nid(bag)) {
            case NID_keyBag:
                return TakeKey(PKCS12_SAFEBAG_get0_p8inf(bag));
            case NID_pkcs8ShroudedKeyBag:
                return IfKnown([&] { TakeSealedKey(bag); });
            case NID_certBag:
                return TakeCertificate(bag);
            case NID_safeContentsBag:
                if (depth < kDeepestBag) Take(PKCS12_SAFEBAG_get0_safes(bag), depth + 1);
                return;
            default:
                return;
        }
    }
    void TakeKey(const PKCS8_PRIV_KEY_INFO* info) {
        platform::AnyKey key = info != nullptr ? platform::KeyFromInfo(info) : platform::AnyKey();
        unusable = unusable || (info != nullptr && !key);
        if (key) keys.push_back(std::move(key));
    }
    void TakeSealedKey(const PKCS12_SAFEBAG* bag) {
        const X509_ALGOR* algorithm = nullptr;
        const ASN1_OCTET_STRING* sealed = nullptr;
        X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &algorithm, &sealed);
        budget_.Spend(algorithm);
        if (!platform::UsesGost(algorithm)) {
            const platform::PrivateKeyInfo info(PKCS12_decrypt_skey(bag, Text(), Length()));
            return TakeKey(info.get());
        }
        const platform::Secret plain =
            platform::DecryptGostPbes2(algorithm, platform::ViewOf(sealed), Plain());
        TakeKey(
            platform::DecodeWhole<platform::PrivateKeyInfo>(&d2i_PKCS8_PRIV_KEY_INFO, plain.View())
                .get());
    }
    void TakeCertificate(const PKCS12_SAFEBAG* bag) {
        if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate) return;
        const NativeCertificate certificate(PKCS12_SAFEBAG_get1_cert(bag));
        if (certificate) {
            certificates.push_back(platform::EncodeWhole<X509>(&i2d_X509, certificate.get()));
        }
    }
    [[nodiscard]] const char* Text() const {
        return password_ ? password_->Text().data() : nullptr;
    }
    [[nodiscard]] int Length() const {
        return password_ ? static_cast<int>(password_->View().size()) - 1 : 0;
    }

    // Without the terminator.
    [[nodiscard]] platform::Secret Plain() const {
        return password_ ? platform::Secret(password_->View().first(password_->View().size() - 1))
                         : platform::Secret();
    }

    Password password_;
    platform::RoundBudget budget_;
};

bool BelongsTo(const platform::AnyKey& key, const platform::Bytes& der) {
    try {
        const auto certificate = platform::Certificate::Parse(der);
        return platform::PublicKeyFromInfo(certificate->Info().SubjectPublicKeyInfo).Matches(key);
    } catch (const platform::Error&) {
        return false;
    }
}

// The first key that has its certificate, else the first key.
Pkcs12Content Chosen(Walk walk) {
    Pkcs12Content content;
    if (walk.keys.empty()) return content;
    auto key = walk.keys.begin();
    auto own = walk.certificates.end();
    for (auto at = walk.keys.begin(); at != walk.keys.end() && own == walk.certificates.end();
         ++at) {
        own = std::ranges::find_if(walk.certificates,
                                   [&](const auto& der) { return BelongsTo(*at, der); });
        if (own != walk.certificates.end()) key = at;
    }
    content.key = std::move(*key);
    if (own == walk.certificates.end()) return content;
    content.certificate = std::move(*own);
    walk.certificates.erase(own);
    content.others = std::move(walk.certificates);
    return content;
}

// What was found may do or not; why not, as far as the file has told.
struct Attempt {
    Pkcs12Content content;
    std::string unknown;
    bool unusable = false;

    [[nodiscard]] bool Good() const { return content.key && !content.certificate.empty(); }
};

Attempt Try(const PKCS12* file, const Password& password) {
    Walk walk(password);
    walk.Take(file);
    Attempt attempt{{}, walk.unknown, walk.unusable};
    attempt.content = Chosen(std::move(walk));
    return attempt;
}

// Old files use ciphers of the legacy provider: it is loaded only when a plain attempt fails.
Attempt TryAll(const PKCS12* file, const Password& password) {
    Attempt attempt = Try(file, password);
    if (attempt.Good()) return attempt;
    const LegacyProvider legacy(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    return legacy != nullptr ? Try(file, password) : std::move(attempt);
}

// Whether the password is the one that the file was closed with, as far as that shows. An
// empty one becomes none where the file means that.
bool OpensMac(PKCS12* file, Password& password) {
    if (PKCS12_mac_present(file) == 0) return true;
    const ASN1_INTEGER* rounds = nullptr;
    const X509_ALGOR* digest = nullptr;
    PKCS12_get0_mac(nullptr, &digest, nullptr, &rounds, file);
    platform::RoundBudget().Spend(rounds, digest);
    const ASN1_OBJECT* object = nullptr;
    X509_ALGOR_get0(&object, nullptr, nullptr, digest);
    if (platform::IsGost(platform::DottedOf(object))) {
        return platform::GostMacFits(file, *password);
    }
    const platform::Secret text = Terminated(*password);
    const int length = static_cast<int>(text.View().size()) - 1;
    if (PKCS12_verify_mac(file, text.Text().data(), length) == 1) return true;
    if (length != 0 || PKCS12_verify_mac(file, nullptr, 0) != 1) return false;
    password.reset();
    return true;
}

// A key that no container takes fits no certificate either.
void CheckAlgorithm(const platform::AnyKey& key, const std::string& name) {
    try {
        platform::TypeForKey(key);
    } catch (const platform::Error&) {
        throw Failure("'" + name + "' holds a key of an algorithm that no container takes, " +
                      key.Oid());
    }
}

Pkcs12Content Open(PKCS12* file, Password password, const std::string& name) {
    if (!OpensMac(file, password)) throw Failure("wrong password for '" + name + "'");
    Attempt attempt = TryAll(file, password);
    if (attempt.Good()) return std::move(attempt.content);
    if (!attempt.unknown.empty()) {
        throw Failure("'" + name + "' is encrypted with an unknown algorithm, " + attempt.unknown);
    }
    if (attempt.content.key) {
        CheckAlgorithm(attempt.content.key, name);
        throw Failure("'" + name + "' holds no certificate for its key");
    }
    if (PKCS12_mac_present(file) == 0 && !attempt.unusable) {
        throw Failure("wrong password for '" + name + "', or no private key in it");
    }
    throw Failure("'" + name + "' holds no private key that can be used");
}

}  // namespace

Pkcs12Content ReadPkcs12(const std::string& file, const platform::Secret& password) {
    const platform::Bytes bytes = platform::ReadWholeFile(file);
    const auto parsed = platform::DecodeWhole<Pkcs12>(&d2i_PKCS12, bytes);
    if (!parsed) {
        ERR_clear_error();
        throw Failure("'" + file + "' is not a PKCS #12 file");
    }
    try {
        return Open(parsed.get(), password, file);
    } catch (const platform::TooManyRounds&) {
        throw Failure("'" + file + "' asks for an absurd number of rounds of key derivation");
    }
}

}  // namespace kestrelctl
