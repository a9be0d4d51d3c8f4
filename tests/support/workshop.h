// Shared by the tests of the platform: a folder with homes of its own, the openssl command
// and the keys and certificates that it makes there.
#pragma once

#include "platform/base/ground.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/providers/algorithms.h"
#include "platform/providers/crypto.h"
#include "tests/support/hex.h"

namespace platform::testing {

// Made once for the process and removed at its end.
const std::filesystem::path& Folder();

// Runs a command of the openssl program inside Folder(). Fails the test, with the
// command's own words, when it does not succeed. Answers its standard output.
std::string OpenSsl(const std::string& arguments);

// Inside Folder(), where the path is not absolute.
std::filesystem::path WriteFile(const std::filesystem::path& name, ByteView content);
Bytes ReadFile(const std::filesystem::path& name);
std::string ReadText(const std::filesystem::path& name);

using support::FromHex;
// Octets that do not repeat with any short period.
Bytes Pattern(std::size_t size);

// The code of the Error that `body` throws; 0 when it throws none.
DWORD CodeOf(const std::function<void()>& body);
std::string DetailOf(const std::function<void()>& body);

constexpr DWORD Code(LONG value) { return static_cast<DWORD>(value); }

// The last error of a call that answered `result`; 0 for success.
inline DWORD Outcome(BOOL result) { return result != FALSE ? 0 : GetLastError(); }

// How often the part stands in the text.
std::size_t CountOf(std::string_view part, std::string_view text);

struct KeyRow {
    const char* name;
    const char* generation;  // arguments of genpkey
    const char* digest;      // name of its digest for the openssl command
    const char* digestOid;
    DWORD type;
};
// Every kind of key that a user meets, parameter sets included.
const std::vector<KeyRow>& KeyRows();

// The key of a row and its self-signed certificate, made on first use. They lie in Folder()
// as NAME.key, NAME.pub (SubjectPublicKeyInfo, DER), NAME.pem and NAME.cer (DER).
const Bytes& CertificateOf(const std::string& name);
AnyKey PublicKey(const std::string& name);
AnyKey PrivateKey(const std::string& name);

// A test with empty homes and no handle left at its end.
class HomesTest : public ::testing::Test {
  protected:
    HomesTest();
    ~HomesTest() override;
    HomesTest(const HomesTest&) = delete;
    HomesTest& operator=(const HomesTest&) = delete;

    static void Clear();
    [[nodiscard]] static std::filesystem::path UserHome() { return Folder() / "user"; }
    [[nodiscard]] static std::filesystem::path MachineHome() { return Folder() / "machine"; }

  private:
    std::size_t handles_;
};

}  // namespace platform::testing
