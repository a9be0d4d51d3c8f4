// Stores through the exported calls.
#include <sys/resource.h>

#include <csignal>
#include <functional>
#include <optional>
#include <vector>

#include "platform/base/error.h"
#include "platform/stores/database.h"
#include "platform/stores/store.h"
#include "tests/support/certificates.h"

namespace platform::testing {
namespace {

using StoresTest = CertsTest;

constexpr DWORD kUser = CERT_SYSTEM_STORE_CURRENT_USER;
constexpr DWORD kExisting = CERT_STORE_OPEN_EXISTING_FLAG;

StoreHolder OpenSystem(const char* name, DWORD flags = kUser) {
    return StoreHolder(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, flags, name));
}

StoreHolder OpenMemory() {
    return StoreHolder(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
}

DWORD Add(const StoreHolder& store, ByteView der, DWORD disposition = CERT_STORE_ADD_NEW) {
    return Outcome(CertAddEncodedCertificateToStore(
        store.get(), kEncoding, der.data(), static_cast<DWORD>(der.size()), disposition, nullptr));
}

// Common names of what a walk finds, one behind the other.
std::string Walk(const StoreHolder& store) {
    std::string names;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store.get(), at)) != nullptr) {
        names.append(names.empty() ? "" : " ").append(SubjectOf(*at->pCertInfo));
    }
    EXPECT_EQ(GetLastError(), Code(CRYPT_E_NOT_FOUND));
    return names;
}

