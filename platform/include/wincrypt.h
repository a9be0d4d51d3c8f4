// The ground on Linux: certificates, stores, chains, messages and providers, under
// their documented names. Declarations only; what stands behind them is in
// platform/providers, certs, cms, stores, simple and chain.
//
// Unless a comment says otherwise a call that returns BOOL or a pointer fails with
// FALSE or null and sets the last error. Calls that fill a caller's buffer take a
// null buffer as a question for the size, and answer a short one with
// ERROR_MORE_DATA and the size needed.
#pragma once

#include <windows.h>

// ---- providers: types --------------------------------------------------------

typedef unsigned int ALG_ID;
typedef ULONG_PTR HCRYPTPROV;
typedef ULONG_PTR HCRYPTKEY;
typedef ULONG_PTR HCRYPTHASH;
typedef ULONG_PTR HCRYPTPROV_OR_NCRYPT_KEY_HANDLE;
typedef ULONG_PTR HCRYPTPROV_LEGACY;

#define PROV_RSA_FULL 1
#define PROV_RSA_AES 24

#define CRYPT_VERIFYCONTEXT 0xF0000000
#define CRYPT_NEWKEYSET 0x00000008
#define CRYPT_DELETEKEYSET 0x00000010
#define CRYPT_MACHINE_KEYSET 0x00000020
#define CRYPT_SILENT 0x00000040
#define CRYPT_EXPORTABLE 0x00000001

#define AT_KEYEXCHANGE 1
#define AT_SIGNATURE 2

#define CRYPT_FIRST 1
#define CRYPT_NEXT 2

#define PP_ENUMALGS 1
#define PP_ENUMCONTAINERS 2
#define PP_NAME 4
#define PP_CONTAINER 6
#define PP_PROVTYPE 16
#define PP_ENUMALGS_EX 22
#define PP_KEYEXCHANGE_PIN 32
#define PP_SIGNATURE_PIN 33
#define PP_UNIQUE_CONTAINER 36

#define KP_ALGID 7
#define KP_KEYLEN 9
#define KP_CERTIFICATE 26

#define HP_ALGID 1
#define HP_HASHVAL 2
#define HP_HASHSIZE 4

#define ALG_CLASS_ANY 0
#define ALG_CLASS_SIGNATURE (1 << 13)
#define ALG_CLASS_DATA_ENCRYPT (3 << 13)
#define ALG_CLASS_HASH (4 << 13)
#define ALG_CLASS_KEY_EXCHANGE (5 << 13)
#define GET_ALG_CLASS(x) ((x) & (7 << 13))

#define CALG_MD5 0x00008003
#define CALG_SHA1 0x8004
#define CALG_SHA_256 0x800C
#define CALG_SHA_384 0x800D
#define CALG_SHA_512 0x800E
#define CALG_RSA_SIGN 0x2400
#define CALG_RSA_KEYX 0xA400
#define CALG_ECDSA 0x2203
#define CALG_3DES 0x6603
#define CALG_AES_128 0x660E
#define CALG_AES_192 0x660F
#define CALG_AES_256 0x6610

typedef struct _PROV_ENUMALGS {
    ALG_ID aiAlgid;
    DWORD dwBitLen;
    DWORD dwNameLen;
    CHAR szName[20];
} PROV_ENUMALGS;

typedef struct _PROV_ENUMALGS_EX {
    ALG_ID aiAlgid;
    DWORD dwDefaultLen;
    DWORD dwMinLen;
    DWORD dwMaxLen;
    DWORD dwProtocols;
    DWORD dwNameLen;
    CHAR szName[20];
    DWORD dwLongNameLen;
    CHAR szLongName[40];
} PROV_ENUMALGS_EX;

// ---- error values ------------------------------------------------------------

#define NTE_BAD_UID ((HRESULT)0x80090001)
#define NTE_BAD_HASH ((HRESULT)0x80090002)
#define NTE_BAD_HASH_STATE ((HRESULT)0x8009000C)
#define NTE_BAD_KEY ((HRESULT)0x80090003)
#define NTE_BAD_LEN ((HRESULT)0x80090004)
#define NTE_BAD_DATA ((HRESULT)0x80090005)
#define NTE_BAD_SIGNATURE ((HRESULT)0x80090006)
#define NTE_BAD_ALGID ((HRESULT)0x80090008)
#define NTE_BAD_FLAGS ((HRESULT)0x80090009)
#define NTE_BAD_TYPE ((HRESULT)0x8009000A)
#define NTE_NO_KEY ((HRESULT)0x8009000D)
#define NTE_NO_MEMORY ((HRESULT)0x8009000E)
#define NTE_EXISTS ((HRESULT)0x8009000F)
#define NTE_PERM ((HRESULT)0x80090010)
#define NTE_NOT_FOUND ((HRESULT)0x80090011)
#define NTE_BAD_PROV_TYPE ((HRESULT)0x80090014)
#define NTE_BAD_PUBLIC_KEY ((HRESULT)0x80090015)
#define NTE_BAD_KEYSET ((HRESULT)0x80090016)
#define NTE_PROV_TYPE_NOT_DEF ((HRESULT)0x80090017)
#define NTE_KEYSET_NOT_DEF ((HRESULT)0x80090019)
#define NTE_KEYSET_ENTRY_BAD ((HRESULT)0x8009001A)
#define NTE_PROV_DLL_NOT_FOUND ((HRESULT)0x8009001E)
#define NTE_FAIL ((HRESULT)0x80090020)
#define NTE_SYS_ERR ((HRESULT)0x80090021)
#define NTE_SILENT_CONTEXT ((HRESULT)0x80090022)
#define NTE_INVALID_PARAMETER ((HRESULT)0x80090027)

