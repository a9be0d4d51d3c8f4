// -verify: the content of a signed message is streamed out, then each signature is checked.
#include "front/core/catalogue.h"
#include "front/core/commands.h"
#include "front/core/keys.h"
#include "messages/files/files.h"
#include "messages/files/progress.h"
#include "messages/files/road.h"
#include "messages/files/stream.h"
#include "messages/signer_checks.h"
#include "messages/stamp_keys.h"
#include "messages/start_file.h"
#include "selection/search.h"

namespace kestrel {
namespace {

struct VerifyKeys {
    bool start = false;
    SignerRules rules;
};

// Without any key that selects certificates, every signer passes the criterion.
Reported TakeVerifyKeys(VerifyKeys& keys) {
    keys.rules.verifyAll = TakeKey("verall");
    keys.start = TakeKey("start");
    if (keys.start && state.secondFile == nullptr) return ReportError(kStartWithoutOutput);
    keys.rules.contentHours = TakeStampKey("sd");
    keys.rules.signatureHours = TakeStampKey("ss");
    if (!keys.rules.verifyAll) keys.rules.verifyAll = !HasSearchKeys();
    if (const Reported failure = ParseSearchCriterion(true)) return failure;
    return RejectLeftoverKeys();
}

// Chains are checked signer by signer. Finding no certificate is no failure: those of
// the message may do. Of certificates that were found and not chosen none passes (verify-3).
void SelectSigners(SearchStores& stores, SignerRules& rules) {
    rules.checkChains = state.chainChecking != 0;
    state.chainChecking = 0;
    if (SelectCertificates(stores.open, false)) ForgetFoundCertificates();
}

// The content goes out before anything was verified, and stays whatever follows. An
// output file that cannot be opened is no failure: the content is dropped (verify-4).
Reported ReadMessage(StreamOutput& output, MessageHolder& message) {
    PrintMessage(say::kVerifying, 0);
    Progress::Start();
    InputFile input;
    if (const Reported failure = OpenInput(state.firstFile, input)) return failure;
    if (state.secondFile != nullptr) output.file = OpenOutput(state.secondFile, input);
    CMSG_STREAM_INFO stream = MakeStreamInfo(output, CMSG_INDEFINITE_LENGTH);
    message.reset(CryptMsgOpenToDecode(kMessageEncodingType, 0, 0, 0, nullptr, &stream));
    if (!message) return ReportError(kLastError);
    const auto nothing = [] { return Reported(); };
    if (const Reported failure = FeedDecoder(message.get(), input, nothing)) return failure;
    Progress::End();
    return 0;
}

void StartIfGood(bool allGood) {
    if (allGood) {
        StartFile(state.secondFile);
    } else {
        PrintMessage(say::kNotStarted, 1);
    }
}

}  // namespace

DWORD RunVerify() {
    if (state.firstFile == nullptr) return ReportError(kNoInputFile);
    VerifyKeys keys;
    if (const Reported failure = TakeVerifyKeys(keys)) return failure;
    SearchStores stores;
    SelectSigners(stores, keys.rules);

    StreamOutput output;
    MessageHolder message;
    if (const Reported failure = ReadMessage(output, message)) return failure;
    SignerFlags flags;
    if (const Reported failure = CheckSigners(message.get(), keys.rules, flags)) return failure;
    message.reset();

    if (keys.start) StartIfGood(flags.allGood);
    if (!flags.allGood) return kBadSignatures;
    return flags.stampsGood ? 0 : kBadTimeStamp;
}

}  // namespace kestrel
