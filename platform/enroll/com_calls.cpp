// Apartments, objects by their class, and their text.
#include <objbase.h>

#include "platform/base/error.h"
#include "platform/enroll/class_table.h"
#include "platform/enroll/com_object.h"
#include "platform/enroll/com_text.h"

namespace platform {
namespace {

// One apartment: the program makes its objects in one thread.
struct Apartment {
    DWORD entered = 0;
    DWORD flags = 0;
};
Apartment apartment;

HRESULT Enter(DWORD flags) {
    if (apartment.entered != 0 && apartment.flags != flags) return RPC_E_CHANGED_MODE;
    apartment.flags = flags;
    return apartment.entered++ == 0 ? S_OK : S_FALSE;
}

void Make(REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID interfaceId, LPVOID* object) {
    if (object == nullptr) throw Error(E_POINTER);
    *object = nullptr;
    if (apartment.entered == 0) throw Error(CO_E_NOTINITIALIZED);
    if (outer != nullptr) throw Error(CLASS_E_NOAGGREGATION);
    if ((context & CLSCTX_INPROC_SERVER) == 0) throw Error(REGDB_E_CLASSNOTREG);
    *object = MakeObject(id, interfaceId);
}

BSTR TextOrNull(const OLECHAR* text, std::size_t length) {
    return Guarded<BSTR>(nullptr, [&] { return NewText({text, length}); });
}

}  // namespace
}  // namespace platform

using namespace platform;

HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags) {
    const bool known = flags == COINIT_APARTMENTTHREADED || flags == COINIT_MULTITHREADED;
    return reserved == nullptr && known ? Enter(flags) : E_INVALIDARG;
}

void WINAPI CoUninitialize(void) {
    if (apartment.entered != 0) --apartment.entered;
}

HRESULT WINAPI CoCreateInstance(REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID interfaceId,
                                LPVOID* object) {
    return Method([&] { Make(id, outer, context, interfaceId, object); });
}

BSTR WINAPI SysAllocString(const OLECHAR* text) {
    return text == nullptr ? nullptr : TextOrNull(text, std::char_traits<OLECHAR>::length(text));
}

BSTR WINAPI SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (text != nullptr) return TextOrNull(text, length);
    return Guarded<BSTR>(nullptr, [&] { return NewText(std::wstring(length, L'\0')); });
}

void WINAPI SysFreeString(BSTR text) { FreeText(text); }

UINT WINAPI SysStringLen(BSTR text) { return LengthOf(text); }
