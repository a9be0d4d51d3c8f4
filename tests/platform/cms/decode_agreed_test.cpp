// Key agreements of GOST keys, put together here from their parts; those with KExp15 the openssl
// command opens, too.
#include <gtest/gtest.h>

#include <functional>

#include "platform/der/der.h"
#include "platform/der/values.h"
#include "platform/gost/block.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/derivation.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/gost_key.h"
#include "tests/support/decode_support.h"
#include "tests/support/engine.h"

using namespace platform;
using namespace platform::testing;

namespace {

using der::ContextConstructed;
using der::Element;
using der::kOctetString;
using der::kSequence;

constexpr DWORD kBadAlgorithm = Code(NTE_BAD_ALGID);

Bytes Octets(ByteView octets) { return Element(kOctetString, octets); }
Bytes Named(const char* oid, ByteView parameters) {
    return Element(kSequence, {der::Oid(oid), parameters});
}

// The parts of a KeyAgreeRecipientInfo, as a row may spoil them.
struct Parts {
    Bytes originator;  // inside [0]
    Bytes ukm;         // with its tag
    Bytes keyEncryption;
    Bytes encryptedKey;
};

struct Form {
    const char* name;
    const char* identity;
    const char* agreement;
    const char* wrap;
    const char* set;
    const char* cipher;
};

constexpr const char* kCipher89 = "1.2.643.2.2.21";
const Form kForms[] = {
    {"2001", "gost2001", "1.2.643.2.2.96", "1.2.643.2.2.13.1", "1.2.643.2.2.31.1", kCipher89},
    {"2001, plain wrap", "gost2001", "1.2.643.2.2.96", "1.2.643.2.2.13.0", "1.2.643.2.2.31.2",
     kCipher89},
    {"2012, 256 bit", "gost2012-256", "1.2.643.7.1.1.6.1", "1.2.643.2.2.13.1",
     "1.2.643.7.1.2.5.1.1", kCipher89},
    {"2012, 512 bit", "gost2012-512", "1.2.643.7.1.1.6.2", "1.2.643.2.2.13.1",
     "1.2.643.7.1.2.5.1.1", kCipher89},
    {"Magma", "gost2012-256", "1.2.643.7.1.1.6.1", "1.2.643.7.1.1.7.1.1", "",
     "1.2.643.7.1.1.5.1.1"},
    {"Kuznyechik", "gost2012-512", "1.2.643.7.1.1.6.2", "1.2.643.7.1.1.7.2.1", "",
     "1.2.643.7.1.1.5.2.1"},
};

bool IsOld(const Form& form) { return *form.set != 0; }

struct Sender {
    const GostKey& recipient;
    Secret own;
    Bytes point;

    explicit Sender(const GostKey& key)
        : recipient(key), own(key.curve->NewPrivate()), point(key.curve->PublicOf(own.View())) {}