TEST_F(StoresTest, OpensByKindAndName) {
    const std::string file = WriteFile("one.cer", CertificateOf("p256")).string();
    const std::string none = (Folder() / "none.cer").string();
    const std::wstring wide(file.begin(), file.end());
    std::string backslashes = file;
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    const DWORD machine = CERT_SYSTEM_STORE_LOCAL_MACHINE;
    const struct {
        const char* name;
        LPCSTR provider;
        DWORD flags;
        const void* parameter;
        DWORD error;
    } rows[] = {
        {"My", CERT_STORE_PROV_SYSTEM_A, kUser | kExisting, "My", 0},
        {"ROOT of the machine", CERT_STORE_PROV_SYSTEM_A, machine | kExisting, "ROOT", 0},
        {"wide name", CERT_STORE_PROV_SYSTEM_W, kUser | kExisting, L"cA", 0},
        {"store that is not there", CERT_STORE_PROV_SYSTEM_W, kUser | kExisting, L"Addressbook",
         ERROR_FILE_NOT_FOUND},
        {"read-only does not create", CERT_STORE_PROV_SYSTEM_A, kUser | CERT_STORE_READONLY_FLAG,
         "Addressbook", ERROR_FILE_NOT_FOUND},
        {"empty name", CERT_STORE_PROV_SYSTEM_A, kUser, "", Code(E_INVALIDARG)},
        {"deletion of a file", CERT_STORE_PROV_FILENAME_A, CERT_STORE_DELETE_FLAG, file.c_str(),
         ERROR_NOT_SUPPORTED},
        {"file", CERT_STORE_PROV_FILENAME_A, kExisting, file.c_str(), 0},
        {"wide file", CERT_STORE_PROV_FILENAME_W, kExisting, wide.c_str(), 0},
        {"backslashes", CERT_STORE_PROV_FILENAME_A, kExisting, backslashes.c_str(), 0},
        {"file that is not there", CERT_STORE_PROV_FILENAME_A, kExisting, none.c_str(),
         ERROR_FILE_NOT_FOUND},
        {"unknown kind", reinterpret_cast<LPCSTR>(77), 0, nullptr, ERROR_FILE_NOT_FOUND},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const StoreHolder store(
            CertOpenStore(row.provider, kEncoding, 0, row.flags, row.parameter));
        EXPECT_EQ(store != nullptr, row.error == 0);
        if (!store) {
            EXPECT_EQ(GetLastError(), row.error);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(UserHome()));
    EXPECT_FALSE(std::filesystem::exists(MachineHome()));
}

TEST_F(StoresTest, CreatesOnOpening) {
    EXPECT_TRUE(OpenSystem("Адресная книга"));
    EXPECT_TRUE(OpenSystem("АДРЕСНАЯ КНИГА", kUser | kExisting));
    EXPECT_TRUE(OpenSystem("Second"));
    EXPECT_FALSE(OpenSystem("Адресная книга", CERT_SYSTEM_STORE_LOCAL_MACHINE | kExisting));
    EXPECT_EQ(SystemStoreNames(Side::User),
              (std::vector<std::string>{"My", "Root", "CA", "Адресная книга", "Second"}));
    EXPECT_EQ(SystemStoreNames(Side::Machine), (std::vector<std::string>{"My", "Root", "CA"}));
}

TEST_F(StoresTest, KeepsCertificatesInOrder) {
    {
        const StoreHolder my = OpenSystem("my");
        for (const unsigned number : {5U, 2U, 9U})
            EXPECT_EQ(Add(my, NumberedCertificate(number)), 0U);
        EXPECT_EQ(Add(my, NumberedCertificate(2)), Code(CRYPT_E_EXISTS));
        EXPECT_EQ(Walk(my), "5 2 9");
    }
    const StoreHolder my = OpenSystem("MY", kUser | kExisting);
    EXPECT_EQ(Walk(my), "5 2 9");
    // What one handle writes, a walk over another sees.
    Add(OpenSystem("My"), NumberedCertificate(7));
    EXPECT_EQ(Walk(my), "5 2 9 7");
    EXPECT_EQ(Walk(OpenSystem("Root")), "");
    EXPECT_EQ(Walk(OpenSystem("My", CERT_SYSTEM_STORE_LOCAL_MACHINE)), "");
}

TEST_F(StoresTest, TakesDispositions) {
    constexpr DWORD kProperty = 40000;
    const auto check = [](const StoreHolder& store) {
        const struct {
            const char* name;
            DWORD disposition;
            DWORD error;
            const char* present;
            const char* property;  // of the first one afterwards
        } rows[] = {
            {"new", CERT_STORE_ADD_NEW, 0, "1", "01"},
            {"new again", CERT_STORE_ADD_NEW, Code(CRYPT_E_EXISTS), "1", "01"},
            {"existing", CERT_STORE_ADD_USE_EXISTING, 0, "1", "01"},
            {"replaced", CERT_STORE_ADD_REPLACE_EXISTING, 0, "1", "04"},
            {"always", CERT_STORE_ADD_ALWAYS, 0, "1 1", "04"},
            {"unknown", 77, Code(E_INVALIDARG), "1 1", "04"},
        };
        BYTE mark = 0;
        for (const auto& row : rows) {
            SCOPED_TRACE(row.name);
            ++mark;
            const CertHolder context = Context(NumberedCertificate(1));
            const CRYPT_DATA_BLOB blob{1, &mark};
            CertSetCertificateContextProperty(context.get(), kProperty, 0, &blob);
            PCCERT_CONTEXT added = nullptr;
            const BOOL result = CertAddCertificateContextToStore(store.get(), context.get(),
                                                                 row.disposition, &added);
            EXPECT_EQ(Outcome(result), row.error);
            EXPECT_EQ(added != nullptr, row.error == 0);
            const CertHolder held(added);
            EXPECT_EQ(Walk(store), row.present);
            const CertHolder first(CertEnumCertificatesInStore(store.get(), nullptr));
            BYTE value = 0;
            DWORD size = 1;
            CertGetCertificateContextProperty(first.get(), kProperty, &value, &size);
            EXPECT_EQ(Hex({&value, 1}), row.property);
        }
    };
    check(OpenMemory());
    check(OpenSystem("My"));
}

// Files cannot grow: changes reach the journal or the database no more.
class FullDisk {
  public:
    FullDisk() {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
        std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before_{};
};

TEST_F(StoresTest, ManyChangesAreOneAndTellOfTheirLoss) {
    constexpr DWORD kCommit = CERT_STORE_CTRL_COMMIT;
    const struct {
        const char* name;
        std::function<BOOL(StoreHolder& store)> end;
        bool toldOnce;  // the store itself tells no more
    } rows[] = {
        {"commit", [](auto& s) { return CertControlStore(s.get(), 0, kCommit, nullptr); }, true},
        {"close", [](auto& s) { return CertCloseStore(s.release(), 0); }, true},
        {"another store is opened", [](auto&) { return OpenSystem("CA") != nullptr; }, false},
        {"its stores are asked for by a second handle",
         [](auto&) { return OpenSystem("My") != nullptr; }, false},
    };
    const auto kept = [] {  // as other processes see it
        return platform::Database(Database()).Number("SELECT count(*) FROM certificates");
    };
    for (const bool full : {true, false}) {
        for (const auto& row : rows) {
            SCOPED_TRACE(std::string(row.name) + (full ? ", full" : ""));
            Clear();
            StoreHolder store = OpenSystem("My");
            Add(store, NumberedCertificate(1));
            ASSERT_TRUE(CertControlStore(store.get(), 0, kCommit, nullptr));
            Add(store, NumberedCertificate(2));
            Add(store, NumberedCertificate(3));
            EXPECT_EQ(Walk(store), "1 2 3");
            EXPECT_EQ(kept(), 1);
            {
                std::optional<FullDisk> disk;
                if (full) disk.emplace();
                const BOOL ended = row.end(store);
                EXPECT_EQ(Outcome(ended), full ? ERROR_WRITE_FAULT : 0);
            }
            EXPECT_EQ(kept(), full ? 1 : 3);
            if (!store) continue;
            const BOOL again = CertControlStore(store.get(), 0, kCommit, nullptr);
            EXPECT_EQ(again, !full || row.toldOnce);
            EXPECT_EQ(Walk(store), full ? "1" : "1 2 3");
            Add(store, NumberedCertificate(4));
            EXPECT_TRUE(CertCloseStore(store.release(), 0));
            EXPECT_EQ(kept(), full ? 2 : 4);
        }
    }
}

TEST_F(StoresTest, DeletesWhileWalking) {
    for (const bool system : {false, true}) {
        SCOPED_TRACE(system);
        const StoreHolder store = system ? OpenSystem("My") : OpenMemory();
        for (unsigned number = 1; number <= 6; ++number) Add(store, NumberedCertificate(number));
        PCCERT_CONTEXT at = nullptr;
        unsigned seen = 0;
        while ((at = CertEnumCertificatesInStore(store.get(), at)) != nullptr) {
            if (++seen % 2 == 0) {
                EXPECT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(at)));
            }
        }
        EXPECT_EQ(seen, 6U);
        EXPECT_EQ(Walk(store), "1 3 5");
    }
    // One that stands in no store is given back all the same.
    EXPECT_TRUE(CertDeleteCertificateFromStore(ContextOf("p256").release()));
}

