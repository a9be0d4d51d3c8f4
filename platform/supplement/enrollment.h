// What the cross compiler's headers lack of the enrolment interfaces, for both systems:
// identifiers of classes and interfaces, and the request objects in their documented layout. A
// method answers E_NOTIMPL unless a class has it: it stands for its place in the table.
#pragma once

#include <objbase.h>

#include <certcli.h>

// ---- identifiers -----------------------------------------------------------------------------

namespace enrollment {

inline constexpr IID kIDispatch = {
    0x00020400, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

inline constexpr CLSID kCEnroll = {
    0x43F8F289, 0x7A20, 0x11D0, {0x8F, 0x06, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xE1}};
inline constexpr IID kICEnroll3 = {
    0xC28C2D95, 0xB7DE, 0x11D2, {0xA4, 0x21, 0x00, 0xC0, 0x4F, 0x79, 0xFE, 0x8E}};
inline constexpr IID kICEnroll4 = {
    0xC1F1188A, 0x2EB5, 0x4A80, {0x84, 0x1B, 0x7E, 0x72, 0x9A, 0x35, 0x6D, 0x90}};

inline constexpr CLSID kCCertRequest = {
    0x98AFF3F0, 0x5524, 0x11D0, {0x88, 0x12, 0x00, 0xA0, 0xC9, 0x03, 0xB8, 0x3C}};
inline constexpr IID kICertRequest = {
    0x014E4840, 0x5523, 0x11D0, {0x88, 0x12, 0x00, 0xA0, 0xC9, 0x03, 0xB8, 0x3C}};
inline constexpr IID kICertRequest2 = {
    0xA4772988, 0x4A85, 0x4FA9, {0x82, 0x4E, 0xB5, 0xCF, 0x5C, 0x16, 0x40, 0x5A}};
inline constexpr IID kICertRequest3 = {
    0xAFC8F92B, 0x33A2, 0x4861, {0xBF, 0x36, 0x29, 0x33, 0xB7, 0xCD, 0x67, 0xB3}};

// The request objects differ in one number, classes and interfaces in two more.
constexpr CLSID RequestClass(WORD number) {
    return {0x884E2000U + number, 0x217D, 0x11DA, {0xB2, 0xA4, 0x00, 0x0E, 0x7B, 0xBB, 0x2B, 0x09}};
}
constexpr IID RequestInterface(WORD number) {
    return {0x728AB300U + number, 0x217D, 0x11DA, {0xB2, 0xA4, 0x00, 0x0E, 0x7B, 0xBB, 0x2B, 0x09}};
}
inline constexpr CLSID kCObjectId = RequestClass(0x00);
inline constexpr IID kIObjectId = RequestInterface(0x00);
inline constexpr CLSID kCObjectIds = RequestClass(0x01);
inline constexpr IID kIObjectIds = RequestInterface(0x01);
inline constexpr CLSID kCX500DistinguishedName = RequestClass(0x03);
inline constexpr IID kIX500DistinguishedName = RequestInterface(0x03);
inline constexpr CLSID kCX509PrivateKey = RequestClass(0x0C);
inline constexpr IID kIX509PrivateKey = RequestInterface(0x0C);
inline constexpr CLSID kCX509Extension = RequestClass(0x0D);
inline constexpr IID kIX509Extension = RequestInterface(0x0D);
inline constexpr IID kIX509Extensions = RequestInterface(0x0E);
inline constexpr CLSID kCX509ExtensionKeyUsage = RequestClass(0x0F);
inline constexpr IID kIX509ExtensionKeyUsage = RequestInterface(0x0F);
inline constexpr CLSID kCX509ExtensionEnhancedKeyUsage = RequestClass(0x10);
inline constexpr IID kIX509ExtensionEnhancedKeyUsage = RequestInterface(0x10);
inline constexpr CLSID kCX509CertificateRequestPkcs10 = RequestClass(0x42);
inline constexpr IID kIX509CertificateRequestPkcs10 = RequestInterface(0x42);
inline constexpr CLSID kCX509Enrollment = RequestClass(0x46);
inline constexpr IID kIX509Enrollment = RequestInterface(0x46);

}  // namespace enrollment

// ---- numbers. The compiler's header of them needs others that it has not ----------------------

enum EncodingType : int {
    XCN_CRYPT_STRING_BASE64HEADER = 0,
    XCN_CRYPT_STRING_BASE64 = 1,
    XCN_CRYPT_STRING_BASE64_ANY = 6,
    XCN_CRYPT_STRING_ANY = 7
};

enum InstallResponseRestrictionFlags : int {
    AllowNone = 0,
    AllowNoOutstandingRequest = 1,
    AllowUntrustedCertificate = 2,
    AllowUntrustedRoot = 4
};

enum X500NameFlags : int { XCN_CERT_NAME_STR_NONE = 0 };

enum X509CertificateEnrollmentContext : int {
    ContextUser = 1,
    ContextMachine = 2,
    ContextAdministratorForceMachine = 3
};

enum X509KeySpec : int { XCN_AT_NONE = 0, XCN_AT_KEYEXCHANGE = 1, XCN_AT_SIGNATURE = 2 };

// The bits of a key usage, the first of RFC 5280 4.2.1.3 being 0x80.
enum X509KeyUsageFlags : int { XCN_CERT_NO_KEY_USAGE = 0 };

enum X509PrivateKeyExportFlags : int {
    XCN_NCRYPT_ALLOW_EXPORT_NONE = 0,
    XCN_NCRYPT_ALLOW_EXPORT_FLAG = 1
};

enum X509ProviderType : int { XCN_PROV_NONE = 0, XCN_PROV_RSA_FULL = 1 };

// ---- interfaces ------------------------------------------------------------------------------

#define ENROLLMENT_METHOD(name, parameters) \
    virtual HRESULT STDMETHODCALLTYPE name parameters { return E_NOTIMPL; }
#define ENROLLMENT_GET(type, name) ENROLLMENT_METHOD(get_##name, (type*))
#define ENROLLMENT_PROPERTY(type, name) \
    ENROLLMENT_GET(type, name)          \
    ENROLLMENT_METHOD(put_##name, (type))

enum X509EnrollmentAuthFlags : int {
    X509AuthAnonymous = 1,
    X509AuthKerberos = 2,
    X509AuthUsername = 4,
    X509AuthCertificate = 8
};

struct ICertRequest3 : ICertRequest2 {
    virtual HRESULT STDMETHODCALLTYPE SetCredential(LONG window, X509EnrollmentAuthFlags type,
                                                    BSTR credential, BSTR password) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRequestIdString(BSTR* id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIssuedCertificate2(BSTR config, BSTR id, BSTR serialNumber,
                                                            LONG* disposition) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefreshPolicy(VARIANT_BOOL* refresh) = 0;
};

struct IObjectId : IDispatch {
    ENROLLMENT_METHOD(InitializeFromName, (int))
    ENROLLMENT_METHOD(InitializeFromValue, (BSTR))
    ENROLLMENT_METHOD(InitializeFromAlgorithmName, (int, int, int, BSTR))
    ENROLLMENT_GET(int, Name)
    ENROLLMENT_PROPERTY(BSTR, FriendlyName)
    ENROLLMENT_GET(BSTR, Value)
    ENROLLMENT_METHOD(GetAlgorithmName, (int, int, BSTR*))

  protected:
    ~IObjectId() = default;
};

struct IObjectIds : IDispatch {
    ENROLLMENT_METHOD(get_ItemByIndex, (LONG, IObjectId**))
    ENROLLMENT_GET(LONG, Count)
    ENROLLMENT_GET(IUnknown*, _NewEnum)
    ENROLLMENT_METHOD(Add, (IObjectId*))
    ENROLLMENT_METHOD(Remove, (LONG))
    ENROLLMENT_METHOD(Clear, ())
    ENROLLMENT_METHOD(AddRange, (IObjectIds*))

  protected:
    ~IObjectIds() = default;
};

struct IX500DistinguishedName : IDispatch {
    ENROLLMENT_METHOD(Decode, (BSTR, EncodingType, X500NameFlags))
    ENROLLMENT_METHOD(Encode, (BSTR, X500NameFlags))
    ENROLLMENT_GET(BSTR, Name)
    ENROLLMENT_METHOD(get_EncodedName, (EncodingType, BSTR*))

  protected:
    ~IX500DistinguishedName() = default;
};

struct IX509Extension : IDispatch {
    ENROLLMENT_METHOD(Initialize, (IObjectId*, EncodingType, BSTR))
    ENROLLMENT_GET(IObjectId*, ObjectId)
    ENROLLMENT_METHOD(get_RawData, (EncodingType, BSTR*))
    ENROLLMENT_PROPERTY(VARIANT_BOOL, Critical)

  protected:
    ~IX509Extension() = default;
};

struct IX509Extensions : IDispatch {
    ENROLLMENT_METHOD(get_ItemByIndex, (LONG, IX509Extension**))
    ENROLLMENT_GET(LONG, Count)
    ENROLLMENT_GET(IUnknown*, _NewEnum)
    ENROLLMENT_METHOD(Add, (IX509Extension*))
    ENROLLMENT_METHOD(Remove, (LONG))
    ENROLLMENT_METHOD(Clear, ())
    ENROLLMENT_METHOD(get_IndexByObjectId, (IObjectId*, LONG*))
    ENROLLMENT_METHOD(AddRange, (IX509Extensions*))

  protected:
    ~IX509Extensions() = default;
};

struct IX509ExtensionKeyUsage : IX509Extension {
    ENROLLMENT_METHOD(InitializeEncode, (X509KeyUsageFlags))
    ENROLLMENT_METHOD(InitializeDecode, (EncodingType, BSTR))
    ENROLLMENT_GET(X509KeyUsageFlags, KeyUsage)

  protected:
    ~IX509ExtensionKeyUsage() = default;
};

struct IX509ExtensionEnhancedKeyUsage : IX509Extension {
    ENROLLMENT_METHOD(InitializeEncode, (IObjectIds*))
    ENROLLMENT_METHOD(InitializeDecode, (EncodingType, BSTR))
    ENROLLMENT_GET(IObjectIds*, EnhancedKeyUsage)

  protected:
    ~IX509ExtensionEnhancedKeyUsage() = default;
};

struct IX509PrivateKey : IDispatch {
    ENROLLMENT_METHOD(Open, ())
    ENROLLMENT_METHOD(Create, ())
    ENROLLMENT_METHOD(Close, ())
    ENROLLMENT_METHOD(Delete, ())
    ENROLLMENT_METHOD(Verify, (int))
    ENROLLMENT_METHOD(Import, (BSTR, BSTR, EncodingType))
    ENROLLMENT_METHOD(Export, (BSTR, EncodingType, BSTR*))
    ENROLLMENT_METHOD(ExportPublicKey, (IDispatch**))
    ENROLLMENT_PROPERTY(BSTR, ContainerName)
    ENROLLMENT_PROPERTY(BSTR, ContainerNamePrefix)
    ENROLLMENT_PROPERTY(BSTR, ReaderName)
    ENROLLMENT_PROPERTY(IDispatch*, CspInformations)
    ENROLLMENT_PROPERTY(IDispatch*, CspStatus)
    ENROLLMENT_PROPERTY(BSTR, ProviderName)
    ENROLLMENT_PROPERTY(X509ProviderType, ProviderType)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, LegacyCsp)
    ENROLLMENT_PROPERTY(IObjectId*, Algorithm)
    ENROLLMENT_PROPERTY(X509KeySpec, KeySpec)
    ENROLLMENT_PROPERTY(LONG, Length)
    ENROLLMENT_PROPERTY(X509PrivateKeyExportFlags, ExportPolicy)
    ENROLLMENT_PROPERTY(int, KeyUsage)
    ENROLLMENT_PROPERTY(int, KeyProtection)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, MachineContext)
    ENROLLMENT_PROPERTY(BSTR, SecurityDescriptor)
    ENROLLMENT_METHOD(get_Certificate, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(put_Certificate, (EncodingType, BSTR))
    ENROLLMENT_GET(BSTR, UniqueContainerName)
    ENROLLMENT_GET(VARIANT_BOOL, Opened)
    ENROLLMENT_GET(VARIANT_BOOL, DefaultContainer)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, Existing)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, Silent)
    ENROLLMENT_PROPERTY(LONG, ParentWindow)
    ENROLLMENT_PROPERTY(BSTR, UIContextMessage)
    ENROLLMENT_METHOD(put_Pin, (BSTR))
    ENROLLMENT_PROPERTY(BSTR, FriendlyName)
    ENROLLMENT_PROPERTY(BSTR, Description)

