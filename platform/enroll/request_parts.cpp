// Identifiers, names and extensions as objects.
#include "platform/enroll/request_parts.h"

#include "platform/certs/names.h"
#include "platform/der/der.h"
#include "platform/enroll/class_table.h"
#include "platform/enroll/com_text.h"

namespace platform {
namespace {

// The members that the kinds of extensions share.
template <class Top, const IID&... ids>
class AnyExtension : public ComObject<Top, enrollment::kIX509Extension, ids...>,
                     public HoldsExtension {
  public:
    HRESULT STDMETHODCALLTYPE Initialize(IObjectId* identifier, EncodingType encoding,
                                         BSTR value) override {
        return Method([&] {
            if (encoding != XCN_CRYPT_STRING_ANY && encoding != XCN_CRYPT_STRING_BASE64_ANY &&
                encoding != XCN_CRYPT_STRING_BASE64) {
                throw Error(E_INVALIDARG);
            }
            const std::string& dotted = OwnObject<IdentifierObject>(identifier).Dotted();
            held = GivenExtension(dotted, held.critical, DecodeText(value));
        });
    }
    HRESULT STDMETHODCALLTYPE get_Critical(VARIANT_BOOL* critical) override {
        return Method([&] { PutValue(critical, held.critical ? VARIANT_TRUE : VARIANT_FALSE); });
    }
    HRESULT STDMETHODCALLTYPE put_Critical(VARIANT_BOOL critical) override {
        return Method([&] { held.critical = critical != VARIANT_FALSE; });
    }
};

class PlainExtension final : public AnyExtension<IX509Extension> {};

class KeyUsage final
    : public AnyExtension<IX509ExtensionKeyUsage, enrollment::kIX509ExtensionKeyUsage> {
  public:
    HRESULT STDMETHODCALLTYPE InitializeEncode(X509KeyUsageFlags usage) override {
        return Method([&] {
            if (usage < 0 || usage > 0xFF) throw Error(E_INVALIDARG);
            held = KeyUsageExtension(static_cast<std::uint8_t>(usage));
        });
    }
};

class EnhancedUsage final : public AnyExtension<IX509ExtensionEnhancedKeyUsage,
                                                enrollment::kIX509ExtensionEnhancedKeyUsage> {
  public:
    HRESULT STDMETHODCALLTYPE InitializeEncode(IObjectIds* usages) override {
        return Method(
            [&] { held = EnhancedUsageExtension(OwnObject<IdentifierListObject>(usages).List()); });
    }
};

}  // namespace

HRESULT STDMETHODCALLTYPE IdentifierObject::InitializeFromValue(BSTR dotted) {
    return Method([&] {
        const std::string value = NarrowText(dotted);
        der::Oid(value);
        dotted_ = value;
    });
}

HRESULT STDMETHODCALLTYPE IdentifierObject::get_Value(BSTR* value) {
    return Method([&] { PutText(value, Dotted()); });
}

const std::string& IdentifierObject::Dotted() const {
    if (dotted_.empty()) throw Error(CO_E_NOTINITIALIZED);
    return dotted_;
}

HRESULT STDMETHODCALLTYPE IdentifierListObject::get_Count(LONG* count) {
    return Method([&] { PutValue(count, static_cast<LONG>(list_.size())); });
}

HRESULT STDMETHODCALLTYPE IdentifierListObject::Add(IObjectId* item) {
    return Method([&] { list_.push_back(OwnObject<IdentifierObject>(item).Dotted()); });
}

HRESULT STDMETHODCALLTYPE NameObject::Encode(BSTR name, X500NameFlags flags) {
    return Method([&] {
        if (flags != XCN_CERT_NAME_STR_NONE) throw Error(E_INVALIDARG);
        der_ = TextToName(NarrowText(name), CERT_X500_NAME_STR);
    });
}

HRESULT STDMETHODCALLTYPE ExtensionListObject::get_Count(LONG* count) {
    return Method([&] { PutValue(count, static_cast<LONG>(list_->size())); });
}

HRESULT STDMETHODCALLTYPE ExtensionListObject::Add(IX509Extension* item) {
    return Method([&] {
        const Extension& extension = OwnObject<HoldsExtension>(item).held;
        if (extension.oid.empty()) throw Error(CO_E_NOTINITIALIZED);
        AddExtension(*list_, extension);
    });
}

IUnknown* NewObjectId() { return new IdentifierObject; }
IUnknown* NewObjectIds() { return new IdentifierListObject; }
IUnknown* NewDistinguishedName() { return new NameObject; }
IUnknown* NewPlainExtension() { return new PlainExtension; }
IUnknown* NewKeyUsageExtension() { return new KeyUsage; }
IUnknown* NewEnhancedUsageExtension() { return new EnhancedUsage; }

}  // namespace platform
