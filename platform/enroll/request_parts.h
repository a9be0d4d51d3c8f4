// The objects that a request is put together from, as others of ours see them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/enroll/com_object.h"
#include "platform/enroll/request.h"

namespace platform {

class IdentifierObject final : public ComObject<IObjectId, enrollment::kIObjectId> {
  public:
    HRESULT STDMETHODCALLTYPE InitializeFromValue(BSTR dotted) override;
    HRESULT STDMETHODCALLTYPE get_Value(BSTR* value) override;
    // Throws CO_E_NOTINITIALIZED.
    [[nodiscard]] const std::string& Dotted() const;

  private:
    std::string dotted_;
};

class IdentifierListObject final : public ComObject<IObjectIds, enrollment::kIObjectIds> {
  public:
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
    HRESULT STDMETHODCALLTYPE Add(IObjectId* item) override;
    [[nodiscard]] const std::vector<std::string>& List() const { return list_; }

  private:
    std::vector<std::string> list_;
};

class NameObject final
    : public ComObject<IX500DistinguishedName, enrollment::kIX500DistinguishedName> {
  public:
    HRESULT STDMETHODCALLTYPE Encode(BSTR name, X500NameFlags flags) override;
    [[nodiscard]] const Bytes& Der() const { return der_; }

  private:
    Bytes der_;
};

// What an extension of any kind holds; without an identifier before it was initialized.
class HoldsExtension {
  public:
    virtual ~HoldsExtension() = default;
    Extension held;
};

class ExtensionListObject final : public ComObject<IX509Extensions, enrollment::kIX509Extensions> {
  public:
    explicit ExtensionListObject(std::shared_ptr<std::vector<Extension>> list)
        : list_(std::move(list)) {}
    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
    HRESULT STDMETHODCALLTYPE Add(IX509Extension* item) override;

  private:
    std::shared_ptr<std::vector<Extension>> list_;  // the request's own
};

}  // namespace platform
