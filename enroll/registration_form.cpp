// Reading the pages on which users are registered.
#include "enroll/registration_form.h"

#include <algorithm>

#include "enroll/page_reader.h"
#include "front/core/secret.h"

namespace kestrel {

namespace {

std::string WithoutQuotes(std::string_view text) {
    std::string plain(text);
    std::erase(plain, '"');
    return plain;
}

// A row read from left to right; each step is false when what it looks for is not there.
class FieldReader {
  public:
    explicit FieldReader(std::string_view row) : row_(row) {}

    bool Behind(std::string_view marker) {
        const std::size_t found = FindAfter(row_, marker, position_);
        if (found == kNotFound) return false;
        position_ = found;
        return true;
    }
    bool Follows(std::string_view text) const { return row_.substr(position_).starts_with(text); }
    bool Has(std::string_view marker) const { return row_.find(marker, position_) != kNotFound; }
    bool UpTo(std::string_view marker, std::string_view& text) {
        return Take(row_.find(marker, position_), text);
    }
    bool UpToBlank(std::string_view& text) {
        return Take(FindFirstOf(row_, kBlanks, position_), text);
    }

  private:
    bool Take(std::size_t end, std::string_view& text) {
        if (end == kNotFound) return false;
        text = row_.substr(position_, end - position_);
        position_ = end;
        return true;
    }

    std::string_view row_;
    std::size_t position_ = 0;
};

// The title, which ends in a colon.
bool ReadTitle(FieldReader& reader, FormField& field) {
    if (reader.Behind("color=\"")) field.mandatory = reader.Follows("red");
    std::string_view title;
    if (!reader.Behind(">") || !reader.UpTo("<", title)) return false;
    field.skipRow = title.empty();
    field.name = CleanCell(title);
    if (!field.name.empty()) field.name.pop_back();
    return true;
}

// The first value is the one that is chosen; quotes belong to the values (enroll-23).
bool ReadChoices(FieldReader& reader, FormField& field) {
    std::string_view text;
    if (!reader.Has("/select")) return false;
    if (!reader.Behind("<option") || !reader.Behind("value=") || !reader.UpToBlank(text)) {
        return false;
    }
    field.allowedValues.emplace(text);
    field.value = WithoutQuotes(text);
    std::erase(field.value, '\'');
    while (reader.Behind("/option") && reader.Behind("<option")) {
        if (!reader.Behind("value=") || !reader.UpTo(">", text)) return false;
        field.allowedValues.emplace(text);
    }
    return true;
}

bool ReadLength(FieldReader& reader, FormField& field) {
    std::string_view text;
    if (!reader.Behind("maxLength=")) return true;
    if (!reader.UpToBlank(text)) return false;
    field.maxLength = LeadingNumber(WithoutQuotes(text));
    return true;
}

bool ReadInputValue(FieldReader& reader, FormField& field) {
    std::string_view text;
    if (!reader.Behind("value=\"") || !reader.UpTo("\"", text)) return false;
    field.value = text;
    return true;
}

bool IsAllowed(const FormField& field) {
    const bool tooLong =
        field.maxLength > 0 && field.value.size() > static_cast<std::size_t>(field.maxLength);
    const bool missing = field.value.empty() && field.mandatory;
    const bool other = !field.allowedValues.empty() && !field.value.empty() &&
                       !field.allowedValues.contains(field.value);
    return !tooLong && !missing && !other;
}

void WipePassword(RegistrationForm& form) {
    Wipe(form.givenPassword.data(), form.givenPassword.size());
    form.givenPassword.clear();
}

}  // namespace

RegistrationForm::~RegistrationForm() {
    if (tag == kFormTag) WipePassword(*this);
}

bool ParseField(FormField& field, std::string_view row) {
    FieldReader reader(row);
    if (!ReadTitle(reader, field)) return false;
    if (field.skipRow) return true;
    const bool input = reader.Behind("INPUT");
    const bool select = !input && reader.Behind("select");
    if (!input && !select && !reader.Behind("TEXTAREA")) return false;
    std::string_view id;
    if (!reader.Behind("name=") || !reader.UpToBlank(id)) return false;
    field.id = WithoutQuotes(CleanCell(id));
    if (select) return ReadChoices(reader, field);
    return ReadLength(reader, field) && (!input || ReadInputValue(reader, field));
}

bool ParseRegistrationForm(RegistrationForm& form, std::string_view page) {
    form.fields.clear();
    const std::size_t posted = FindAfter(page, "GetSubjectFormPosted", 0);
    if (posted == kNotFound) return false;
    const std::size_t table = FindAfter(page, "<TABLE", posted);
    const std::size_t end = table == kNotFound ? kNotFound : page.find("</TABLE>", table);
    if (end == kNotFound) return false;
    std::size_t row = FindAfter(page, "<TR>", table);
    if (row == kNotFound || row > end) return true;
    // Rows behind the table's end count as well (enroll-24).
    while (row != kNotFound) {
        const std::size_t close = page.find("</TR>", row);
        FormField field;
        if (close == kNotFound || !ParseField(field, page.substr(row, close - row))) return false;
        if (!field.skipRow) form.fields.push_back(std::move(field));
        row = FindAfter(page, "<TR>", close);
    }
    return true;
}

bool ValidateForm(const RegistrationForm& form) {
    return std::all_of(form.fields.begin(), form.fields.end(), IsAllowed);
}

bool ParseRegistrationAnswer(RegistrationForm& form, std::string_view page) {
    FieldReader reader(page);
    std::string_view token;
    std::string_view password;
    const bool given = reader.Behind("Name=TokenID") && reader.Behind("value=\"") &&
                       reader.UpTo("\"", token) && reader.Behind("Name=Password") &&
                       reader.Behind("value=\"") && reader.UpTo("\"", password);
    const bool registered = page.find("RegCreateCertRequest") != kNotFound;
    const bool waits = page.find("RegTemporaryUser") != kNotFound;
    if (!given || (!registered && !waits)) return false;
    WipePassword(form);
    form.givenTokenId = token;
    form.givenPassword.reserve(password.size() + 1);
    form.givenPassword.assign(password.begin(), password.end());
    form.givenPassword.push_back('\0');
    form.status = registered ? kRegistered : kRegistrationWaits;
    return true;
}

bool ParseRegistrationState(std::string_view page, LONG& id, LONG& status) {
    FieldReader reader(page);
    std::string_view number;
    const bool found = reader.Behind("tblRegRequests") && reader.Behind("<TR>") &&
                       reader.Behind("<TR>") && reader.Behind(">") && reader.UpTo("<", number);
    if (!found) return false;
    id = LeadingNumber(CleanCell(number));
    status = page.find("CreateCertReqButton") != kNotFound ? kRegistered : kRegistrationWaits;
    return true;
}

}  // namespace kestrel
