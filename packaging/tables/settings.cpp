// The part of the settings file that the package brings: every setting of the policy, commented.
#include <cstdio>

#include "kestrelctl/policy_rules.h"
#include "packaging/tables/tables.h"

namespace tables {
namespace {

using Ferroline::PKI::Setting;
using Ferroline::PKI::SettingKind;

std::string Data(const Setting& setting) {
    if (setting.kind == SettingKind::Text) return "\"\"";
    char number[16];
    std::snprintf(number, sizeof number, "dword:%08x", static_cast<unsigned>(setting.initially));
    return number;
}

// A list is a key of its own.
std::string OfList(const Setting& list) {
    return "\n; " + std::string(list.effect) + "\n;[HKEY_LOCAL_MACHINE\\" + std::string(list.key) +
           "\\" + std::string(list.name) + "]\n;\"1\"=\"\"\n";
}

std::string OfValue(const Setting& setting) {
    return "; " + std::string(setting.effect) + "\n;\"" + std::string(setting.name) +
           "\"=" + Data(setting) + "\n";
}

}  // namespace

std::string SettingsPart(const std::string& name) {
    if (name != "POLICY_VALUES" && name != "POLICY_LISTS" && name != "PLATFORM_VALUES") return {};
    std::string part;
    for (const Setting& setting : Ferroline::PKI::kSettings) {
        const bool list = setting.kind == SettingKind::List;
        const bool platform = setting.key == Ferroline::PKI::kPlatformKey;
        if (name == "POLICY_LISTS" && list) part += OfList(setting);
        if (name == "POLICY_VALUES" && !list && !platform) part += OfValue(setting);
        if (name == "PLATFORM_VALUES" && platform) part += OfValue(setting);
    }
    return part;
}

}  // namespace tables
