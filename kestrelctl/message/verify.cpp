// From a file's name to its verdict.
#include "kestrelctl/message/verify.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "kestrelctl/message/demands.h"
#include "kestrelctl/message/reader.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
using platform::Error;

constexpr const char* kExtension = ".sgn";
// Each costs the checks of a signature and a chain.
constexpr std::size_t kMostSigners = 1'000;

bool Exists(const std::string& name) {
    std::error_code error;
    return std::filesystem::exists(name, error);
}

bool IsOrdinary(const std::string& name) {
    std::error_code error;
    return std::filesystem::is_regular_file(name, error);
}

// A file and the one with its signature; `content` empty: the message has its own.
struct Pair {
    std::string message;
    std::string content;
    bool named = false;  // the content was named by the user, who wants that file proven
};

// The rows of docs/verdicts.md, "Which file is what".
Pair PairOf(const std::string& file, const Demands& demands) {
    if (!demands.content.empty()) return {file, demands.content, true};
    const std::filesystem::path path(file);
    if (file.ends_with(kExtension)) {
        const std::string content = file.substr(0, file.size() - std::string(kExtension).size());
        return {file, Exists(content) ? content : std::string(), false};
    }
    if (!demands.folder.empty()) {
        const auto name = std::filesystem::path(demands.folder) / path.filename();
        return {name.string() + kExtension, file, true};
    }
    const std::string beside = file + kExtension;
    return Exists(beside) ? Pair{beside, file, true} : Pair{file, {}, false};
}

// A pipe or a device is read when the user named it and nothing else waits for it: it may never
// end. Empty when all is well; else the one that is in the way.
std::string StrangeFile(const Pair& pair, const std::string& file, const Demands& demands) {
    for (const std::string& name : {pair.message, pair.content}) {
        const bool asked = !demands.several && (name == file || name == demands.content);
        if (!asked && Exists(name) && !IsOrdinary(name)) return name;
    }
    return {};
}

bool IsCut(const Error& error) {
    return error.Code() == static_cast<DWORD>(CRYPT_E_STREAM_INSUFFICIENT_DATA);
}

std::string DetailOf(const Error& error, bool russian) {
    for (const TextFault& fault : {kNotTwoParts, kTextBehind}) {
        if (russian && error.Detail() == fault.english) return fault.russian;
    }
    return error.Detail();
}

std::string TextOf(const Error& error, bool russian) {
    const char* text = platform::SystemText(error.Code(), russian);
    std::string words = text != nullptr ? text : russian ? "неизвестная ошибка" : "unknown error";
    if (words.ends_with('.')) words.pop_back();
    return error.Detail().empty() ? words : words + ": " + DetailOf(error, russian);
}

// What reading throws is a fault of the message, or of the file.
void AddFault(const Error& error, Findings& findings) {
    const bool ofContent = (error.Code() >> 16) == 0x8009;
    const Reason reason = IsCut(error) ? Reason::CutShort
                          : ofContent  ? Reason::Malformed
                                       : Reason::CannotRead;
    findings.Add(reason, {TextOf(error, false), TextOf(error, true)});
}

void Read(const Pair& pair, const ContentSink& sink, MessageVerdict& message) {
    message.record = ReadMessageFile(pair.message, sink);
    message.read = true;
    if (message.record.strayPart) message.findings.Add(Reason::PartNotSigned);
    const bool tokenAlone =
        message.record.kind == Kind::StampToken || message.record.kind == Kind::StampResponse;
    message.detached = tokenAlone || !message.record.hasContent;
    if (!message.detached && pair.named) message.findings.Add(Reason::ContentInside, pair.content);
    if (!message.detached || pair.content.empty()) return;
    message.content = pair.content;
    if (!tokenAlone) FeedDetached(message.record, pair.content, sink);
}

// A digest that the message did not announce takes another pass over the content: one, however
// many stamps want it.
class LateDigests {
  public:
    LateDigests(const Pair& pair, const MessageVerdict& message) : pair_(pair), message_(message) {}

    std::optional<Bytes> operator()(const std::string& oid) {
        const Record& record = message_.record;
        const bool token = record.kind == Kind::StampToken || record.kind == Kind::StampResponse;
        if (message_.detached && message_.content.empty()) return std::nullopt;
        if (!token && Ran(oid)) return record.signedBody->ContentDigest(oid);
        const std::string& source = message_.detached ? message_.content : pair_.message;
        if (!IsOrdinary(source)) return std::nullopt;  // a pipe has gone by
        auto known = passes_.find(oid);
        if (known == passes_.end()) known = passes_.emplace(oid, Pass(oid, source)).first;
        return known->second;
    }

  private:
    [[nodiscard]] Bytes Pass(const std::string& oid, const std::string& source) const {
        platform::Digest digest(oid);
        const ContentSink sink = [&](ByteView octets) { digest.Update(octets); };
        if (message_.detached) {
            Record nothing;
            FeedDetached(nothing, source, sink);
        } else {
            static_cast<void>(ReadMessageFile(source, sink));
        }
        return digest.Value();
    }

    [[nodiscard]] bool Ran(const std::string& oid) const {
        const auto& digests = message_.record.digests;
        return std::ranges::find(digests, oid, &platform::Algorithm::oid) != digests.end();
    }

    const Pair& pair_;
    const MessageVerdict& message_;
    std::map<std::string, Bytes> passes_;  // by algorithm
};

void JudgeParts(Judge& judge, const Pair& pair, MessageVerdict& message) {
    const Record& record = message.record;
    const ContentDigest digests = LateDigests(pair, message);
    const bool token = record.kind == Kind::StampToken || record.kind == Kind::StampResponse;
    if (token && record.signedBody) {
        message.token = judge.JudgeToken(record, digests);
        // RFC 3161 2.4.2: granted, or granted with changes.
        if (record.answer && record.answer->status != 0 && record.answer->status != 1) {
            const std::string status = std::to_string(record.answer->status);
            message.findings.Add(Reason::NotSigned, {"status " + status, "ответ " + status});
        }
        // Anybody gets a stamp for anything: it is no signature where one is looked for.
        if (pair.message.ends_with(kExtension)) {
            message.findings.Add(Reason::NotSigned,
                                 {NameOf(record.kind), KindWords(record.kind, true)});
        }
    } else if (!record.signedBody) {
        message.findings.Add(Reason::NotSigned,
                             {NameOf(record.kind), KindWords(record.kind, true)});
    } else if (record.Signers().empty()) {
        message.findings.Add(Reason::NoSigner);
    } else if (record.Signers().size() > kMostSigners) {
        message.findings.Add(Reason::TooManySigners);
    } else {
        message.signers = judge.JudgeSigners(record, digests);
    }
}

}  // namespace

MessageVerdict Verify(Judge& judge, const std::string& file, const Demands& demands,
                      const ContentSink& sink) {
    MessageVerdict message;
    message.file = file;
    const Pair pair = PairOf(file, demands);
    if (const std::string name = StrangeFile(pair, file, demands); !name.empty()) {
        const Detail detail("not an ordinary file", "не обычный файл");
        message.findings.Add(Reason::CannotRead, detail.Of(name));
        return message;
    }
    try {
        Read(pair, sink, message);
    } catch (const Error& error) {
        AddFault(error, message.findings);
        return message;
    }
    JudgeParts(judge, pair, message);
    message.record.signedBody.reset();  // its attributes are many times the rest
    JudgeDemands(demands, message);
    return message;
}

Verdict VerdictOf(const MessageVerdict& message) { return message.findings.Worst(); }

}  // namespace kestrelctl::message
