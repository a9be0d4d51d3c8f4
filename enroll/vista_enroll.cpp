// Enrolment by the system's newer objects: a request put together, an answer taken in.
#include "enroll/vista_enroll.h"

#include <enrollment.h>
#include <windows.h>

#include "enroll/usages.h"

namespace kestrel {

namespace {

using enrollment::kCObjectId;
using enrollment::kIObjectId;

constexpr LONG kFirstBit = 1;
constexpr auto kEnciphermentAlone = static_cast<X509KeyUsageFlags>(0x30);
constexpr auto kAllUsages = static_cast<X509KeyUsageFlags>(0xF0);

VARIANT_BOOL Truth(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

HRESULT EnterApartment() { return CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }

ComText CopyOf(BSTR text) {
    if (text == nullptr) return {};
    return ComText(std::wstring_view(text, SysStringLen(text)));
}

HRESULT MakeObjectId(BSTR dotted, ComHolder<IObjectId>& identifier) {
    if (const HRESULT bad = Create(kCObjectId, kIObjectId, identifier.FillAny()); FAILED(bad)) {
        return bad;
    }
    return identifier->InitializeFromValue(dotted);
}

}  // namespace

// The steps in their order; the first that fails ends the rest.
class Steps {
  public:
    [[nodiscard]] bool Good() const { return SUCCEEDED(result_); }
    [[nodiscard]] HRESULT Result() const { return result_; }
    template <typename Step>
    Steps& Then(Step step) {
        if (Good()) result_ = step();
        return *this;
    }

  private:
    HRESULT result_ = S_OK;
};

// One request.
class RequestBuilder {
  public:
    explicit RequestBuilder(VistaEnroll& settings) : settings_(settings) {}

    HRESULT Build(BSTR dn, BSTR usage, BSTR* text) {
        return Steps()
            .Then(EnterApartment)
            .Then([this] { return PrepareKey(); })
            .Then([this] { return MakeKey(); })
            .Then([this] { return MakeRequest(); })
            .Then([this, dn] { return SetSubject(dn); })
            .Then([this] { return request_->put_SmimeCapabilities(Truth(settings_.enableSmime_)); })
            .Then([this, usage] { return AddUsages(usage); })
            .Then([this] { return AddGivenExtensions(); })
            .Then([this, text] { return Sign(text); })
            .Result();
    }

  private:
    HRESULT PrepareKey() {
        const VistaEnroll& from = settings_;
        return Steps()
            .Then([this] {
                return Create(enrollment::kCX509PrivateKey, enrollment::kIX509PrivateKey,
                              key_.FillAny());
            })
            .Then([&] {
                BSTR name = from.providerNameValue_.Get();
                return name != nullptr ? key_->put_ProviderName(name) : S_OK;
            })
            .Then([&] {
                BSTR name = from.containerNameValue_.Get();
                return name != nullptr ? key_->put_ContainerName(name) : S_OK;
            })
            .Then([this] {
                return Create(enrollment::kCX509ExtensionKeyUsage,
                              enrollment::kIX509ExtensionKeyUsage, keyUsage_.FillAny());
            })
            .Then([&] {
                return key_->put_KeySpec(from.signatureKey_ ? XCN_AT_SIGNATURE
                                                            : XCN_AT_KEYEXCHANGE);
            })
            .Then([&] {
                return keyUsage_->InitializeEncode(from.limitToEncipherment_ ? kEnciphermentAlone
                                                                             : kAllUsages);
            })
            .Then([&] { return key_->put_MachineContext(Truth(from.IsMachine())); })
            .Then([&] { return key_->put_Silent(from.Silent()); })
            .Result();
    }

    HRESULT MakeKey() {
        if (settings_.useExisting_) return ReadName(key_->Open());
        if (settings_.markExportable_ != 0) {
            const HRESULT bad = key_->put_ExportPolicy(XCN_NCRYPT_ALLOW_EXPORT_FLAG);
            if (FAILED(bad)) return bad;
        }
        return ReadName(key_->Create());
    }

    HRESULT ReadName(HRESULT made) {
        if (FAILED(made) || settings_.containerNameValue_.Get() != nullptr) return made;
        return key_->get_ContainerName(settings_.containerNameValue_.Fill());
    }

