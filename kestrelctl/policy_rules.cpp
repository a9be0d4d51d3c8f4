// Names, kinds and data of the policy.
#include "kestrelctl/policy_rules.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <span>

#include "kestrelctl/cli.h"
#include "kestrelctl/help_text.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/certs/oid_info.h"
#include "platform/http/url.h"
#include "platform/providers/gost_ciphers.h"
#include "platform/registry/registry.h"

namespace kestrelctl {
namespace {

using Ferroline::PKI::kOtherSettings;
using Ferroline::PKI::kPlatformKey;
using Ferroline::PKI::kPolicyKey;
using Ferroline::PKI::kProxyKey;
using Ferroline::PKI::kSettings;
using Ferroline::PKI::SettingForm;
using Ferroline::PKI::SettingSide;
using platform::RegistryEdit;
using platform::RegistryValue;
using platform::SameName;

// Above this the client's product in 32 bits wraps.
constexpr std::uint32_t kMostTolerance = UINT32_MAX / 1000;
constexpr std::uint32_t kMostNonce = 1024;
constexpr std::size_t kHelpColumn = 30;
constexpr std::uint32_t kSchemes[] = {0, 1, 2, 8, 16};

bool IsDotted(std::string_view text) {
    std::size_t arcs = 0;
    while (true) {
        const std::size_t end = std::min(text.find('.'), text.size());
        const std::string_view arc = text.substr(0, end);
        if (arc.empty() || !std::ranges::all_of(arc, platform::IsDigit)) return false;
        if (arc.size() > 1 && arc[0] == '0') return false;
        if (++arcs == 1 && (arc.size() > 1 || arc[0] > '2')) return false;
        if (end == text.size()) return arcs > 1;
        text.remove_prefix(end + 1);
    }
}

// A name may stand behind the identifier.
bool IsHash(std::string_view text) {
    const std::string oid(text.substr(0, text.find(' ')));
    try {
        return platform::FindOidInfo(CRYPT_OID_INFO_OID_KEY, oid.c_str(),
                                     CRYPT_HASH_ALG_OID_GROUP_ID) != nullptr;
    } catch (const platform::Error&) {
        return false;
    }
}

bool IsAddress(const std::string& text, bool withPath) {
    try {
        const std::wstring wide = platform::Widen(text);
        const platform::UrlPieces pieces = platform::CrackUrl(wide);
        return withPath || (pieces.path.empty() && pieces.extra.empty());
    } catch (const platform::Error&) {
        return false;
    }
}

// What text of this form has to be; null when it is.
const char* TextProblem(SettingForm form, const std::string& text) {
    switch (form) {
        case SettingForm::Hash:
            return IsHash(text) ? nullptr : "the identifier of a hash that kestrel knows";
        case SettingForm::Identifier:
            return IsDotted(text) ? nullptr : "an identifier such as 1.2.3.4";
        case SettingForm::Service:
            return IsAddress(text, true) ? nullptr : "an address of http or https";
        case SettingForm::Proxy:
            return IsAddress(text, false) ? nullptr
                                          : "an address of http or https without a path behind it";
        case SettingForm::Cipher:
            return platform::IsGostCipher(text) ? nullptr : "the identifier of a cipher of GOST";
        default:
            return nullptr;
    }
}

const char* NumberProblem(const Setting& setting, std::uint32_t number) {
    switch (setting.form) {
        case SettingForm::Tolerance:
            return number <= kMostTolerance ? nullptr : "a number up to 4294967";
        case SettingForm::NonceSize:
            return number >= 1 && number <= kMostNonce ? nullptr : "a number from 1 to 1024";
        case SettingForm::Scheme:
            return std::ranges::find(kSchemes, number) != std::end(kSchemes)
                       ? nullptr
                       : "0 none, 1 Basic, 2 NTLM, 8 Digest or 16 Negotiate";
        case SettingForm::Roots:
            return number <= 2 ? nullptr : "0 never, 1 asked for or 2 always";
        default:
            return nullptr;
    }
}

// The same for data of the setting's own kind. Empty text is as good as none.
const char* DataProblem(const Setting& setting, const RegistryValue& value) {
    if (setting.kind == SettingKind::Text) {
        if (value.type != REG_SZ && value.type != REG_EXPAND_SZ) return "text";
        const std::string text = platform::TextOf(value);
        return text.empty() ? nullptr : TextProblem(setting.form, text);
    }
    const auto number = platform::NumberOf(value);
    if (!number) return "a number (dword)";
    return NumberProblem(setting, *number);
}

// Every proxy is allowed by name, the absence of one by an empty entry.
const char* EntryProblem(const Setting& list, const std::string& text) {
    if (text.empty())
        return list.form == SettingForm::Proxy ? nullptr : "an entry that is not empty";
    return TextProblem(list.form, text);
}

// The same text, or its beginning up to a whole character.
std::string Beginning(const std::string& text) {
    constexpr std::size_t kMostShown = 200;
    if (text.size() <= kMostShown) return text;
    std::size_t end = kMostShown;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    return text.substr(0, end) + "...";
}

std::string Told(std::string_view name, const char* wanted, const std::string& got) {
    std::string text = "'" + Beginning(std::string(name)) + "' has to be " + wanted;
    return got.empty() ? text : text + ", not '" + Beginning(got) + "'";
}

std::optional<std::uint32_t> ParseNumber(const std::string& text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// What follows `root` in a path at or under it.
std::string_view Rest(std::string_view key, std::string_view root) {
    return key.size() == root.size() ? std::string_view() : key.substr(root.size() + 1);
}

std::string_view WithoutRoot(std::string_view key) {
    const std::size_t end = key.find('\\');
    return end == key.npos ? std::string_view() : key.substr(end + 1);
}

bool IsKnownRoot(std::string_view key) {
    return StandsUnder(key, platform::kUserRoot) || StandsUnder(key, platform::kMachineRoot);
}

std::string ShownData(const RegistryValue& value) {
    if (const auto number = platform::NumberOf(value)) return std::to_string(*number);
    return value.type == REG_SZ || value.type == REG_EXPAND_SZ ? platform::TextOf(value) : "";
}

std::string SettingProblem(const RegistryEdit& edit, std::string_view key) {
    const RegistryValue& value = edit.value;
    const Setting* setting = FindSetting(value.name);
    if (setting == nullptr || !SameName(setting->key, key) || setting->kind == SettingKind::List) {
        return "'" + Beginning(edit.key + "\\" + value.name) + "' is no value of the policy";
    }
    if (edit.action == RegistryEdit::Action::DeleteValue) return {};
    const char* const problem = DataProblem(*setting, value);
    return problem == nullptr ? std::string()
                              : Told(edit.key + "\\" + value.name, problem, ShownData(value));
}

// ---- what is stored ----------------------------------------------------------------

std::string KindAndData(const RegistryValue& value) {
    constexpr std::size_t kMostShown = 60;
    const bool isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ;
    const std::string data = ShownData(value);
    // There may be a password in an address.
    const bool isShown = data.size() <= kMostShown && data.find('@') == data.npos;
    if (isText) return "text" + (isShown ? " '" + data + "'" : "");
    if (!data.empty()) return "the number " + data;
    if (value.type == REG_MULTI_SZ) return "several texts";
    if (value.type == REG_BINARY) return "bytes";
    return "data of kind " + std::to_string(value.type);
}

// The row of a single value at that key, of all settings.
const Setting* SettingAt(std::string_view key, std::string_view name) {
    for (const std::span<const Setting> settings :
         {std::span<const Setting>(kSettings), std::span<const Setting>(kOtherSettings)}) {
        for (const Setting& setting : settings) {
            if (setting.kind != SettingKind::List && SameName(setting.key, key) &&
                SameName(setting.name, name)) {
                return &setting;
            }
        }
    }
    return nullptr;
}

// What an entry of the list has to be; null when it is.
const char* StoredEntryProblem(const Setting& list, const RegistryValue& entry) {
    return entry.type == REG_SZ ? EntryProblem(list, platform::TextOf(entry)) : "text";
}

std::string ListProblem(const RegistryEdit& edit, std::string_view name) {
    const Setting* list = FindSetting(name);
    if (list == nullptr || list->kind != SettingKind::List) {
        return "'" + Beginning(edit.key) + "' is no list of the policy";
    }
    if (edit.action != RegistryEdit::Action::SetValue) return {};
    const char* const problem = StoredEntryProblem(*list, edit.value);
    const std::string text = edit.value.type == REG_SZ ? platform::TextOf(edit.value) : "";
    return problem == nullptr ? std::string()
                              : Told(edit.key + "\\" + edit.value.name, problem, text);
}

}  // namespace

const char* RootOf(platform::Side side) {
    return side == platform::Side::Machine ? platform::kMachineRoot : platform::kUserRoot;
}

bool StandsUnder(std::string_view key, std::string_view root) {
    return SameName(key.substr(0, root.size()), root) &&
           (key.size() == root.size() || key[root.size()] == '\\');
}

const Setting* FindSetting(std::string_view name) {
    const auto* const found = std::ranges::find_if(
        kSettings, [&](const Setting& setting) { return SameName(setting.name, name); });
    return found == std::end(kSettings) ? nullptr : found;
}

bool CountsOn(platform::Side side, const Setting& setting) {
    return setting.side == SettingSide::Either || side == platform::Side::Machine;
}

const char* KindName(SettingKind kind) {
    constexpr const char* kNames[] = {"number", "flag", "text", "list"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::string InitialText(const Setting& setting) {
    const bool hasNumber = setting.kind == SettingKind::Number || setting.kind == SettingKind::Flag;
    return hasNumber ? std::to_string(setting.initially) : "none";
}

std::string SettingsHelp(bool lists) {
    std::string text;
    for (const Setting& setting : kSettings) {
        if ((setting.kind == SettingKind::List) != lists) continue;
        const std::string told = KindName(setting.kind) + (": " + std::string(setting.effect));
        text += (text.empty() ? "" : "\n") + HelpRow(std::string(setting.name), kHelpColumn, told);
    }
    return text;
}

RegistryValue ValueFrom(const Setting& setting, const std::string& text) {
    const std::string name(setting.name);
    if (setting.kind == SettingKind::Flag) {
        const bool yes = text == "1" || text == "true";
        if (!yes && text != "0" && text != "false") throw Failure(Told(name, "0 or 1", text));
        return platform::NumberValue(name, yes ? 1 : 0);
    }
    const auto number =
        setting.kind == SettingKind::Number ? ParseNumber(text) : std::optional<std::uint32_t>();
    const RegistryValue value =
        number ? platform::NumberValue(name, *number) : platform::TextValue(name, text);
    const char* const problem = DataProblem(setting, value);
    if (problem != nullptr) throw Failure(Told(name, problem, text));
    return value;
}

void CheckEntry(const Setting& list, const std::string& text) {
    const char* const problem = EntryProblem(list, text);
    if (problem != nullptr) throw Failure(Told(list.name, problem, text));
}

std::string ProblemOf(const RegistryEdit& edit) {
    using Action = RegistryEdit::Action;
    if (edit.action == Action::CreateKey) return {};
    const std::string_view key = WithoutRoot(edit.key);
    const std::string outside = "'" + Beginning(edit.key) + "' is outside of the policy";
    if (!IsKnownRoot(edit.key)) return outside;
    if (StandsUnder(key, kPolicyKey)) {
        const std::string_view below = Rest(key, kPolicyKey);
        if (edit.action == Action::DeleteKey && below.empty()) return {};
        return below.empty() ? SettingProblem(edit, key) : ListProblem(edit, below);
    }
    // One value of this key counts, and others are there that are no business of the policy.
    if (SameName(key, kPlatformKey) && edit.action != Action::DeleteKey) {
        if (!StandsUnder(edit.key, platform::kMachineRoot)) return outside;
        return SettingProblem(edit, key);
    }
    return outside;
}

std::string StoredProblem(platform::Side side, std::string_view key, const RegistryValue& value) {
    const bool inList = StandsUnder(key, kPolicyKey) && !SameName(key, kPolicyKey);
    const Setting* setting =
        inList ? FindSetting(Rest(key, kPolicyKey)) : SettingAt(key, value.name);
    const bool isKnown = setting != nullptr && (setting->kind == SettingKind::List) == inList;
    // The key of proxies has other programs' settings, too.
    if (!isKnown) return SameName(key, kProxyKey) ? "" : "is no setting";
    if (!CountsOn(side, *setting)) return "counts on the machine's side alone";
    const char* const wanted =
        inList ? StoredEntryProblem(*setting, value) : DataProblem(*setting, value);
    if (wanted == nullptr) return {};
    return "is " + KindAndData(value) + " and has to be " + wanted;
}

}  // namespace kestrelctl
