// Keys and requests of the newer kind.
#include "platform/enroll/request_objects.h"

#include "platform/der/der.h"
#include "platform/enroll/class_table.h"
#include "platform/enroll/com_text.h"
#include "platform/enroll/request_parts.h"
#include "platform/providers/container.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

// The key is made before its owner is named.
constexpr const char* kFreshName = "request";

}  // namespace

HRESULT STDMETHODCALLTYPE KeyObject::Open() {
    return Method([&] { key_ = OpenEnrollKey(wanted_); });
}

HRESULT STDMETHODCALLTYPE KeyObject::Create() {
    return Method([&] {
        key_ = CreateEnrollKey(wanted_, kFreshName);
        key_->freshContainer = false;  // the caller has it from here on
    });
}

HRESULT STDMETHODCALLTYPE KeyObject::get_ContainerName(BSTR* name) {
    return Method([&] { PutText(name, key_ ? key_->place.container : wanted_.container); });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_ContainerName(BSTR name) {
    return Method([&] { wanted_.container = NarrowText(name); });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_ProviderName(BSTR name) {
    return Method([&] { wanted_.provider = NarrowText(name); });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_ProviderType(X509ProviderType type) {
    return Method([&] { wanted_.type = static_cast<DWORD>(type); });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_KeySpec(X509KeySpec spec) {
    return Method([&] { wanted_.spec = static_cast<DWORD>(spec); });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_Length(LONG bits) {
    return Method([&] { wanted_.bits = static_cast<DWORD>(bits); });
}

// Any key of this system can be exported, so that the mark is nothing to keep.
HRESULT STDMETHODCALLTYPE KeyObject::put_ExportPolicy(X509PrivateKeyExportFlags) { return S_OK; }

HRESULT STDMETHODCALLTYPE KeyObject::put_MachineContext(VARIANT_BOOL machine) {
    return Method([&] { wanted_.side = machine != VARIANT_FALSE ? Side::Machine : Side::User; });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_Silent(VARIANT_BOOL silent) {
    return Method([&] { wanted_.silent = silent != VARIANT_FALSE; });
}

HRESULT STDMETHODCALLTYPE KeyObject::put_Certificate(EncodingType encoding, BSTR certificate) {
    return Method([&] {
        if (encoding != XCN_CRYPT_STRING_BASE64) throw Error(E_INVALIDARG);
        const EnrollKey& key = Opened();
        const auto parsed = Certificate::Parse(DecodeText(certificate));
        if (!PublicKeyFromInfo(parsed->Info().SubjectPublicKeyInfo).Matches(key.key)) {
            throw Error(NTE_BAD_PUBLIC_KEY, key.place.container);
        }
        Container::Open(wanted_.side, key.place.container)
            .SaveCertificate(key.place.keySpec, parsed->Der());
    });
}

const EnrollKey& KeyObject::Opened() const {
    if (!key_) throw Error(CO_E_NOTINITIALIZED);
    return *key_;
}

HRESULT STDMETHODCALLTYPE RequestObject::InitializeFromPrivateKey(
    X509CertificateEnrollmentContext context, IX509PrivateKey* key, BSTR templateName) {
    return Method([&] {
        if (context != ContextUser && context != ContextMachine) throw Error(E_INVALIDARG);
        if (LengthOf(templateName) != 0) throw Error(E_NOTIMPL);
        key_ = OwnObject<KeyObject>(key).Opened();
    });
}

HRESULT STDMETHODCALLTYPE RequestObject::put_Subject(IX500DistinguishedName* subject) {
    return Method([&] { subject_ = OwnObject<NameObject>(subject).Der(); });
}

HRESULT STDMETHODCALLTYPE RequestObject::put_SmimeCapabilities(VARIANT_BOOL enable) {
    return Method([&] { smime_ = enable != VARIANT_FALSE; });
}

HRESULT STDMETHODCALLTYPE RequestObject::get_X509Extensions(IX509Extensions** extensions) {
    return Method([&] {
        static_cast<void>(Key());  // nothing to put them into before
        PutValue<IX509Extensions*>(extensions, nullptr);
        *extensions = new ExtensionListObject(extensions_);
    });
}

const EnrollKey& RequestObject::Key() const {
    if (!key_) throw Error(CO_E_NOTINITIALIZED);
    return *key_;
}

RequestContent RequestObject::Content() const {
    const DWORD type = Key().place.type;
    RequestContent content{subject_, *extensions_};
    if (content.subject.empty()) content.subject = der::Element(der::kSequence, ByteView());
    if (smime_) AddExtension(content.extensions, SmimeExtension(type));
    return content;
}

IUnknown* NewPrivateKey() { return new KeyObject; }
IUnknown* NewCertificateRequest() { return new RequestObject; }

}  // namespace platform