    HRESULT MakeRequest() {
        return Steps()
            .Then([this] {
                return Create(enrollment::kCX509CertificateRequestPkcs10,
                              enrollment::kIX509CertificateRequestPkcs10, request_.FillAny());
            })
            .Then([this] {
                return request_->InitializeFromPrivateKey(
                    settings_.IsMachine() ? ContextMachine : ContextUser, key_.Get(), nullptr);
            })
            .Result();
    }

    HRESULT SetSubject(BSTR dn) {
        ComHolder<IX500DistinguishedName> name;
        return Steps()
            .Then([&] {
                return Create(enrollment::kCX500DistinguishedName,
                              enrollment::kIX500DistinguishedName, name.FillAny());
            })
            .Then([&] { return name->Encode(dn, XCN_CERT_NAME_STR_NONE); })
            .Then([&] { return request_->put_Subject(name.Get()); })
            .Result();
    }

    HRESULT AddUsages(BSTR usage) {
        const ComText fallback(kDefaultUsageWide);
        ComHolder<IObjectId> identifier;
        ComHolder<IObjectIds> list;
        ComHolder<IX509ExtensionEnhancedKeyUsage> enhanced;
        return Steps()
            .Then([&] {  // enroll-4: not split
                return MakeObjectId(usage != nullptr ? usage : fallback.Get(), identifier);
            })
            .Then([&] {
                return Create(enrollment::kCObjectIds, enrollment::kIObjectIds, list.FillAny());
            })
            .Then([&] { return list->Add(identifier.Get()); })
            .Then([&] {
                return Create(enrollment::kCX509ExtensionEnhancedKeyUsage,
                              enrollment::kIX509ExtensionEnhancedKeyUsage, enhanced.FillAny());
            })
            .Then([&] { return enhanced->InitializeEncode(list.Get()); })
            .Then([&] { return request_->get_X509Extensions(extensions_.Fill()); })
            .Then([&] { return extensions_->Add(enhanced.Get()); })
            .Then([&] { return extensions_->Add(keyUsage_.Get()); })
            .Result();
    }

    HRESULT AddGivenExtensions() {
        Steps steps;
        for (const auto& [dotted, value] : settings_.extensions_) {
            ComHolder<IObjectId> identifier;
            ComHolder<IX509Extension> extension;
            steps.Then([&] { return MakeObjectId(dotted.Get(), identifier); })
                .Then([&] {
                    return Create(enrollment::kCX509Extension, enrollment::kIX509Extension,
                                  extension.FillAny());
                })
                .Then([&] {
                    return extension->Initialize(identifier.Get(), XCN_CRYPT_STRING_ANY,
                                                 value.Get());
                })
                .Then([&] { return extensions_->Add(extension.Get()); });
        }
        return steps.Result();
    }

    HRESULT Sign(BSTR* text) {
        ComHolder<IX509Enrollment> enrollment;
        return Steps()
            .Then([&] {
                return Create(enrollment::kCX509Enrollment, enrollment::kIX509Enrollment,
                              enrollment.FillAny());
            })
            .Then([&] { return enrollment->put_Silent(settings_.Silent()); })
            .Then([&] { return enrollment->InitializeFromRequest(request_.Get()); })
            .Then([&] { return enrollment->CreateRequest(XCN_CRYPT_STRING_BASE64, text); })
            .Result();
    }

    VistaEnroll& settings_;
    ComHolder<IX509PrivateKey> key_;
    ComHolder<IX509ExtensionKeyUsage> keyUsage_;
    ComHolder<IX509CertificateRequestPkcs10> request_;
    ComHolder<IX509Extensions> extensions_;
};

// One answer.
class ResponseTaker {
  public:
    explicit ResponseTaker(const VistaEnroll& settings) : settings_(settings) {}

    HRESULT Install(InstallResponseRestrictionFlags restrictions, BSTR text, bool mayAsk) {
        return Steps()
            .Then(EnterApartment)
            .Then([this] {
                return Create(enrollment::kCX509Enrollment, enrollment::kIX509Enrollment,
                              enrollment_.FillAny());
            })
            .Then([&] { return mayAsk ? S_OK : enrollment_->put_Silent(settings_.Silent()); })
            .Then([this] {
                return enrollment_->Initialize(settings_.IsMachine() ? ContextMachine
                                                                     : ContextUser);
            })
            .Then([&] {
                return enrollment_->InstallResponse(restrictions, text, XCN_CRYPT_STRING_ANY,
                                                    nullptr);
            })
            .Result();
    }

