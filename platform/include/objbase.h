// The ground on Linux: objects behind interfaces, as far as the enrolment controls need them.
// What stands behind it is platform/enroll.
#pragma once

#include <windows.h>

typedef struct _GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
} GUID;
typedef GUID IID;
typedef GUID CLSID;
#define REFGUID const GUID&
#define REFIID const IID&
#define REFCLSID const CLSID&

typedef WCHAR OLECHAR;
typedef OLECHAR* LPOLESTR;
// Characters behind a 32-bit length in bytes and before a zero; null is the empty text.
typedef OLECHAR* BSTR;
typedef short VARIANT_BOOL;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

// A value that tells its type. Of the types, those that are used here.
typedef unsigned short VARTYPE;
#define VT_EMPTY 0
#define VT_BSTR 8
struct tagBRECORD {
    PVOID pvRecord;
    PVOID pRecInfo;
};
typedef struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        BSTR bstrVal;
        tagBRECORD brecVal;  // no other value is as large
    };
} VARIANT;

typedef LONG DISPID;
typedef DWORD LCID;
typedef struct ITypeInfo ITypeInfo;
typedef struct tagDISPPARAMS DISPPARAMS;
typedef struct tagEXCEPINFO EXCEPINFO;

#define STDMETHODCALLTYPE

#define S_FALSE ((HRESULT)1)
#define E_NOINTERFACE ((HRESULT)0x80004002)
#define E_POINTER ((HRESULT)0x80004003)
#define E_UNEXPECTED ((HRESULT)0x8000FFFF)
#define CLASS_E_NOAGGREGATION ((HRESULT)0x80040110)
#define REGDB_E_CLASSNOTREG ((HRESULT)0x80040154)
#define CO_E_NOTINITIALIZED ((HRESULT)0x800401F0)
#define RPC_E_CHANGED_MODE ((HRESULT)0x80010106)
#define SUCCEEDED(result) (((HRESULT)(result)) >= 0)
#define FAILED(result) (((HRESULT)(result)) < 0)

#define COINIT_MULTITHREADED 0x0
#define COINIT_APARTMENTTHREADED 0x2
#define CLSCTX_INPROC_SERVER 0x1

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

  protected:
    ~IUnknown() = default;
};
typedef IUnknown* LPUNKNOWN;

// Scripts call by name; nobody does so here, and all four answer E_NOTIMPL.
struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) { return E_NOTIMPL; }
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) {
        return E_NOTIMPL;
    }
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,
                                             EXCEPINFO*, UINT*) {
        return E_NOTIMPL;
    }

  protected:
    ~IDispatch() = default;
};

extern "C" {

// S_FALSE when it was done before: every success takes a CoUninitialize.
HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags);
void WINAPI CoUninitialize(void);
HRESULT WINAPI CoCreateInstance(REFCLSID id, LPUNKNOWN outer, DWORD context, REFIID interfaceId,
                                LPVOID* object);

// Null when there is no memory, and for null.
BSTR WINAPI SysAllocString(const OLECHAR* text);
BSTR WINAPI SysAllocStringLen(const OLECHAR* text, UINT length);
void WINAPI SysFreeString(BSTR text);
UINT WINAPI SysStringLen(BSTR text);

}  // extern "C"