#define CRYPT_E_MSG_ERROR ((HRESULT)0x80091001)
#define CRYPT_E_UNKNOWN_ALGO ((HRESULT)0x80091002)
#define CRYPT_E_OID_FORMAT ((HRESULT)0x80091003)
#define CRYPT_E_INVALID_MSG_TYPE ((HRESULT)0x80091004)
#define CRYPT_E_UNEXPECTED_ENCODING ((HRESULT)0x80091005)
#define CRYPT_E_AUTH_ATTR_MISSING ((HRESULT)0x80091006)
#define CRYPT_E_HASH_VALUE ((HRESULT)0x80091007)
#define CRYPT_E_INVALID_INDEX ((HRESULT)0x80091008)
#define CRYPT_E_ALREADY_DECRYPTED ((HRESULT)0x80091009)
#define CRYPT_E_NOT_DECRYPTED ((HRESULT)0x8009100A)
#define CRYPT_E_RECIPIENT_NOT_FOUND ((HRESULT)0x8009100B)
#define CRYPT_E_CONTROL_TYPE ((HRESULT)0x8009100C)
#define CRYPT_E_ISSUER_SERIALNUMBER ((HRESULT)0x8009100D)
#define CRYPT_E_SIGNER_NOT_FOUND ((HRESULT)0x8009100E)
#define CRYPT_E_ATTRIBUTES_MISSING ((HRESULT)0x8009100F)
#define CRYPT_E_STREAM_MSG_NOT_READY ((HRESULT)0x80091010)
#define CRYPT_E_STREAM_INSUFFICIENT_DATA ((HRESULT)0x80091011)
#define CRYPT_E_BAD_LEN ((HRESULT)0x80092001)
#define CRYPT_E_BAD_ENCODE ((HRESULT)0x80092002)
#define CRYPT_E_FILE_ERROR ((HRESULT)0x80092003)
#define CRYPT_E_NOT_FOUND ((HRESULT)0x80092004)
#define CRYPT_E_EXISTS ((HRESULT)0x80092005)
#define CRYPT_E_NO_PROVIDER ((HRESULT)0x80092006)
#define CRYPT_E_SELF_SIGNED ((HRESULT)0x80092007)
#define CRYPT_E_UNEXPECTED_MSG_TYPE ((HRESULT)0x8009200A)
#define CRYPT_E_NO_KEY_PROPERTY ((HRESULT)0x8009200B)
#define CRYPT_E_BAD_MSG ((HRESULT)0x8009200D)
#define CRYPT_E_NO_SIGNER ((HRESULT)0x8009200E)
#define CRYPT_E_PENDING_CLOSE ((HRESULT)0x8009200F)
#define CRYPT_E_REVOKED ((HRESULT)0x80092010)
#define CRYPT_E_NO_REVOCATION_CHECK ((HRESULT)0x80092012)
#define CRYPT_E_REVOCATION_OFFLINE ((HRESULT)0x80092013)
#define CRYPT_E_INVALID_NUMERIC_STRING ((HRESULT)0x80092020)
#define CRYPT_E_INVALID_PRINTABLE_STRING ((HRESULT)0x80092021)
#define CRYPT_E_INVALID_IA5_STRING ((HRESULT)0x80092022)
#define CRYPT_E_INVALID_X500_STRING ((HRESULT)0x80092023)
#define CRYPT_E_ASN1_ERROR ((HRESULT)0x80093100)
#define CRYPT_E_ASN1_INTERNAL ((HRESULT)0x80093101)
#define CRYPT_E_ASN1_EOD ((HRESULT)0x80093102)
#define CRYPT_E_ASN1_CORRUPT ((HRESULT)0x80093103)
#define CRYPT_E_ASN1_LARGE ((HRESULT)0x80093104)
#define CRYPT_E_ASN1_CONSTRAINT ((HRESULT)0x80093105)
#define CRYPT_E_ASN1_MEMORY ((HRESULT)0x80093106)
#define CRYPT_E_ASN1_OVERFLOW ((HRESULT)0x80093107)
#define CRYPT_E_ASN1_BADTAG ((HRESULT)0x8009310B)
#define CERTSRV_E_INVALID_CA_CERTIFICATE ((HRESULT)0x80094005)
#define CERTSRV_E_UNSUPPORTED_CERT_TYPE ((HRESULT)0x80094800)
#define TRUST_E_NOSIGNATURE ((HRESULT)0x800B0100)
#define CERT_E_EXPIRED ((HRESULT)0x800B0101)
#define CERT_E_ROLE ((HRESULT)0x800B0103)
#define CERT_E_CRITICAL ((HRESULT)0x800B0105)
#define CERT_E_PURPOSE ((HRESULT)0x800B0106)
#define CERT_E_UNTRUSTEDROOT ((HRESULT)0x800B0109)
#define CERT_E_CHAINING ((HRESULT)0x800B010A)
#define CERT_E_REVOKED ((HRESULT)0x800B010C)
#define CERT_E_WRONG_USAGE ((HRESULT)0x800B0110)
#define CERT_E_INVALID_POLICY ((HRESULT)0x800B0113)
#define CERT_E_INVALID_NAME ((HRESULT)0x800B0114)
#define TRUST_E_CERT_SIGNATURE ((HRESULT)0x80096004)

// ---- encoded values ----------------------------------------------------------

#define X509_ASN_ENCODING 0x00000001
#define PKCS_7_ASN_ENCODING 0x00010000

typedef struct _CRYPTOAPI_BLOB {
    DWORD cbData;
    BYTE* pbData;
} CRYPT_INTEGER_BLOB, *PCRYPT_INTEGER_BLOB, CRYPT_UINT_BLOB, CRYPT_OBJID_BLOB, CERT_NAME_BLOB,
    *PCERT_NAME_BLOB, CERT_BLOB, *PCERT_BLOB, CRL_BLOB, *PCRL_BLOB, DATA_BLOB, CRYPT_DATA_BLOB,
    *PCRYPT_DATA_BLOB, CRYPT_HASH_BLOB, *PCRYPT_HASH_BLOB, CRYPT_DIGEST_BLOB, CRYPT_DER_BLOB,
    *PCRYPT_DER_BLOB, CRYPT_ATTR_BLOB, *PCRYPT_ATTR_BLOB;

// Whole elements.
typedef struct _CRYPT_SEQUENCE_OF_ANY {
    DWORD cValue;
    PCRYPT_DER_BLOB rgValue;
} CRYPT_SEQUENCE_OF_ANY, *PCRYPT_SEQUENCE_OF_ANY;

typedef struct _CRYPT_BIT_BLOB {
    DWORD cbData;
    BYTE* pbData;
    DWORD cUnusedBits;
} CRYPT_BIT_BLOB, *PCRYPT_BIT_BLOB;

