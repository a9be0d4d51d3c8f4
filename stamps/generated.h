// The edge between the value classes and the generated records, whose memory is a
// context's.
//
// Each class has a pair beside it: Fill copies a value into a record and the memory of a
// context, Read copies a record out. A value that has no encoding and bytes that do not
// decode throw CRYPT_E_ASN1_INTERNAL; a context without memory, CRYPT_E_ASN1_MEMORY.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/rtbersrc/ber_buffer.h"
#include "stamps/blob.h"
#include "stamps/failure.h"

namespace Ferroline::ASN1 {

// Throws for a negative status of a call that fills.
void Check(int status);

// Runs what may throw the codec's own exception.
template <class Operation>
auto Guarded(Operation operation) {
    try {
        return operation();
    } catch (const asn1rt::ASN1RTLException& failure) {
        Check(failure.getStatus());
        throw;
    }
}

// A new T in the context's memory.
template <class T>
T& NewIn(asn1rt::ASN1Context& context) {
    T* const made = asn1rt::New<T>(context);
    if (made == nullptr) Check(asn1rt::ASN_E_NOMEM);
    return *made;
}

// A new element at the end of a list in the context's memory.
template <class T>
T& AddTo(asn1rt::ASN1Context& context, asn1rt::ASN1TList<T>& list) {
    T* const made = asn1rt::Append(context, list);
    if (made == nullptr) Check(asn1rt::ASN_E_NOMEM);
    return *made;
}

// ---- whole messages ----------------------------------------------------------

// The DER of a record, by its control class.
template <class Control, class Record>
CBlob EncodeRecord(asn1rt::ASN1BEREncodeBuffer& buffer, Record& record) {
    return Guarded([&] {
        Control control(buffer, record);
        const int length = control.Encode();
        if (length <= 0) Fail(CRYPT_E_ASN1_INTERNAL);
        return CBlob(buffer.getMsgPtr(), static_cast<std::uint32_t>(length));
    });
}

template <class Control, class Record>
CBlob EncodeRecord(Record& record) {
    return Guarded([&] {
        asn1rt::ASN1BEREncodeBuffer buffer;
        return EncodeRecord<Control>(buffer, record);
    });
}

// The DER of a value whose record Fill knows.
template <class Control, class Record, class Value>
CBlob EncodeValue(const Value& value) {
    return Guarded([&] {
        asn1rt::ASN1BEREncodeBuffer buffer;
        Record record;
        Fill(*buffer.getContextPtr(), record, value);
        return EncodeRecord<Control>(buffer, record);
    });
}

// A decoded record beside the memory it lives in. The bytes must outlive it.
template <class Control, class Record>
class Decoded {
  public:
    explicit Decoded(std::span<const std::uint8_t> bytes) try {
        if (bytes.empty()) Fail(CRYPT_E_ASN1_INTERNAL);
        buffer_.setSource(bytes.data(), bytes.size());
        Control control(buffer_, record_);
        // Also for a message that asks for more memory than a context gives.
        if (control.Decode() < 0) Fail(CRYPT_E_ASN1_INTERNAL);
    } catch (const asn1rt::ASN1RTLException& failure) {
        Check(failure.getStatus());
    }
    Record& operator*() { return record_; }
    Record* operator->() { return &record_; }
    // How many of the bytes the record took.
    [[nodiscard]] std::uint32_t Size() { return buffer_.getContextPtr()->byteIndex; }

  private:
    asn1rt::ASN1BERDecodeBuffer buffer_;
    Record record_;
};

// The elements of the list with this tag, from the position or a sibling behind it, byte for
// byte: what was signed or hashed is not encoded anew. None without such a list.
[[nodiscard]] std::vector<CBlob> ReadElements(asn1rt::ASN1Context& context, asn1rt::ASN1TAG list);

// ---- pieces ------------------------------------------------------------------

// Object identifiers as dotted text.
void Fill(asn1rt::ASN1Context& context, asn1rt::ASN1OBJID& record, std::string_view oid);
[[nodiscard]] std::string ReadOid(const asn1rt::ASN1OBJID& record);

void Fill(asn1rt::ASN1Context& context, asn1rt::ASN1DynOctStr& record, const CBlob& value);
void Read(const asn1rt::ASN1DynOctStr& record, CBlob& value);
// One whole encoded value; an empty blob is none.
void Fill(asn1rt::ASN1Context& context, asn1rt::ASN1OpenType& record, const CBlob& value);
void Read(const asn1rt::ASN1OpenType& record, CBlob& value);

// An empty integer is written as 0.
void Fill(asn1rt::ASN1Context& context, asn1rt::ASN1BigInt& record, const CBigInteger& value);
void Read(const asn1rt::ASN1BigInt& record, CBigInteger& value);
// Integers from 0 on in 32 bits; a negative or larger one throws E_INVALIDARG.
void FillUnsigned(asn1rt::ASN1Context& context, asn1rt::ASN1BigInt& record, std::uint32_t value);
[[nodiscard]] std::uint32_t ReadUnsigned(const asn1rt::ASN1BigInt& record);

// In the system's ANSI code page. Text with a NUL inside throws when it is filled.
void Fill(asn1rt::ASN1Context& context, asn1rt::ASN1CharStr& record, std::wstring_view text);
void Read(const asn1rt::ASN1CharStr& record, std::wstring& text);

}  // namespace Ferroline::ASN1