TEST_F(StoresTest, ContextsOutliveTheirStore) {
    for (const bool system : {false, true}) {
        SCOPED_TRACE(system);
        StoreHolder store = system ? OpenSystem("My") : OpenMemory();
        Add(store, NumberedCertificate(1));
        CertHolder found(CertEnumCertificatesInStore(store.get(), nullptr));
        EXPECT_EQ(found->hCertStore, store.get());
        EXPECT_TRUE(CertCloseStore(store.release(), CERT_CLOSE_STORE_FORCE_FLAG));
        EXPECT_EQ(found->cbCertEncoded, NumberedCertificate(1).size());
        EXPECT_EQ(PropertyOf(found.get(), CERT_SHA1_HASH_PROP_ID).size(), 20U);
        EXPECT_TRUE(CertDeleteCertificateFromStore(found.release()));
    }
    EXPECT_EQ(Walk(OpenSystem("My")), "");
}

TEST_F(StoresTest, ChecksOnClosing) {
    StoreHolder store = OpenMemory();
    Add(store, NumberedCertificate(1));
    EXPECT_EQ(CertDuplicateStore(store.get()), store.get());
    EXPECT_EQ(Outcome(CertCloseStore(store.get(), CERT_CLOSE_STORE_CHECK_FLAG)),
              Code(CRYPT_E_PENDING_CLOSE));
    CertHolder found(CertEnumCertificatesInStore(store.get(), nullptr));
    HCERTSTORE handle = store.release();
    EXPECT_EQ(Outcome(CertCloseStore(handle, CERT_CLOSE_STORE_CHECK_FLAG)),
              Code(CRYPT_E_PENDING_CLOSE));
    EXPECT_FALSE(CertCloseStore(handle, 0));  // closed by now, though something was pending
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    found.reset();

    store = OpenMemory();
    EXPECT_TRUE(CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
    EXPECT_EQ(CertEnumCertificatesInStore(nullptr, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

TEST_F(StoresTest, ReadOnlyTakesNoChange) {
    Add(OpenSystem("My"), NumberedCertificate(1));
    const StoreHolder store = OpenSystem("My", kUser | CERT_STORE_READONLY_FLAG);
    EXPECT_EQ(Add(store, NumberedCertificate(2)), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(
        Outcome(CertDeleteCertificateFromStore(CertEnumCertificatesInStore(store.get(), nullptr))),
        DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(Walk(store), "1");
}

TEST_F(StoresTest, FindsByEveryKind) {
    const StoreHolder store = OpenMemory();
    Add(store, CertificateOf("rsa"));
    CertificateOf("p256");
    OpenSsl(
        "req -x509 -new -key rsa.key -subj /CN=leaf -CA p256.pem -CAkey p256.key -set_serial 0x80 "
        "-addext authorityKeyIdentifier=keyid -outform DER -out leaf.cer");
    Add(store, ReadFile("leaf.cer"));
    Add(store, CertificateOf("p256"));
    CertHolder leaf = Context(ReadFile("leaf.cer"));
    CertHolder ec = ContextOf("p256");
    Bytes hash = PropertyOf(ec.get(), CERT_SHA1_HASH_PROP_ID);
    CRYPT_HASH_BLOB hashBlob{20, hash.data()};
    Bytes key = PropertyOf(ec.get(), CERT_KEY_IDENTIFIER_PROP_ID);
    CERT_ID byKey{};
    byKey.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
    byKey.KeyId = {static_cast<DWORD>(key.size()), key.data()};
    CERT_ID bySerial{};
    bySerial.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
    bySerial.IssuerSerialNumber = {leaf->pCertInfo->Issuer, leaf->pCertInfo->SerialNumber};
    CERT_ID byHash{};
    byHash.dwIdChoice = CERT_ID_SHA1_HASH;
    byHash.HashId = hashBlob;
    CERT_ID noChoice{};
    struct Row {
        const char* name;
        DWORD type;
        const void* value;
        const char* expected;
        DWORD error = Code(CRYPT_E_NOT_FOUND);
    };
    const DWORD bad = Code(E_INVALIDARG);
    const Row rows[] = {
        {"any", CERT_FIND_ANY, nullptr, "RU, rsa;leaf;RU, p256;"},
        {"hash", CERT_FIND_SHA1_HASH, &hashBlob, "RU, p256;"},
        {"subject", CERT_FIND_SUBJECT_NAME, &ec->pCertInfo->Subject, "RU, p256;"},
        {"issuer", CERT_FIND_ISSUER_NAME, &ec->pCertInfo->Subject, "leaf;RU, p256;"},
        {"public key", CERT_FIND_PUBLIC_KEY, &ec->pCertInfo->SubjectPublicKeyInfo, "RU, p256;"},
        {"issuer and serial", CERT_FIND_SUBJECT_CERT, leaf->pCertInfo, "leaf;"},
        {"issuer of", CERT_FIND_ISSUER_OF, leaf.get(), "RU, p256;"},
        {"existing", CERT_FIND_EXISTING, leaf.get(), "leaf;"},
        {"key identifier", CERT_FIND_CERT_ID, &byKey, "RU, p256;"},
        {"issuer and serial by choice", CERT_FIND_CERT_ID, &bySerial, "leaf;"},
        {"hash by choice", CERT_FIND_CERT_ID, &byHash, "RU, p256;"},
        {"no choice", CERT_FIND_CERT_ID, &noChoice, "", bad},
        {"no value", CERT_FIND_SUBJECT_NAME, nullptr, "", bad},
        {"no context", CERT_FIND_EXISTING, nullptr, "", ERROR_INVALID_PARAMETER},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        std::string found;
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertFindCertificateInStore(store.get(), kEncoding, 0, row.type, row.value,
                                                at)) != nullptr) {
            found.append(SubjectOf(*at->pCertInfo)).append(";");
        }
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(found, row.expected);
    }
    // A failing call consumes its previous context too; the handle count tells at the end.
    EXPECT_EQ(
        CertFindCertificateInStore(nullptr, kEncoding, 0, CERT_FIND_ANY, nullptr, leaf.release()),
        nullptr);
    EXPECT_EQ(
        CertFindCertificateInStore(store.get(), kEncoding, 0, 0x00990000, nullptr, ec.release()),
        nullptr);
}

TEST_F(StoresTest, CollectionsDrawOnTheirStores) {
    StoreHolder collection(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
    StoreHolder low = OpenMemory();
    StoreHolder high = OpenSystem("My");
    const StoreHolder inner(CertOpenStore(CERT_STORE_PROV_COLLECTION, 0, 0, 0, nullptr));
    Add(low, NumberedCertificate(1));
    Add(low, NumberedCertificate(2));
    Add(high, NumberedCertificate(3));
    EXPECT_TRUE(CertAddStoreToCollection(collection.get(), low.get(), 0, 1));
    EXPECT_TRUE(CertAddStoreToCollection(inner.get(), high.get(), 1, 0));
    EXPECT_TRUE(CertAddStoreToCollection(inner.get(), low.get(), 0, 0));  // a second way to it
    EXPECT_TRUE(CertAddStoreToCollection(collection.get(), inner.get(), 1, 2));
    EXPECT_EQ(Walk(collection), "3 1 2");
    EXPECT_EQ(Add(collection, NumberedCertificate(4)), 0U);
    EXPECT_EQ(Walk(high), "3 4");
    EXPECT_EQ(Walk(collection), "3 4 1 2");

    low.reset();  // the collection keeps it
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(collection.get(), at)) != nullptr) {
        EXPECT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(at)));
    }
    EXPECT_EQ(Walk(collection), "");

    EXPECT_FALSE(CertAddStoreToCollection(inner.get(), collection.get(), 0, 0));
    EXPECT_FALSE(CertAddStoreToCollection(collection.get(), collection.get(), 0, 0));
}

// ---- files -----------------------------------------------------------------------

std::string Replaced(std::string text, std::string_view old, std::string_view wanted) {
    for (std::size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += wanted.size()) {
        text.replace(at, old.size(), wanted);
    }
    return text;
}

StoreHolder OpenFile(const std::string& file) {
    return StoreHolder(
        CertOpenStore(CERT_STORE_PROV_FILENAME_A, kEncoding, 0, kExisting, file.c_str()));
}

TEST_F(StoresTest, ReadsFilesOfEveryForm) {
    WriteFile("a.der", NumberedCertificate(1));
    WriteFile("b.der", NumberedCertificate(2));
    WriteFile("input.txt", ViewOf("content"));
    CertificateOf("p256");
    OpenSsl("x509 -inform DER -in p256.cer -trustout -addtrust emailProtection -out trusted.pem");
    OpenSsl("x509 -inform DER -in a.der -out a.pem");
    OpenSsl("x509 -inform DER -in b.der -out b.pem");
    const std::string pem = ReadText("a.pem");
    const std::string both = pem + "between\n" + ReadText("b.pem");
    WriteFile("both.pem", ViewOf(both));
    OpenSsl("crl2pkcs7 -nocrl -certfile both.pem -out both.p7");
    OpenSsl("crl2pkcs7 -nocrl -certfile both.pem -outform DER -out both.p7d");
    OpenSsl(
        "cms -sign -signer p256.pem -inkey p256.key -binary -nodetach -in input.txt -outform DER "
        "-out signed.der");
    OpenSsl(
        "cms -sign -signer p256.pem -inkey p256.key -binary -nodetach -stream -in input.txt "
        "-outform DER -out streamed.der");
    OpenSsl(
        "cms -sign -signer p256.pem -inkey p256.key -in input.txt -outform PEM -out signed.pem");
    OpenSsl("base64 -in streamed.der -out streamed.b64");
    OpenSsl("base64 -A -in a.der -out a.b64");
    OpenSsl("cms -encrypt -in input.txt -outform DER -out enveloped.der p256.pem");

    const struct {
        const char* name;
        std::string content;
        const char* expected;  // null: CRYPT_E_FILE_ERROR
    } rows[] = {
        {"DER", ReadText("a.der"), "1"},
        {"PEM", pem, "1"},
        {"PEM with CR LF", Replaced(pem, "\n", "\r\n"), "1"},
        {"bundle with text and a key", ReadText("p256.key") + both, "1 2"},
        {"X509 CERTIFICATE", Replaced(pem, " CERTIFICATE-", " X509 CERTIFICATE-"), "1"},
        {"TRUSTED CERTIFICATE", ReadText("trusted.pem"), "RU, p256"},
        {"BASE64 in one line", ReadText("a.b64"), "1"},
        {"BASE64 behind a byte order mark", "\xEF\xBB\xBF" + ReadText("a.b64"), "1"},
        {"PKCS7", ReadText("both.p7"), "1 2"},
        {"PKCS #7 in DER", ReadText("both.p7d"), "1 2"},
        {"CMS", ReadText("signed.pem"), "RU, p256"},
        {"SignedData", ReadText("signed.der"), "RU, p256"},
        {"SignedData, indefinite lengths", ReadText("streamed.der"), "RU, p256"},
        {"SignedData in BASE64", ReadText("streamed.b64"), "RU, p256"},
        {"empty", {}, nullptr},
        {"text", "0 is no certificate", nullptr},
        {"key alone", ReadText("p256.key"), nullptr},
        {"enveloped", ReadText("enveloped.der"), nullptr},
        {"cut DER", ReadText("a.der").substr(0, 100), nullptr},
        {"cut PEM", pem.substr(0, 200), nullptr},
        {"cut message", ReadText("streamed.der").substr(0, 300), nullptr},
        {"octets", std::string("\x30\x80\0\0", 4), nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string file = WriteFile("under.test", ViewOf(row.content)).string();
        const StoreHolder store = OpenFile(file);
        ASSERT_EQ(store != nullptr, row.expected != nullptr);
        if (store) {
            EXPECT_EQ(Walk(store), row.expected);
        } else {
            EXPECT_EQ(GetLastError(), Code(CRYPT_E_FILE_ERROR));
            EXPECT_EQ(LastErrorDetail(GetLastError()), file);
        }
    }
}

// Larger than what is read whole: 70 MiB of content, in DER and in BASE64.
TEST_F(StoresTest, ReadsLargeMessagesInPieces) {
    CertificateOf("p256");
    std::filesystem::resize_file(WriteFile("large.bin", {}), std::uintmax_t{70} << 20);
    for (const char* form : {"DER", "PEM"}) {
        SCOPED_TRACE(form);
        const std::string file = (Folder() / form).string();
        OpenSsl(
            "cms -sign -signer p256.pem -inkey p256.key -binary -nodetach -stream -in large.bin "
            "-out " +
            file + " -outform " + form);
        const StoreHolder store = OpenFile(file);
        ASSERT_TRUE(store);
        EXPECT_EQ(Walk(store), "RU, p256");
        std::filesystem::resize_file(file, std::uintmax_t{69} << 20);
        EXPECT_FALSE(OpenFile(file));
        EXPECT_EQ(GetLastError(), Code(CRYPT_E_FILE_ERROR));
        std::filesystem::remove(file);
    }
    std::filesystem::remove(Folder() / "large.bin");
}

// ---- CRLs ------------------------------------------------------------------------

TEST_F(StoresTest, KeepsRevocationLists) {
    const CrlHolder first = MakeCrl("", "-crldays 30");
    const CrlHolder second =
        MakeCrl("", "-crl_lastupdate 20200101000000Z -crl_nextupdate 20200201000000Z");
    const CrlHolder sameDay =
        MakeCrl("", "-crl_lastupdate 20200101000000Z -crl_nextupdate 20200202000000Z");
    const CrlHolder oldest =
        MakeCrl("", "-crl_lastupdate 20190101000000Z -crl_nextupdate 20190201000000Z");
    const CertHolder ec = ContextOf("p256");
    const CertHolder rsa = ContextOf("rsa");
    {
        const StoreHolder ca = OpenSystem("CA");
        EXPECT_TRUE(CertAddCRLContextToStore(ca.get(), first.get(), CERT_STORE_ADD_NEW, nullptr));
        for (const DWORD disposition : {CERT_STORE_ADD_NEW, CERT_STORE_ADD_NEWER}) {
            EXPECT_EQ(
                Outcome(CertAddCRLContextToStore(ca.get(), second.get(), disposition, nullptr)),
                Code(CRYPT_E_EXISTS));
        }
        EXPECT_TRUE(CertAddCRLContextToStore(ca.get(), oldest.get(),
                                             CERT_STORE_ADD_REPLACE_EXISTING, nullptr));
        PCCRL_CONTEXT added = nullptr;
        EXPECT_TRUE(CertAddCRLContextToStore(ca.get(), second.get(), CERT_STORE_ADD_NEWER, &added));
        EXPECT_EQ(added->cbCrlEncoded, second->cbCrlEncoded);
        EXPECT_TRUE(CertFreeCRLContext(added));
        for (const auto& [crl, code] :
             {std::pair{&second, Code(CRYPT_E_EXISTS)}, std::pair{&sameDay, DWORD{0}},
              std::pair{&second, DWORD{0}}}) {
            EXPECT_EQ(Outcome(CertAddCRLContextToStore(ca.get(), crl->get(), CERT_STORE_ADD_NEWER,
                                                       nullptr)),
                      code);
        }
    }
    const StoreHolder ca = OpenSystem("ca", kUser | kExisting);
    CrlHolder found(CertEnumCRLsInStore(ca.get(), nullptr));
    ASSERT_TRUE(found);
    EXPECT_EQ(Copy({found->pbCrlEncoded, found->cbCrlEncoded}),
              Copy({second->pbCrlEncoded, second->cbCrlEncoded}));
    EXPECT_EQ(CertEnumCRLsInStore(ca.get(), found.release()), nullptr);

    struct Row {
        const char* name;
        PCCERT_CONTEXT issuer;
        DWORD asked;
        bool found;
        DWORD left;
    };
    // The second list is genuine and out of date.
    const DWORD both = CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG;
    const Row rows[] = {
        {"by issuer", ec.get(), 0, true, 0},
        {"any issuer", nullptr, 0, true, 0},
        {"another issuer", rsa.get(), 0, false, 0},
        {"checked", ec.get(), both, true, CERT_STORE_TIME_VALIDITY_FLAG},
        {"signature of nobody", nullptr, CERT_STORE_SIGNATURE_FLAG, true,
         CERT_STORE_SIGNATURE_FLAG},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        DWORD flags = row.asked;
        const CrlHolder crl(CertGetCRLFromStore(ca.get(), row.issuer, nullptr, &flags));
        EXPECT_EQ(crl != nullptr, row.found);
        EXPECT_EQ(flags, row.left);
    }
}

}  // namespace
}  // namespace platform::testing
