// Small messages cut at every length, changed in every bit and split at every place. Each
// variant gives a defined error or a correct result.
#include <gtest/gtest.h>

#include "platform/base/handle.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

// Codes of messages and algorithms. Others (internal, memory, access) would be faults.
bool Defined(DWORD error) {
    const bool asn1 = error >= 0x80093100 && error <= 0x800931FF;
    const bool message = error >= 0x80091001 && error <= 0x80091011;
    for (const DWORD single :
         {NTE_BAD_DATA, NTE_BAD_SIGNATURE, NTE_BAD_ALGID, NTE_BAD_LEN, NTE_FAIL, CRYPT_E_BAD_MSG}) {
        if (error == single) return true;
    }
    return error == 0 || asn1 || message;
}

// All that a signature stands for: content, its type, the signed attributes, the digest
// algorithm and the signature itself. What lies outside of it (embedded certificates, the
// signer's name, parameters, unsigned attributes, lengths in another form) is not signed
// and may change while the signature still verifies.
struct SignedFacts {
    Bytes content;
    std::string type;
    std::string attributes;
    std::string digest;
    Bytes signature;

    bool operator==(const SignedFacts&) const = default;
};

std::string AttributesOf(Decoding& message) {
    if (message.Get(CMSG_SIGNER_AUTH_ATTR_PARAM) != 0) return "none";
    const Bytes block = message.Value(CMSG_SIGNER_AUTH_ATTR_PARAM);
    const auto& attributes = *reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.data());
    std::string text;
    for (DWORD i = 0; i < attributes.cAttr; ++i) {
        text += attributes.rgAttr[i].pszObjId;
        for (DWORD k = 0; k < attributes.rgAttr[i].cValue; ++k) {
            const CRYPT_ATTR_BLOB& value = attributes.rgAttr[i].rgValue[k];
            text += " " + Hex(ViewOf(value.pbData, value.cbData));
        }
        text += "\n";
    }
    return text;
}

struct SignedRun {
    DWORD error = 0;
    SignedFacts facts;  // set where error is 0
    int finals = 0;
};

// Reads in two pieces and verifies the one signer.
SignedRun RunSigned(ByteView octets, std::size_t split, PCCERT_CONTEXT certificate) {
    SignedRun run;
    Sink sink;
    Decoding message(&sink);
    run.error = message.Update(octets.first(split), false);
    if (run.error == 0) run.error = message.Update(octets.subspan(split), true);
    run.finals = sink.finals;
    if (run.error == 0) run.error = message.Verify(0, certificate);
    if (run.error != 0) return run;
    const Bytes digest = message.Value(CMSG_SIGNER_HASH_ALGORITHM_PARAM);
    run.facts = {sink.output, message.Text(CMSG_INNER_CONTENT_TYPE_PARAM), AttributesOf(message),
                 reinterpret_cast<const CRYPT_ALGORITHM_IDENTIFIER*>(digest.data())->pszObjId,
                 message.Value(CMSG_ENCRYPTED_DIGEST)};
    return run;
}

const struct {
    const char* name;
    const char* signer;
    const char* options;
} kSigned[] = {
    {"RSA", "rsa", "-nodetach -nocerts -nosmimecap"},
    {"RSA, indefinite", "rsa", "-nodetach -stream -nosmimecap"},
    {"RSA, no attributes", "rsa", "-nodetach -nocerts -noattr"},
    {"RSA, indefinite, no attributes, key identifier", "rsa",
     "-nodetach -nocerts -noattr -stream -keyid"},
    {"EC, another type", "ec", "-nodetach -nocerts -nosmimecap -econtent_type 1.2.3.4"},
    {"GOST 2001, no attributes", "gost2001", "-nodetach -nocerts -noattr"},
    {"GOST 2012, indefinite", "gost2012-256", "-nodetach -nocerts -nosmimecap -stream"},
};

template <class Check>
void FlipEveryBit(const Bytes& octets, Check&& check) {
    Bytes changed = octets;
    for (std::size_t bit = 0; bit < octets.size() * 8; ++bit) {
        const auto mask = static_cast<std::uint8_t>(1U << (bit % 8));
        changed[bit / 8] ^= mask;
        check(changed, bit);
        changed[bit / 8] ^= mask;
    }
}

