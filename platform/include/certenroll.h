// The ground on Linux: the numbers of the enrolment objects.
#pragma once

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
