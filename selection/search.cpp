#include "selection/search.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "front/core/catalogue.h"
#include "selection/console.h"
#include "selection/names.h"

namespace kestrel {

namespace {

constexpr MessageId kChooseCertificate = 102;
constexpr MessageId kNumberPrompt = 106;
constexpr MessageId kChainsChecked = 145;
constexpr MessageId kCertificatesFound = 146;
constexpr MessageId kStoreNotOpened = 153;
constexpr MessageId kChainNotChecked = 161;
constexpr MessageId kCertificateToBeUsed = 168;

// ---- stores --------------------------------------------------------------------

HCERTSTORE OpenForSearch(const StoreSpec& spec) {
    std::wstring name;
    if (!WideName(spec.name, name)) return nullptr;
    if (spec.kind == kFileStore) {
        return CertOpenStore(CERT_STORE_PROV_FILENAME_W, kNameEncoding, 0,
                             CERT_STORE_OPEN_EXISTING_FLAG, name.c_str());
    }
    const DWORD side = spec.kind == kMachineStore ? CERT_SYSTEM_STORE_LOCAL_MACHINE
                                                  : CERT_SYSTEM_STORE_CURRENT_USER;
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, side | CERT_STORE_OPEN_EXISTING_FLAG,
                         name.c_str());
}

// A missing address book is normal and passed over, so that the default stores serve on a
// machine that has none.
void WarnAboutStore(const char* name) {
    if (std::strcmp(name, "Addressbook") == 0) return;
    PrintMessage(kStoreNotOpened, 0);
    PrintPair(name, nullptr, 0);
    PrintPair("'.", nullptr, 1);
}

// ---- one pass over the stores --------------------------------------------------

// The parts of a filter string between its commas, without the blanks around them. The
// string itself is cut: commas and trailing blanks become terminators.
struct FilterParts {
    std::unique_ptr<char*[]> parts;
    std::size_t count = 0;
};

char* TrimInPlace(char* part) {
    while (*part == ' ') ++part;
    for (char* end = part + std::strlen(part); end != part && end[-1] == ' ';) *--end = '\0';
    return part;
}

// False when memory runs out.
bool SplitInPlace(char* filter, FilterParts& split) {
    char* const end = filter + std::strlen(filter);
    split.count = static_cast<std::size_t>(std::count(filter, end, ',')) + 1;
    split.parts.reset(new (std::nothrow) char*[split.count]);
    if (!split.parts) return false;
    for (std::size_t index = 0; index < split.count; ++index) {
        char* const comma = std::find(filter, end, ',');
        *comma = '\0';
        split.parts[index] = TrimInPlace(filter);
        filter = comma + (comma != end);
    }
    return true;
}

bool HasAllParts(const char* subject, const FilterParts& filter) {
    const auto* first = filter.parts.get();
    return std::all_of(first, first + filter.count,
                       [subject](const char* part) { return std::strstr(subject, part); });
}

// False when memory runs out.
bool Matches(PCCERT_CONTEXT certificate, const FilterParts* filter, bool& matches) {
    matches = true;
    if (!filter) return true;
    const auto subject = SubjectText(certificate, CERT_X500_NAME_STR);
    if (!subject) return false;
    matches = HasAllParts(subject.get(), *filter);
    return true;
}

DWORD CollectFrom(HCERTSTORE store, const FilterParts* filter) {
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertFindCertificateInStore(store, kNameEncoding, 0, CERT_FIND_ANY,
                                                     nullptr, certificate))) {
        bool matches = false;
        if (!Matches(certificate, filter, matches)) {
            CertFreeCertificateContext(certificate);
            return ReportError(kNoMemory);
        }
        if (!matches) continue;
        state.foundCertificates->push_back(CertDuplicateCertificateContext(certificate));
    }
    return 0;
}

// The filter string is split anew for each store, and the first split has cut it: in later
// stores of the same pass only its first part is left to be tested. Users rely on it; an
// address book is matched on the first part alone.
DWORD SearchStore(HCERTSTORE store, char* filterString) {
    if (!filterString) return CollectFrom(store, nullptr);
    FilterParts filter;
    if (!SplitInPlace(filterString, filter)) return ReportError(kNoMemory);
    return CollectFrom(store, &filter);
}

