// The parts of the settings file that the package brings: every setting, commented.
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

const char* PartOf(const Setting& setting) {
    if (setting.kind == SettingKind::List) return "POLICY_LISTS";
    if (setting.key == Ferroline::PKI::kPolicyKey) return "POLICY_VALUES";
    return setting.key == Ferroline::PKI::kPlatformKey ? "PLATFORM_VALUES" : "PROXY_VALUES";
}

}  // namespace

std::string SettingsPart(const std::string& name) {
    std::string part;
    const auto add = [&](const Setting& setting) {
        const bool list = setting.kind == SettingKind::List;
        if (name == PartOf(setting)) part += list ? OfList(setting) : OfValue(setting);
    };
    for (const Setting& setting : Ferroline::PKI::kSettings) add(setting);
    for (const Setting& setting : Ferroline::PKI::kOtherSettings) add(setting);
    return part;
}

}  // namespace tables
