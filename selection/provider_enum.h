// Enumeration of provider types and providers. The platform hands out names of any
// length, so an enumerator carries a text buffer that grows on demand.
#pragma once

#include <windows.h>

#include <cstdlib>

#include "front/core/atl_exception.h"

namespace ATL {

class CCRTHeap {
  public:
    static void* Allocate(std::size_t bytes) { return std::malloc(bytes); }
    static void Free(void* memory) { std::free(memory); }
};

}  // namespace ATL

namespace ATL2 {

// Text of `inlineSize` bytes in place, and on the heap only when it grows. Its content is
// not kept on growing: the next call of the platform writes it anew.
template <typename Char, DWORD inlineSize>
class CTextBufferT {
  public:
    CTextBufferT() = default;
    ~CTextBufferT() { ATL::CCRTHeap::Free(grown_); }
    CTextBufferT(const CTextBufferT&) = delete;
    CTextBufferT& operator=(const CTextBufferT&) = delete;

    [[nodiscard]] Char* Text() { return grown_ ? grown_ : inline_; }
    [[nodiscard]] DWORD Size() const { return size_; }  // in bytes

    // Throws E_OUTOFMEMORY.
    void Grow(DWORD size) {
        auto* memory = static_cast<Char*>(ATL::CCRTHeap::Allocate(size));
        if (memory == nullptr) throw ATL::CAtlException(E_OUTOFMEMORY);
        ATL::CCRTHeap::Free(grown_);
        grown_ = memory;
        size_ = size;
    }

  private:
    Char inline_[inlineSize / sizeof(Char)] = {};
    Char* grown_ = nullptr;
    DWORD size_ = inlineSize;
};

// Walks a list of the platform until it ends or `visit(type, name)` answers false; both
// give S_OK, a failure its result value. `call(index, type, name, size)` is the platform's
// enumeration call. A name that does not fit is asked for once more with twice the room
// that it needs; a platform that asks again, or for no more than it had, ends the walk.
template <typename Buffer, typename Call, typename Visit>
HRESULT EnumerateNames(Buffer& buffer, const Call& call, const Visit& visit) {
    bool grown = false;
    for (DWORD index = 0;;) {
        DWORD type = 0;
        DWORD size = buffer.Size();
        if (call(index, type, buffer.Text(), size)) {
            if (!visit(type, buffer.Text())) return S_OK;
            ++index;
            grown = false;
            continue;
        }
        const DWORD error = GetLastError();
        if (error == ERROR_NO_MORE_ITEMS) return S_OK;
        if (error != ERROR_MORE_DATA || grown || size <= buffer.Size()) {
            return ATL::ResultOfError(error);
        }
        buffer.Grow(size * 2);
        grown = true;
    }
}

inline BOOL EnumProviderTypes(DWORD index, DWORD& type, char* name, DWORD& size) {
    return CryptEnumProviderTypesA(index, nullptr, 0, &type, name, &size);
}

inline BOOL EnumProviders(DWORD index, DWORD& type, char* name, DWORD& size) {
    return CryptEnumProvidersA(index, nullptr, 0, &type, name, &size);
}

template <typename Char>
class CCryptProviderTypesEnumT {
  public:
    // True to go on.
    virtual bool OnProviderType(DWORD type, const Char* name) = 0;
    virtual ~CCryptProviderTypesEnumT() = default;

    HRESULT Enumerate() {
        return EnumerateNames(
            name_,
            [](DWORD index, DWORD& type, Char* name, DWORD& size) {
                return EnumProviderTypes(index, type, name, size);
            },
            [this](DWORD type, const Char* name) { return OnProviderType(type, name); });
    }

  protected:
    CCryptProviderTypesEnumT() = default;

  private:
    CTextBufferT<Char, 128> name_;
};

template <typename Char>
class CCryptProvidersEnumT {
  public:
    // True to go on.
    virtual bool OnProvider(const Char* name, DWORD type) = 0;
    virtual ~CCryptProvidersEnumT() = default;

    HRESULT Enumerate() {
        return EnumerateNames(
            name_,
            [](DWORD index, DWORD& type, Char* name, DWORD& size) {
                return EnumProviders(index, type, name, size);
            },
            [this](DWORD type, const Char* name) { return OnProvider(name, type); });
    }

  protected:
    CCryptProvidersEnumT() = default;

  private:
    CTextBufferT<Char, 256> name_;
};

}  // namespace ATL2
