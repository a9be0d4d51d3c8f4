// The form that an authority wants filled in before it hands out a token. Its fields are the
// authority's own, so they are read from its page each time. All text is the page's bytes.
#pragma once

#include <windows.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct FormField {
    std::string id;
    std::string name;   // the title beside it
    std::string value;  // the page's, then the user's
    bool mandatory = false;
    bool skipRow = false;  // a row without a title is no field
    LONG maxLength = -1;
    std::set<std::string> allowedValues;
};

inline constexpr DWORD kFormTag = 0xDEDA1001;

// How a registration stands.
inline constexpr LONG kRegistered = 1;
inline constexpr LONG kRegistrationWaits = 2;

struct RegistrationForm {
    RegistrationForm() = default;
    ~RegistrationForm();
    RegistrationForm(const RegistrationForm&) = delete;
    RegistrationForm& operator=(const RegistrationForm&) = delete;

    // A record with another tag is not touched.
    DWORD tag = kFormTag;
    std::vector<FormField> fields;
    std::string givenTokenId;
    std::vector<char> givenPassword;  // zero-terminated, or none
    LONG status = 0;
};

// The fields of the page's table. False for another page.
bool ParseRegistrationForm(RegistrationForm& form, std::string_view page);
// One row of it, between its tags.
bool ParseField(FormField& field, std::string_view row);
// Whether the values keep to what the page says of them.
bool ValidateForm(const RegistrationForm& form);
// Takes token, password and status out of the answer to a form. False for another page.
bool ParseRegistrationAnswer(RegistrationForm& form, std::string_view page);

// The number of a user's registration, and how it stands. False for another page.
bool ParseRegistrationState(std::string_view page, LONG& id, LONG& status);

}  // namespace kestrel