typedef struct _CRYPT_ALGORITHM_IDENTIFIER {
    LPSTR pszObjId;
    CRYPT_OBJID_BLOB Parameters;
} CRYPT_ALGORITHM_IDENTIFIER, *PCRYPT_ALGORITHM_IDENTIFIER;

typedef struct _CRYPT_ATTRIBUTE {
    LPSTR pszObjId;
    DWORD cValue;
    CRYPT_ATTR_BLOB* rgValue;
} CRYPT_ATTRIBUTE, *PCRYPT_ATTRIBUTE;

typedef struct _CRYPT_ATTRIBUTES {
    DWORD cAttr;
    CRYPT_ATTRIBUTE* rgAttr;
} CRYPT_ATTRIBUTES, *PCRYPT_ATTRIBUTES;

typedef struct _CERT_PUBLIC_KEY_INFO {
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_BIT_BLOB PublicKey;
} CERT_PUBLIC_KEY_INFO, *PCERT_PUBLIC_KEY_INFO;

// X509_CERT_REQUEST_TO_BE_SIGNED: what a request says of itself (RFC 2986 4.1).
typedef struct _CERT_REQUEST_INFO {
    DWORD dwVersion;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    DWORD cAttribute;
    PCRYPT_ATTRIBUTE rgAttribute;
} CERT_REQUEST_INFO, *PCERT_REQUEST_INFO;

typedef struct _CERT_EXTENSION {
    LPSTR pszObjId;
    BOOL fCritical;
    CRYPT_OBJID_BLOB Value;
} CERT_EXTENSION, *PCERT_EXTENSION;

typedef struct _CERT_EXTENSIONS {
    DWORD cExtension;
    PCERT_EXTENSION rgExtension;
} CERT_EXTENSIONS, *PCERT_EXTENSIONS;

// X509_CERT: what is signed, and the signature with its octets turned round.
typedef struct _CERT_SIGNED_CONTENT_INFO {
    CRYPT_DER_BLOB ToBeSigned;
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CRYPT_BIT_BLOB Signature;
} CERT_SIGNED_CONTENT_INFO, *PCERT_SIGNED_CONTENT_INFO;

// X509_NAME. Values of CERT_RDN_UNICODE_STRING and CERT_RDN_UTF8_STRING are wide characters,
// those of CERT_RDN_UNIVERSAL_STRING 32-bit ones; of the rest the octets.
typedef struct _CERT_RDN_ATTR {
    LPSTR pszObjId;
    DWORD dwValueType;
    CRYPT_DATA_BLOB Value;
} CERT_RDN_ATTR, *PCERT_RDN_ATTR;

typedef struct _CERT_RDN {
    DWORD cRDNAttr;
    PCERT_RDN_ATTR rgRDNAttr;
} CERT_RDN, *PCERT_RDN;

typedef struct _CERT_NAME_INFO {
    DWORD cRDN;
    PCERT_RDN rgRDN;
} CERT_NAME_INFO, *PCERT_NAME_INFO;

#define CERT_RDN_ANY_TYPE 0
#define CERT_RDN_ENCODED_BLOB 1
#define CERT_RDN_OCTET_STRING 2
#define CERT_RDN_NUMERIC_STRING 3
#define CERT_RDN_PRINTABLE_STRING 4
#define CERT_RDN_TELETEX_STRING 5
#define CERT_RDN_VIDEOTEX_STRING 6
#define CERT_RDN_IA5_STRING 7
#define CERT_RDN_GRAPHIC_STRING 8
#define CERT_RDN_VISIBLE_STRING 9
#define CERT_RDN_GENERAL_STRING 10
#define CERT_RDN_UNIVERSAL_STRING 11
#define CERT_RDN_UNICODE_STRING 12
#define CERT_RDN_UTF8_STRING 13

typedef struct _CERT_INFO {
    DWORD dwVersion;
    CRYPT_INTEGER_BLOB SerialNumber;  // little-endian
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    CRYPT_BIT_BLOB IssuerUniqueId;
    CRYPT_BIT_BLOB SubjectUniqueId;
    DWORD cExtension;
    CERT_EXTENSION* rgExtension;
} CERT_INFO, *PCERT_INFO;

typedef struct _CRL_ENTRY {
    CRYPT_INTEGER_BLOB SerialNumber;
    FILETIME RevocationDate;
    DWORD cExtension;
    CERT_EXTENSION* rgExtension;
} CRL_ENTRY, *PCRL_ENTRY;

typedef struct _CRL_INFO {
    DWORD dwVersion;
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME ThisUpdate;
    FILETIME NextUpdate;
    DWORD cCRLEntry;
    CRL_ENTRY* rgCRLEntry;
    DWORD cExtension;
    CERT_EXTENSION* rgExtension;
} CRL_INFO, *PCRL_INFO;

typedef struct _CERT_ISSUER_SERIAL_NUMBER {
    CERT_NAME_BLOB Issuer;
    CRYPT_INTEGER_BLOB SerialNumber;
} CERT_ISSUER_SERIAL_NUMBER, *PCERT_ISSUER_SERIAL_NUMBER;

#define CERT_ID_ISSUER_SERIAL_NUMBER 1
#define CERT_ID_KEY_IDENTIFIER 2
#define CERT_ID_SHA1_HASH 3

typedef struct _CERT_ID {
    DWORD dwIdChoice;
    union {
        CERT_ISSUER_SERIAL_NUMBER IssuerSerialNumber;
        CRYPT_HASH_BLOB KeyId;
        CRYPT_HASH_BLOB HashId;
    };
} CERT_ID, *PCERT_ID;

// A signer or recipient named by key identifier appears in a CERT_INFO as an issuer
// of this one attribute, whose value is the identifier, with the serial number 0.
#define szOID_KEYID_RDN "1.3.6.1.4.1.311.10.7.1"

