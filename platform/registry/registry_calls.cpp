// The exported registry calls. Narrow and wide ones are two faces of one template; they
// return their error and leave the last error alone.
#include <algorithm>
#include <optional>

#include "platform/base/error.h"
#include "platform/base/handle.h"
#include "platform/base/output.h"
#include "platform/base/text.h"
#include "platform/registry/registry.h"
#include "platform/registry/utf16.h"

namespace platform {
namespace {

constexpr REGSAM kWriteAccess = 0x0006;  // set values, create keys

class OpenKey : public Object {
  public:
    static constexpr Kind kKind = Kind::RegistryKey;
    OpenKey(std::shared_ptr<const RegistryNode> node, std::string path)
        : Object(kKind), node_(std::move(node)), path_(std::move(path)) {}
    [[nodiscard]] const std::shared_ptr<const RegistryNode>& Node() const { return node_; }
    [[nodiscard]] const std::string& Path() const { return path_; }

  private:
    std::shared_ptr<const RegistryNode> node_;
    std::string path_;
};

bool IsRoot(HKEY key) {
    return key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE || key == HKEY_CLASSES_ROOT;
}

std::shared_ptr<const RegistryNode> NodeOf(HKEY key) {
    if (key == HKEY_CURRENT_USER) return LoadSide(Side::User)->Root();
    if (key == HKEY_LOCAL_MACHINE) return LoadSide(Side::Machine)->Root();
    // No file classes are registered here.
    if (key == HKEY_CLASSES_ROOT) return std::make_shared<RegistryNode>();
    return Resolve<OpenKey>(key)->Node();
}

std::string PathOf(HKEY key) {
    if (key == HKEY_CURRENT_USER) return kUserRoot;
    if (key == HKEY_LOCAL_MACHINE) return kMachineRoot;
    return key == HKEY_CLASSES_ROOT ? "HKEY_CLASSES_ROOT" : Resolve<OpenKey>(key)->Path();
}

// ---- the two faces ---------------------------------------------------------------

std::string NameFrom(LPCSTR text) { return text == nullptr ? std::string() : text; }
std::string NameFrom(LPCWSTR text) { return text == nullptr ? std::string() : Narrow(text); }

template <class Char>
std::basic_string<Char> Face(const std::string& text) {
    if constexpr (std::is_same_v<Char, char>) {
        return text;
    } else {
        return Widen(text);
    }
}

void Append(std::string& text, wchar_t character) { AppendUtf8(text, character); }
void Append(std::wstring& text, wchar_t character) { text += character; }

bool IsText(DWORD type) { return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ; }

// Text in the face's characters. An odd byte at the end stays one, so that a reader who
// checks the size sees that the value is damaged.
template <class Char>
Bytes DataFor(const RegistryValue& value) {
    if (!IsText(value.type)) return value.data;
    std::basic_string<Char> text;
    for (const wchar_t character : FromUtf16(value.data)) Append(text, character);
    Bytes data = Copy(ViewOf(text.data(), text.size() * sizeof(Char)));
    if (value.data.size() % 2 != 0) data.push_back(value.data.back());
    return data;
}

// A name with its terminator; on success the size is the count without it.
template <class Char>
void NameOut(const std::string& name, Char* buffer, DWORD* size) {
    if (buffer == nullptr || size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const auto text = Face<Char>(name);
    if (*size <= text.size()) throw Error(ERROR_MORE_DATA);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    *size = static_cast<DWORD>(text.size());
}

template <class Char>
void ValueOut(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* size) {
    if (data != nullptr && size == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (type != nullptr) *type = value.type;
    if (size != nullptr) CopyOut(DataFor<Char>(value), data, size);
}

// Keys have no class here, and no time of their own.
template <class Char>
void ClassAndTimeOut(Char* className, DWORD* classSize, FILETIME* lastWrite) {
    if (className != nullptr && classSize == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (className != nullptr && *classSize > 0) *className = 0;
    if (classSize != nullptr) *classSize = 0;
    if (lastWrite != nullptr) *lastWrite = {};
}

void MustBeNull(const void* reserved) {
    if (reserved != nullptr) throw Error(ERROR_INVALID_PARAMETER);
}

// ---- the calls -------------------------------------------------------------------

template <class Char>
void Open(HKEY key, const Char* subKey, REGSAM access, HKEY* result) {
    if (result == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const std::string path = NameFrom(subKey);
    auto node = FindKey(NodeOf(key), path);
    if (node == nullptr) throw Error(ERROR_FILE_NOT_FOUND);
    if ((access & kWriteAccess) != 0) throw Error(ERROR_ACCESS_DENIED);
    const std::string name = path.empty() ? PathOf(key) : PathOf(key) + "\\" + path;
    *result = reinterpret_cast<HKEY>(Publish(std::make_shared<OpenKey>(std::move(node), name)));
}

template <class Char>
void EnumKey(HKEY key, DWORD index, Char* name, DWORD* nameSize, DWORD* reserved, Char* className,
             DWORD* classSize, FILETIME* lastWrite) {
    MustBeNull(reserved);
    const auto node = NodeOf(key);
    if (index >= node->keys.size()) throw Error(ERROR_NO_MORE_ITEMS);
    NameOut(std::next(node->keys.begin(), static_cast<std::ptrdiff_t>(index))->second->name, name,
            nameSize);
    ClassAndTimeOut(className, classSize, lastWrite);
}

template <class Char>
void EnumValue(HKEY key, DWORD index, Char* name, DWORD* nameSize, DWORD* reserved, DWORD* type,
               BYTE* data, DWORD* dataSize) {
    MustBeNull(reserved);
    const auto node = NodeOf(key);
    if (index >= node->values.size()) throw Error(ERROR_NO_MORE_ITEMS);
    ValueOut<Char>(node->values[index], type, data, dataSize);
    NameOut(node->values[index].name, name, nameSize);
}

template <class Char>
void Query(HKEY key, const Char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize) {
    MustBeNull(reserved);
    const auto node = NodeOf(key);
    const RegistryValue* value = node->FindValue(NameFrom(name));
    if (value == nullptr) throw Error(ERROR_FILE_NOT_FOUND);
    // Whoever wanted another kind of data finds that out by the type, behind this call.
    const std::string path = PathOf(key) + "\\" + value->name;
    NoteDetail(ERROR_INVALID_DATA, path);
    try {
        ValueOut<Char>(*value, type, data, dataSize);
    } catch (const Error& error) {
        throw Error(error.Code(), path);
    }
}

void Store(std::size_t number, DWORD* target) {
    if (target != nullptr) *target = static_cast<DWORD>(number);
}

struct KeyInfo {
    DWORD* subKeys;
    DWORD* longestSubKey;
    DWORD* longestClass;
    DWORD* values;
    DWORD* longestValueName;
    DWORD* largestData;
    DWORD* securitySize;
};

template <class Char>
void QueryInfo(HKEY key, const KeyInfo& info) {
    const auto node = NodeOf(key);
    std::size_t subKey = 0;
    std::size_t valueName = 0;
    std::size_t data = 0;
    for (const auto& [folded, child] : node->keys) {
        subKey = std::max(subKey, Face<Char>(child->name).size());
    }
    for (const RegistryValue& value : node->values) {
        valueName = std::max(valueName, Face<Char>(value.name).size());
        data = std::max(data, DataFor<Char>(value).size());
    }
    Store(node->keys.size(), info.subKeys);
    Store(subKey, info.longestSubKey);
    Store(0, info.longestClass);
    Store(node->values.size(), info.values);
    Store(valueName, info.longestValueName);
    Store(data, info.largestData);
    Store(0, info.securitySize);
}

}  // namespace
}  // namespace platform

using namespace platform;

LSTATUS WINAPI RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM access, HKEY* result) {
    return GuardedStatus([&] { Open(key, subKey, access, result); });
}

LSTATUS WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD, REGSAM access, HKEY* result) {
    return GuardedStatus([&] { Open(key, subKey, access, result); });
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    return GuardedStatus([&] {
        if (IsRoot(key)) return;
        ReleaseHandle(key, Kind::RegistryKey, ERROR_INVALID_HANDLE);
    });
}

LSTATUS WINAPI RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                             LPSTR className, DWORD* classSize, FILETIME* lastWrite) {
    return GuardedStatus(
        [&] { EnumKey(key, index, name, nameSize, reserved, className, classSize, lastWrite); });
}

LSTATUS WINAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                             LPWSTR className, DWORD* classSize, FILETIME* lastWrite) {
    return GuardedStatus(
        [&] { EnumKey(key, index, name, nameSize, reserved, className, classSize, lastWrite); });
}

