// What a policy may say: names, kinds and data held against the table of its settings.
#pragma once

#include <string>
#include <string_view>

#include "platform/base/home.h"
#include "platform/registry/document.h"
#include "stamps/settings/settings.h"

namespace kestrelctl {

using Ferroline::PKI::Setting;
using Ferroline::PKI::SettingKind;

// The setting of that name in any case; null when there is none.
const Setting* FindSetting(std::string_view name);
// Whether anybody asks that side for it.
bool CountsOn(platform::Side side, const Setting& setting);
const char* KindName(SettingKind kind);
// Its data when neither side sets it.
std::string InitialText(const Setting& setting);

// Both throw Failure with the setting's name and what it takes.
platform::RegistryValue ValueFrom(const Setting& setting, const std::string& text);
void CheckEntry(const Setting& list, const std::string& text);

// A line for each list, or for each of the others: name, kind and effect.
std::string SettingsHelp(bool lists);

// What is wrong with a statement of a settings file: empty when it is one of the policy and
// makes sense. Statements that only name a key say nothing.
std::string ProblemOf(const platform::RegistryEdit& edit);

// The same of what one side's settings hold under `key` (without the root), of the policy or not.
// The words go behind the value's name.
std::string StoredProblem(platform::Side side, std::string_view key,
                          const platform::RegistryValue& value);

// "HKEY_LOCAL_MACHINE" or "HKEY_CURRENT_USER".
const char* RootOf(platform::Side side);

// Whether `key` is `root` or lies under it, in any case.
bool StandsUnder(std::string_view key, std::string_view root);

}  // namespace kestrelctl