#define szOID_RSA_data "1.2.840.113549.1.7.1"
#define szOID_RSA_signedData "1.2.840.113549.1.7.2"
#define szOID_RSA_envelopedData "1.2.840.113549.1.7.3"
#define szOID_RSA_contentType "1.2.840.113549.1.9.3"
#define szOID_RSA_messageDigest "1.2.840.113549.1.9.4"
#define szOID_RSA_signingTime "1.2.840.113549.1.9.5"
#define szOID_RSA_RSA "1.2.840.113549.1.1.1"
#define szOID_SUBJECT_KEY_IDENTIFIER "2.5.29.14"
#define szOID_KEY_USAGE "2.5.29.15"
#define szOID_ENHANCED_KEY_USAGE "2.5.29.37"

#define X509_CERT ((LPCSTR)1)
#define X509_CERT_TO_BE_SIGNED ((LPCSTR)2)
#define X509_CERT_REQUEST_TO_BE_SIGNED ((LPCSTR)4)
#define X509_EXTENSIONS ((LPCSTR)5)
#define X509_NAME ((LPCSTR)7)
#define X509_PUBLIC_KEY_INFO ((LPCSTR)8)
#define X509_KEY_USAGE ((LPCSTR)14)
#define X509_OCTET_STRING ((LPCSTR)25)
#define X509_BITS ((LPCSTR)26)
#define X509_INTEGER ((LPCSTR)27)
#define X509_MULTI_BYTE_INTEGER ((LPCSTR)28)
#define X509_SEQUENCE_OF_ANY ((LPCSTR)34)
#define PKCS_ATTRIBUTE ((LPCSTR)22)
#define X509_ALGORITHM_IDENTIFIER ((LPCSTR)74)

// For X509_CERT: the octets of the signature stay in the order of the encoding.
#define CRYPT_DECODE_NO_SIGNATURE_BYTE_REVERSAL_FLAG 0x8

// ---- contexts and stores -----------------------------------------------------

typedef void* HCERTSTORE;
typedef void* HCRYPTMSG;
typedef HANDLE HCERTCHAINENGINE;

typedef struct _CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE hCertStore;
} CERT_CONTEXT, *PCERT_CONTEXT;
typedef const CERT_CONTEXT* PCCERT_CONTEXT;

typedef struct _CRL_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCrlEncoded;
    DWORD cbCrlEncoded;
    PCRL_INFO pCrlInfo;
    HCERTSTORE hCertStore;
} CRL_CONTEXT, *PCRL_CONTEXT;
typedef const CRL_CONTEXT* PCCRL_CONTEXT;

#define CERT_STORE_PROV_MEMORY ((LPCSTR)2)
#define CERT_STORE_PROV_PKCS7 ((LPCSTR)5)
#define CERT_STORE_PROV_FILENAME_A ((LPCSTR)7)
#define CERT_STORE_PROV_FILENAME_W ((LPCSTR)8)
#define CERT_STORE_PROV_SYSTEM_A ((LPCSTR)9)
#define CERT_STORE_PROV_SYSTEM_W ((LPCSTR)10)
#define CERT_STORE_PROV_COLLECTION ((LPCSTR)11)
#define CERT_STORE_PROV_MSG ((LPCSTR)1)

#define CERT_STORE_CREATE_NEW_FLAG 0x00002000
#define CERT_STORE_OPEN_EXISTING_FLAG 0x00004000
#define CERT_STORE_READONLY_FLAG 0x00008000
#define CERT_STORE_DELETE_FLAG 0x00000010
#define CERT_SYSTEM_STORE_LOCATION_MASK 0x00FF0000
#define CERT_SYSTEM_STORE_CURRENT_USER 0x00010000
#define CERT_SYSTEM_STORE_LOCAL_MACHINE 0x00020000

#define CERT_CLOSE_STORE_FORCE_FLAG 1
#define CERT_CLOSE_STORE_CHECK_FLAG 2

#define CERT_STORE_CTRL_COMMIT 3

#define CERT_STORE_ADD_NEW 1
#define CERT_STORE_ADD_USE_EXISTING 2
#define CERT_STORE_ADD_REPLACE_EXISTING 3
#define CERT_STORE_ADD_ALWAYS 4
#define CERT_STORE_ADD_NEWER 6

#define CERT_FIND_ANY 0
#define CERT_FIND_SHA1_HASH 0x00010000
#define CERT_FIND_HASH CERT_FIND_SHA1_HASH
#define CERT_FIND_SUBJECT_NAME 0x00020007
#define CERT_FIND_ISSUER_NAME 0x00020004
#define CERT_FIND_PUBLIC_KEY 0x00060000
#define CERT_FIND_SUBJECT_CERT 0x000B0000
#define CERT_FIND_ISSUER_OF 0x000C0000
#define CERT_FIND_EXISTING 0x000D0000
#define CERT_FIND_CERT_ID 0x00100000

#define CERT_STORE_SIGNATURE_FLAG 0x00000001
#define CERT_STORE_TIME_VALIDITY_FLAG 0x00000002

#define CERT_KEY_PROV_HANDLE_PROP_ID 1
#define CERT_KEY_PROV_INFO_PROP_ID 2
#define CERT_SHA1_HASH_PROP_ID 3
#define CERT_HASH_PROP_ID CERT_SHA1_HASH_PROP_ID
#define CERT_KEY_CONTEXT_PROP_ID 5
#define CERT_KEY_SPEC_PROP_ID 6
#define CERT_FRIENDLY_NAME_PROP_ID 11
#define CERT_KEY_IDENTIFIER_PROP_ID 20

#define CERT_STORE_NO_CRYPT_RELEASE_FLAG 0x00000001

typedef struct _CRYPT_KEY_PROV_PARAM {
    DWORD dwParam;
    BYTE* pbData;
    DWORD cbData;
    DWORD dwFlags;
} CRYPT_KEY_PROV_PARAM, *PCRYPT_KEY_PROV_PARAM;

typedef struct _CRYPT_KEY_PROV_INFO {
    LPWSTR pwszContainerName;
    LPWSTR pwszProvName;
    DWORD dwProvType;
    DWORD dwFlags;
    DWORD cProvParam;
    PCRYPT_KEY_PROV_PARAM rgProvParam;
    DWORD dwKeySpec;
} CRYPT_KEY_PROV_INFO, *PCRYPT_KEY_PROV_INFO;

typedef struct _CERT_KEY_CONTEXT {
    DWORD cbSize;
    union {
        HCRYPTPROV hCryptProv;
    };
    DWORD dwKeySpec;
} CERT_KEY_CONTEXT, *PCERT_KEY_CONTEXT;

