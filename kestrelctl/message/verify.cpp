// From a file's name to its verdict.
#include "kestrelctl/message/verify.h"

#include <algorithm>
#include <filesystem>
#include <map>

#include "kestrelctl/cli.h"
#include "kestrelctl/message/demands.h"
#include "kestrelctl/message/pair.h"
#include "kestrelctl/message/reader.h"
#include "platform/base/error.h"

namespace kestrelctl::message {
namespace {

using platform::Bytes;
using platform::ByteView;
using platform::Error;

// Each costs the checks of a signature and a chain.
constexpr std::size_t kMostSigners = 1'000;

bool IsOrdinary(const std::string& name) {
    std::error_code error;
    return std::filesystem::is_regular_file(name, error);
}

// What is not there tells so when it is read.
bool IsOrdinaryOrMissing(const std::string& name) {
    std::error_code error;
    return !std::filesystem::exists(name, error) || IsOrdinary(name);
}

// A pipe or a device is read when the user named it and nothing else waits for it: it may never
// end. Empty when all is well; else the one that is in the way.
std::string StrangeFile(const Pair& pair, const std::string& file, const Demands& demands) {
    for (const std::string& name : {pair.message, pair.content}) {
        const bool asked = !demands.several && (name == file || name == demands.content);
        if (!asked && !IsOrdinaryOrMissing(name)) return name;
    }
    return {};
}

bool IsCut(const Error& error) {
    return error.Code() == static_cast<DWORD>(CRYPT_E_STREAM_INSUFFICIENT_DATA);
}

std::string DetailOf(const Error& error, bool russian) {
    for (const TextFault& fault : kTextFaults) {
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

bool IsMissing(const std::string& name) {
    std::error_code error;
    return std::filesystem::status(name, error).type() == std::filesystem::file_type::not_found;
}

// The file is there, and no signature of it.
bool LacksSignature(const Pair& pair, const Demands& demands) {
    return !demands.folder.empty() && pair.named && IsMissing(pair.message) &&
           !IsMissing(pair.content);
}

// What could not be read as a message is none where it does not even begin as one. A pipe has
// gone by.
bool IsNoMessage(const Pair& pair) {
    if (!pair.alone || !IsOrdinary(pair.message)) return false;
    try {
        return !BeginsAsMessage(pair.message);
    } catch (const Error&) {
        return false;
    }
}

// The system's own word is that there is no permission.
void AddReadFault(const Pair& pair, const Error& error, Findings& findings) {
    for (const std::string& name : {pair.message, pair.content}) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(name, ignored)) continue;
        return findings.Add(Reason::CannotRead, Detail("a folder", "папка").Of(name));
    }
    const bool ofContent = (error.Code() >> 16) == 0x8009;
    if (ofContent && IsNoMessage(pair)) return findings.Add(Reason::NoSignature);
    AddFault(error, findings);
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
        if (IsSignatureName(pair.message)) {
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

MessageVerdict ReadAndJudge(Judge& judge, const std::string& file, const Demands& demands,
                            const ContentSink& sink) {
    MessageVerdict message;
    message.file = file;
    const Pair pair = PairOf(file, demands);
    message.source = pair.message;
    if (const std::string name = StrangeFile(pair, file, demands); !name.empty()) {
        const Detail detail("not an ordinary file", "не обычный файл");
        message.findings.Add(Reason::CannotRead, detail.Of(name));
        return message;
    }
    if (LacksSignature(pair, demands)) {
        message.findings.Add(Reason::NoSignature, pair.message);
        return message;
    }
    try {
        Read(pair, sink, message);
    } catch (const Error& error) {
        AddReadFault(pair, error, message.findings);
        return message;
    }
    JudgeParts(judge, pair, message);
    message.record.signedBody.reset();  // its attributes are many times the rest
    JudgeDemands(demands, message);
    return message;
}

}  // namespace

// What nobody foresaw in one file keeps no other from being looked at. Faults of stores and of the
// output are no file's, and end the run.
MessageVerdict Verify(Judge& judge, const std::string& file, const Demands& demands,
                      const ContentSink& sink) {
    try {
        return ReadAndJudge(judge, file, demands, sink);
    } catch (const Error&) {
        throw;
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& error) {
        MessageVerdict message;
        message.file = message.source = file;
        message.findings.Add(Reason::CannotRead, error.what());
        return message;
    }
}

Verdict VerdictOf(const MessageVerdict& message) { return message.findings.Worst(); }

}  // namespace kestrelctl::message
