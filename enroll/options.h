// What the enrolment commands were asked for, and the steps that they share.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

#include "enroll/com_holders.h"
#include "enroll/fl_enroll.h"
#include "front/core/holders.h"
#include "front/core/result.h"
#include "selection/providers.h"

namespace kestrel {

// Where requests are kept until they are answered, whoever they are for.
inline constexpr LONG kUserStores = CERT_SYSTEM_STORE_CURRENT_USER;

enum class KeySpecChoice { Both = 0, Signature = 1, Exchange = 2 };

// Null texts were not given. Texts without an owner here belong to the line.
struct EnrollOptions {
    bool noKeyGen = false;
    bool exportable = false;
    const char* subjectDn = nullptr;
    const char* thumbprint = nullptr;
    const char* tokenId = nullptr;
    SecureText tokenPassword;
    KeySpecChoice keySpecChoice = KeySpecChoice::Both;
    DWORD provType = 75;
    const char* provName = nullptr;
    std::optional<std::string> container;
    const char* storeName = nullptr;
    std::string certUsage;
    DWORD provFlags = 0;
    bool userStore = true;
    bool smime = false;
    bool noCsp = false;
    DWORD keySize = 0;
    SecureText pin;
};

// Which keys a command takes.
struct KeyGroups {
    bool request = false;  // those of a new request
    bool install = false;  // those of installing
};

// Takes a key whose value is a password, and wipes the line's own copy.
void TakeSecret(const char* word, SecureText& secret);

// Takes the keys, and lets the user choose a container where one is needed and none was named.
// `-ext` stays for ApplyExtensionKeys. 0 or a reported code.
Reported ParseEnrollKeys(EnrollOptions& options, KeyGroups groups);

// The code of a control that failed, as the platform's last error.
Reported ReportResult(HRESULT result);

// A control, or null with kComFailed reported.
Reported MakeControl(std::unique_ptr<FLEnroll>& control);

// Both tell the control what the options say.
HRESULT SetKeySpec(FLEnroll& control, const EnrollOptions& options);
// 0 or a reported code.
Reported SetContainerAndProvider(FLEnroll& control, const EnrollOptions& options);

// Makes the password of the container known while the handle is open: none without -nokeygen and
// -pin. 0 or the platform's last error, unreported.
Unreported OpenPinContext(const EnrollOptions& options, ProviderHolder& provider);

// Adds every -ext to the control. 0 or a reported code.
Reported ApplyExtensionKeys(FLEnroll& control);

// A request made by a fresh control. 0 and a text, or a reported code.
Reported BuildRequest(LONG format, EnrollOptions& options, ComText& request);

// Puts a response (narrow text, BASE64) into the stores and says so. 0 or a reported code.
Reported InstallIssuedCertificate(const EnrollOptions& options, const char* response);

}  // namespace kestrel