TEST(SweepSigned, EveryLengthSplitAndBit) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(20);
    for (const auto& row : kSigned) {
        SCOPED_TRACE(row.name);
        const PCCERT_CONTEXT certificate = IdentityOf(row.signer).certificate;
        const std::size_t handles = LiveHandles();
        const Bytes octets = SignWith({row.signer}, row.options, content);
        const SignedRun good = RunSigned(octets, octets.size(), certificate);
        ASSERT_EQ(good.error, 0U);
        ASSERT_EQ(good.facts.content, content);

        for (std::size_t at = 0; at < octets.size(); ++at) {
            const SignedRun split = RunSigned(octets, at, certificate);
            EXPECT_TRUE(split.error == 0 && split.facts == good.facts) << "split at " << at;
            const SignedRun cut = RunSigned(ByteView(octets).first(at), at / 2, certificate);
            EXPECT_EQ(cut.error, kShort) << "cut at " << at;
            EXPECT_EQ(cut.finals, 0) << "cut at " << at;
        }
        FlipEveryBit(octets, [&](const Bytes& changed, std::size_t bit) {
            const SignedRun run = RunSigned(changed, changed.size() / 2, certificate);
            EXPECT_TRUE(Defined(run.error)) << "bit " << bit << ": " << std::hex << run.error;
            EXPECT_TRUE(run.error != 0 || run.facts == good.facts) << "bit " << bit;
        });
        EXPECT_EQ(LiveHandles(), handles);
    }
}

struct EnvelopedRun {
    DWORD error = 0;
    Bytes content;
    int finals = 0;
};

EnvelopedRun RunEnveloped(ByteView octets, std::size_t split, HCRYPTPROV provider) {
    EnvelopedRun run;
    Sink sink;
    Decoding message(&sink);
    bool decrypted = false;
    run.error = message.Update(octets.first(split), false);
    if (run.error == 0 && message.Get(CMSG_ENVELOPE_ALGORITHM_PARAM) == 0) {
        run.error = message.Decrypt(provider);
        decrypted = true;
    }
    if (run.error == 0) run.error = message.Update(octets.subspan(split), true);
    if (run.error == 0 && !decrypted) run.error = message.Decrypt(provider);
    run.content = sink.output;
    run.finals = sink.finals;
    return run;
}

const struct {
    const char* name;
    const char* recipient;
    const char* options;
    bool padded;
} kEnveloped[] = {
    {"RSA", "rsa", "-aes256", true},
    {"RSA, indefinite, key identifier", "rsa", "-aes128 -stream -keyid", true},
    {"GOST 2012", "gost2012-256", "-gost89", false},
    {"GOST 2001, indefinite", "gost2001", "-gost89 -stream", false},
};

// EnvelopedData carries no check of its content. So a change in the ciphertext, in the IV
// or in the cipher's parameters may give another plaintext, and there is no way to tell;
// a changed RSA key gives a random one, whose padding fits in one of 256 cases. All other
// changes must fail or leave the plaintext alone, and a failure never ends the output.
TEST(SweepEnveloped, EveryLengthSplitAndBit) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(40);
    for (const auto& row : kEnveloped) {
        SCOPED_TRACE(row.name);
        const HCRYPTPROV provider = IdentityOf(row.recipient).provider;
        const std::size_t handles = LiveHandles();
        const Bytes octets = EncryptFor({row.recipient}, row.options, content);
        // The content's type stands between the recipients and cipher, IV and content.
        const Bytes type = FromHex("06092A864886F70D010701");
        const auto cipher = std::search(octets.begin(), octets.end(), type.begin(), type.end());
        const auto unprotected = static_cast<std::size_t>(cipher - octets.begin()) + type.size();
        for (std::size_t at = 0; at < octets.size(); ++at) {
            const EnvelopedRun split = RunEnveloped(octets, at, provider);
            EXPECT_EQ(split.error, 0U) << "split at " << at;
            EXPECT_EQ(split.content, content) << "split at " << at;
            EXPECT_EQ(split.finals, 1) << "split at " << at;
            const EnvelopedRun cut = RunEnveloped(ByteView(octets).first(at), at / 2, provider);
            EXPECT_EQ(cut.error, kShort) << "cut at " << at;
            EXPECT_EQ(cut.finals, 0) << "cut at " << at;
        }
        std::size_t lucky = 0;
        FlipEveryBit(octets, [&](const Bytes& changed, std::size_t bit) {
            const EnvelopedRun run = RunEnveloped(changed, changed.size() / 2, provider);
            EXPECT_TRUE(Defined(run.error)) << "bit " << bit << ": " << std::hex << run.error;
            EXPECT_EQ(run.finals, run.error == 0 ? 1 : 0) << "bit " << bit;
            if (run.error == 0 && bit / 8 < unprotected && run.content != content) ++lucky;
        });
        EXPECT_LT(lucky, row.padded ? octets.size() * 8 / 64 : 1);
        EXPECT_EQ(LiveHandles(), handles);
    }
}

}  // namespace
