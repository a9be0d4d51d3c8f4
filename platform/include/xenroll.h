// The ground on Linux: the enrolment control of the older kind, in the documented layout. A
// method answers E_NOTIMPL unless the control has it: it stands for its place in the table.
#pragma once

#include <objbase.h>

#define XECR_PKCS10_V2_0 0x1
#define XECR_PKCS7 0x2

#define GROUND_METHOD(name, parameters) \
    virtual HRESULT STDMETHODCALLTYPE name parameters { return E_NOTIMPL; }
#define GROUND_PROPERTY(type, name)    \
    GROUND_METHOD(get_##name, (type*)) \
    GROUND_METHOD(put_##name, (type))

struct ICEnroll : IDispatch {
    GROUND_METHOD(createFilePKCS10, (BSTR, BSTR, BSTR))
    GROUND_METHOD(acceptFilePKCS7, (BSTR))
    GROUND_METHOD(createPKCS10, (BSTR, BSTR, BSTR*))
    GROUND_METHOD(acceptPKCS7, (BSTR))
    GROUND_METHOD(getCertFromPKCS7, (BSTR, BSTR*))
    GROUND_METHOD(enumProviders, (LONG, LONG, BSTR*))
    GROUND_METHOD(enumContainers, (LONG, BSTR*))
    GROUND_METHOD(freeRequestInfo, (BSTR))
    GROUND_PROPERTY(BSTR, MyStoreName)
    GROUND_PROPERTY(BSTR, MyStoreType)
    GROUND_PROPERTY(LONG, MyStoreFlags)
    GROUND_PROPERTY(BSTR, CAStoreName)
    GROUND_PROPERTY(BSTR, CAStoreType)
    GROUND_PROPERTY(LONG, CAStoreFlags)
    GROUND_PROPERTY(BSTR, RootStoreName)
    GROUND_PROPERTY(BSTR, RootStoreType)
    GROUND_PROPERTY(LONG, RootStoreFlags)
    GROUND_PROPERTY(BSTR, RequestStoreName)
    GROUND_PROPERTY(BSTR, RequestStoreType)
    GROUND_PROPERTY(LONG, RequestStoreFlags)
    GROUND_PROPERTY(BSTR, ContainerName)
    GROUND_PROPERTY(BSTR, ProviderName)
    GROUND_PROPERTY(LONG, ProviderType)
    GROUND_PROPERTY(LONG, KeySpec)
    GROUND_PROPERTY(LONG, ProviderFlags)
    GROUND_PROPERTY(BOOL, UseExistingKeySet)
    GROUND_PROPERTY(LONG, GenKeyFlags)
    GROUND_PROPERTY(BOOL, DeleteRequestCert)
    GROUND_PROPERTY(BOOL, WriteCertToCSP)
    GROUND_PROPERTY(BSTR, SPCFileName)
    GROUND_PROPERTY(BSTR, PVKFileName)
    GROUND_PROPERTY(BSTR, HashAlgorithm)

  protected:
    ~ICEnroll() = default;
};

struct ICEnroll2 : ICEnroll {
    GROUND_METHOD(addCertTypeToRequest, (BSTR))
    GROUND_METHOD(addNameValuePairToSignature, (BSTR, BSTR))
    GROUND_PROPERTY(BOOL, WriteCertToUserDS)
    GROUND_PROPERTY(BOOL, EnableT61DNEncoding)

  protected:
    ~ICEnroll2() = default;
};

struct ICEnroll3 : ICEnroll2 {
    GROUND_METHOD(InstallPKCS7, (BSTR))
    GROUND_METHOD(Reset, ())
    GROUND_METHOD(GetSupportedKeySpec, (LONG*))
    GROUND_METHOD(GetKeyLen, (BOOL, BOOL, LONG*))
    GROUND_METHOD(EnumAlgs, (LONG, LONG, LONG*))
    GROUND_METHOD(GetAlgName, (LONG, BSTR*))
    GROUND_METHOD(put_ReuseHardwareKeyIfUnableToGenNew, (BOOL))
    GROUND_METHOD(get_ReuseHardwareKeyIfUnableToGenNew, (BOOL*))
    GROUND_METHOD(put_HashAlgID, (LONG))
    GROUND_METHOD(get_HashAlgID, (LONG*))
    GROUND_METHOD(put_LimitExchangeKeyToEncipherment, (BOOL))
    GROUND_METHOD(get_LimitExchangeKeyToEncipherment, (BOOL*))
    GROUND_METHOD(put_EnableSMIMECapabilities, (BOOL))
    GROUND_METHOD(get_EnableSMIMECapabilities, (BOOL*))

  protected:
    ~ICEnroll3() = default;
};

struct ICEnroll4 : ICEnroll3 {
    GROUND_METHOD(put_PrivateKeyArchiveCertificate, (BSTR))
    GROUND_METHOD(get_PrivateKeyArchiveCertificate, (BSTR*))
    GROUND_METHOD(put_ThumbPrint, (BSTR))
    GROUND_METHOD(get_ThumbPrint, (BSTR*))
    GROUND_METHOD(binaryToString, (LONG, BSTR, BSTR*))
    GROUND_METHOD(stringToBinary, (LONG, BSTR, BSTR*))
    GROUND_METHOD(addExtensionToRequest, (LONG, BSTR, BSTR))
    GROUND_METHOD(addAttributeToRequest, (LONG, BSTR, BSTR))
    GROUND_METHOD(addNameValuePairToRequest, (LONG, BSTR, BSTR))
    GROUND_METHOD(resetExtensions, ())
    GROUND_METHOD(resetAttributes, ())
    GROUND_METHOD(createRequest, (LONG, BSTR, BSTR, BSTR*))
    GROUND_METHOD(createFileRequest, (LONG, BSTR, BSTR, BSTR))
    GROUND_METHOD(acceptResponse, (BSTR))
    GROUND_METHOD(acceptFileResponse, (BSTR))
    GROUND_METHOD(getCertFromResponse, (BSTR, BSTR*))
    GROUND_METHOD(getCertFromFileResponse, (BSTR, BSTR*))
    GROUND_METHOD(createPFX, (BSTR, BSTR*))
    GROUND_METHOD(createFilePFX, (BSTR, BSTR))
    GROUND_METHOD(setPendingRequestInfo, (LONG, BSTR, BSTR, BSTR))
    GROUND_METHOD(enumPendingRequest, (LONG, LONG, VARIANT*))
    GROUND_METHOD(removePendingRequest, (BSTR))
    GROUND_METHOD(GetKeyLenEx, (LONG, LONG, LONG*))
    GROUND_METHOD(InstallPKCS7Ex, (BSTR, LONG*))
    GROUND_METHOD(addCertTypeToRequestEx, (LONG, BSTR, LONG, BOOL, LONG))
    GROUND_METHOD(getProviderType, (BSTR, LONG*))
    GROUND_METHOD(put_SignerCertificate, (BSTR))
    GROUND_METHOD(put_ClientId, (LONG))
    GROUND_METHOD(get_ClientId, (LONG*))
    GROUND_METHOD(addBlobPropertyToCertificate, (LONG, LONG, BSTR))
    GROUND_METHOD(resetBlobProperties, ())
    GROUND_METHOD(put_IncludeSubjectKeyID, (BOOL))
    GROUND_METHOD(get_IncludeSubjectKeyID, (BOOL*))

  protected:
    ~ICEnroll4() = default;
};

#undef GROUND_PROPERTY
#undef GROUND_METHOD