#define CRYPT_ACQUIRE_CACHE_FLAG 0x00000001
#define CRYPT_ACQUIRE_SILENT_FLAG 0x00000040

// ---- names and usages --------------------------------------------------------

#define CERT_SIMPLE_NAME_STR 1
#define CERT_OID_NAME_STR 2
#define CERT_X500_NAME_STR 3
#define CERT_NAME_STR_REVERSE_FLAG 0x02000000

#define CERT_DIGITAL_SIGNATURE_KEY_USAGE 0x80
#define CERT_NON_REPUDIATION_KEY_USAGE 0x40
#define CERT_KEY_ENCIPHERMENT_KEY_USAGE 0x20
#define CERT_DATA_ENCIPHERMENT_KEY_USAGE 0x10
#define CERT_KEY_AGREEMENT_KEY_USAGE 0x08
#define CERT_KEY_CERT_SIGN_KEY_USAGE 0x04
#define CERT_CRL_SIGN_KEY_USAGE 0x02

// ---- OID table ---------------------------------------------------------------

#define CRYPT_OID_INFO_OID_KEY 1
#define CRYPT_OID_INFO_NAME_KEY 2
#define CRYPT_OID_INFO_ALGID_KEY 3

#define CRYPT_HASH_ALG_OID_GROUP_ID 1
#define CRYPT_ENCRYPT_ALG_OID_GROUP_ID 2
#define CRYPT_PUBKEY_ALG_OID_GROUP_ID 3
#define CRYPT_SIGN_ALG_OID_GROUP_ID 4

typedef struct _CRYPT_OID_INFO {
    DWORD cbSize;
    LPCSTR pszOID;
    LPCWSTR pwszName;
    DWORD dwGroupId;
    union {
        DWORD dwValue;
        ALG_ID Algid;
        DWORD dwLength;
    };
    CRYPT_DATA_BLOB ExtraInfo;
} CRYPT_OID_INFO, *PCRYPT_OID_INFO;
typedef const CRYPT_OID_INFO* PCCRYPT_OID_INFO;

// ---- chains ------------------------------------------------------------------

#define CERT_TRUST_NO_ERROR 0x00000000
#define CERT_TRUST_IS_NOT_TIME_VALID 0x00000001
#define CERT_TRUST_IS_REVOKED 0x00000004
#define CERT_TRUST_IS_NOT_SIGNATURE_VALID 0x00000008
#define CERT_TRUST_IS_NOT_VALID_FOR_USAGE 0x00000010
#define CERT_TRUST_IS_UNTRUSTED_ROOT 0x00000020
#define CERT_TRUST_REVOCATION_STATUS_UNKNOWN 0x00000040
#define CERT_TRUST_IS_CYCLIC 0x00000080
#define CERT_TRUST_INVALID_EXTENSION 0x00000100
#define CERT_TRUST_INVALID_POLICY_CONSTRAINTS 0x00000200
#define CERT_TRUST_INVALID_BASIC_CONSTRAINTS 0x00000400
#define CERT_TRUST_INVALID_NAME_CONSTRAINTS 0x00000800
#define CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT 0x00004000
#define CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT 0x00008000
#define CERT_TRUST_IS_OFFLINE_REVOCATION 0x01000000
#define CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT 0x08000000
#define CERT_TRUST_IS_PARTIAL_CHAIN 0x00010000

#define CERT_TRUST_HAS_EXACT_MATCH_ISSUER 0x00000001
#define CERT_TRUST_HAS_KEY_MATCH_ISSUER 0x00000002
#define CERT_TRUST_HAS_NAME_MATCH_ISSUER 0x00000004
#define CERT_TRUST_IS_SELF_SIGNED 0x00000008
#define CERT_TRUST_HAS_PREFERRED_ISSUER 0x00000100

#define CERT_CHAIN_REVOCATION_CHECK_END_CERT 0x10000000
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN 0x20000000
#define CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT 0x40000000
#define CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL 0x00000004
#define CERT_CHAIN_DISABLE_AUTH_ROOT_AUTO_UPDATE 0x00000100

#define USAGE_MATCH_TYPE_AND 0
#define USAGE_MATCH_TYPE_OR 1

typedef struct _CERT_ENHKEY_USAGE {
    DWORD cUsageIdentifier;
    LPSTR* rgpszUsageIdentifier;
} CERT_ENHKEY_USAGE, *PCERT_ENHKEY_USAGE;

typedef struct _CERT_USAGE_MATCH {
    DWORD dwType;
    CERT_ENHKEY_USAGE Usage;
} CERT_USAGE_MATCH, *PCERT_USAGE_MATCH;

typedef struct _CERT_CHAIN_PARA {
    DWORD cbSize;
    CERT_USAGE_MATCH RequestedUsage;
} CERT_CHAIN_PARA, *PCERT_CHAIN_PARA;

typedef struct _CERT_TRUST_STATUS {
    DWORD dwErrorStatus;
    DWORD dwInfoStatus;
} CERT_TRUST_STATUS, *PCERT_TRUST_STATUS;

typedef struct _CERT_CHAIN_ELEMENT {
    DWORD cbSize;
    PCCERT_CONTEXT pCertContext;
    CERT_TRUST_STATUS TrustStatus;
    void* pRevocationInfo;
    PCERT_ENHKEY_USAGE pIssuanceUsage;
    PCERT_ENHKEY_USAGE pApplicationUsage;
    LPCWSTR pwszExtendedErrorInfo;
} CERT_CHAIN_ELEMENT, *PCERT_CHAIN_ELEMENT;

typedef struct _CERT_SIMPLE_CHAIN {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cElement;
    PCERT_CHAIN_ELEMENT* rgpElement;
    void* pTrustListInfo;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
} CERT_SIMPLE_CHAIN, *PCERT_SIMPLE_CHAIN;

typedef struct _CERT_CHAIN_CONTEXT CERT_CHAIN_CONTEXT, *PCERT_CHAIN_CONTEXT;
typedef const CERT_CHAIN_CONTEXT* PCCERT_CHAIN_CONTEXT;
struct _CERT_CHAIN_CONTEXT {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cChain;
    PCERT_SIMPLE_CHAIN* rgpChain;
    DWORD cLowerQualityChainContext;
    PCCERT_CHAIN_CONTEXT* rgpLowerQualityChainContext;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
};

