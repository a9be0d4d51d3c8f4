// Pages of the FLCA authority: tables, forms, answers. The first byte chooses a kind of table.
#include <windows.h>

#include "enroll/page_reader.h"
#include "enroll/registration_form.h"
#include "enroll/stored_request.h"
#include "fuzz/support.h"

namespace {

using namespace kestrel;

// The work that any page of this size may take.
constexpr std::size_t kMostWork = std::size_t{1} << 20;

void ReadTable(std::string_view page, unsigned char choice) {
    const bool lower = (choice & 4) != 0;
    const auto kind = static_cast<RowKind>(1 + (choice & 3) % 3);
    const TableMarks marks = {lower ? kRequestTable : "tblCertRequests", lower ? "<tr" : "<TR>",
                              kind, lower};
    PageList list;
    if (!ParseTable(page, marks, list)) return;
    std::size_t taken = 0;
    for (const auto& [number, row] : list) {
        Demand(row.present == 1, "a row of the page is there");
        taken += row.column2.size() + row.column3.size() + row.column4.size() + row.text.size();
        RequestInfo info;
        (void)ParseRequestInfo(row.text, row.status, 0, info);
    }
    Demand(taken <= kMostWork, "what is taken is bounded");
}

void ReadForms(std::string_view page) {
    RegistrationForm form;
    if (ParseRegistrationForm(form, page)) {
        for (const FormField& field : form.fields) {
            Demand(!field.skipRow && field.value.size() <= page.size(), "a field has its place");
        }
        (void)ValidateForm(form);
    }
    if (ParseRegistrationAnswer(form, page)) {
        Demand(form.status != 0 && form.givenPassword.back() == '\0', "an answer is whole");
    }
    LONG id = 0;
    LONG status = 0;
    (void)ParseRegistrationState(page, id, status);
    RequestForm request;
    (void)ParseRequestForm(page, request);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view page(reinterpret_cast<const char*>(data + 1), size - 1);
    ReadTable(page, data[0]);
    ReadForms(page);
    Demand(BareRequest(page).find("\r\n") == std::string::npos, "no line end is left");
    return 0;
}
