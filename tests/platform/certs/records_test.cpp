// Comparison, key usage, and single encoded values.
#include <cstddef>
#include <memory>
#include <string>

#include "platform/der/der.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

using RecordsTest = CertsTest;

template <class Blob>
Blob BlobOf(Bytes& bytes) {
    Blob blob{};
    blob.cbData = static_cast<DWORD>(bytes.size());
    blob.pbData = bytes.data();
    return blob;
}

TEST_F(RecordsTest, ComparesIntegers) {
    // Little-endian, as records have them.
    const struct {
        const char* name;
        const char* first;
        const char* second;
        BOOL equal;
    } rows[] = {
        {"other", "01 02", "02 01", FALSE},
        {"positive, more sign octets", "7F", "7F 00 00", TRUE},
        {"top bit needs its sign octet", "80 00", "80", FALSE},
        {"negative, more sign octets", "80", "80 FF FF", TRUE},
        {"255 is not minus one", "FF 00", "FF", FALSE},
        {"zero", "00", "00 00 00", TRUE},
        {"zero and nothing", "00", "", FALSE},
        {"longer", "01 02", "01 02 03", FALSE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes first = FromHex(row.first);
        Bytes second = FromHex(row.second);
        auto one = BlobOf<CRYPT_INTEGER_BLOB>(first);
        auto other = BlobOf<CRYPT_INTEGER_BLOB>(second);
        EXPECT_EQ(CertCompareIntegerBlob(&one, &other), row.equal);
        EXPECT_EQ(CertCompareIntegerBlob(&other, &one), row.equal);
    }
}

// SEQUENCE { SET { SEQUENCE { 1.3.6.1.4.1.311.10.7.1, OCTET STRING } } }
Bytes KeyIdentifierName(ByteView identifier) {
    return der::Element(
        der::kSequence,
        der::Element(der::kSet,
                     der::Element(der::kSequence, {FromHex("06 0A 2B 06 01 04 01 82 37 0A 07 01"),
                                                   der::Element(der::kOctetString, identifier)})));
}

TEST_F(RecordsTest, ComparesCertificates) {
    const CertHolder ec = ContextOf("p256");
    const CertHolder rsa = ContextOf("rsa");
    const CertHolder plain = Context(NumberedCertificate(5));
    const CERT_EXTENSION* extension = CertFindExtension(
        szOID_SUBJECT_KEY_IDENTIFIER, ec->pCertInfo->cExtension, ec->pCertInfo->rgExtension);
    ASSERT_NE(extension, nullptr);
    ASSERT_EQ(extension->Value.cbData, 22U);
    Bytes own = KeyIdentifierName({extension->Value.pbData + 2, 20});
    // SHA-1 of the single octet 04, the numbered certificate's public key; by sha1sum.
    Bytes hashed = KeyIdentifierName(FromHex("a42c6cf1de3abfdea9b95f34687cbbe92b9a7383"));
    Bytes issuer(ec->pCertInfo->Issuer.pbData,
                 ec->pCertInfo->Issuer.pbData + ec->pCertInfo->Issuer.cbData);
    Bytes serial(ec->pCertInfo->SerialNumber.pbData,
                 ec->pCertInfo->SerialNumber.pbData + ec->pCertInfo->SerialNumber.cbData);
    Bytes longSerial = serial;
    longSerial.push_back(serial.back() >= 0x80 ? 0xFF : 0x00);
    Bytes otherSerial = serial;
    otherSerial[0] ^= 1;
    Bytes zero = {0};
    Bytes noName = {0x30, 0x00};

    const struct {
        const char* name;
        Bytes& issuer;
        Bytes& serial;
        const CertHolder& certificate;
        BOOL equal;
    } rows[] = {
        {"issuer and serial", issuer, serial, ec, TRUE},
        {"serial with a sign octet more", issuer, longSerial, ec, TRUE},
        {"other serial", issuer, otherSerial, ec, FALSE},
        {"other issuer", noName, serial, ec, FALSE},
        {"key identifier of the extension", own, zero, ec, TRUE},
        {"key identifier of another", own, zero, rsa, FALSE},
        {"key identifier with a serial is a plain name", own, serial, ec, FALSE},
        {"key identifier of the bits", hashed, zero, plain, TRUE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        CERT_INFO wanted{};
        wanted.Issuer = BlobOf<CERT_NAME_BLOB>(row.issuer);
        wanted.SerialNumber = BlobOf<CRYPT_INTEGER_BLOB>(row.serial);
        CERT_INFO* info = row.certificate->pCertInfo;
        EXPECT_EQ(CertCompareCertificate(kEncoding, info, &wanted), row.equal);
        EXPECT_EQ(CertCompareCertificate(kEncoding, &wanted, info), row.equal);
    }
    EXPECT_FALSE(CertCompareCertificate(kEncoding, nullptr, ec->pCertInfo));
}

TEST_F(RecordsTest, ReadsKeyUsage) {
    const struct {
        const char* name;
        const char* value;  // of the extension; null: no extension
        BOOL result;
        const char* usage;
        DWORD error;
    } rows[] = {
        {"signature and encipherment", "03 02 05 A0", TRUE, "A0 00", 0},
        {"empty", "03 01 00", TRUE, "00 00", 0},
        {"no extension", nullptr, FALSE, "00 00", 0},
        {"no bits", "04 01 00", FALSE, "00 00", Code(CRYPT_E_ASN1_BADTAG)},
        {"eight unused bits", "03 02 08 00", FALSE, "00 00", Code(CRYPT_E_ASN1_CORRUPT)},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        char oid[] = szOID_KEY_USAGE;
        Bytes value = row.value == nullptr ? Bytes() : FromHex(row.value);
        CERT_EXTENSION extension{oid, TRUE, BlobOf<CRYPT_OBJID_BLOB>(value)};
        CERT_INFO info{};
        info.cExtension = row.value == nullptr ? 0 : 1;
        info.rgExtension = &extension;
        BYTE usage[2] = {0xEE, 0xEE};
        SetLastError(12345);
        EXPECT_EQ(CertGetIntendedKeyUsage(kEncoding, &info, usage, sizeof usage), row.result);
        if (row.result == FALSE) {
            EXPECT_EQ(GetLastError(), row.error);
        }
        EXPECT_EQ(Hex(usage), Hex(FromHex(row.usage)));
    }
}

// ---- encoding --------------------------------------------------------------------

std::string Encoded(LPCSTR type, const void* value) {
    DWORD size = 0;
    if (CryptEncodeObject(kEncoding, type, value, nullptr, &size) == FALSE) return "failed";
    // Exact fits, one short tells the need, one over stays as it is.
    Bytes out(size + 1, 0xEE);
    DWORD shortSize = size - 1;
    EXPECT_EQ(Outcome(CryptEncodeObject(kEncoding, type, value, out.data(), &shortSize)),
              DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(shortSize, size);
    DWORD exact = size;
    EXPECT_TRUE(CryptEncodeObject(kEncoding, type, value, out.data(), &exact));
    EXPECT_EQ(exact, size);
    EXPECT_EQ(out.back(), 0xEE);
    return Hex(ByteView(out).first(size));
}

// A record of bits begins as the plain ones do.
TEST_F(RecordsTest, EncodesBlobs) {
    const struct {
        const char* name;
        LPCSTR type;
        const char* value;
        DWORD unused;
        const char* expected;
    } rows[] = {
        {"no octets", X509_OCTET_STRING, "", 0, "0400"},
        {"key identifier", szOID_SUBJECT_KEY_IDENTIFIER, "0A", 0, "04010a"},
        {"sign octet kept where it counts", X509_MULTI_BYTE_INTEGER, "FF 00", 0, "020200ff"},
        {"sign octets dropped", X509_MULTI_BYTE_INTEGER, "02 01 00 00", 0, "02020102"},
        {"negative", X509_MULTI_BYTE_INTEGER, "80 FF FF", 0, "020180"},
        {"nothing is zero", X509_MULTI_BYTE_INTEGER, "", 0, "020100"},
        {"unused bits are zero", X509_BITS, "A5 FF", 3, "030303a5f8"},
        {"no bits", X509_BITS, "", 0, "030100"},
        {"usage by identifier", szOID_KEY_USAGE, "01 80", 0, "0303070180"},
        {"eight unused bits", X509_BITS, "FF", 8, "failed"},
        {"unused bits of nothing", X509_BITS, "", 1, "failed"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Bytes value = FromHex(row.value);
        auto blob = BlobOf<CRYPT_BIT_BLOB>(value);
        blob.cUnusedBits = row.unused;
        EXPECT_EQ(Encoded(row.type, &blob), row.expected);
    }
}

TEST_F(RecordsTest, EncodesAttributes) {
    const struct {
        const char* name;
        const char* oid;
        const char* value;
        const char* expected;  // empty: CRYPT_E_BAD_ENCODE
    } rows[] = {
        {"one value", "1.2.3", "04 01 FF", "300906022a0331030401ff"},
        // What the caller says is a value goes in as it stands.
        {"no element", "1.2.3", "61 62 63", "300906022a033103616263"},
        {"one arc", "1", "05 00", ""},
        {"null identifier", nullptr, "05 00", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string oid = row.oid == nullptr ? "" : row.oid;
        Bytes value = FromHex(row.value);
        auto blob = BlobOf<CRYPT_ATTR_BLOB>(value);
        const CRYPT_ATTRIBUTE attribute{row.oid == nullptr ? nullptr : oid.data(), 1, &blob};
        if (*row.expected != '\0') {
            EXPECT_EQ(Encoded(PKCS_ATTRIBUTE, &attribute), row.expected);
            continue;
        }
        DWORD size = 0;
        EXPECT_EQ(Outcome(CryptEncodeObject(kEncoding, PKCS_ATTRIBUTE, &attribute, nullptr, &size)),
                  Code(CRYPT_E_BAD_ENCODE));
    }
}

// Every kind of structure decodes to one that encodes to the same octets; damaged ones
// do not decode. The octets are written by hand.
TEST_F(RecordsTest, DecodesWhatItEncodes) {
    const struct {
        const char* name;
        LPCSTR type;
        const char* encoded;
    } rows[] = {
        {"attribute", PKCS_ATTRIBUTE, "300c06022a03310604010a04010b"},
        {"integer", X509_INTEGER, "0202ff7f"},
        {"least integer", X509_INTEGER, "020480000000"},
        {"octets", X509_OCTET_STRING, "0403010203"},
        {"bits", X509_BITS, "030304a5f0"},
        {"usage", X509_KEY_USAGE, "030205a0"},
        {"large integer", X509_MULTI_BYTE_INTEGER, "02090080000000000000ff"},
        {"algorithm without parameters", X509_ALGORITHM_IDENTIFIER, "3004 06022a03"},
        {"public key", X509_PUBLIC_KEY_INFO, "300c 3006 06022a03 0500 0302 00ff"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Bytes der = FromHex(row.encoded);
        DWORD size = 0;
        ASSERT_TRUE(CryptDecodeObject(kEncoding, row.type, der.data(),
                                      static_cast<DWORD>(der.size()), 0, nullptr, &size));
        const auto block =
            std::make_unique<std::max_align_t[]>(size / sizeof(std::max_align_t) + 1);
        DWORD shortSize = size - 1;
        EXPECT_EQ(
            Outcome(CryptDecodeObject(kEncoding, row.type, der.data(),
                                      static_cast<DWORD>(der.size()), 0, block.get(), &shortSize)),
            DWORD{ERROR_MORE_DATA});
        ASSERT_TRUE(CryptDecodeObject(kEncoding, row.type, der.data(),
                                      static_cast<DWORD>(der.size()), 0, block.get(), &size));
        EXPECT_EQ(Encoded(row.type, block.get()), Hex(der));
        for (std::size_t length = 0; length < der.size(); ++length) {
            DWORD any = 0;
            EXPECT_FALSE(CryptDecodeObject(kEncoding, row.type, der.data(),
                                           static_cast<DWORD>(length), 0, nullptr, &any));
            EXPECT_EQ(GetLastError() >> 8, 0x800931U) << length;
        }
    }
}

TEST_F(RecordsTest, FindsAlgorithms) {
    ALG_ID sha256 = CALG_SHA_256;
    const PCCRYPT_OID_INFO info =
        CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &sha256, CRYPT_HASH_ALG_OID_GROUP_ID);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->pszOID, "2.16.840.1.101.3.4.2.1");
    EXPECT_EQ(info->dwGroupId, DWORD{CRYPT_HASH_ALG_OID_GROUP_ID});
    std::wstring name = info->pwszName;
    EXPECT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_NAME_KEY, name.data(), 0), info);
}

}  // namespace
}  // namespace platform::testing
