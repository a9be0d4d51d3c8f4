// The enrolment control of the older kind: settings first, then one call that makes a request or
// takes an answer in.
#include <xenroll.h>

#include <algorithm>
#include <sstream>

#include "platform/certs/names.h"
#include "platform/enroll/class_table.h"
#include "platform/enroll/com_object.h"
#include "platform/enroll/com_text.h"
#include "platform/enroll/common_name.h"
#include "platform/enroll/response.h"

namespace platform {
namespace {

constexpr std::uint8_t kSignatureUsage = 0xC0;     // digital signature, non-repudiation
constexpr std::uint8_t kEnciphermentUsage = 0x30;  // key and data encipherment

Side SideOfStore(LONG flags) {
    const auto location = static_cast<DWORD>(flags) & CERT_SYSTEM_STORE_LOCATION_MASK;
    return location == CERT_SYSTEM_STORE_LOCAL_MACHINE ? Side::Machine : Side::User;
}

// Identifiers between commas, blanks around them aside.
std::vector<std::string> SplitUsages(const std::string& text) {
    std::vector<std::string> usages;
    std::istringstream stream(text);
    for (std::string usage; std::getline(stream, usage, ',');) {
        std::erase(usage, ' ');
        if (!usage.empty()) usages.push_back(usage);
    }
    return usages;
}

class EnrollControl final
    : public ComObject<ICEnroll4, enrollment::kICEnroll3, enrollment::kICEnroll4> {
  public:
    EnrollControl() { key_.type = PROV_RSA_FULL; }

    HRESULT STDMETHODCALLTYPE put_MyStoreName(BSTR name) override {
        return Method([&] { placing_.myStore = NarrowText(name); });
    }
    HRESULT STDMETHODCALLTYPE put_MyStoreFlags(LONG flags) override {
        return Method([&] { placing_.mySide = SideOfStore(flags); });
    }
    HRESULT STDMETHODCALLTYPE put_CAStoreFlags(LONG flags) override {
        return Method([&] { placing_.caSide = SideOfStore(flags); });
    }
    HRESULT STDMETHODCALLTYPE put_RootStoreFlags(LONG flags) override {
        return Method([&] { placing_.rootSide = SideOfStore(flags); });
    }
    // Requests are kept on the user's side, whoever asks.
    HRESULT STDMETHODCALLTYPE put_RequestStoreFlags(LONG flags) override {
        return SideOfStore(flags) == Side::User ? S_OK : E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE put_ContainerName(BSTR name) override {
        return Method([&] { key_.container = NarrowText(name); });
    }
    HRESULT STDMETHODCALLTYPE put_ProviderName(BSTR name) override {
        return Method([&] { key_.provider = NarrowText(name); });
    }
    HRESULT STDMETHODCALLTYPE put_ProviderType(LONG type) override {
        return Method([&] { key_.type = static_cast<DWORD>(type); });
    }
    HRESULT STDMETHODCALLTYPE put_KeySpec(LONG spec) override {
        return Method([&] { key_.spec = static_cast<DWORD>(spec); });
    }
    HRESULT STDMETHODCALLTYPE put_ProviderFlags(LONG flags) override {
        return Method([&] {
            key_.silent = (flags & CRYPT_SILENT) != 0;
            key_.side = (flags & CRYPT_MACHINE_KEYSET) != 0 ? Side::Machine : Side::User;
        });
    }
    HRESULT STDMETHODCALLTYPE put_UseExistingKeySet(BOOL use) override {
        return Method([&] { useExisting_ = use != 0; });
    }
    // Any key of this system can be exported, so that the mark is nothing to keep.
    HRESULT STDMETHODCALLTYPE put_GenKeyFlags(LONG flags) override {
        return Method([&] { key_.bits = static_cast<DWORD>(flags) >> 16; });
    }
    HRESULT STDMETHODCALLTYPE put_DeleteRequestCert(BOOL remove) override {
        return Method([&] { placing_.deleteRequest = remove != 0; });
    }
    HRESULT STDMETHODCALLTYPE put_WriteCertToCSP(BOOL write) override {
        return Method([&] { placing_.writeToContainer = write != 0; });
    }
    HRESULT STDMETHODCALLTYPE put_LimitExchangeKeyToEncipherment(BOOL limit) override {
        return Method([&] { limitToEncipherment_ = limit != 0; });
    }
    HRESULT STDMETHODCALLTYPE put_EnableSMIMECapabilities(BOOL enable) override {
        return Method([&] { smime_ = enable != 0; });
    }
    HRESULT STDMETHODCALLTYPE addExtensionToRequest(LONG critical, BSTR identifier,
                                                    BSTR base64) override {
        return Method([&] {
            AddExtension(given_,
                         GivenExtension(NarrowText(identifier), critical != 0, DecodeText(base64)));
        });
    }
    HRESULT STDMETHODCALLTYPE createPKCS10(BSTR name, BSTR usage, BSTR* request) override {
        return createRequest(XECR_PKCS10_V2_0, name, usage, request);
    }
    HRESULT STDMETHODCALLTYPE createRequest(LONG format, BSTR name, BSTR usage,
                                            BSTR* request) override {
        return Method([&] {
            if (format != XECR_PKCS10_V2_0 && format != XECR_PKCS7) throw Error(E_NOTIMPL);
            const auto form = format == XECR_PKCS7 ? RequestForm::Wrapped : RequestForm::Plain;
            Create(form, NarrowText(name), NarrowText(usage), request);
        });
    }
    HRESULT STDMETHODCALLTYPE acceptPKCS7(BSTR response) override {
        return Method([&] {
            const std::string text = NarrowText(response);
            AcceptResponse(ViewOf(text), CompletePlacing());
        });
    }
    HRESULT STDMETHODCALLTYPE InstallPKCS7(BSTR response) override {
        return Method([&] {
            const std::string text = NarrowText(response);
            InstallIssuers(ViewOf(text), CompletePlacing());
        });
    }

  private:
    // What the caller gives stands in place of what would be made.
    void AddDefault(std::vector<Extension>& list, Extension extension) const {
        const bool given = std::ranges::any_of(
            given_, [&](const Extension& one) { return one.oid == extension.oid; });
        if (!given) list.push_back(std::move(extension));
    }

    [[nodiscard]] std::uint8_t KeyUsage() const {
        if (key_.spec == AT_SIGNATURE) return kSignatureUsage;
        return limitToEncipherment_ ? kEnciphermentUsage : kSignatureUsage | kEnciphermentUsage;
    }

    [[nodiscard]] std::vector<Extension> Extensions(const std::string& usage) const {
        std::vector<Extension> list;
        const std::vector<std::string> usages = SplitUsages(usage);
        if (!usages.empty()) AddDefault(list, EnhancedUsageExtension(usages));
        AddDefault(list, KeyUsageExtension(KeyUsage()));
        if (smime_) AddDefault(list, SmimeExtension(*key_.type));
        list.insert(list.end(), given_.begin(), given_.end());
        return list;
    }

    // All that may be wrong is found before there is a key.
    void Create(RequestForm form, const std::string& name, const std::string& usage,
                BSTR* request) const {
        const RequestContent content{TextToName(name, CERT_X500_NAME_STR), Extensions(usage)};
        const EnrollKey key = useExisting_ ? OpenEnrollKey(key_)
                                           : CreateEnrollKey(key_, CommonNameOf(content.subject));
        PutText(request, Base64Lines(MakeRequest(content, key, form)));
    }

    [[nodiscard]] Placing CompletePlacing() const {
        Placing placing = placing_;
        placing.key = key_;
        placing.silent = key_.silent;
        return placing;
    }

    KeyWanted key_;
    Placing placing_;
    std::vector<Extension> given_;
    bool useExisting_ = false;
    bool limitToEncipherment_ = false;
    bool smime_ = false;
};

}  // namespace

IUnknown* NewEnrollControl() { return new EnrollControl; }

}  // namespace platform