  protected:
    ~IX509PrivateKey() = default;
};

struct IX509CertificateRequest : IDispatch {
    ENROLLMENT_METHOD(Initialize, (X509CertificateEnrollmentContext))
    ENROLLMENT_METHOD(Encode, ())
    ENROLLMENT_METHOD(ResetForEncode, ())
    ENROLLMENT_METHOD(GetInnerRequest, (int, IX509CertificateRequest**))
    ENROLLMENT_GET(int, Type)
    ENROLLMENT_GET(X509CertificateEnrollmentContext, EnrollmentContext)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, Silent)
    ENROLLMENT_PROPERTY(LONG, ParentWindow)
    ENROLLMENT_PROPERTY(BSTR, UIContextMessage)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, SuppressDefaults)
    ENROLLMENT_METHOD(get_RenewalCertificate, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(put_RenewalCertificate, (EncodingType, BSTR))
    ENROLLMENT_PROPERTY(int, ClientId)
    ENROLLMENT_PROPERTY(IDispatch*, CspInformations)
    ENROLLMENT_PROPERTY(IObjectId*, HashAlgorithm)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, AlternateSignatureAlgorithm)
    ENROLLMENT_METHOD(get_RawData, (EncodingType, BSTR*))

  protected:
    ~IX509CertificateRequest() = default;
};

