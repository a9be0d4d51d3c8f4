// All words that the parser knows.
#include "front/core/command_rows.h"
#include "front/core/keys.h"

namespace kestrel {

namespace {

// No two rows may compare equal, the attached ones by their beginning: a word that starts
// like an attached row would be read as that key with a value.
constexpr KeyDefinition kRows[] = {
#define KEY_ROW(number, word, ...) {word, -(number)},
    KESTREL_COMMAND_ROWS(KEY_ROW)
#undef KEY_ROW
        {"1", kFlag},
    {"all", kFlag},
    {"both", kFlag},
    {"der", kFlag},
    {"ex", kFlag},
    {"exprt", kFlag},
    {"nocert", kFlag},
    {"nochain", kFlag},
    {"noCSP", kFlag},
    {"crl", kFlag},
    {"nokeygen", kFlag},
    {"sg", kFlag},
    {"start", kFlag},
    {"smime", kFlag},
    {"yes", kFlag},
    {"km", kFlag},
    {"ku", kFlag},
    {"silent", kFlag},
    {"help", kFlag},
    {"errchain", kFlag},
    {"cert", kFlag},
    {"verall", kFlag},
    {"norev", kFlag},
    {"askpin", kFlag},
    {"nostampcert", kFlag},
    {"CA", kArgument},
    {"cont", kArgument},
    {"dir", kArgument},
    {"dn", kArgument},
    {"f", kArgument, ValueKind::File},
    {"df", kArgument},
    {"provname", kArgument},
    {"provtype", kArgument},
    {"FileID", kArgument},
    {"CertUsage", kArgument},
    {"attr", kArgument, ValueKind::File},
    {"authattr", kArgument, ValueKind::File},
    {"keysize", kArgument},
    {"pin", kArgument, ValueKind::Secret},
    {"ext", kArgument, ValueKind::File},
    {"FLCA", kArgument},
    {"token", kArgument},
    {"tpassword", kArgument, ValueKind::Secret},
    {"thumbprint", kArgument},
    {"field", kArgument},
    {"q", kAttached},
    {"m", kAttached},
    {"u", kAttached},
    {"dm", kAttached},
    {"du", kAttached},
    {"sd", kAttached},
    {"ss", kAttached},
};

}  // namespace

void BuildKeyTable() {
    state.keyTable = std::make_unique<KeyTable>();
    state.givenKeys = std::make_unique<GivenKeys>();
    state.dnStrings = std::make_unique<DnStrings>();
    state.storeSpecs = std::make_unique<std::list<StoreSpec>>();
    for (const KeyDefinition& row : kRows) state.keyTable->insert(row);
}

}  // namespace kestrel