LSTATUS WINAPI RegEnumValueA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD* reserved,
                             DWORD* type, BYTE* data, DWORD* dataSize) {
    return GuardedStatus(
        [&] { EnumValue(key, index, name, nameSize, reserved, type, data, dataSize); });
}

LSTATUS WINAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* reserved,
                             DWORD* type, BYTE* data, DWORD* dataSize) {
    return GuardedStatus(
        [&] { EnumValue(key, index, name, nameSize, reserved, type, data, dataSize); });
}

LSTATUS WINAPI RegQueryValueExA(HKEY key, LPCSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* dataSize) {
    return GuardedStatus([&] { Query(key, name, reserved, type, data, dataSize); });
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                DWORD* dataSize) {
    return GuardedStatus([&] { Query(key, name, reserved, type, data, dataSize); });
}

LSTATUS WINAPI RegQueryInfoKeyA(HKEY key, LPSTR className, DWORD* classSize, DWORD* reserved,
                                DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass,
                                DWORD* values, DWORD* longestValueName, DWORD* largestData,
                                DWORD* securitySize, FILETIME* lastWrite) {
    return GuardedStatus([&] {
        MustBeNull(reserved);
        QueryInfo<char>(key, {subKeys, longestSubKey, longestClass, values, longestValueName,
                              largestData, securitySize});
        ClassAndTimeOut(className, classSize, lastWrite);
    });
}

LSTATUS WINAPI RegQueryInfoKeyW(HKEY key, LPWSTR className, DWORD* classSize, DWORD* reserved,
                                DWORD* subKeys, DWORD* longestSubKey, DWORD* longestClass,
                                DWORD* values, DWORD* longestValueName, DWORD* largestData,
                                DWORD* securitySize, FILETIME* lastWrite) {
    return GuardedStatus([&] {
        MustBeNull(reserved);
        QueryInfo<wchar_t>(key, {subKeys, longestSubKey, longestClass, values, longestValueName,
                                 largestData, securitySize});
        ClassAndTimeOut(className, classSize, lastWrite);
    });
}
