// A context's buffer, and its record of errors.
#include "asn1/rtsrc/context.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "asn1/rtsrc/heap.h"

namespace asn1rt {
namespace {

constexpr std::size_t kLargestBuffer = INT32_MAX;  // lengths are returned as int

// Text cut at the end of a buffer.
class TextWriter {
  public:
    TextWriter(char* text, std::size_t size) : text_(text), room_(size == 0 ? 0 : size - 1) {}
    void Put(char character) {
        if (length_ < room_) text_[length_++] = character;
    }
    void Put(const char* text) {
        while (*text != '\0') Put(*text++);
    }
    std::size_t Finish(std::size_t size) {
        if (size != 0) text_[length_] = '\0';
        return length_;
    }

  private:
    char* text_;
    std::size_t room_;
    std::size_t length_ = 0;
};

void FreeBuffer(ASN1Context& context) {
    if (context.dynamic) std::free(context.buffer);
    context.buffer = nullptr;
    context.size = context.byteIndex = 0;
    context.dynamic = false;
}

void Rewind(ASN1Context& context) {
    context.flags = static_cast<std::uint16_t>(context.flags & ~kLastTagConstructed);
    context.level = 0;
    ResetError(context);
}

}  // namespace

// ---- life --------------------------------------------------------------------

ASN1Context* NewContext() {
    auto* context = new (std::nothrow) ASN1Context;
    if (context == nullptr) return nullptr;
    if (InitContext(*context) < 0) {
        delete context;
        return nullptr;
    }
    context->flags = kContextOnHeap;
    return context;
}

int InitContext(ASN1Context& context) {
    context = ASN1Context();
    context.memoryHeap = new (std::nothrow) ASN1Heap(context);
    if (context.memoryHeap == nullptr) return ASN_E_NOMEM;
    context.initCode = kInitCode;
    context.referenceCount = 1;
    return ASN_OK;
}

void AddReference(ASN1Context& context) { ++context.referenceCount; }

void ReleaseContext(ASN1Context& context) {
    if (--context.referenceCount != 0) return;
    delete context.memoryHeap;
    context.memoryHeap = nullptr;
    FreeBuffer(context);
    context.initCode = 0;
    if ((context.flags & kContextOnHeap) != 0) delete &context;
}

int SetDecodeBuffer(ASN1Context& context, const std::uint8_t* data, std::size_t size) {
    if (const int status = CheckContext(context); status < 0) return status;
    if (size > kLargestBuffer) return ASN_E_TOOBIG;
    if (data == nullptr && size != 0) return ASN_E_INVPARAM;
    FreeBuffer(context);
    Rewind(context);
    context.buffer = const_cast<std::uint8_t*>(data);  // decoding only reads
    context.size = static_cast<std::uint32_t>(size);
    return ASN_OK;
}

int SetEncodeBuffer(ASN1Context& context, std::uint8_t* data, std::size_t size) {
    if (const int status = CheckContext(context); status < 0) return status;
    if (size > kLargestBuffer) return ASN_E_TOOBIG;
    if (data != nullptr && size == 0) return ASN_E_INVPARAM;
    FreeBuffer(context);
    Rewind(context);
    if (data == nullptr) {
        size = size == 0 ? kBufferStep : size;
        data = static_cast<std::uint8_t*>(std::malloc(size));
        if (data == nullptr) return ASN_E_NOMEM;
        data[size - 1] = 0;
        context.dynamic = true;
    }
    context.buffer = data;
    context.size = static_cast<std::uint32_t>(size);
    context.byteIndex = context.size - 1;
    return ASN_OK;
}

// ---- errors ------------------------------------------------------------------

int LogError(ASN1Context& context, int status, const char* module, int line) {
    ASN1ErrorInfo& info = context.errorInfo;
    if (info.status == ASN_OK) info.status = status;
    if (info.stackCount < kErrorStack) info.stack[info.stackCount++] = {module, line};
    return status;
}

int Fail(ASN1Context& context, int status, const char* file, int line) {
    if (CheckContext(context) < 0) return ASN_E_NOTINIT;
    const char* slash = std::strrchr(file, '/');
    return LogError(context, status, slash == nullptr ? file : slash + 1, line);
}

void AddErrorParameter(ASN1Context& context, const char* text) {
    ASN1ErrorInfo& info = context.errorInfo;
    // The first status keeps its own parameters.
    if (info.status != ASN_OK || info.parameterCount == kErrorParameters) return;
    char* parameter = info.parameters[info.parameterCount++];
    std::snprintf(parameter, kErrorParameterSize, "%s", text);
}

void ResetError(ASN1Context& context) {
    context.errorInfo.status = ASN_OK;
    context.errorInfo.stackCount = 0;
    context.errorInfo.parameterCount = 0;
}

std::size_t FormatError(const ASN1Context& context, char* text, std::size_t size) {
    const ASN1ErrorInfo& info = context.errorInfo;
    TextWriter writer(text, size);
    const char* format = StatusText(info.status);
    unsigned parameter = 0;
    for (; format != nullptr && *format != '\0'; ++format) {
        if (*format != '%') {
            writer.Put(*format);
            continue;
        }
        ++format;  // "s" or "d": parameters are text already
        writer.Put(parameter < info.parameterCount ? info.parameters[parameter] : "?");
        ++parameter;
    }
    return writer.Finish(size);
}

// ---- memory ------------------------------------------------------------------

void* Allocate(ASN1Context& context, std::size_t size) {
    return context.memoryHeap == nullptr ? nullptr : context.memoryHeap->Allocate(size);
}

void GiveBack(ASN1Context& context, void* memory) {
    if (context.memoryHeap != nullptr) context.memoryHeap->GiveBack(memory);
}

ASN1ListNode* AppendNode(ASN1Context& context, ASN1List& list, std::size_t elementSize) {
    void* memory = Allocate(context, sizeof(ASN1ListNode) + elementSize);
    if (memory == nullptr) return nullptr;
    auto* node = new (memory) ASN1ListNode;
    node->data = node + 1;
    (list.tail == nullptr ? list.head : list.tail->next) = node;
    list.tail = node;
    ++list.count;
    return node;
}

}  // namespace asn1rt