typedef struct _CERT_CHAIN_POLICY_PARA {
    DWORD cbSize;
    DWORD dwFlags;
    void* pvExtraPolicyPara;
} CERT_CHAIN_POLICY_PARA, *PCERT_CHAIN_POLICY_PARA;

typedef struct _CERT_CHAIN_POLICY_STATUS {
    DWORD cbSize;
    DWORD dwError;
    LONG lChainIndex;
    LONG lElementIndex;
    void* pvExtraPolicyStatus;
} CERT_CHAIN_POLICY_STATUS, *PCERT_CHAIN_POLICY_STATUS;

// ---- messages ----------------------------------------------------------------

#define CMSG_DATA 1
#define CMSG_SIGNED 2
#define CMSG_ENVELOPED 3

#define CMSG_DETACHED_FLAG 0x00000004

#define CMSG_TYPE_PARAM 1
#define CMSG_CONTENT_PARAM 2
#define CMSG_BARE_CONTENT_PARAM 3
#define CMSG_INNER_CONTENT_TYPE_PARAM 4
#define CMSG_SIGNER_COUNT_PARAM 5
#define CMSG_SIGNER_INFO_PARAM 6
#define CMSG_SIGNER_CERT_INFO_PARAM 7
#define CMSG_SIGNER_HASH_ALGORITHM_PARAM 8
#define CMSG_SIGNER_AUTH_ATTR_PARAM 9
#define CMSG_SIGNER_UNAUTH_ATTR_PARAM 10
#define CMSG_CERT_COUNT_PARAM 11
#define CMSG_CERT_PARAM 12
#define CMSG_CRL_COUNT_PARAM 13
#define CMSG_CRL_PARAM 14
#define CMSG_ENVELOPE_ALGORITHM_PARAM 15
#define CMSG_RECIPIENT_COUNT_PARAM 17
#define CMSG_RECIPIENT_INDEX_PARAM 18
#define CMSG_RECIPIENT_INFO_PARAM 19
#define CMSG_ENCRYPTED_DIGEST 27
#define CMSG_ENCODED_SIGNER 28
#define CMSG_ENCODED_MESSAGE 29
#define CMSG_VERSION_PARAM 30
#define CMSG_SIGNER_CERT_ID_PARAM 38

#define CMSG_CTRL_VERIFY_SIGNATURE 1
#define CMSG_CTRL_DECRYPT 2
#define CMSG_CTRL_ADD_SIGNER 6
#define CMSG_CTRL_DEL_SIGNER 7
#define CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR 8
#define CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR 9
#define CMSG_CTRL_ADD_CERT 10
#define CMSG_CTRL_DEL_CERT 11
#define CMSG_CTRL_ADD_CRL 12
#define CMSG_CTRL_DEL_CRL 13
#define CMSG_CTRL_VERIFY_SIGNATURE_EX 19

#define CMSG_VERIFY_SIGNER_PUBKEY 1
#define CMSG_VERIFY_SIGNER_CERT 2

// Called on the thread that feeds the message. FALSE makes the feeding call fail
// with the last error that the callback set.
typedef BOOL(WINAPI* PFN_CMSG_STREAM_OUTPUT)(const void* arg, BYTE* data, DWORD size, BOOL isFinal);

#define CMSG_INDEFINITE_LENGTH 0xFFFFFFFF

typedef struct _CMSG_STREAM_INFO {
    DWORD cbContent;
    PFN_CMSG_STREAM_OUTPUT pfnStreamOutput;
    void* pvArg;
} CMSG_STREAM_INFO, *PCMSG_STREAM_INFO;

typedef struct _CMSG_SIGNER_ENCODE_INFO {
    DWORD cbSize;
    PCERT_INFO pCertInfo;
    union {
        HCRYPTPROV hCryptProv;
    };
    DWORD dwKeySpec;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    void* pvHashAuxInfo;
    DWORD cAuthAttr;
    CRYPT_ATTRIBUTE* rgAuthAttr;
    DWORD cUnauthAttr;
    CRYPT_ATTRIBUTE* rgUnauthAttr;
} CMSG_SIGNER_ENCODE_INFO, *PCMSG_SIGNER_ENCODE_INFO;

typedef struct _CMSG_SIGNED_ENCODE_INFO {
    DWORD cbSize;
    DWORD cSigners;
    PCMSG_SIGNER_ENCODE_INFO rgSigners;
    DWORD cCertEncoded;
    PCERT_BLOB rgCertEncoded;
    DWORD cCrlEncoded;
    PCRL_BLOB rgCrlEncoded;
} CMSG_SIGNED_ENCODE_INFO, *PCMSG_SIGNED_ENCODE_INFO;

typedef struct _CMSG_ENVELOPED_ENCODE_INFO {
    DWORD cbSize;
    HCRYPTPROV_LEGACY hCryptProv;
    CRYPT_ALGORITHM_IDENTIFIER ContentEncryptionAlgorithm;
    void* pvEncryptionAuxInfo;
    DWORD cRecipients;
    PCERT_INFO* rgpRecipients;
} CMSG_ENVELOPED_ENCODE_INFO, *PCMSG_ENVELOPED_ENCODE_INFO;

typedef struct _CMSG_SIGNER_INFO {
    DWORD dwVersion;
    CERT_NAME_BLOB Issuer;
    CRYPT_INTEGER_BLOB SerialNumber;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
    CRYPT_DATA_BLOB EncryptedHash;
    CRYPT_ATTRIBUTES AuthAttrs;
    CRYPT_ATTRIBUTES UnauthAttrs;
} CMSG_SIGNER_INFO, *PCMSG_SIGNER_INFO;

typedef struct _CMSG_CTRL_DECRYPT_PARA {
    DWORD cbSize;
    union {
        HCRYPTPROV hCryptProv;
    };
    DWORD dwKeySpec;
    DWORD dwRecipientIndex;
} CMSG_CTRL_DECRYPT_PARA, *PCMSG_CTRL_DECRYPT_PARA;

