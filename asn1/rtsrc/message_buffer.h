// Message buffers: who owns a context, and in which direction it works.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>

#include "asn1/rtsrc/context.h"

namespace asn1rt {

class ASN1RTLException : public std::exception {
  public:
    explicit ASN1RTLException(int status) : status_(status) {}
    [[nodiscard]] int getStatus() const { return status_; }
    [[nodiscard]] const char* what() const noexcept override;

  private:
    int status_;
};

// A counted reference to a context.
class ASN1ContextRef {
  public:
    ASN1ContextRef() = default;
    // Takes the caller's reference over.
    explicit ASN1ContextRef(ASN1Context* context) : context_(context) {}
    ASN1ContextRef(const ASN1ContextRef& other) : context_(other.context_) {
        if (context_ != nullptr) AddReference(*context_);
    }
    ASN1ContextRef(ASN1ContextRef&& other) noexcept : context_(other.context_) {
        other.context_ = nullptr;
    }
    ASN1ContextRef& operator=(ASN1ContextRef other) noexcept {
        ASN1Context* mine = context_;
        context_ = other.context_;
        other.context_ = mine;
        return *this;
    }
    ~ASN1ContextRef() {
        if (context_ != nullptr) ReleaseContext(*context_);
    }
    [[nodiscard]] ASN1Context* get() const { return context_; }
    ASN1Context& operator*() const { return *context_; }
    ASN1Context* operator->() const { return context_; }
    explicit operator bool() const { return context_ != nullptr; }

  private:
    ASN1Context* context_ = nullptr;
};

struct ASN1MemoryBuffer {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    std::size_t read = 0;  // bytes of it that are behind us
};

// Kinds that isA knows.
inline constexpr int kBerEncode = 0;
inline constexpr int kBerDecode = 1;

class ASN1MessageBufferIF {
  public:
    virtual ~ASN1MessageBufferIF() = default;
    virtual ASN1ContextRef getContext() = 0;
    virtual ASN1Context* getContextPtr() = 0;
    // A new[] copy of the message; null where there is none.
    virtual std::uint8_t* getMsgCopy() = 0;
    virtual const std::uint8_t* getMsgPtr() = 0;
    virtual int init() = 0;
    virtual int initBuffer(ASN1MemoryBuffer& memory) = 0;
    virtual int setStatus(int status) = 0;
    virtual int setBuffer(ASN1MemoryBuffer& memory) = 0;
    [[nodiscard]] virtual bool isA(int kind) const = 0;
};

class ASN1MessageBuffer : public ASN1MessageBufferIF {
  public:
    class RTLError : public ASN1RTLException {
      public:
        using ASN1RTLException::ASN1RTLException;
    };

    // Throws RTLError without memory.
    explicit ASN1MessageBuffer(int kind);
    ASN1MessageBuffer(const ASN1MessageBuffer&) = delete;
    ASN1MessageBuffer& operator=(const ASN1MessageBuffer&) = delete;

    ASN1ContextRef getContext() override { return context_; }
    ASN1Context* getContextPtr() override { return context_.get(); }
    std::uint8_t* getMsgCopy() override { return nullptr; }
    const std::uint8_t* getMsgPtr() override { return context_->buffer; }
    int init() override { return ASN_OK; }
    int initBuffer(ASN1MemoryBuffer& memory) override;
    int setStatus(int status) override;
    int setBuffer(ASN1MemoryBuffer& memory) override;
    [[nodiscard]] bool isA(int kind) const override;

  protected:
    ASN1ContextRef context_;
    int kind_;
};

// Base of the generated control classes: a record that stays the caller's, bound to a
// message buffer.
class ASN1CType {
  public:
    explicit ASN1CType(ASN1MessageBufferIF& buffer)
        : context_(buffer.getContext()), buffer_(&buffer) {}
    virtual ~ASN1CType() = default;
    ASN1CType(const ASN1CType&) = delete;
    ASN1CType& operator=(const ASN1CType&) = delete;
    virtual ASN1ContextRef getContext() { return context_; }
    virtual ASN1Context* getContextPtr() { return context_.get(); }
    // The length of the encoding or a negative status.
    virtual int Encode() = 0;
    // ASN_OK or a negative status; the record is not to be used then.
    virtual int Decode() = 0;

  protected:
    // Bodies of the generated Encode and Decode: init of the buffer, its direction, then
    // the type's own function; ASN_E_NOTSUPP for a buffer of the other direction. Decoded
    // members of a constructed record go into a region of their own.
    template <class T>
    int EncodeWith(int (*encode)(ASN1Context&, const T&, int), const T& record);
    template <class T>
    int DecodeWith(int (*decode)(ASN1Context&, T&, int, int), T& record);

    ASN1ContextRef context_;
    ASN1MessageBufferIF* buffer_;
};

// Opens a region of the context's heap: until it is closed all that is allocated belongs
// to it. Close hands it over to a record; otherwise it is given back.
class ASN1RegionScope {
  public:
    explicit ASN1RegionScope(ASN1Context& context);
    ~ASN1RegionScope();
    ASN1RegionScope(const ASN1RegionScope&) = delete;
    ASN1RegionScope& operator=(const ASN1RegionScope&) = delete;
    ASN1HeapRegion* Close();

  private:
    ASN1Context& context_;
    ASN1HeapRegion* region_;
    ASN1HeapRegion* outer_;
};

// ---- definitions -------------------------------------------------------------

template <class T>
int ASN1CType::EncodeWith(int (*encode)(ASN1Context&, const T&, int), const T& record) {
    if (const int status = buffer_->init(); status < 0) return status;
    return buffer_->isA(kBerEncode) ? encode(*context_, record, 1) : ASN_E_NOTSUPP;
}

template <class T>
int ASN1CType::DecodeWith(int (*decode)(ASN1Context&, T&, int, int), T& record) {
    if (const int status = buffer_->init(); status < 0) return status;
    if (!buffer_->isA(kBerDecode)) return ASN_E_NOTSUPP;
    if constexpr (requires { record.KeepRegion(nullptr); }) {
        record.KeepRegion(nullptr);
        ASN1RegionScope region(*context_);
        const int status = decode(*context_, record, 1, 0);
        record.KeepRegion(region.Close());
        return status;
    } else {
        return decode(*context_, record, 1, 0);
    }
}

}  // namespace asn1rt
