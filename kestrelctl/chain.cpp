// kestrelctl chain and cache: why a chain is good or bad, and what was fetched for it.
#include "platform/chain/chain.h"

#include "kestrelctl/bundle_file.h"
#include "kestrelctl/chain_words.h"
#include "kestrelctl/commands.h"
#include "kestrelctl/output.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/ticks.h"
#include "platform/certs/ancestors.h"
#include "platform/chain/stamp_policy.h"

namespace kestrelctl {
namespace {

using platform::Side;

using Found = std::shared_ptr<platform::Certificate>;

constexpr DWORD kCheck = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;

std::string AgeText(platform::Ticks since) {
    constexpr struct {
        platform::Ticks seconds;
        const char* unit;
    } kUnits[] = {{86400, "d"}, {3600, "h"}, {60, "min"}};
    const platform::Ticks now = platform::CurrentTicks();
    const platform::Ticks seconds = now > since ? (now - since) / platform::kTicksPerSecond : 0;
    for (const auto& row : kUnits) {
        if (seconds >= row.seconds) return std::to_string(seconds / row.seconds) + " " + row.unit;
    }
    return std::to_string(seconds) + " s";
}

std::string UntilText(const FILETIME& time) {
    return platform::TicksOf(time) == 0 ? "" : TimeText(time);
}

// ---- the command line ----------------------------------------------------------

// A certificate with others beside it, which may be its issuers.
struct Subject {
    Found certificate;
    std::shared_ptr<platform::Store> others;
};

// Of a file with a whole chain, the certificate that issued none of the others.
Subject InFile(const std::string& name) {
    constexpr std::size_t kMost = 100;  // each is held against each
    const auto certificates = ReadBundleFile(name).certificates;
    if (certificates.empty()) throw Failure(name + " holds no certificate");
    if (certificates.size() > kMost) throw Failure(name + " holds more than 100 certificates");
    std::vector<Found> ends;
    const auto others = platform::NewMemoryStore();
    for (const Found& one : certificates) {
        others->Add(*one, CERT_STORE_ADD_USE_EXISTING);
        const auto issuesAnother = [&](const Found& other) {
            return !platform::Equal(one->Der(), other->Der()) && Issued(*one, *other);
        };
        const auto same = [&](const Found& end) { return platform::Equal(one->Der(), end->Der()); };
        if (std::none_of(certificates.begin(), certificates.end(), issuesAnother) &&
            std::none_of(ends.begin(), ends.end(), same)) {
            ends.push_back(one);
        }
    }
    if (ends.size() != 1) {
        throw Failure("which certificate of " + name + " is meant? " + std::to_string(ends.size()) +
                      " of them issued none of the others");
    }
    return {ends.front(), others};
}

// Of several that begin so, equal ones count as one.
Found ByThumbprint(const std::string& thumbprint) {
    Found found;
    for (const Side side : {Side::User, Side::Machine}) {
        for (const std::string& name : platform::SystemStoreNames(side)) {
            const auto store = OpenSystemStore(side, name, platform::OpenMode::Existing);
            for (const auto& certificate : store->Certificates()) {
                if (!Thumbprint(certificate->Der()).starts_with(thumbprint)) continue;
                if (found && !platform::Equal(found->Der(), certificate->Der())) {
                    throw Failure("'" + thumbprint + "' begins several thumbprints");
                }
                if (!found) found = certificate;
            }
        }
    }
    if (!found) throw Failure("no file and no certificate is '" + thumbprint + "'");
    return found;
}

Subject SubjectNamed(const std::string& name) {
    const std::string thumbprint = PlainHex(name);
    if (Exists(name)) return InFile(name);
    if (thumbprint.empty())
        throw UsageError("a file or a thumbprint is needed, not '" + name + "'");
    return {ByThumbprint(thumbprint), nullptr};
}

bool ForStamps(const Arguments& arguments) {
    const std::string purpose = arguments.Get("purpose", "any");
    if (purpose != "any" && purpose != "stamp") {
        throw UsageError("'--purpose' is 'any' or 'stamp', not '" + purpose + "'");
    }
    return purpose == "stamp";
}

// ---- showing -------------------------------------------------------------------

void PrintPath(const platform::Path& path, bool json) {
    Listing listing({"subject", "thumbprint", "status", "revocation", "source", "age", "until"},
                    {"thumbprint", "age", "until"});
    for (std::size_t i = 0; i < path.links.size(); ++i) {
        const platform::Link& link = path.links[i];
        const bool last = i + 1 == path.links.size();
        const bool told = link.revocation != platform::Revocation::Unknown;
        const bool asked = told || (link.error & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0;
        listing.Add({NameText(link.certificate->Info().Subject),
                     Thumbprint(link.certificate->Der()),
                     WordsOf(link.error | (last ? path.error : 0)),
                     asked ? WordOf(link.revocation) : "not asked", link.evidence.source,
                     told ? AgeText(platform::TicksOf(link.evidence.thisUpdate)) : "",
                     UntilText(link.evidence.nextUpdate)});
    }
    listing.Print(json);
}

std::string TextOfCode(DWORD code) {
    const char* text = platform::SystemText(code, false);
    return text != nullptr ? text : "unknown error";
}

}  // namespace

void Chain(const Arguments& arguments) {
    const bool stamps = ForStamps(arguments);
    platform::ChainRequest request;
    const std::string* at = arguments.Find("at");
    request.time =
        at != nullptr ? TimeNamed("at", *at) : platform::FileTimeOf(platform::CurrentTicks());
    const Subject subject = SubjectNamed(arguments.positionals[0]);
    const platform::Path path =
        ExamineChain(subject.certificate, subject.others, request, kCheck).path;
    PrintPath(path, arguments.Json());
    FinishOutput();
    if (stamps) {
        const platform::Chain record(path);
        const auto finding = platform::JudgeStampChain(*record.Context(), request.time);
        if (finding.error != 0) throw Failure("bad chain: " + TextOfCode(finding.error));
    } else if (path.Error() != 0) {
        throw Failure("bad chain: " + WordsOf(path.Error()));
    }
}

void CacheList(const Arguments& arguments) {
    Listing listing({"kind", "address", "state", "until", "age", "size"}, {"size", "age"});
    for (const auto& [answer, size] : platform::KeptAnswers(arguments.Side())) {
        const bool over = platform::CurrentTicks() >= answer.until;
        const std::string why(answer.body.begin(), answer.body.end());
        listing.Add({NameOf(answer.kind), answer.address,
                     answer.failed ? "failed: " + why : std::string(over ? "over" : "in force"),
                     TimeText(platform::FileTimeOf(answer.until)), AgeText(answer.fetched),
                     std::to_string(size)});
    }
    listing.Print(arguments.Json());
}

void CacheClear(const Arguments& arguments) {
    const std::size_t count = platform::ClearAnswers(arguments.Side());
    Say("Removed " + std::to_string(count) + (count == 1 ? " answer." : " answers."));
}

void CacheFetch(const Arguments& arguments) {
    if (!platform::RetrievalAllowed()) {
        throw Failure("fetching is turned off (Software\\Kestrel\\Platform, Retrieve)");
    }
    platform::ChainRequest request;
    request.time = platform::FileTimeOf(platform::CurrentTicks());
    const Subject subject = SubjectNamed(arguments.positionals[0]);
    const auto [path, retrievals] =
        ExamineChain(subject.certificate, subject.others, request, kCheck);
    Listing listing({"kind", "address", "outcome", "until"});
    bool inVain = false;
    for (const platform::Retrieval& one : retrievals) {
        listing.Add({NameOf(one.inquiry.kind), one.inquiry.address, one.outcome,
                     TimeText(platform::FileTimeOf(one.until))});
        inVain = inVain || !one.Answered();
    }
    listing.Print(arguments.Json());
    FinishOutput();
    // Another source may have told instead.
    constexpr DWORD kMissing = CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_PARTIAL_CHAIN;
    if (inVain && (path.Error() & kMissing) != 0) {
        throw Failure("not all that the chain needs was answered: " +
                      WordsOf(path.Error() & kMissing));
    }
}

}  // namespace kestrelctl