typedef struct _CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA {
    DWORD cbSize;
    DWORD dwSignerIndex;
    CRYPT_DATA_BLOB blob;
} CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, *PCMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA;

typedef struct _CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA {
    DWORD cbSize;
    DWORD dwSignerIndex;
    DWORD dwUnauthAttrIndex;
} CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, *PCMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA;

typedef struct _CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA {
    DWORD cbSize;
    HCRYPTPROV_LEGACY hCryptProv;
    DWORD dwSignerIndex;
    DWORD dwSignerType;
    void* pvSigner;
} CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, *PCMSG_CTRL_VERIFY_SIGNATURE_EX_PARA;

typedef struct _CRYPT_SIGN_MESSAGE_PARA {
    DWORD cbSize;
    DWORD dwMsgEncodingType;
    PCCERT_CONTEXT pSigningCert;
    CRYPT_ALGORITHM_IDENTIFIER HashAlgorithm;
    void* pvHashAuxInfo;
    DWORD cMsgCert;
    PCCERT_CONTEXT* rgpMsgCert;
    DWORD cMsgCrl;
    PCCRL_CONTEXT* rgpMsgCrl;
    DWORD cAuthAttr;
    PCRYPT_ATTRIBUTE rgAuthAttr;
    DWORD cUnauthAttr;
    PCRYPT_ATTRIBUTE rgUnauthAttr;
    DWORD dwFlags;
    DWORD dwInnerContentType;
} CRYPT_SIGN_MESSAGE_PARA, *PCRYPT_SIGN_MESSAGE_PARA;

// Names the certificate of a signer, whose context the verifying call frees, or answers
// null. The store holds what the message has of certificates and CRLs.
typedef PCCERT_CONTEXT(WINAPI* PFN_CRYPT_GET_SIGNER_CERTIFICATE)(void* arg, DWORD encoding,
                                                                 PCERT_INFO signerId,
                                                                 HCERTSTORE messageStore);

typedef struct _CRYPT_VERIFY_MESSAGE_PARA {
    DWORD cbSize;
    DWORD dwMsgAndCertEncodingType;
    HCRYPTPROV_LEGACY hCryptProv;
    PFN_CRYPT_GET_SIGNER_CERTIFICATE pfnGetSignerCertificate;
    void* pvGetArg;
} CRYPT_VERIFY_MESSAGE_PARA, *PCRYPT_VERIFY_MESSAGE_PARA;

#ifdef __cplusplus
extern "C" {
#endif

// ---- providers: calls --------------------------------------------------------

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type,
                                 DWORD flags);
BOOL WINAPI CryptContextAddRef(HCRYPTPROV provider, DWORD* reserved, DWORD flags);
BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD flags);
BOOL WINAPI CryptGetProvParam(HCRYPTPROV provider, DWORD param, BYTE* data, DWORD* size,
                              DWORD flags);
BOOL WINAPI CryptSetProvParam(HCRYPTPROV provider, DWORD param, const BYTE* data, DWORD flags);
BOOL WINAPI CryptEnumProviderTypesA(DWORD index, DWORD* reserved, DWORD flags, DWORD* type,
                                    LPSTR name, DWORD* nameSize);
BOOL WINAPI CryptEnumProvidersA(DWORD index, DWORD* reserved, DWORD flags, DWORD* type, LPSTR name,
                                DWORD* nameSize);

BOOL WINAPI CryptGenKey(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key);
BOOL WINAPI CryptGetUserKey(HCRYPTPROV provider, DWORD keySpec, HCRYPTKEY* key);
BOOL WINAPI CryptGetKeyParam(HCRYPTKEY key, DWORD param, BYTE* data, DWORD* size, DWORD flags);
BOOL WINAPI CryptSetKeyParam(HCRYPTKEY key, DWORD param, const BYTE* data, DWORD flags);
BOOL WINAPI CryptDestroyKey(HCRYPTKEY key);
BOOL WINAPI CryptGenRandom(HCRYPTPROV provider, DWORD size, BYTE* buffer);

BOOL WINAPI CryptCreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                            HCRYPTHASH* hash);
BOOL WINAPI CryptHashData(HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags);
BOOL WINAPI CryptGetHashParam(HCRYPTHASH hash, DWORD param, BYTE* data, DWORD* size, DWORD flags);
BOOL WINAPI CryptDestroyHash(HCRYPTHASH hash);

// ---- contexts and stores: calls ----------------------------------------------

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD encoding, const BYTE* data, DWORD size);
PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT certificate);
BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT certificate);
PCCRL_CONTEXT WINAPI CertCreateCRLContext(DWORD encoding, const BYTE* data, DWORD size);
PCCRL_CONTEXT WINAPI CertDuplicateCRLContext(PCCRL_CONTEXT crl);
BOOL WINAPI CertFreeCRLContext(PCCRL_CONTEXT crl);

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property,
                                              void* data, DWORD* size);
// A null `data` removes the property. CERT_KEY_CONTEXT takes the provider handle over
// unless CERT_STORE_NO_CRYPT_RELEASE_FLAG is given.
BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property,
                                              DWORD flags, const void* data);
// The property behind `property` (0: the first), 0 at the end.
DWORD WINAPI CertEnumCertificateContextProperties(PCCERT_CONTEXT certificate, DWORD property);
// Algorithm 0 is SHA-1; provider and flags count for nothing.
BOOL WINAPI CryptHashCertificate(HCRYPTPROV_LEGACY provider, ALG_ID algorithm, DWORD flags,
                                 const BYTE* encoded, DWORD encodedSize, BYTE* hash, DWORD* size);

HCERTSTORE WINAPI CertOpenStore(LPCSTR provider, DWORD encoding, HCRYPTPROV_LEGACY legacy,
                                DWORD flags, const void* parameter);
HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY legacy, LPCSTR name);
HCERTSTORE WINAPI CertDuplicateStore(HCERTSTORE store);
// Changes of a system store may wait until it is closed, which tells when they could not be kept.
BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD flags);
// CERT_STORE_CTRL_COMMIT alone: keeps the changes that wait.
BOOL WINAPI CertControlStore(HCERTSTORE store, DWORD flags, DWORD type, const void* parameter);
BOOL WINAPI CertAddStoreToCollection(HCERTSTORE collection, HCERTSTORE sibling, DWORD flags,
                                     DWORD priority);

