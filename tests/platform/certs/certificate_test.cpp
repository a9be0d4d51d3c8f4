// Contexts: what is read from certificates and CRLs, and what is refused.
#include <cstdio>

#include "platform/der/der.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

using CertificateTest = CertsTest;

std::string Moment(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", parts.wYear, parts.wMonth,
                  parts.wDay, parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

TEST_F(CertificateTest, ReadsTimes) {
    const struct {
        const char* name;
        std::uint8_t tag;
        const char* text;
        const char* expected;  // empty: refused
    } rows[] = {
        {"last year of the two digits", 0x17, "491231235959Z", "2049-12-31 23:59:59"},
        {"first year of the two digits", 0x17, "500101000000Z", "1950-01-01 00:00:00"},
        {"without seconds", 0x17, "0901020304Z", "2009-01-02 03:04:00"},
        {"east of UTC", 0x17, "090102030405+0300", "2009-01-02 00:04:05"},
        {"west of UTC", 0x17, "091231230000-0130", "2010-01-01 00:30:00"},
        {"fraction", 0x18, "20200101000000.75Z", "2020-01-01 00:00:00"},
        {"no end", 0x18, "99991231235959Z", "9999-12-31 23:59:59"},
        {"before FILETIME", 0x18, "00010101000000Z", "1601-01-01 00:00:00"},
        {"no leap day", 0x18, "19000229120000Z", ""},
        {"month 13", 0x17, "091301000000Z", ""},
        {"hour 24", 0x17, "090101240000Z", ""},
        {"no zone", 0x17, "090101000000", ""},
        {"behind the zone", 0x17, "090101000000Z0", ""},
        {"empty", 0x17, "", ""},
        {"another tag", 0x13, "090101000000Z", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const Bytes time = der::Element(row.tag, ViewOf(std::string_view(row.text)));
        const CertHolder context = Context(NumberedCertificate(7, time));
        if (*row.expected == '\0') {
            EXPECT_FALSE(context);
            EXPECT_EQ(GetLastError() >> 8, 0x800931U);
        } else {
            ASSERT_TRUE(context);
            EXPECT_EQ(Moment(context->pCertInfo->NotBefore), row.expected);
        }
    }
}

TEST_F(CertificateTest, RefusesEveryOtherLength) {
    const Bytes whole = CertificateOf("p256");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        SetLastError(0);
        // A null pointer would be another fault.
        const BYTE none = 0;
        ASSERT_EQ(CertCreateCertificateContext(kEncoding, cut.empty() ? &none : cut.data(),
                                               static_cast<DWORD>(length)),
                  nullptr)
            << length;
        ASSERT_EQ(GetLastError() >> 8, 0x800931U) << length;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_FALSE(Context(longer));
}

// Whatever one wrong octet makes of a certificate, reading it ends, and what reads can
// be asked for its native form.
TEST_F(CertificateTest, SurvivesEveryWrongOctet) {
    const Bytes whole = CertificateOf("p256");
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int change : {0x01, 0x80, 0xFF}) {
            Bytes wrong = whole;
            wrong[at] = static_cast<std::uint8_t>(wrong[at] ^ change);
            const CertHolder context = Context(wrong);
            if (!context) continue;
            char text[256];
            CertNameToStrA(kEncoding, &context->pCertInfo->Subject, CERT_X500_NAME_STR, text,
                           sizeof text);
            try {
                (void)Certificate::Of(context.get())->Native();
            } catch (const Error& error) {
                ASSERT_EQ(error.Code(), Code(CRYPT_E_ASN1_CORRUPT));
            }
        }
    }
}

TEST_F(CertificateTest, CountsContexts) {
    CertHolder first = ContextOf("p256");
    CertHolder second(CertDuplicateCertificateContext(first.get()));
    EXPECT_EQ(first.get(), second.get());
    const PCCERT_CONTEXT stale = first.release();
    EXPECT_TRUE(CertFreeCertificateContext(stale));
    EXPECT_EQ(second->cbCertEncoded, CertificateOf("p256").size());
    second.reset();
    EXPECT_EQ(Outcome(CertFreeCertificateContext(stale)), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(CertDuplicateCertificateContext(stale), nullptr);
    EXPECT_TRUE(CertFreeCertificateContext(nullptr));
    EXPECT_EQ(CertCreateCertificateContext(0, CertificateOf("p256").data(), 10), nullptr);
    EXPECT_EQ(GetLastError(), Code(E_INVALIDARG));
}

TEST_F(CertificateTest, ReadsRevocationLists) {
    // Two entries, the second with a reason, in the form in which the command keeps them.
    const CrlHolder crl = MakeCrl(
        "R\t350101000000Z\t240102030405Z\t01\tunknown\t/CN=a\n"
        "R\t350101000000Z\t240203040506Z,keyCompromise\tA1B2\tunknown\t/CN=b\n",
        "-crldays 30");
    ASSERT_TRUE(crl);
    const CRL_INFO& info = *crl->pCrlInfo;
    EXPECT_EQ(info.dwVersion, 1U);
    ASSERT_EQ(info.cCRLEntry, 2U);
    EXPECT_EQ(Hex({info.rgCRLEntry[1].SerialNumber.pbData, info.rgCRLEntry[1].SerialNumber.cbData}),
              "b2a100");
    EXPECT_EQ(Moment(info.rgCRLEntry[0].RevocationDate), "2024-01-02 03:04:05");
    EXPECT_EQ(info.rgCRLEntry[0].cExtension, 0U);
    ASSERT_EQ(info.rgCRLEntry[1].cExtension, 1U);
    EXPECT_STREQ(info.rgCRLEntry[1].rgExtension[0].pszObjId, "2.5.29.21");
    EXPECT_EQ(info.cExtension, 2U);
    const std::string show = OpenSsl("crl -in made.crl -noout -nextupdate -dateopt iso_8601");
    EXPECT_NE(show.find(Moment(info.NextUpdate)), std::string::npos) << show;

    const CrlHolder more(CertDuplicateCRLContext(crl.get()));
    EXPECT_EQ(more.get(), crl.get());
    const Bytes der = ReadFile("made.der");
    for (std::size_t length = 1; length < der.size(); ++length) {
        ASSERT_EQ(CertCreateCRLContext(kEncoding, der.data(), static_cast<DWORD>(length)), nullptr);
    }
}

}  // namespace
}  // namespace platform::testing
