// Decodes octet, bit and character strings.
#include <cstring>

#include "asn1/rtbersrc/contents.h"
#include "asn1/rtbersrc/segments.h"
#include "asn1/rtbersrc/tags.h"

namespace asn1rt {
namespace {

int OpenString(ASN1Context& context, ASN1StringReader& reader, int tagging, std::uint8_t tag,
               int length) {
    if (const int status = OpenElement(context, tagging, tag, length); status < 0) return status;
    return reader.Open(length);
}

// The bytes in one piece: in the message, or put together in the heap.
int BytesOf(ASN1Context& context, ASN1StringReader& reader, const std::uint8_t*& bytes) {
    bytes = reader.Piece();
    if (bytes != nullptr || reader.Size() == 0) return ASN_OK;
    auto* memory = static_cast<std::uint8_t*>(Allocate(context, reader.Size()));
    if (memory == nullptr) return Fail(context, ASN_E_NOMEM);
    reader.CopyTo(memory);
    bytes = memory;
    return ASN_OK;
}

int CountBits(ASN1Context& context, const ASN1StringReader& reader, std::uint32_t& bits) {
    if (reader.Size() > UINT32_MAX / 8) return Fail(context, ASN_E_TOOBIG);
    bits = static_cast<std::uint32_t>(reader.Size() * 8) - reader.UnusedBits();
    return ASN_OK;
}

// Characters of sizeof(T) bytes, the high one first.
template <class T, class Value>
int ReadWide(ASN1Context& context, Value& value, int tagging, std::uint8_t tag, int length) {
    ASN1StringReader reader(context, false);
    if (const int status = OpenString(context, reader, tagging, tag, length); status < 0) {
        return status;
    }
    if (reader.Size() % sizeof(T) != 0) return Fail(context, ASN_E_INVLEN);
    const std::size_t count = reader.Size() / sizeof(T);
    auto* characters = static_cast<T*>(Allocate(context, reader.Size()));
    if (characters == nullptr) return Fail(context, ASN_E_NOMEM);
    auto* bytes = reinterpret_cast<std::uint8_t*>(characters);
    reader.CopyTo(bytes);
    for (std::size_t i = 0; i < count; ++i, bytes += sizeof(T)) {
        std::uint32_t character = 0;
        for (std::size_t j = 0; j < sizeof(T); ++j) character = character << 8 | bytes[j];
        characters[i] = static_cast<T>(character);
    }
    value.nchars = static_cast<std::uint32_t>(count);
    value.data = characters;
    return ASN_OK;
}

}  // namespace

int xd_octstr(ASN1Context& context, ASN1DynOctStr& value, int tagging, int length) {
    ASN1StringReader reader(context, false);
    int status = OpenString(context, reader, tagging, kOctetString, length);
    if (status < 0) return status;
    const std::uint8_t* bytes = nullptr;
    if (status = BytesOf(context, reader, bytes); status < 0) return status;
    value = {static_cast<std::uint32_t>(reader.Size()), bytes};
    return ASN_OK;
}

int xd_bitstr(ASN1Context& context, ASN1DynBitStr& value, int tagging, int length) {
    ASN1StringReader reader(context, true);
    int status = OpenString(context, reader, tagging, kBitString, length);
    if (status < 0) return status;
    std::uint32_t bits = 0;
    if (status = CountBits(context, reader, bits); status < 0) return status;
    const std::uint8_t* bytes = nullptr;
    if (status = BytesOf(context, reader, bytes); status < 0) return status;
    value = {bits, bytes};
    return ASN_OK;
}

int xd_octstr_s(ASN1Context& context, std::uint8_t* data, std::uint32_t size,
                std::uint32_t& numocts, int tagging, int length) {
    ASN1StringReader reader(context, false);
    const int status = OpenString(context, reader, tagging, kOctetString, length);
    if (status < 0) return status;
    if (reader.Size() > size) return Fail(context, ASN_E_STROVFLW);
    reader.CopyTo(data);
    numocts = static_cast<std::uint32_t>(reader.Size());
    return ASN_OK;
}

int xd_bitstr_s(ASN1Context& context, std::uint8_t* data, std::uint32_t size,
                std::uint32_t& numbits, int tagging, int length) {
    ASN1StringReader reader(context, true);
    int status = OpenString(context, reader, tagging, kBitString, length);
    if (status < 0) return status;
    if (reader.Size() > size) return Fail(context, ASN_E_STROVFLW);
    if (status = CountBits(context, reader, numbits); status < 0) return status;
    reader.CopyTo(data);
    return ASN_OK;
}

int xd_charstr(ASN1Context& context, ASN1CharStr& value, int tagging, std::uint8_t tag,
               int length) {
    ASN1StringReader reader(context, false);
    if (const int status = OpenString(context, reader, tagging, tag, length); status < 0) {
        return status;
    }
    auto* text = static_cast<char*>(Allocate(context, reader.Size() + 1));
    if (text == nullptr) return Fail(context, ASN_E_NOMEM);
    reader.CopyTo(reinterpret_cast<std::uint8_t*>(text));
    text[reader.Size()] = '\0';
    if (std::memchr(text, 0, reader.Size()) != nullptr) return Fail(context, ASN_E_INVCHAR);
    value.text = text;
    return ASN_OK;
}

int xd_16BitCharStr(ASN1Context& context, ASN116BitCharStr& value, int tagging, std::uint8_t tag,
                    int length) {
    return ReadWide<std::uint16_t>(context, value, tagging, tag, length);
}

int xd_32BitCharStr(ASN1Context& context, ASN132BitCharStr& value, int tagging, std::uint8_t tag,
                    int length) {
    return ReadWide<std::uint32_t>(context, value, tagging, tag, length);
}

int xd_open_type(ASN1Context& context, ASN1OpenType& value) {
    const std::uint32_t start = context.byteIndex;
    if (const int status = xd_skip(context); status < 0) return status;
    value = {context.byteIndex - start, context.buffer + start};
    return ASN_OK;
}

}  // namespace asn1rt
