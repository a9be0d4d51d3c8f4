// The search through stores, and the choice among what it finds.
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

// ---- stores --------------------------------------------------------------------

HCERTSTORE OpenForSearch(const StoreSpec& spec) {
    std::wstring name;
    if (!WideName(spec.name, name)) return nullptr;
    if (spec.kind == kFileStore) {
        return CertOpenStore(CERT_STORE_PROV_FILENAME_W, kMessageEncodingType, 0,
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
    PrintMessage(say::kStoreNotOpened, 0);
    PrintText(name, 0);
    PrintText("'.", 1);
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
    if (filter == nullptr) return true;
    const auto subject = SubjectText(certificate, CERT_X500_NAME_STR);
    if (!subject) return false;
    matches = HasAllParts(subject.get(), *filter);
    return true;
}

Reported CollectFrom(HCERTSTORE store, const FilterParts* filter) {
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertFindCertificateInStore(store, kMessageEncodingType, 0, CERT_FIND_ANY,
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
// stores of the same pass only its first part is left to be tested (select-1).
Reported SearchStore(HCERTSTORE store, char* filterString) {
    if (filterString == nullptr) return CollectFrom(store, nullptr);
    FilterParts filter;
    if (!SplitInPlace(filterString, filter)) return ReportError(kNoMemory);
    return CollectFrom(store, &filter);
}

Reported SearchOpenStores(StoreVector& openStores, char* filterString) {
    for (const StoreSpec& spec : *state.storeSpecs) {
        const HCERTSTORE store = OpenForSearch(spec);
        if (store == nullptr) {
            // A store that is not there may be passed over, one that cannot be read may not:
            // what is in it would count as not found.
            const bool damaged = spec.kind != kFileStore && GetLastError() != ERROR_FILE_NOT_FOUND;
            if (damaged) return ReportError(kLastError);
            WarnAboutStore(spec.name);
            continue;
        }
        openStores.push_back(store);
        if (const Reported failure = SearchStore(store, filterString)) return failure;
    }
    return 0;
}

Reported RunPasses(StoreVector& openStores) {
    if (state.dnStrings->empty()) return SearchOpenStores(openStores, nullptr);
    while (!state.dnStrings->empty()) {
        if (const Reported failure = SearchOpenStores(openStores, state.dnStrings->front()))
            return failure;
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

Reported LetUserChoose() {
    PrintMessage(say::kChooseCertificate, 2);
    int position = 0;
    for (const PCCERT_CONTEXT certificate : *state.foundCertificates) {
        std::printf("#%d: ", ++position);
        if (const Reported failure = PrintCertificateSummary(certificate)) return failure;
    }
    PrintMessage(say::kNumberPrompt, 0);
    DWORD number = 0;
    if (const Reported failure = ReadCertificateNumber(position, number)) return failure;
    KeepOnly(number);
    return 0;
}

Reported KeepSeveral(long count, bool needOne) {
    if (state.countPolicy < 0) return ReportError(kManyCertificates);
    if (state.countPolicy > count) return LetUserChoose();
    if (needOne) return ReportError(kOneCertificateOnly);
    if (state.countPolicy == 0) {
        PrintMessage(say::kCertificatesFound, 0);
        std::printf("%ld\n", count);
        std::fflush(stdout);
    }
    return 0;
}

Reported DecideByCount(bool needOne) {
    const auto count = static_cast<long>(state.foundCertificates->size());
    if (count == 0) return ReportError(kNoCertificate);
    if (count > 1) return KeepSeveral(count, needOne);
    PrintMessage(say::kCertificateToBeUsed, 1);
    return PrintCertificateSummary(state.foundCertificates->front());
}

// ---- chains ----------------------------------------------------------------------

Reported JudgeChain(PCCERT_CONTEXT certificate, Purpose purpose, bool& keep) {
    keep = true;
    DWORD status = 0;
    if (const Reported failure = CheckChain(certificate, purpose, status)) return failure;
    if (status == 0) return 0;
    PrintMessage(say::kChainNotChecked, 1);
    if (const Reported failure = PrintCertificateSummary(certificate)) return failure;
    return AskAboutBadChain(status, keep);
}

Reported KeepGoodChains(Purpose purpose) {
    FoundCertificates& found = *state.foundCertificates;
    for (auto position = found.begin(); position != found.end();) {
        bool keep = false;
        if (const Reported failure = JudgeChain(*position, purpose, keep)) return failure;
        if (keep) {
            ++position;
            continue;
        }
        CertFreeCertificateContext(*position);
        position = found.erase(position);
    }
    PrintMessage(say::kChainsChecked, 1);
    if (found.empty()) return ReportError(kNoCertificateToUse);
    return 0;
}

}  // namespace

Reported SelectCertificates(StoreVector& openStores, bool needOne, Purpose purpose) {
    state.foundCertificates = std::make_unique<FoundCertificates>();
    if (const Reported failure = RunPasses(openStores)) return failure;
    if (const Reported failure = DecideByCount(needOne)) return failure;
    if (!state.chainChecking) return 0;
    return KeepGoodChains(purpose);
}

void ForgetFoundCertificates() {
    for (const PCCERT_CONTEXT certificate : *state.foundCertificates) {
        CertFreeCertificateContext(certificate);
    }
    state.foundCertificates->clear();
}

void CloseStoreVector(StoreVector& stores) {
    for (const HCERTSTORE store : stores) CertCloseStore(store, CERT_CLOSE_STORE_FORCE_FLAG);
    stores.clear();
}

}  // namespace kestrel
