// Putting certificate requests together.
#include "platform/enroll/request.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <algorithm>
#include <bit>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/encode.h"
#include "platform/der/der.h"
#include "platform/der/records.h"
#include "platform/der/values.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/provider.h"
#include "platform/simple/sign_message.h"

namespace platform {
namespace {

// RFC 2985 5.4.2.
constexpr const char* kExtensionRequest = "1.2.840.113549.1.9.14";
constexpr const char* kSmimeCapabilities = "1.2.840.113549.1.9.15";
constexpr Ticks kTicksPerDay = 86400 * kTicksPerSecond;
// From 1601 to the end of 9999, the last year that a certificate can tell (RFC 5280 4.1.2.5.2).
constexpr Ticks kTellableDays = 3'067'671;
constexpr int kLineColumns = 64;

struct Signing {
    std::string digestOid;
    Algorithm algorithm;  // as certificates and requests name it
};

// The digest that a GOST key fixes, SHA-256 for others.
Signing SigningOf(const AnyKey& key) {
    const std::string keyOid = key.Oid();
    for (const SignatureRow& row : SignatureTable()) {
        if (row.keyOid != keyOid || row.oid == keyOid || row.digestOid == nullptr) continue;
        if (!IsGost(keyOid) && row.digestOid != std::string_view(oid::kSha256)) continue;
        const bool nullParameters = row.scheme == Scheme::Pkcs1;
        return {row.digestOid, {row.oid, nullParameters ? Bytes{0x05, 0x00} : Bytes{}}};
    }
    return {oid::kSha256, SignatureAlgorithmFor(key, oid::kSha256)};
}

Bytes Signed(const Signing& signing, ByteView body, const AnyKey& key) {
    const Bytes signature = SignDigest(key, signing.digestOid, DigestOf(signing.digestOid, body));
    return der::Element(der::kSequence,
                        {body, EncodeAlgorithm(signing.algorithm), EncodeBitString(signature, 0)});
}

Bytes EncodeExtensionList(const std::vector<Extension>& list) {
    std::vector<Bytes> elements;
    for (const auto& [oid, critical, value] : list) {
        elements.push_back(EncodeExtension(oid.c_str(), critical, value));
    }
    return Concatenate(der::kSequence, elements);
}

Bytes Attributes(const RequestContent& content) {
    if (content.extensions.empty()) return der::Element(der::ContextConstructed(0), ByteView());
    const Bytes values = der::Element(der::kSet, EncodeExtensionList(content.extensions));
    const Bytes attribute = der::Element(der::kSequence, {der::Oid(kExtensionRequest), values});
    return der::Element(der::ContextConstructed(0), attribute);
}

// A positive number of 16 octets (RFC 5280 4.1.2.2).
Bytes FreshSerial() {
    Bytes random(16);
    if (RAND_bytes(random.data(), static_cast<int>(random.size())) != 1) throw Error(NTE_FAIL);
    random[0] = static_cast<std::uint8_t>((random[0] & 0x3F) | 0x40);
    return der::Element(der::kInteger, random);
}

Bytes ValidFromNow(unsigned long days) {
    const Ticks now = CurrentTicks();
    if (days >= kTellableDays - now / kTicksPerDay) {
        throw Error(ERROR_INVALID_PARAMETER, std::to_string(days) + " days");
    }
    const Ticks end = now + days * kTicksPerDay;
    return der::Element(der::kSequence, {EncodeTime(FileTimeOf(now)), EncodeTime(FileTimeOf(end))});
}

}  // namespace

void AddExtension(std::vector<Extension>& list, Extension extension) {
    const bool there =
        std::ranges::any_of(list, [&](const Extension& one) { return one.oid == extension.oid; });
    if (there) throw Error(ERROR_OBJECT_ALREADY_EXISTS, extension.oid);
    list.push_back(std::move(extension));
}

// DER leaves out zero bits at the end (X.690 11.2.2).
Extension KeyUsageExtension(std::uint8_t bits) {
    const DWORD unused = bits == 0 ? 0 : static_cast<DWORD>(std::countr_zero(bits));
    const Bytes octets = bits == 0 ? Bytes{} : Bytes{bits};
    return {szOID_KEY_USAGE, true, EncodeBitString(octets, unused)};
}

Extension EnhancedUsageExtension(const std::vector<std::string>& usages) {
    std::vector<Bytes> elements;
    for (const std::string& usage : usages) elements.push_back(der::Oid(usage));
    return {szOID_ENHANCED_KEY_USAGE, false, Concatenate(der::kSequence, elements)};
}

Extension SmimeExtension(DWORD providerType) {
    std::vector<Bytes> capabilities;
    for (const ALG_ID id : ProviderRowFor(providerType, nullptr).algorithms) {
        const AlgorithmRow* row = FindAlgorithm(id, CRYPT_ENCRYPT_ALG_OID_GROUP_ID);
        if (row == nullptr) continue;
        capabilities.push_back(der::Element(der::kSequence, der::Oid(row->oid)));
    }
    return {kSmimeCapabilities, false, Concatenate(der::kSequence, capabilities)};
}

Extension GivenExtension(const std::string& oid, bool critical, ByteView value) {
    der::Oid(oid);
    der::Cursor cursor(value);
    cursor.Next();
    cursor.ExpectEnd();
    return {oid, critical, Copy(value)};
}

Bytes SignRequest(const RequestContent& content, const AnyKey& key) {
    const Bytes body = der::Element(der::kSequence, {der::Integer(0), content.subject,
                                                     PublicKeyToDer(key), Attributes(content)});
    return Signed(SigningOf(key), body, key);
}

Bytes SignSelf(const RequestContent& content, const AnyKey& key, unsigned long days) {
    const Signing signing = SigningOf(key);
    const Bytes version = der::Element(der::ContextConstructed(0), der::Integer(2));
    const Bytes extensions =
        content.extensions.empty()
            ? Bytes{}
            : der::Element(der::ContextConstructed(3), EncodeExtensionList(content.extensions));
    const Bytes body =
        der::Element(der::kSequence,
                     {version, FreshSerial(), EncodeAlgorithm(signing.algorithm), content.subject,
                      ValidFromNow(days), content.subject, PublicKeyToDer(key), extensions});
    return Signed(signing, body, key);
}

Bytes WrapRequest(ByteView request, const Certificate& standIn, const AnyKey& key) {
    std::string digest = SigningOf(key).digestOid;
    PCCERT_CONTEXT signer = &standIn.Context();
    CRYPT_SIGN_MESSAGE_PARA para{};
    para.cbSize = sizeof para;
    para.pSigningCert = signer;
    para.HashAlgorithm.pszObjId = digest.data();
    para.cMsgCert = 1;
    para.rgpMsgCert = &signer;
    const BYTE* piece = request.data();
    const auto size = static_cast<DWORD>(request.size());
    return SignMessage(para, key, false, {1, &piece, &size}, false);
}

AnyKey PublicKeyOfRequest(ByteView request) {
    der::Cursor parts = der::Inside(request, der::kSequence);
    der::Cursor body(parts.Expect(der::kSequence).contents);
    body.Expect(der::kInteger);
    body.Expect(der::kSequence);
    const ByteView key = body.Expect(der::kSequence).whole;
    body.Expect(der::ContextConstructed(0));
    parts.Expect(der::kSequence);
    parts.Expect(der::kBitString);
    parts.ExpectEnd();
    return PublicKeyFromDer(key);
}

std::string Base64Lines(ByteView octets) {
    std::string text;
    constexpr std::size_t kLineOctets = kLineColumns / 4 * 3;
    for (; !octets.empty(); octets = octets.subspan(std::min(kLineOctets, octets.size()))) {
        unsigned char line[kLineColumns + 1];
        const int size = EVP_EncodeBlock(line, octets.data(),
                                         static_cast<int>(std::min(kLineOctets, octets.size())));
        text.append(reinterpret_cast<const char*>(line), static_cast<std::size_t>(size));
        text += "\r\n";
    }
    return text;
}

}  // namespace platform
