// What the calls on certificates and on CRLs share: checks, buffers, the signed part, the store.
#pragma once

#include "platform/base/ground.h"

#include <memory>
#include <type_traits>
#include <utility>

#include "platform/base/bytes.h"
#include "platform/base/handle.h"
#include "platform/certs/certificate.h"
#include "platform/der/der.h"

namespace platform {

// Throws E_INVALIDARG unless X.509 encoding is named and data is given.
void RequireEncoded(DWORD encoding, const BYTE* data);

// For calls that fill a caller's buffer: GuardedBool, and a failure for any other reason
// than a short buffer leaves the size 0.
template <class Body>
BOOL GuardedOutput(DWORD* size, Body&& body) noexcept {
    const BOOL done = GuardedBool(std::forward<Body>(body));
    if (done == FALSE && size != nullptr && LastError() != ERROR_MORE_DATA) *size = 0;
    return done;
}

// The part of a certificate or CRL that its signature covers, which is followed by an
// algorithm and the signature value and nothing else.
der::Cursor SignedPart(ByteView der);

// The item as the handle table keeps it: with a count of the store that it stands in,
// so that the store can be closed by its handle and still serve the item's context.
template <class Item>
std::shared_ptr<Object> WithStore(const std::shared_ptr<Item>& item) {
    struct Held {
        std::shared_ptr<Item> item;
        std::shared_ptr<CertificateOwner> store;
    };
    const auto held = std::make_shared<Held>(Held{item, item->store.lock()});
    return {held, item.get()};
}

// A context of an item that was found through a collection of stores: its own, which leads
// to the same item and keeps all three alive.
template <class Item>
auto ShareThrough(const std::shared_ptr<Item>& item, std::shared_ptr<CertificateOwner> collection) {
    struct Linked {
        std::remove_cvref_t<decltype(item->Context())> context;
        std::shared_ptr<Item> found;
        std::shared_ptr<CertificateOwner> store;
        std::shared_ptr<CertificateOwner> through;
    };
    const auto linked = std::make_shared<Linked>(
        Linked{item->Context(), item, item->store.lock(), std::move(collection)});
    linked->context.hCertStore = linked->through.get();
    PublishHandle(&linked->context, std::shared_ptr<Object>(linked, item.get()));
    return static_cast<decltype(Item::Share(item))>(&linked->context);
}

// A context as a store hands it out; `collection` is null where it was asked itself.
template <class Item>
auto HandOut(const std::shared_ptr<Item>& item,
             std::shared_ptr<CertificateOwner> collection = nullptr) {
    if (collection) return ShareThrough(item, std::move(collection));
    item->SetStoreHandle(item->store.lock().get());
    return Item::Share(item);
}

// A context that a call consumes: given back at its end, also when the call fails.
template <class Item>
class Consumed {
  public:
    using Context = decltype(Item::Share(nullptr));
    // Null is allowed; throws ERROR_INVALID_PARAMETER for what is no context.
    explicit Consumed(Context context) : context_(context) {
        if (context != nullptr) item_ = Item::Of(context);
    }
    ~Consumed() {
        if (context_ == nullptr) return;
        const LastErrorKeeper keeper;
        ReleaseHandle(context_, Item::kKind, ERROR_INVALID_PARAMETER);
    }
    Consumed(const Consumed&) = delete;
    Consumed& operator=(const Consumed&) = delete;
    [[nodiscard]] const Item* Get() const { return item_.get(); }

  private:
    Context context_;
    std::shared_ptr<Item> item_;
};

}  // namespace platform
