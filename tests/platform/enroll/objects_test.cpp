// Objects by class and interface, and what a request is made of.
#include <enrollment.h>
#include <xenroll.h>

#include "platform/enroll/common_name.h"
#include "platform/enroll/request.h"
#include "tests/support/workshop.h"

namespace platform::testing {
namespace {

using namespace enrollment;

struct InApartment {
    InApartment() { EXPECT_GE(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), 0); }
    ~InApartment() { CoUninitialize(); }
};

const struct {
    const char* what;
    CLSID id;
    IID asked;
    DWORD context;
    HRESULT expected;
} kMakingRows[] = {
    {"older control", kCEnroll, kICEnroll3, CLSCTX_INPROC_SERVER, S_OK},
    {"older control, newer interface", kCEnroll, kIX509Enrollment, CLSCTX_INPROC_SERVER,
     E_NOINTERFACE},
    {"enrolment", kCX509Enrollment, kIX509Enrollment, CLSCTX_INPROC_SERVER, S_OK},
    {"key usage as any extension", kCX509ExtensionKeyUsage, kIX509Extension, CLSCTX_INPROC_SERVER,
     S_OK},
    {"extension as key usage", kCX509Extension, kIX509ExtensionKeyUsage, CLSCTX_INPROC_SERVER,
     E_NOINTERFACE},
    {"authority, later interface", kCCertRequest, kICertRequest2, CLSCTX_INPROC_SERVER,
     E_NOINTERFACE},
    {"no class", kICertRequest, kICertRequest, CLSCTX_INPROC_SERVER, REGDB_E_CLASSNOTREG},
    {"elsewhere", kCEnroll, kICEnroll3, 4, REGDB_E_CLASSNOTREG},
};

TEST(EnrollObjects, AreMadeByClassAndInterface) {
    void* object = nullptr;
    EXPECT_EQ(CoCreateInstance(kCEnroll, nullptr, CLSCTX_INPROC_SERVER, kICEnroll3, &object),
              CO_E_NOTINITIALIZED);
    const InApartment apartment;
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    for (const auto& row : kMakingRows) {
        EXPECT_EQ(CoCreateInstance(row.id, nullptr, row.context, row.asked, &object), row.expected)
            << row.what;
        EXPECT_EQ(object != nullptr, row.expected == S_OK) << row.what;
        const ULONG left = object != nullptr ? static_cast<IUnknown*>(object)->Release() : 0;
        EXPECT_EQ(left, 0U) << row.what;
    }
}

// The order of a table is what a program of another compiler goes by.
TEST(EnrollObjects, TablesAreInTheDocumentedOrder) {
    const InApartment apartment;
    ICEnroll4* control = nullptr;
    ASSERT_EQ(CoCreateInstance(kCEnroll, nullptr, CLSCTX_INPROC_SERVER, kICEnroll4,
                               reinterpret_cast<void**>(&control)),
              S_OK);
    using Slot = ULONG (*)(void*);
    Slot* const table = *reinterpret_cast<Slot**>(control);
    EXPECT_EQ(table[1](control), 2U);  // AddRef
    EXPECT_EQ(table[2](control), 1U);  // Release
    using PutNumber = HRESULT (*)(void*, LONG);
    // 7 slots of the bases, 8 methods, 14 properties of two slots each: then ProviderType.
    constexpr std::size_t kProviderType = 7 + 8 + 2 * 14;
    EXPECT_EQ(reinterpret_cast<PutNumber*>(table)[kProviderType](control, 0), E_NOTIMPL);
    EXPECT_EQ(reinterpret_cast<PutNumber*>(table)[kProviderType + 1](control, 75), S_OK);
    control->Release();
}

TEST(RequestParts, GivenExtensions) {
    const struct {
        const char* what;
        const char* oid;
        const char* value;
        DWORD code;
    } rows[] = {{"good", "1.2.3", "0500", 0},
                {"cut short", "1.2.3", "0401", DWORD(CRYPT_E_ASN1_CORRUPT)},
                {"nothing", "1.2.3", "", DWORD(CRYPT_E_ASN1_EOD)},
                {"no identifier", "1.x", "0500", DWORD(CRYPT_E_OID_FORMAT)}};
    for (const auto& row : rows) {
        EXPECT_EQ(CodeOf([&] { GivenExtension(row.oid, false, FromHex(row.value)); }), row.code)
            << row.what;
    }
}

TEST(RequestParts, CommonNames) {
    const struct {
        const char* der;
        const char* name;
    } rows[] = {{"3000", ""},
                {"300C310A30080603550403130141", "A"},
                {"300C310A300806035504061301"
                 "41",
                 ""},
                {"300D310B30090603550403"
                 "0C02D090",
                 "\xD0\x90"}};
    for (const auto& row : rows) EXPECT_EQ(CommonNameOf(FromHex(row.der)), row.name) << row.der;
}

}  // namespace
}  // namespace platform::testing