// Both walks free `previous` and return the next, null at the end with
// CRYPT_E_NOT_FOUND.
PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD flags,
                                                 DWORD type, const void* value,
                                                 PCCERT_CONTEXT previous);
PCCRL_CONTEXT WINAPI CertEnumCRLsInStore(HCERTSTORE store, PCCRL_CONTEXT previous);
PCCRL_CONTEXT WINAPI CertGetCRLFromStore(HCERTSTORE store, PCCERT_CONTEXT issuer,
                                         PCCRL_CONTEXT previous, DWORD* flags);
BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT certificate,
                                             DWORD disposition, PCCERT_CONTEXT* added);
BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE store, DWORD encoding, const BYTE* data,
                                             DWORD size, DWORD disposition, PCCERT_CONTEXT* added);
BOOL WINAPI CertAddCRLContextToStore(HCERTSTORE store, PCCRL_CONTEXT crl, DWORD disposition,
                                     PCCRL_CONTEXT* added);
// Frees `certificate` in every case, also when it fails.
BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT certificate);

// ---- names, comparison, encoding: calls --------------------------------------

// Both return the count of characters with the terminator; a null `text` asks.
DWORD WINAPI CertNameToStrA(DWORD encoding, PCERT_NAME_BLOB name, DWORD type, LPSTR text,
                            DWORD size);
DWORD WINAPI CertNameToStrW(DWORD encoding, PCERT_NAME_BLOB name, DWORD type, LPWSTR text,
                            DWORD size);
BOOL WINAPI CertStrToNameA(DWORD encoding, LPCSTR text, DWORD type, void* reserved, BYTE* encoded,
                           DWORD* size, LPCSTR* errorAt);
BOOL WINAPI CertStrToNameW(DWORD encoding, LPCWSTR text, DWORD type, void* reserved, BYTE* encoded,
                           DWORD* size, LPCWSTR* errorAt);

BOOL WINAPI CertCompareCertificate(DWORD encoding, PCERT_INFO first, PCERT_INFO second);
BOOL WINAPI CertCompareCertificateName(DWORD encoding, PCERT_NAME_BLOB first,
                                       PCERT_NAME_BLOB second);
BOOL WINAPI CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB first, PCRYPT_INTEGER_BLOB second);

// FALSE with last error 0 where the certificate has no key usage extension.
BOOL WINAPI CertGetIntendedKeyUsage(DWORD encoding, PCERT_INFO info, BYTE* usage, DWORD size);
PCERT_EXTENSION WINAPI CertFindExtension(LPCSTR oid, DWORD count, CERT_EXTENSION* extensions);

BOOL WINAPI CryptEncodeObject(DWORD encoding, LPCSTR type, const void* value, BYTE* encoded,
                              DWORD* size);
BOOL WINAPI CryptDecodeObject(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encodedSize,
                              DWORD flags, void* value, DWORD* size);
PCCRYPT_OID_INFO WINAPI CryptFindOIDInfo(DWORD keyType, void* key, DWORD group);

// `*callerFree` tells who releases the provider handle; a handle from the
// certificate's key context stays the certificate's.
BOOL WINAPI CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT certificate, DWORD flags,
                                              void* parameters,
                                              HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* provider,
                                              DWORD* keySpec, BOOL* callerFree);

// ---- chains: calls -----------------------------------------------------------

BOOL WINAPI CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate,
                                    LPFILETIME time, HCERTSTORE additional, PCERT_CHAIN_PARA para,
                                    DWORD flags, LPVOID reserved, PCCERT_CHAIN_CONTEXT* chain);
void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain);
// Knows the policy for time-stamp chains, named by the text of its identifier; any other gives
// ERROR_FILE_NOT_FOUND. A broken rule is no failure of the call: it is in the status.
BOOL WINAPI CertVerifyCertificateChainPolicy(LPCSTR policy, PCCERT_CHAIN_CONTEXT chain,
                                             PCERT_CHAIN_POLICY_PARA para,
                                             PCERT_CHAIN_POLICY_STATUS status);

// ---- messages: calls ---------------------------------------------------------

HCRYPTMSG WINAPI CryptMsgOpenToEncode(DWORD encoding, DWORD flags, DWORD type, const void* info,
                                      LPSTR innerContentOid, PCMSG_STREAM_INFO stream);
HCRYPTMSG WINAPI CryptMsgOpenToDecode(DWORD encoding, DWORD flags, DWORD type,
                                      HCRYPTPROV_LEGACY provider, PCERT_INFO recipient,
                                      PCMSG_STREAM_INFO stream);
BOOL WINAPI CryptMsgUpdate(HCRYPTMSG message, const BYTE* data, DWORD size, BOOL isFinal);
BOOL WINAPI CryptMsgGetParam(HCRYPTMSG message, DWORD param, DWORD index, void* data, DWORD* size);
BOOL WINAPI CryptMsgControl(HCRYPTMSG message, DWORD flags, DWORD type, const void* para);
// Each handle is closed on its own.
HCRYPTMSG WINAPI CryptMsgDuplicate(HCRYPTMSG message);
BOOL WINAPI CryptMsgClose(HCRYPTMSG message);

BOOL WINAPI CryptSignMessage(PCRYPT_SIGN_MESSAGE_PARA para, BOOL detached, DWORD count,
                             const BYTE* content[], DWORD sizes[], BYTE* encoded, DWORD* size);

// Where the callback names no certificate, both fail with last error 0, so that a caller
// can go on to the next signer; behind the last one they fail with CRYPT_E_NO_SIGNER.
// Without a callback the certificate is looked for in the message.
BOOL WINAPI CryptVerifyMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                        const BYTE* message, DWORD size, BYTE* content,
                                        DWORD* contentSize, PCCERT_CONTEXT* signer);
BOOL WINAPI CryptVerifyDetachedMessageSignature(PCRYPT_VERIFY_MESSAGE_PARA para, DWORD signerIndex,
                                                const BYTE* message, DWORD size, DWORD count,
                                                const BYTE* content[], DWORD sizes[],
                                                PCCERT_CONTEXT* signer);

#ifdef __cplusplus
}
#endif
