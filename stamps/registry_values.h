// Walking the values of a registry key.
#pragma once

#include <windows.h>

#include <utility>

namespace ATL2 {

// A key that is closed at the end when it is owned; a predefined one is borrowed.
class CRegistryKey {
  public:
    CRegistryKey() = default;
    explicit CRegistryKey(HKEY key, bool owned = false) : key_(key), owned_(owned) {}
    CRegistryKey(CRegistryKey&& other) noexcept
        : key_(std::exchange(other.key_, nullptr)), owned_(std::exchange(other.owned_, false)) {}
    CRegistryKey& operator=(CRegistryKey&&) = delete;
    ~CRegistryKey() {
        if (owned_) RegCloseKey(key_);
    }
    CRegistryKey(const CRegistryKey&) = delete;
    CRegistryKey& operator=(const CRegistryKey&) = delete;

    // Nothing is open when the key does not exist. Throws the platform's other errors.
    static CRegistryKey Open(HKEY parent, const wchar_t* path, REGSAM access);

    [[nodiscard]] HKEY Get() const { return key_; }
    [[nodiscard]] bool IsOpen() const { return key_ != nullptr; }

  private:
    HKEY key_ = nullptr;
    bool owned_ = false;
};

// Calls OnBegin with the count of values, then OnValue for each of them, then OnEnd.
// OnBegin's false, and a count of 0, end the walk at once; OnValue's false leads to OnEnd.
class CRegistryValuesEnum {
  public:
    virtual ~CRegistryValuesEnum() = default;
    virtual bool OnBegin(DWORD /*count*/) { return true; }
    // Sizes without and with the terminator that the data may have.
    virtual bool OnValue(DWORD index, const wchar_t* name, DWORD nameLength, DWORD type,
                         const BYTE* data, DWORD dataSize) = 0;
    virtual void OnEnd() {}

    // Throws the platform's error.
    void Enumerate(HKEY key);

  protected:
    CRegistryValuesEnum() = default;
};

}  // namespace ATL2
