// kestrelctl doctor: what is wrong on both sides, and what to do about it.
#include <algorithm>

#include "kestrelctl/columns.h"
#include "kestrelctl/commands.h"
#include "kestrelctl/findings.h"
#include "kestrelctl/output.h"
#include "kestrelctl/table.h"
#include "platform/http/curl_library.h"
#include "platform/http/trust.h"

namespace kestrelctl {
namespace {

using platform::Side;

std::vector<Finding> CheckSide(Side side) {
    Findings findings(side);
    findings.Try(findings.Home().string(), std::string(), [&] {
        const ContainersHeld held(side);
        if (CheckSettings(findings) && CheckFiles(findings)) CheckIdentities(findings);
    });
    return findings.All();
}

Finding MissingPackage(const std::string& package, const std::string& without) {
    return {"system", "package", package, "is not installed: " + without,
            "sudo apt-get install " + package};
}

std::vector<Finding> CheckPackages() {
    std::vector<Finding> missing;
    try {
        static_cast<void>(platform::Curl());
    } catch (const platform::Error& error) {
        missing.push_back(
            MissingPackage(error.Detail(),
                           "no time stamps, no enrolment, no revocation answers over the network"));
    }
    std::error_code error;
    if (!std::filesystem::exists(platform::kSystemRoots, error)) {
        missing.push_back(
            MissingPackage("ca-certificates", "servers of https are trusted by \"Root\" alone"));
    }
    return missing;
}

// A name that is shown escaped would be another one to a shell.
std::string ShownRemedy(const std::string& remedy) {
    if (Visible(remedy) == remedy) return remedy;
    return "(no command: a name in it has characters that cannot be shown; with --json it is "
           "whole)";
}

constexpr std::string_view kRemark = "  # ";
constexpr std::size_t kIndent = 4;
constexpr std::size_t kLeastText = 20;

void SayWrapped(const std::string& text, const std::string& before, std::size_t width) {
    const std::size_t least = before.size() + kLeastText;
    const std::size_t left = width == kNoWidth ? kNoWidth : std::max(width, least) - before.size();
    for (const std::string& line : WrappedLines(text, left)) Say(before + line);
}

// Where the remark behind a command begins; the same characters may stand in a quoted name.
std::size_t RemarkIn(const std::string& remedy) {
    const std::size_t at = remedy.rfind(kRemark);
    if (at == remedy.npos) return at;
    return std::ranges::count(remedy.substr(at), '\'') % 2 == 0 ? at : remedy.npos;
}

// On a terminal no line is wider than it but a command, which is to be copied whole; the remark
// goes below it as a comment.
void SayRemedy(const std::string& remedy, std::size_t width) {
    const std::string indent(kIndent, ' ');
    const std::size_t remark = RemarkIn(remedy);
    const bool fits = width == kNoWidth || kIndent + ColumnsOf(remedy) <= width;
    if (fits || remark == remedy.npos) return Say(indent + remedy);
    Say(indent + remedy.substr(0, remark));
    SayWrapped(remedy.substr(remark + kRemark.size()), indent + "# ", width);
}

void PrintFindings(const std::vector<Finding>& findings) {
    const std::size_t width = TerminalWidth();
    for (const Finding& one : findings) {
        SayWrapped(Visible(one.side + ": " + one.place + " " + one.finding), "", width);
        if (!one.remedy.empty()) SayRemedy(ShownRemedy(one.remedy), width);
    }
    const std::string count = std::to_string(findings.size());
    Say(findings.empty()       ? "Nothing found."
        : findings.size() == 1 ? "1 finding."
                               : count + " findings.");
}

}  // namespace

bool IsBusy(const platform::Error& error) {
    constexpr DWORD kCodes[] = {ERROR_BUSY, ERROR_SHARING_VIOLATION, ERROR_LOCK_VIOLATION};
    return std::ranges::find(kCodes, error.Code()) != std::end(kCodes);
}

void Findings::Add(const char* kind, std::string place, std::string finding, std::string remedy) {
    all_.push_back({side_ == Side::Machine ? "machine" : "user", kind, std::move(place),
                    std::move(finding), std::move(remedy)});
}

void Findings::Try(const std::string& place, const std::string& remedy,
                   const std::function<void()>& check) {
    Try(
        place, [&](const platform::Error&) { return remedy; }, check);
}

void Findings::Try(const std::string& place, const Remedy& remedy,
                   const std::function<void()>& check) {
    try {
        check();
    } catch (const platform::Error& error) {
        if (IsBusy(error)) {
            metBusy_ = true;
            return Add("unreadable", error.Detail(), "is in use by another process",
                       "kestrelctl doctor  # again, once that one is done");
        }
        const bool barred = error.Code() == ERROR_ACCESS_DENIED;
        Add(barred ? "unreadable" : "damaged", place,
            (barred ? "cannot be looked at: " : "is damaged: ") + Describe(error),
            barred ? GiveAccess(*this, error.Detail()) : remedy(error));
    }
}

std::string Findings::Ctl(const std::string& words) const {
    return "kestrelctl " + words + (side_ == Side::Machine ? " --machine" : "");
}

std::string ShellWord(const std::string& word) {
    const auto plain = [](unsigned char c) {
        return std::isalnum(c) != 0 || c >= 0x80 ||
               std::string_view("_./:@%+=,-").find(static_cast<char>(c)) != std::string_view::npos;
    };
    if (!word.empty() && std::ranges::all_of(word, plain)) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

void Doctor(const Arguments& arguments) {
    std::vector<Finding> findings = CheckSide(Side::User);
    for (const auto& more : {CheckSide(Side::Machine), CheckPackages()}) {
        findings.insert(findings.end(), more.begin(), more.end());
    }
    if (arguments.Json()) {
        Listing listing({"side", "kind", "place", "finding", "remedy"});
        for (const Finding& one : findings) {
            listing.Add({one.side, one.kind, one.place, one.finding, one.remedy});
        }
        listing.Print(true);
    } else {
        PrintFindings(findings);
    }
    FinishOutput();
    if (!findings.empty()) throw ExitStatus(1);
}

}  // namespace kestrelctl
