// The state of one encoding or decoding: a byte buffer, a heap for what is decoded, and
// an error record that tells where in the sources a failure passed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/rtsrc/status.h"
#include "asn1/rtsrc/types.h"

namespace asn1rt {

class ASN1Heap;
class ASN1HeapRegion;
class OSCStream;

inline constexpr std::uint32_t kInitCode = 0x1AA2A34A;
inline constexpr std::uint32_t kBufferStep = 16384;  // first size and growth of a dynamic buffer

// Bits of ASN1Context::flags.
inline constexpr std::uint16_t kLastTagConstructed = 0x0400;
inline constexpr std::uint16_t kNoBoundsCheck = 0x4000;
inline constexpr std::uint16_t kNoLengthCheck = 0x0040;
inline constexpr std::uint16_t kContextOnHeap = 0x8000;

// Records of recursive types may not go deeper.
inline constexpr std::uint16_t kMaxLevel = 64;
// What the heap of one context may hold: an input of many tiny elements must end in
// ASN_E_NOMEM long before it eats the machine.
inline constexpr std::size_t kHeapLimit = std::size_t{256} << 20;

inline constexpr unsigned kErrorStack = 8;
inline constexpr unsigned kErrorParameters = 5;
inline constexpr unsigned kErrorParameterSize = 32;

// A diagnostic; nothing is decided by it.
struct ASN1ErrorInfo {
    struct Entry {
        const char* module;
        int line;
    };
    Entry stack[kErrorStack];
    unsigned stackCount = 0;
    int status = ASN_OK;  // the first one
    char parameters[kErrorParameters][kErrorParameterSize];
    unsigned parameterCount = 0;
};

struct ASN1Context {
    std::uint8_t* buffer = nullptr;
    std::uint32_t byteIndex = 0;  // decoder: next byte to read; encoder: first byte written
    std::uint32_t size = 0;       // decoder: end of the element that is being read
    bool dynamic = false;
    OSCStream* stream = nullptr;
    std::uint32_t savedIndex = 0;
    std::uint16_t savedFlags = 0;
    std::uint16_t flags = 0;
    std::uint16_t level = 0;
    ASN1ErrorInfo errorInfo;
    ASN1Heap* memoryHeap = nullptr;
    std::uint32_t initCode = 0;
    std::uint32_t referenceCount = 0;
};

// ---- life --------------------------------------------------------------------

// A context on the heap with one reference, or null without memory.
ASN1Context* NewContext();
// For a context that the caller owns. ASN_OK or ASN_E_NOMEM.
int InitContext(ASN1Context& context);
void AddReference(ASN1Context& context);
// The last release frees the heap, a dynamic buffer, and the context with kContextOnHeap.
void ReleaseContext(ASN1Context& context);
// ASN_OK or ASN_E_NOTINIT.
inline int CheckContext(const ASN1Context& context) {
    return context.initCode == kInitCode ? ASN_OK : ASN_E_NOTINIT;
}

// Points the context at bytes that stay the caller's, for decoding.
int SetDecodeBuffer(ASN1Context& context, const std::uint8_t* data, std::size_t size);
// An own buffer that grows (size 0: kBufferStep), or a fixed one of the caller's, rewound
// for encoding: byteIndex at size - 1, the last byte is never written.
int SetEncodeBuffer(ASN1Context& context, std::uint8_t* data, std::size_t size);

// ---- errors ------------------------------------------------------------------

// Keeps the first status, adds an entry while there is room, returns `status`.
int LogError(ASN1Context& context, int status, const char* module, int line);
// LogError for the place of the call; ASN_E_NOTINIT whatever the status when the context is
// not initialised.
int Fail(ASN1Context& context, int status, const char* file = __builtin_FILE(),
         int line = __builtin_LINE());
// Before LogError: parameters of a status that is not the first one are dropped.
void AddErrorParameter(ASN1Context& context, const char* text);
void ResetError(ASN1Context& context);
// The first status as text with its parameters, cut at `size`; the length written.
std::size_t FormatError(const ASN1Context& context, char* text, std::size_t size);

// ---- memory ------------------------------------------------------------------

// In units of 8 bytes. Null without memory or beyond the limit.
void* Allocate(ASN1Context& context, std::size_t size);
void GiveBack(ASN1Context& context, void* memory);

template <class T>
T* New(ASN1Context& context) {
    void* memory = Allocate(context, sizeof(T));
    return memory == nullptr ? nullptr : new (memory) T();
}

// Appends a new element; null without memory.
template <class T>
T* Append(ASN1Context& context, ASN1TList<T>& list);

// Base of the generated records of constructed types. A record that was decoded or copied
// through a control class keeps the region of the heap that holds its members, and gives
// it back; records inside another one have none. Copying is asn1Copy_T's.
class ASN1Record {
  public:
    ASN1Record() = default;
    ~ASN1Record() {
        if (region_ != nullptr) LeaveRegion();
    }
    ASN1Record(const ASN1Record&) = delete;
    ASN1Record& operator=(const ASN1Record&) = delete;
    // Gives back what is held, then takes the region over.
    void KeepRegion(ASN1HeapRegion* region) {
        if (region_ != nullptr) LeaveRegion();
        region_ = region;
    }

  private:
    void LeaveRegion();
    ASN1HeapRegion* region_ = nullptr;
};

// ---- definitions -------------------------------------------------------------

// Appends a node with room for its element behind it; null without memory.
ASN1ListNode* AppendNode(ASN1Context& context, ASN1List& list, std::size_t elementSize);

template <class T>
T* Append(ASN1Context& context, ASN1TList<T>& list) {
    ASN1ListNode* node = AppendNode(context, list, sizeof(T));
    return node == nullptr ? nullptr : new (node->data) T();
}

}  // namespace asn1rt