    [[nodiscard]] Bytes PublicInfo() const {
        Bytes bits = Octets(point);
        bits.insert(bits.begin(), 0);
        return Element(ContextConstructed(1),
                       {Element(kSequence, {der::Oid(recipient.oid), recipient.parameters}),
                        Element(0x03, bits)});
    }
};

Bytes Sealed89(const Form& form, const Sender& sender, ByteView ukm, ByteView content) {
    const auto digest = form.identity == std::string("gost2001") ? gost::VkoDigest::Gost94
                                                                 : gost::VkoDigest::Streebog256;
    const Secret kek = gost::Vko(*sender.recipient.curve, digest, sender.own.View(),
                                 sender.recipient.publicKey, ukm);
    const bool plain = std::string(form.wrap).ends_with(".0");
    const gost::WrappedKey wrapped =
        gost::WrapKey89(plain ? gost::Wrap89::Plain : gost::Wrap89::Diversified,
                        *gost::FindSubstitution(form.set), kek.View(), ukm, content);
    return Element(kSequence, {Octets(wrapped.encrypted), Octets(wrapped.mac)});
}

Bytes Sealed15(const Form& form, const Sender& sender, ByteView ukm, ByteView content) {
    const Secret keys =
        gost::Keg(*sender.recipient.curve, sender.own.View(), sender.recipient.publicKey, ukm);
    const auto cipher = std::string(form.name) == "Magma"
                            ? gost::NewMagma(keys.View().last(32))
                            : gost::NewKuznyechik(keys.View().last(32));
    return gost::WrapKey15(*cipher, keys.View().first(32), keys.View().last(32),
                           ukm.subspan(24, cipher->Size() / 2), content);
}

Parts Seal(const Form& form, const GostKey& recipient, ByteView contentKey) {
    const Sender sender(recipient);
    const Bytes ukm = Pattern(IsOld(form) ? 8 : 32);
    Parts parts;
    parts.originator = sender.PublicInfo();
    parts.ukm = Element(ContextConstructed(1), Octets(ukm));
    if (IsOld(form)) {
        const Bytes set = Element(kSequence, der::Oid(form.set));
        parts.keyEncryption = Named(form.agreement, Named(form.wrap, set));
        parts.encryptedKey = Sealed89(form, sender, ukm, contentKey);
    } else {
        parts.keyEncryption = Named(form.wrap, Named(form.agreement, {}));
        parts.encryptedKey = Sealed15(form, sender, ukm, contentKey);
    }
    return parts;
}

Bytes IssuerAndSerial(const CERT_INFO& info) {
    Bytes serial(info.SerialNumber.pbData, info.SerialNumber.pbData + info.SerialNumber.cbData);
    std::reverse(serial.begin(), serial.end());
    return Element(kSequence,
                   {ViewOf(info.Issuer.pbData, info.Issuer.cbData), Element(0x02, serial)});
}

// The second of two receivers; a third one has a RecipientInfo of its own.
Bytes Message(const Parts& parts, const char* identity, const Algorithm& cipher, ByteView content) {
    const Bytes own = IssuerAndSerial(*IdentityOf(identity).certificate->pCertInfo);
    const Bytes nobody = Element(ContextConstructed(0), Octets(Pattern(20)));
    const Bytes keys = Element(kSequence, {Element(kSequence, {nobody, Octets(Pattern(44))}),
                                           Element(kSequence, {own, Octets(parts.encryptedKey)})});
    const Bytes recipient = Element(
        ContextConstructed(1), {der::Integer(3), Element(ContextConstructed(0), parts.originator),
                                parts.ukm, parts.keyEncryption, keys});
    const Bytes other =
        Element(ContextConstructed(2), {der::Integer(4), Element(kSequence, Octets(Pattern(4))),
                                        Named("2.16.840.1.101.3.4.1.45", {}), Octets(Pattern(40))});
    const Bytes inner = Element(kSequence, {der::Oid(szOID_RSA_data), EncodeAlgorithm(cipher),
                                            Element(der::Context(0), content)});
    const Bytes data =
        Element(kSequence, {der::Integer(2), Element(der::kSet, {recipient, other}), inner});
    return Element(kSequence,
                   {der::Oid(szOID_RSA_envelopedData), Element(ContextConstructed(0), data)});
}

// A message of that form, spoilt on its way.
Bytes MessageOf(const Form& form, const std::function<void(Parts&)>& spoil, ByteView content) {
    Algorithm cipher;
    Secret contentKey;
    const CipherContext context = StartEncryption(form.cipher, cipher, contentKey);
    Bytes text(content.size() + Cipher::kSlack);
    std::size_t written = 0;
    EXPECT_TRUE(context->Update(content, text.data(), written));
    text.resize(written);
    const AnyKey key = PrivateKeyOf(IdentityOf(form.identity).provider, AT_KEYEXCHANGE);
    Parts parts = Seal(form, *key.Gost(), contentKey.View());
    if (spoil) spoil(parts);
    return Message(parts, form.identity, cipher, text);
}

DWORD Open(const Form& form, const Bytes& message, const Bytes& content) {
    Sink sink;
    Decoding decoding(&sink);
    const HCRYPTPROV provider = IdentityOf(form.identity).provider;
    const DWORD error = decoding.Feed(message, 65536, provider, 1);
    EXPECT_TRUE(error != 0 || sink.output == content) << form.name;
    return error;
}

TEST(DecodeAgreed, OpensEveryForm) {
    SKIP_WITHOUT_ENGINE();
    const Bytes content = Pattern(1000);
    for (const Form& form : kForms) {
        SCOPED_TRACE(form.name);
        const Bytes message = MessageOf(form, {}, content);
        EXPECT_EQ(Open(form, message, content), 0U);
        Decoding whole(message);
        EXPECT_EQ(whole.Number(CMSG_RECIPIENT_COUNT_PARAM), 3U);
        EXPECT_EQ(whole.Decrypt(IdentityOf(form.identity).provider, 2),
                  Code(CRYPT_E_RECIPIENT_NOT_FOUND));
        const Bytes byKey = whole.Value(CMSG_RECIPIENT_INFO_PARAM, 0);
        const CERT_NAME_BLOB& name = reinterpret_cast<const CERT_INFO*>(byKey.data())->Issuer;
        EXPECT_EQ(Copy(ViewOf(name.pbData, name.cbData)),
                  Element(kSequence,
                          Element(0x31, Named("1.3.6.1.4.1.311.10.7.1", Octets(Pattern(20))))));
        const Bytes block = whole.Value(CMSG_RECIPIENT_INFO_PARAM, 1);
        EXPECT_TRUE(CertCompareCertificate(
            X509_ASN_ENCODING,
            reinterpret_cast<PCERT_INFO>(const_cast<std::uint8_t*>(block.data())),
            IdentityOf(form.identity).certificate->pCertInfo));
        // The engine knows no agreement with the wraps of RFC 4357.
        if (IsOld(form)) continue;
        WriteFile("agreed", message);
        const std::string own = form.identity;
        OpenSsl("cms -engine gost -decrypt -binary -inform DER -in agreed -out content -recip " +
                own + ".pem -inkey " + own + ".key");
        EXPECT_EQ(ReadFile("content"), content);
    }
}

TEST(DecodeAgreed, RefusesWhatDoesNotFit) {
    SKIP_WITHOUT_ENGINE();
    const auto last = [](Bytes& bytes) { bytes.back() ^= 1; };
    const Bytes other = Named("1.2.643.2.2.96", Named("1.2.643.2.2.13.1", {}));
    const struct {
        const char* name;
        std::function<void(Parts&)> spoil;
        DWORD expected;
    } rows[] = {
        {"good", {}, 0},
        {"parameters left to the receiver's key",
         [](Parts& parts) {
             const auto point = parts.originator.end() - 69;
             const Bytes bits(point, parts.originator.end());
             parts.originator = Element(ContextConstructed(1),
                                        {Element(kSequence, der::Oid("1.2.643.7.1.1.1.1")), bits});
         },
         0},
        {"point off the curve", [&](Parts& parts) { last(parts.originator); }, kBadData},
        {"sender by issuer and serial number",
         [](Parts& parts) {
             parts.originator = IssuerAndSerial(*IdentityOf("gost2012-256").certificate->pCertInfo);
         },
         kBadData},
        {"no keying material", [](Parts& parts) { parts.ukm.clear(); }, kBadData},
        {"other keying material", [](Parts& parts) { parts.ukm[4] ^= 1; }, kBadData},
        {"short keying material",
         [](Parts& parts) { parts.ukm = Element(ContextConstructed(1), Octets(Bytes(7))); },
         kBadData},
        {"changed code", [&](Parts& parts) { last(parts.encryptedKey); }, kBadData},
        {"no encrypted key", [](Parts& parts) { parts.encryptedKey.clear(); }, kBadData},
        {"a masked key",
         [](Parts& parts) {
             parts.encryptedKey = Element(
                 kSequence,
                 {Octets(Bytes(32)), Element(der::Context(0), Bytes(32)), Octets(Bytes(4))});
         },
         kBadData},
        {"agreement of other keys", [&](Parts& parts) { parts.keyEncryption = other; },
         kBadAlgorithm},
        {"unknown wrap",
         [](Parts& parts) {
             parts.keyEncryption = Named("1.2.643.7.1.1.6.1", Named("1.2.643.2.2.13.2", {}));
         },
         kBadAlgorithm},
        {"no wrap", [](Parts& parts) { parts.keyEncryption = Named("1.2.643.7.1.1.6.1", {}); },
         kBadAlgorithm},
        {"wrap without parameters",
         [](Parts& parts) {
             parts.keyEncryption = Named("1.2.643.7.1.1.6.1", Named("1.2.643.2.2.13.1", {}));
         },
         kBadData},
    };
    const Bytes content = Pattern(50);
    for (const char* name : {"2012, 256 bit", "Magma"}) {
        const Form& form = *std::find_if(std::begin(kForms), std::end(kForms), [&](const Form& f) {
            return f.name == std::string(name);
        });
        for (const auto& row : rows) {
            const bool aboutWraps = std::string(row.name).find("wrap ") != std::string::npos;
            if (!IsOld(form) && aboutWraps) continue;
            EXPECT_EQ(Open(form, MessageOf(form, row.spoil, content), content), row.expected)
                << form.name << ", " << row.name;
        }
    }
}

}  // namespace