DWORD SearchOpenStores(StoreVector& openStores, char* filterString) {
    for (const StoreSpec& spec : *state.storeSpecs) {
        const HCERTSTORE store = OpenForSearch(spec);
        if (!store) {
            WarnAboutStore(spec.name);
            continue;
        }
        openStores.push_back(store);
        if (const DWORD code = SearchStore(store, filterString)) return code;
    }
    return 0;
}

DWORD RunPasses(StoreVector& openStores) {
    if (state.dnStrings->empty()) return SearchOpenStores(openStores, nullptr);
    while (!state.dnStrings->empty()) {
        if (const DWORD code = SearchOpenStores(openStores, state.dnStrings->front())) return code;
        state.dnStrings->pop_front();
    }
    return 0;
}

// ---- what the count decides ----------------------------------------------------

void KeepOnly(DWORD number) {
    DWORD position = 0;
    state.foundCertificates->remove_if([&](PCCERT_CONTEXT certificate) {
        if (++position == number) return false;
        CertFreeCertificateContext(certificate);
        return true;
    });
}

DWORD LetUserChoose() {
    PrintMessage(kChooseCertificate, 2);
    int position = 0;
    for (const PCCERT_CONTEXT certificate : *state.foundCertificates) {
        std::printf("#%d: ", ++position);
        if (const DWORD code = PrintCertificateSummary(certificate)) return code;
    }
    PrintMessage(kNumberPrompt, 0);
    DWORD number = 0;
    if (const DWORD code = ReadCertificateNumber(position, number)) return code;
    KeepOnly(number);
    return 0;
}

DWORD KeepSeveral(long count, bool needOne) {
    if (state.countPolicy < 0) return ReportError(kManyCertificates);
    if (state.countPolicy > count) return LetUserChoose();
    if (needOne) return ReportError(kOneCertificateOnly);
    if (state.countPolicy == 0) {
        PrintMessage(kCertificatesFound, 0);
        std::printf("%ld\n", count);
        std::fflush(stdout);
    }
    return 0;
}

DWORD DecideByCount(bool needOne) {
    const auto count = static_cast<long>(state.foundCertificates->size());
    if (count == 0) return ReportError(kNoCertificate);
    if (count > 1) return KeepSeveral(count, needOne);
    PrintMessage(kCertificateToBeUsed, 1);
    return PrintCertificateSummary(state.foundCertificates->front());
}

// ---- chains ----------------------------------------------------------------------

DWORD JudgeChain(PCCERT_CONTEXT certificate, Purpose purpose, bool& keep) {
    keep = true;
    DWORD status = 0;
    if (const DWORD code = CheckChain(certificate, purpose, status)) return code;
    if (status == 0) return 0;
    PrintMessage(kChainNotChecked, 1);
    if (const DWORD code = PrintCertificateSummary(certificate)) return code;
    return AskAboutBadChain(status, keep);
}

DWORD KeepGoodChains(Purpose purpose) {
    FoundCertificates& found = *state.foundCertificates;
    for (auto position = found.begin(); position != found.end();) {
        bool keep = false;
        if (const DWORD code = JudgeChain(*position, purpose, keep)) return code;
        if (keep) {
            ++position;
            continue;
        }
        CertFreeCertificateContext(*position);
        position = found.erase(position);
    }
    PrintMessage(kChainsChecked, 1);
    return found.empty() ? ReportError(kNoCertificateToUse) : 0;
}

}  // namespace

DWORD SelectCertificates(StoreVector& openStores, bool needOne, Purpose purpose) {
    state.foundCertificates = std::make_unique<FoundCertificates>();
    if (const DWORD code = RunPasses(openStores)) return code;
    if (const DWORD code = DecideByCount(needOne)) return code;
    return state.chainChecking ? KeepGoodChains(purpose) : 0;
}

void CloseStoreVector(StoreVector& stores) {
    for (const HCERTSTORE store : stores) CertCloseStore(store, CERT_CLOSE_STORE_FORCE_FLAG);
    stores.clear();
}

}  // namespace kestrel
