// Shared stores: copies, order, handles.
#include "stamps/store_set.h"

#include <memory>

#include "front/core/holders.h"
#include "tests/stamps/support.h"

namespace stamps_tests {
namespace {

using ATL2::CStoreSet;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

class StoreSet : public testing::Test {
  protected:
    void SetUp() override {
        folder.Run(
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key "
            "-subj /CN=One -outform DER -out one.der");
        certificate = folder.Read("one.der");
    }

    void Put(HCERTSTORE store) {
        EXPECT_TRUE(CertAddEncodedCertificateToStore(store, kEncoding, certificate.GetData(),
                                                     certificate.GetSize(), CERT_STORE_ADD_ALWAYS,
                                                     nullptr));
    }
    static int Count(HCERTSTORE store) {
        int count = 0;
        PCCERT_CONTEXT context = nullptr;
        while ((context = CertEnumCertificatesInStore(store, context)) != nullptr) ++count;
        return count;
    }

    Folder folder;
    CBlob certificate;
};

TEST_F(StoreSet, CollectionKeepsItsMembers) {
    CStoreSet collection;
    ASSERT_EQ(collection.OpenCollection(), S_OK);
    HCERTSTORE handle = nullptr;
    {
        CStoreSet member;
        ASSERT_EQ(member.OpenMemory(), S_OK);
        handle = member.GetHandle();
        Put(handle);
        ASSERT_EQ(collection.Add(member), S_OK);
    }
    EXPECT_EQ(Count(collection.GetHandle()), 1);
    // The member's own handle lives as long as the collection.
    EXPECT_EQ(Count(handle), 1);
    CStoreSet copy;
    copy = collection;
    collection = CStoreSet();
    EXPECT_EQ(Count(copy.GetHandle()), 1);
    copy = CStoreSet();
    EXPECT_FALSE(CertCloseStore(handle, 0));
}

TEST_F(StoreSet, ContextOutlivesAClosedStoreAndTheLastErrorStays) {
    CStoreSet set;
    ASSERT_EQ(set.OpenMemory(), S_OK);
    Put(set.GetHandle());
    const kestrel::CertificateHolder context(CertEnumCertificatesInStore(set.GetHandle(), nullptr));
    SetLastError(4711);
    set = CStoreSet();
    EXPECT_EQ(GetLastError(), 4711U);
    EXPECT_EQ(context->cbCertEncoded, certificate.GetSize());
}

}  // namespace
}  // namespace stamps_tests
