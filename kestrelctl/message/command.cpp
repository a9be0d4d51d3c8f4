// kestrelctl message verify: the command line, and what is printed.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "kestrelctl/commands.h"
#include "kestrelctl/message/content_file.h"
#include "kestrelctl/message/demands.h"
#include "kestrelctl/message/pair.h"
#include "kestrelctl/message/report.h"
#include "kestrelctl/message/same_file.h"
#include "kestrelctl/message/verdict_document.h"
#include "kestrelctl/message/verify.h"
#include "kestrelctl/text_forms.h"
#include "platform/base/language.h"

namespace kestrelctl {
namespace {

using message::MessageVerdict;
using message::Verdict;

constexpr const char* kForOneFile[] = {"content", "output", "report"};
constexpr const char* kOfNames[] = {"content", "dir", "output", "report"};

void CheckOptions(const Arguments& arguments) {
    // A script's variable that is not set must not count as an option that is not given.
    for (const char* option : kOfNames) {
        const std::string* name = arguments.Find(option);
        if (name != nullptr && name->empty()) {
            throw UsageError(std::string("'--") + option + "' needs a name");
        }
    }
    if (arguments.Json() && arguments.Has("jsonl")) {
        throw UsageError("'--json' and '--jsonl' are two forms of one thing");
    }
    if (arguments.Has("content") && arguments.Has("dir")) {
        throw UsageError("'--content' and '--dir' both say which file is which");
    }
    if (arguments.positionals.size() == 1) return;
    for (const char* option : kForOneFile) {
        if (arguments.Has(option)) {
            throw UsageError(std::string("'--") + option + "' is for one file");
        }
    }
    if (arguments.Json()) throw UsageError("several files take '--jsonl' in place of '--json'");
}

message::JudgeSettings SettingsOf(const Arguments& arguments) {
    message::JudgeSettings settings;
    const std::string* at = arguments.Find("at");
    settings.given = at != nullptr;
    const platform::Ticks now = platform::CurrentTicks();
    settings.today = now - now % platform::kTicksPerSecond;
    settings.now = at != nullptr ? platform::TicksOf(TimeNamed("at", *at)) : settings.today;
    settings.offline = arguments.Has("offline");
    return settings;
}

message::Demands DemandsOf(const Arguments& arguments) {
    message::Demands demands{arguments.Get("content"),
                             arguments.Get("dir"),
                             {},
                             arguments.Has("all"),
                             arguments.positionals.size() > 1};
    for (const std::string& name : arguments.List("signer")) {
        demands.signers.push_back(message::WantedSigner(name));
    }
    return demands;
}

// What one run reads, by what it is to the reader of an error.
std::vector<std::pair<std::string, std::string>> FilesRead(const std::string& file,
                                                           const message::Demands& demands) {
    const message::Pair pair = PairOf(file, demands);
    std::vector<std::pair<std::string, std::string>> files{
        {"the file", file}, {"the signature", pair.message}, {"the content", pair.content}};
    for (const message::Wanted& wanted : demands.signers) {
        if (wanted.certificate) files.emplace_back("a signer's certificate", wanted.name);
    }
    return files;
}

// Nothing that is written may take the place of what the verdict rests on, or of the other.
void CheckFilesWritten(const Arguments& arguments, const message::Demands& demands) {
    std::vector<std::pair<std::string, std::string>> others;
    for (const char* option : {"output", "report"}) {
        const std::string* name = arguments.Find(option);
        if (name == nullptr) continue;
        if (others.empty()) others = FilesRead(arguments.positionals[0], demands);
        for (const auto& [what, other] : others) {
            if (other.empty() || !message::IsSameFile(*name, other)) continue;
            throw UsageError(std::string("'--") + option + "' and " + what + " are one file: '" +
                             *name + "'");
        }
        others.emplace_back("'--output'", *name);
    }
}

MessageVerdict VerifyOne(message::Judge& judge, const std::string& file,
                         const message::Demands& demands, const Arguments& arguments) {
    std::optional<message::ContentFile> content;
    message::ContentSink sink;
    if (const std::string* output = arguments.Find("output")) {
        content.emplace(*output);
        sink = [&](platform::ByteView piece) { content->Write(piece); };
    }
    MessageVerdict verdict = Verify(judge, file, demands, sink);
    if (content && verdict.token) throw UsageError("a time stamp has no content for '--output'");
    const bool keep = content && VerdictOf(verdict) == Verdict::Good;
    if (keep) verdict.output = arguments.Get("output");
    // Before anything else is told or written: it may fail.
    if (const std::string* report = arguments.Find("report")) {
        message::WriteReport(*report, verdict, judge.Settings(), platform::RussianUser());
    }
    if (keep) content->Keep();
    return verdict;
}

void Print(const MessageVerdict& verdict, const message::JudgeSettings& settings,
           const Arguments& arguments) {
    const message::Value document = message::VerdictDocument(verdict, settings);
    if (arguments.Json() || arguments.Has("jsonl")) {
        std::printf("%s\n", document.Json(!arguments.Json()).c_str());
        return;
    }
    for (const std::string& line : document.Lines()) Say(line);
    if (arguments.positionals.size() > 1) Say("");
}

int StatusOf(Verdict verdict) {
    constexpr int kStatus[] = {0, 3, 1};
    return kStatus[static_cast<std::size_t>(verdict)];
}

}  // namespace

void MessageVerify(const Arguments& arguments) {
    CheckOptions(arguments);
    const message::Demands demands = DemandsOf(arguments);
    CheckFilesWritten(arguments, demands);
    message::Judge judge(SettingsOf(arguments));
    Verdict worst = Verdict::Good;
    for (const std::string& file : arguments.positionals) {
        const MessageVerdict verdict = VerifyOne(judge, file, demands, arguments);
        Print(verdict, judge.Settings(), arguments);
        worst = std::max(worst, VerdictOf(verdict));
    }
    FinishOutput();
    if (worst != Verdict::Good) throw ExitStatus(StatusOf(worst));
}

}  // namespace kestrelctl
