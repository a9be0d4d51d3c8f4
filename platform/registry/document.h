// A settings file in the text form of a registry export, "Windows Registry Editor Version
// 5.00": what it says, in its order, so that it can be changed and written back with its
// deletions kept.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/base/bytes.h"
#include "platform/base/ground.h"

namespace platform {

struct RegistryValue {
    std::string name;  // empty: the key's default value
    DWORD type = REG_NONE;
    // As an export holds it: text in UTF-16LE with its terminator, numbers little-endian.
    Bytes data;
};

// Text of a REG_SZ, REG_EXPAND_SZ or REG_MULTI_SZ up to its terminator or to the end.
std::string TextOf(const RegistryValue& value);
std::optional<DWORD> NumberOf(const RegistryValue& value);  // REG_DWORD of 4 bytes only
RegistryValue TextValue(std::string name, std::string_view text);
RegistryValue NumberValue(std::string name, DWORD number);

struct RegistryEdit {
    enum class Action { CreateKey, DeleteKey, SetValue, DeleteValue };
    Action action;
    std::string key;  // the whole path, its root included
    RegistryValue value;
};

// How many of the first of them are about values of one key; 1 when the first is about a key.
std::size_t BlockSize(std::span<const RegistryEdit> edits);

class RegistryDocument {
  public:
    RegistryDocument() = default;
    // `content` is UTF-8, or UTF-16 with a byte order mark. Throws ERROR_BADDB with
    // `fileName` and the line as detail.
    static RegistryDocument Parse(ByteView content, const std::string& fileName);
    // UTF-8 with CR LF line ends.
    [[nodiscard]] std::string Serialize() const;

    [[nodiscard]] const std::vector<RegistryEdit>& Edits() const { return edits_; }

    // What is said about values and deletions at `key` and below.
    [[nodiscard]] RegistryDocument Under(std::string_view key) const;

    // Later statements win over earlier ones, so what these put down holds.
    void Set(const std::string& key, RegistryValue value);
    void DeleteValue(const std::string& key, const std::string& name);
    void DeleteKey(const std::string& key);
    // Everything that `other` says, after what is there.
    void Append(const RegistryDocument& other);

  private:
    void Put(RegistryEdit edit);
    void PutBlock(std::span<const RegistryEdit> block);
    std::vector<RegistryEdit> edits_;
};

}  // namespace platform
