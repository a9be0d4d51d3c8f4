// -listDN, -creatuser and -checkreg: registering with an authority that hands out tokens.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "enroll/endpoints.h"
#include "enroll/options.h"
#include "enroll/registration_form.h"
#include "enroll/request_text.h"
#include "enroll/token.h"
#include "enroll/unix_request_impl.h"
#include "enroll/wiped_text.h"
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "front/core/state.h"
#include "selection/providers.h"

namespace kestrel {

namespace {

// The address that all three take, and the client that goes there.
Reported OpenAuthority(ComText& address, std::unique_ptr<UnixRequest>& client) {
    if (state.firstFile != nullptr) return ReportError(kNoFileArgument);
    const char* given = nullptr;
    std::string url;
    if (TakeKey("FLCA", &given)) {
        url = given;
    } else {
        url = DefaultRegistrationAddress();
    }
    if (given == nullptr && url.empty()) return ReportError(kLastError);
    if (!Widen(url.c_str(), address)) return ReportError(kLastError);
    client = ChooseCaClient(kFlcaAuthority);
    return 0;
}

Reported Done(HRESULT result) { return result == S_OK ? Reported() : ReportResult(result); }

Reported ReadForm(UnixRequest& client, const ComText& address, RegistrationForm& form) {
    const HRESULT refused = client.SetAuth(nullptr, static_cast<LONG>(AuthType::Anonymous),
                                           kAuthFlag, nullptr, nullptr);
    if (refused != S_OK) return ReportResult(refused);
    return Done(client.GetRegistrationForm(address.Get(), &form));
}

void PrintNamed(MessageId id, std::string_view text) {
    PrintMessage(id, 0);
    PrintText(text, 1);
}

void PrintStatus(LONG status) {
    PrintMessage(status == kRegistered          ? say::kUserRegistered
                 : status == kRegistrationWaits ? say::kRegistrationPending
                                                : say::kNoRequestStatus,
                 1);
}

// ---- -listDN ---------------------------------------------------------------------

void PrintField(const FormField& field) {
    PrintNamed(say::kFieldId, NarrowOfPage(field.id));
    PrintNamed(say::kFieldName, NarrowOfPage(field.name));
    if (field.mandatory) PrintMessage(say::kMandatoryField, 1);
    if (field.maxLength > 0) {
        PrintMessage(say::kMaximumLength, 0);
        std::printf("%ld\n", static_cast<long>(field.maxLength));
    }
    if (!field.allowedValues.empty()) {
        std::string values;
        for (const std::string& value : field.allowedValues) {
            values += (values.empty() ? "" : ", ") + value;
        }
        PrintNamed(say::kAllowedValues, NarrowOfPage(values));
    }
    PrintText("", 1);
}

Reported ListFields() {
    ComText address;
    std::unique_ptr<UnixRequest> client;
    if (const Reported failure = OpenAuthority(address, client)) return failure;
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    RegistrationForm form;
    if (const Reported failure = ReadForm(*client, address, form)) return failure;
    for (const FormField& field : form.fields) PrintField(field);
    return 0;
}

// ---- -creatuser ------------------------------------------------------------------

Reported RejectField(MessageId why, std::string_view text) {
    PrintNamed(why, text);
    return ReportResult(NTE_BAD_DATA);
}

// "identifier=value", where the value may hold more of these signs.
Reported FillField(RegistrationForm& form, const std::string& given) {
    const std::size_t sign = given.find('=');
    if (sign == std::string::npos) return RejectField(say::kWrongFieldFormat, given);
    const std::string id = given.substr(0, sign);
    std::string idOfPage;
    std::string value;
    if (!PageOfNarrow(id, idOfPage) || !PageOfNarrow(given.substr(sign + 1), value)) {
        return ReportError(kLastError);
    }
    for (FormField& field : form.fields) {
        if (field.id != idOfPage) continue;
        field.value = value;
        return 0;
    }
    return RejectField(say::kWrongFieldId, id);
}

// The one place where a token's password is shown: the user gets it nowhere else.
void PrintToken(const RegistrationForm& form) {
    PrintStatus(form.status);
    PrintNamed(say::kTokenId, NarrowOfPage(form.givenTokenId));
    WipedText password;
    if (!form.givenPassword.empty()) password.text = NarrowOfPage(form.givenPassword.data());
    PrintNamed(say::kTokenPassword, password.text);
}

Reported CreateUser() {
    ComText address;
    std::unique_ptr<UnixRequest> client;
    if (const Reported failure = OpenAuthority(address, client)) return failure;
    std::vector<std::string> given;
    for (const char* value = nullptr; TakeKey("field", &value);) given.emplace_back(value);
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    RegistrationForm form;
    if (const Reported failure = ReadForm(*client, address, form)) return failure;
    for (const std::string& field : given) {
        if (const Reported failure = FillField(form, field)) return failure;
    }
    const HRESULT result = client->RegisterUser(address.Get(), &form);
    if (result != S_OK) return ReportResult(result);
    PrintToken(form);
    return 0;
}

// ---- -checkreg -------------------------------------------------------------------

Reported CheckUser() {
    ComText address;
    std::unique_ptr<UnixRequest> client;
    if (const Reported failure = OpenAuthority(address, client)) return failure;
    const char* token = nullptr;
    SecureText password;
    if (TakeKey("token", &token)) TakeSecret("tpassword", password);
    if (const Reported failure = RejectLeftoverKeys()) return failure;
    // Without a token the authority's client refuses by itself.
    if (token != nullptr) {
        if (const Reported failure = SetTokenAuth(*client, token, password.Get())) return failure;
    }
    LONG id = 0;
    LONG status = 0;
    const HRESULT result = client->CheckRegistration(address.Get(), &id, &status);
    if (result != S_OK) return ReportResult(result);
    PrintMessage(say::kRegistrationRequestId, 0);
    std::printf("%d\n", static_cast<int>(id));
    PrintStatus(status);
    return 0;
}

}  // namespace

DWORD RunListDn() { return ListFields(); }
DWORD RunCreatUser() { return CreateUser(); }
DWORD RunCheckReg() { return CheckUser(); }

}  // namespace kestrel
