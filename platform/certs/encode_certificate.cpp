// Whole certificates and their parts as records.
#include <chrono>
#include <cstdio>
#include <string>

#include "platform/base/error.h"
#include "platform/base/ticks.h"
#include "platform/certs/certificate.h"
#include "platform/certs/encode.h"
#include "platform/certs/share.h"
#include "platform/der/records.h"
#include "platform/der/values.h"

namespace platform {
namespace {

constexpr std::uint8_t kTrue = 0xFF;

Bytes Reversed(ByteView octets) { return {octets.rbegin(), octets.rend()}; }

// ---- encoding ------------------------------------------------------------------

SYSTEMTIME CalendarOf(const FILETIME& time) {
    try {
        return Split(TicksOf(time));
    } catch (const Error&) {
        throw Error(CRYPT_E_BAD_ENCODE);
    }
}

Bytes EncodeExtensionRecord(const CERT_EXTENSION& extension) {
    if (extension.pszObjId == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    return EncodeExtension(extension.pszObjId, extension.fCritical != FALSE,
                           Whole(extension.Value));
}

Bytes EncodeExtensionList(DWORD count, const CERT_EXTENSION* extensions) {
    if (count != 0 && extensions == nullptr) throw Error(CRYPT_E_BAD_ENCODE);
    std::vector<Bytes> elements;
    for (DWORD i = 0; i < count; ++i) elements.push_back(EncodeExtensionRecord(extensions[i]));
    return Concatenate(der::kSequence, elements);
}

// Version 1 is the default, which DER leaves out.
Bytes EncodeVersion(DWORD version) {
    return version == 0
               ? Bytes()
               : der::Element(der::ContextConstructed(0), der::Integer(static_cast<long>(version)));
}

Bytes EncodeUniqueId(const CRYPT_BIT_BLOB& id, unsigned number) {
    if (id.cbData == 0) return {};
    Bytes bits = EncodeBitString(Whole(id), id.cUnusedBits);
    bits[0] = der::Context(number);
    return bits;
}

// ---- decoding ------------------------------------------------------------------

// What is signed in a whole certificate, or else the part itself: that one begins with its
// version or serial number.
der::Cursor ToBeSignedIn(ByteView encoded) {
    der::Cursor whole(encoded);
    const der::Item item = whole.Expect(der::kSequence);
    whole.ExpectEnd();
    if (der::Cursor(item.contents).NextIs(der::kSequence)) return SignedPart(encoded);
    return der::Cursor(item.contents);
}

}  // namespace

// RFC 5280 4.1.2.5: two digits of the year from 1950 to 2049, four outside.
Bytes EncodeTime(const FILETIME& time) {
    const SYSTEMTIME parts = CalendarOf(time);
    if (parts.wYear > 9999) throw Error(CRYPT_E_BAD_ENCODE);
    const bool twoDigits = parts.wYear >= 1950 && parts.wYear < 2050;
    char text[32];
    const int year = twoDigits ? parts.wYear % 100 : parts.wYear;
    const int length =
        std::snprintf(text, sizeof text, "%0*d%02d%02d%02d%02d%02dZ", twoDigits ? 2 : 4, year,
                      parts.wMonth, parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return der::Element(twoDigits ? der::kUtcTime : der::kGeneralizedTime,
                        ViewOf(text, static_cast<std::size_t>(length)));
}

Bytes EncodeExtension(const char* oid, bool critical, ByteView value) {
    const Bytes mark = critical ? der::Element(der::kBoolean, ViewOf(&kTrue, 1)) : Bytes();
    return der::Element(der::kSequence,
                        {der::Oid(oid), mark, der::Element(der::kOctetString, value)});
}

Bytes EncodeSignedContent(const void* value) {
    const auto& record = *static_cast<const CERT_SIGNED_CONTENT_INFO*>(value);
    const Bytes signature =
        EncodeBitString(Reversed(Whole(record.Signature)), record.Signature.cUnusedBits);
    return der::Element(
        der::kSequence,
        {Whole(record.ToBeSigned), EncodeAlgorithmRecord(record.SignatureAlgorithm), signature});
}

Bytes EncodeToBeSigned(const void* value) {
    const auto& info = *static_cast<const CERT_INFO*>(value);
    const Bytes validity =
        der::Element(der::kSequence, {EncodeTime(info.NotBefore), EncodeTime(info.NotAfter)});
    const Bytes extensions =
        info.cExtension == 0 ? Bytes()
                             : der::Element(der::ContextConstructed(3),
                                            EncodeExtensionList(info.cExtension, info.rgExtension));
    return der::Element(
        der::kSequence,
        {EncodeVersion(info.dwVersion), EncodeLittleEndian(Whole(info.SerialNumber)),
         EncodeAlgorithmRecord(info.SignatureAlgorithm), Whole(info.Issuer), validity,
         Whole(info.Subject), EncodePublicKeyWithNull(info.SubjectPublicKeyInfo),
         EncodeUniqueId(info.IssuerUniqueId, 1), EncodeUniqueId(info.SubjectUniqueId, 2),
         extensions});
}

Bytes EncodeExtensions(const void* value) {
    const auto& record = *static_cast<const CERT_EXTENSIONS*>(value);
    return EncodeExtensionList(record.cExtension, record.rgExtension);
}

void DecodeSignedContent(ByteView encoded, DWORD flags, void* value, DWORD* size) {
    der::Cursor parts = der::Inside(encoded, der::kSequence);
    const der::Item toBeSigned = parts.Next();
    const AlgorithmView algorithm = ReadAlgorithm(parts);
    BitsView signature = ReadBits(parts.Expect(der::kBitString).contents);
    parts.ExpectEnd();
    const bool keep = (flags & CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG) != 0;
    const Bytes octets = keep ? UsedBits(signature) : Reversed(UsedBits(signature));
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CERT_SIGNED_CONTENT_INFO>();
            record->ToBeSigned = packer.Blob(toBeSigned.whole);
            Lay(packer, algorithm, record->SignatureAlgorithm);
            record->Signature = {static_cast<DWORD>(octets.size()), packer.Data(octets),
                                 signature.unusedBits};
        },
        value, size);
}

void DecodeToBeSigned(ByteView encoded, DWORD, void* value, DWORD* size) {
    const CertificateFields fields = ReadToBeSigned(ToBeSignedIn(encoded));
    PackOut([&](Packer& packer) { Lay(packer, fields); }, value, size);
}

void DecodeExtensions(ByteView encoded, DWORD, void* value, DWORD* size) {
    der::Cursor whole(encoded);
    const auto views = ReadExtensions(whole.Expect(der::kSequence).contents);
    whole.ExpectEnd();
    PackOut(
        [&](Packer& packer) {
            auto* record = packer.One<CERT_EXTENSIONS>();
            Lay(packer, views, record->cExtension, record->rgExtension);
        },
        value, size);
}

}  // namespace platform
