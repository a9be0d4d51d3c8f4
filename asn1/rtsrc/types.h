// How values of the universal types stand in decoded records.
//
// Records own nothing: what they point at lies in a context's heap or in the bytes that
// were decoded, and lives no longer than those.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>

namespace asn1rt {

inline constexpr unsigned ASN_K_MAXSUBIDS = 128;

// A 32-bit tag: class and form in the top three bits, the number in the other 29.
using ASN1TAG = std::uint32_t;

// OBJECT IDENTIFIER. Only the arcs in use are copied, and none is cleared.
struct ASN1OBJID {
    std::uint32_t numids = 0;
    std::uint32_t subid[ASN_K_MAXSUBIDS];

    ASN1OBJID() {}  // NOLINT(modernize-use-equals-default): 512 bytes stay as they are
    ASN1OBJID(const ASN1OBJID& other) { *this = other; }
    ASN1OBJID& operator=(const ASN1OBJID& other) {
        if (this == &other) return *this;
        numids = other.numids;
        std::memcpy(subid, other.subid, sizeof(subid[0]) * numids);
        return *this;
    }
    friend bool operator==(const ASN1OBJID& first, const ASN1OBJID& second) {
        return first.numids == second.numids &&
               std::memcmp(first.subid, second.subid, sizeof(subid[0]) * first.numids) == 0;
    }
};

// OCTET STRING.
struct ASN1DynOctStr {
    std::uint32_t numocts = 0;
    const std::uint8_t* data = nullptr;
};

// BIT STRING; the first bit is the top bit of the first byte.
struct ASN1DynBitStr {
    std::uint32_t numbits = 0;
    const std::uint8_t* data = nullptr;
};

// ANY and ANY DEFINED BY: one whole encoded element.
struct ASN1OpenType {
    std::uint32_t numocts = 0;
    const std::uint8_t* data = nullptr;
};

// The character strings of 8 bits, UTF8String and the two times among them: text with a
// NUL behind it.
struct ASN1CharStr {
    const char* text = nullptr;
};

// INTEGER that may not fit 32 bits: the text of xd_bigint, "0x" and hexadecimal digits.
struct ASN1BigInt {
    const char* text = nullptr;
};

// BMPString and UniversalString.
struct ASN116BitCharStr {
    std::uint32_t nchars = 0;
    const std::uint16_t* data = nullptr;
};
struct ASN132BitCharStr {
    std::uint32_t nchars = 0;
    const std::uint32_t* data = nullptr;
};

using ASN1BOOL = std::uint8_t;  // the content byte as it stands; anything but 0 is true
using ASN1INT = std::int32_t;
using ASN1UINT = std::uint32_t;
using ASN1ENUM = std::int32_t;
struct ASN1NULL {};

// SEQUENCE OF and SET OF: a list whose nodes carry their element behind themselves.
struct ASN1ListNode {
    ASN1ListNode* next = nullptr;
    void* data = nullptr;
};
struct ASN1List {
    std::uint32_t count = 0;
    ASN1ListNode* head = nullptr;
    ASN1ListNode* tail = nullptr;
};

// The same list, knowing its elements.
template <class T>
struct ASN1TList : ASN1List {
    class Iterator {
      public:
        explicit Iterator(ASN1ListNode* node) : node_(node) {}
        T& operator*() const { return *static_cast<T*>(node_->data); }
        T* operator->() const { return static_cast<T*>(node_->data); }
        Iterator& operator++() {
            node_ = node_->next;
            return *this;
        }
        friend bool operator==(const Iterator&, const Iterator&) = default;

      private:
        ASN1ListNode* node_;
    };
    [[nodiscard]] Iterator begin() const { return Iterator(head); }
    [[nodiscard]] Iterator end() const { return Iterator(nullptr); }
};

}  // namespace asn1rt