struct IX509CertificateRequestPkcs10 : IX509CertificateRequest {
    ENROLLMENT_METHOD(InitializeFromTemplateName, (X509CertificateEnrollmentContext, BSTR))
    ENROLLMENT_METHOD(InitializeFromPrivateKey,
                      (X509CertificateEnrollmentContext, IX509PrivateKey*, BSTR))
    ENROLLMENT_METHOD(InitializeFromPublicKey, (X509CertificateEnrollmentContext, IDispatch*, BSTR))
    ENROLLMENT_METHOD(InitializeFromCertificate,
                      (X509CertificateEnrollmentContext, BSTR, EncodingType, int))
    ENROLLMENT_METHOD(InitializeDecode, (BSTR, EncodingType))
    ENROLLMENT_METHOD(CheckSignature, (int))
    ENROLLMENT_METHOD(IsSmartCard, (VARIANT_BOOL*))
    ENROLLMENT_GET(IObjectId*, TemplateObjectId)
    ENROLLMENT_GET(IDispatch*, PublicKey)
    ENROLLMENT_GET(IX509PrivateKey*, PrivateKey)
    ENROLLMENT_GET(VARIANT_BOOL, NullSigned)
    ENROLLMENT_GET(VARIANT_BOOL, ReuseKey)
    ENROLLMENT_METHOD(get_OldCertificate, (EncodingType, BSTR*))
    ENROLLMENT_PROPERTY(IX500DistinguishedName*, Subject)
    ENROLLMENT_GET(IDispatch*, CspStatuses)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, SmimeCapabilities)
    ENROLLMENT_GET(IDispatch*, SignatureInformation)
    ENROLLMENT_PROPERTY(BSTR, KeyContainerNamePrefix)
    ENROLLMENT_GET(IDispatch*, CryptAttributes)
    ENROLLMENT_GET(IX509Extensions*, X509Extensions)
    ENROLLMENT_GET(IObjectIds*, CriticalExtensions)
    ENROLLMENT_GET(IObjectIds*, SuppressOids)
    ENROLLMENT_METHOD(get_RawDataToBeSigned, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(get_Signature, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(GetCspStatuses, (X509KeySpec, IDispatch**))

  protected:
    ~IX509CertificateRequestPkcs10() = default;
};

struct IX509Enrollment : IDispatch {
    ENROLLMENT_METHOD(Initialize, (X509CertificateEnrollmentContext))
    ENROLLMENT_METHOD(InitializeFromTemplateName, (X509CertificateEnrollmentContext, BSTR))
    ENROLLMENT_METHOD(InitializeFromRequest, (IX509CertificateRequest*))
    ENROLLMENT_METHOD(CreateRequest, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(Enroll, ())
    ENROLLMENT_METHOD(InstallResponse, (InstallResponseRestrictionFlags, BSTR, EncodingType, BSTR))
    ENROLLMENT_METHOD(CreatePFX, (BSTR, int, EncodingType, BSTR*))
    ENROLLMENT_GET(IX509CertificateRequest*, Request)
    ENROLLMENT_PROPERTY(VARIANT_BOOL, Silent)
    ENROLLMENT_PROPERTY(LONG, ParentWindow)
    ENROLLMENT_GET(IDispatch*, NameValuePairs)
    ENROLLMENT_GET(X509CertificateEnrollmentContext, EnrollmentContext)
    ENROLLMENT_GET(IDispatch*, Status)
    ENROLLMENT_METHOD(get_Certificate, (EncodingType, BSTR*))
    ENROLLMENT_METHOD(get_Response, (EncodingType, BSTR*))
    ENROLLMENT_PROPERTY(BSTR, CertificateFriendlyName)
    ENROLLMENT_PROPERTY(BSTR, CertificateDescription)
    ENROLLMENT_GET(LONG, RequestId)
    ENROLLMENT_GET(BSTR, CAConfigString)

  protected:
    ~IX509Enrollment() = default;
};

#undef ENROLLMENT_PROPERTY
#undef ENROLLMENT_GET
#undef ENROLLMENT_METHOD
