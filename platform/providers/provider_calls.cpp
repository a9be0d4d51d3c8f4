// Acquiring, sharing and releasing providers, and listing what there is.
#include "platform/base/output.h"
#include "platform/providers/provider.h"

namespace platform {
namespace {

constexpr DWORD kKnownFlags = CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET |
                              CRYPT_MACHINE_KEYSET | CRYPT_SILENT;

bool Verifies(DWORD flags) { return (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT; }

const char* TextOrNull(LPCSTR text) { return text == nullptr || *text == '\0' ? nullptr : text; }

void CheckFlags(DWORD flags, const char* container) {
    const bool creates = (flags & CRYPT_NEWKEYSET) != 0;
    const bool deletes = (flags & CRYPT_DELETEKEYSET) != 0;
    const bool partOfVerify = (flags & CRYPT_VERIFYCONTEXT) != 0 && !Verifies(flags);
    const bool verifiesContainer = Verifies(flags) && (creates || deletes || container != nullptr);
    if ((flags & ~kKnownFlags) != 0 || (creates && deletes) || partOfVerify || verifiesContainer) {
        throw Error(NTE_BAD_FLAGS);
    }
}

HCRYPTPROV Acquire(const ProviderRow& row, const char* containerName, DWORD flags) {
    const Side side = (flags & CRYPT_MACHINE_KEYSET) != 0 ? Side::Machine : Side::User;
    std::optional<Container> container;
    if ((flags & CRYPT_DELETEKEYSET) != 0) {
        const std::string name = ContainerNameOr(containerName);
        OpenFittingContainer(side, name, row.type);
        Container::Delete(side, name);
        return 0;
    }
    if ((flags & CRYPT_NEWKEYSET) != 0) {
        container = Container::Create(side, ContainerNameOr(containerName), row.type);
    } else if (!Verifies(flags)) {
        container = OpenFittingContainer(side, ContainerNameOr(containerName), row.type);
    }
    const bool silent = (flags & CRYPT_SILENT) != 0;
    return reinterpret_cast<HCRYPTPROV>(
        Publish(std::make_shared<Provider>(row, side, silent, std::move(container))));
}

const void* HandleOf(HCRYPTPROV provider) { return reinterpret_cast<const void*>(provider); }

// Both listings: the entry's number and text.
void CopyEntry(DWORD index, DWORD* type, LPSTR name, DWORD* nameSize,
               const char* ProviderRow::*text) {
    if (type == nullptr) throw Error(ERROR_INVALID_PARAMETER);
    const auto rows = ProviderTable();
    if (index >= rows.size()) throw Error(ERROR_NO_MORE_ITEMS);
    *type = rows[index].type;
    CopyTextOut(rows[index].*text, name, nameSize);
}

void CheckReserved(const DWORD* reserved, DWORD flags) {
    if (reserved != nullptr) throw Error(ERROR_INVALID_PARAMETER);
    if (flags != 0) throw Error(NTE_BAD_FLAGS);
}

}  // namespace
}  // namespace platform

using namespace platform;

BOOL WINAPI CryptAcquireContextA(HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type,
                                 DWORD flags) {
    return GuardedBool([&] {
        if (provider == nullptr) throw Error(ERROR_INVALID_PARAMETER);
        *provider = 0;
        const ProviderRow& row = ProviderRowFor(type, TextOrNull(name));
        CheckFlags(flags, TextOrNull(container));
        *provider = Acquire(row, TextOrNull(container), flags);
    });
}

BOOL WINAPI CryptContextAddRef(HCRYPTPROV provider, DWORD* reserved, DWORD flags) {
    return GuardedBool([&] {
        CheckReserved(reserved, flags);
        AddHandleReference(HandleOf(provider), Kind::Provider, ERROR_INVALID_PARAMETER);
    });
}

BOOL WINAPI CryptReleaseContext(HCRYPTPROV provider, DWORD flags) {
    return GuardedBool([&] {
        CheckReserved(nullptr, flags);
        ReleaseHandle(HandleOf(provider), Kind::Provider, ERROR_INVALID_PARAMETER);
    });
}

BOOL WINAPI CryptEnumProviderTypesA(DWORD index, DWORD* reserved, DWORD flags, DWORD* type,
                                    LPSTR name, DWORD* nameSize) {
    return GuardedBool([&] {
        CheckReserved(reserved, flags);
        CopyEntry(index, type, name, nameSize, &ProviderRow::typeName);
    });
}

BOOL WINAPI CryptEnumProvidersA(DWORD index, DWORD* reserved, DWORD flags, DWORD* type, LPSTR name,
                                DWORD* nameSize) {
    return GuardedBool([&] {
        CheckReserved(reserved, flags);
        CopyEntry(index, type, name, nameSize, &ProviderRow::name);
    });
}