    HRESULT WriteToContainer() {
        ComHolder<IX509PrivateKey> key;
        ComText certificate;
        const HRESULT result =
            Steps()
                .Then([&] {
                    return Create(enrollment::kCX509PrivateKey, enrollment::kIX509PrivateKey,
                                  key.FillAny());
                })
                .Then([&] { return OpenKey(key.Get()); })
                .Then([&] {
                    return enrollment_->get_Certificate(XCN_CRYPT_STRING_BASE64,
                                                        certificate.Fill());
                })
                .Then([&] {
                    return key->put_Certificate(XCN_CRYPT_STRING_BASE64, certificate.Get());
                })
                .Result();
        // A provider that holds no certificates is no failure.
        return result == NTE_BAD_TYPE ? S_OK : result;
    }

  private:
    HRESULT OpenKey(IX509PrivateKey* key) {
        const VistaEnroll& from = settings_;
        return Steps()
            .Then([&] {
                return key->put_ProviderType(
                    static_cast<X509ProviderType>(from.providerTypeValue_));
            })
            .Then([&] {
                BSTR name = from.providerNameValue_.Get();
                return name != nullptr ? key->put_ProviderName(name) : S_OK;
            })
            .Then([&] { return key->put_ContainerName(from.containerNameValue_.Get()); })
            .Then([&] {
                return key->put_KeySpec(from.signatureKey_ ? XCN_AT_SIGNATURE : XCN_AT_KEYEXCHANGE);
            })
            .Then([&] { return key->put_MachineContext(Truth(from.IsMachine())); })
            .Then([&] { return key->put_Silent(from.Silent()); })
            .Then([&] { return key->Open(); })
            .Result();
    }

    const VistaEnroll& settings_;
    ComHolder<IX509Enrollment> enrollment_;
};

VARIANT_BOOL VistaEnroll::Silent() const {
    return Truth((providerFlagsValue_ & CRYPT_SILENT) != 0);
}

HRESULT VistaEnroll::EnableSMIMECapabilities(BOOL flag) {
    enableSmime_ = flag == TRUE;
    return S_OK;
}

HRESULT VistaEnroll::UseExistingKeySet(BOOL flag) {
    useExisting_ = flag != FALSE;
    return S_OK;
}

HRESULT VistaEnroll::ContainerName(BSTR name) {
    containerNameValue_ = CopyOf(name);
    return S_OK;
}

HRESULT VistaEnroll::ProviderType(LONG type) {
    providerTypeValue_ = type;
    return S_OK;
}

HRESULT VistaEnroll::ProviderName(BSTR name) {
    providerNameValue_ = CopyOf(name);
    return S_OK;
}

HRESULT VistaEnroll::GenKeyFlags(LONG flags) {
    markExportable_ = flags & kFirstBit;
    return S_OK;
}

HRESULT VistaEnroll::ProviderFlags(LONG flags) {
    providerFlagsValue_ = flags;
    return S_OK;
}

HRESULT VistaEnroll::KeySpec(LONG spec) {
    signatureKey_ = spec == AT_SIGNATURE;
    return S_OK;
}

HRESULT VistaEnroll::LimitExchangeKeyToEncipherment(BOOL flag) {
    limitToEncipherment_ = flag != FALSE;
    return S_OK;
}

HRESULT VistaEnroll::WriteCertToCSP(BOOL flag) {
    skipContainerWrite_ = flag == FALSE;
    return S_OK;
}

// enroll-5: the mark is dropped.
HRESULT VistaEnroll::addExtensionToRequest(LONG, BSTR oid, BSTR value) {
    extensions_.emplace_back(CopyOf(oid), CopyOf(value));
    return S_OK;
}

HRESULT VistaEnroll::createPKCS10(BSTR dn, BSTR usage, BSTR* text) {
    return RequestBuilder(*this).Build(dn, usage, text);
}

HRESULT VistaEnroll::createRequest(LONG format, BSTR dn, BSTR usage, BSTR* text) {
    return format == kPlainRequest ? createPKCS10(dn, usage, text) : E_NOTIMPL;
}

HRESULT VistaEnroll::acceptPKCS7(BSTR text) {
    ResponseTaker taker(*this);
    const HRESULT result = taker.Install(AllowNone, text, false);
    if (FAILED(result) || skipContainerWrite_) return result;
    return taker.WriteToContainer();
}

HRESULT VistaEnroll::InstallPKCS7(BSTR text) {
    return ResponseTaker(*this).Install(AllowNoOutstandingRequest, text, true);
}

}  // namespace kestrel
