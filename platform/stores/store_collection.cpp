// Collections of stores.
#include <algorithm>

#include "platform/base/error.h"
#include "platform/stores/store.h"

namespace platform {
namespace {

struct Sibling {
    std::shared_ptr<Store> store;
    bool takesNew;
    DWORD priority;
};

class CollectionStore : public Store {
  public:
    void AddSibling(Sibling sibling) {
        const auto place =
            std::find_if(siblings_.begin(), siblings_.end(),
                         [&](const Sibling& other) { return other.priority < sibling.priority; });
        siblings_.insert(place, std::move(sibling));
    }

    std::vector<std::shared_ptr<Certificate>> Certificates() override {
        return Joined<Certificate>(&Store::Certificates);
    }
    std::vector<std::shared_ptr<Crl>> Crls() override { return Joined<Crl>(&Store::Crls); }
    std::shared_ptr<Certificate> NextCertificate(const Certificate* previous) override {
        return Next(previous, &Store::NextCertificate);
    }
    std::shared_ptr<Crl> NextCrl(const Crl* previous) override {
        return Next(previous, &Store::NextCrl);
    }
    // True for itself and for every collection inside it.
    [[nodiscard]] bool Holds(const CollectionStore* wanted) const {
        return wanted == this ||
               std::any_of(siblings_.begin(), siblings_.end(), [wanted](const Sibling& s) {
                   const auto* inner = dynamic_cast<const CollectionStore*>(s.store.get());
                   return inner != nullptr && inner->Holds(wanted);
               });
    }

    std::shared_ptr<Certificate> Add(const Certificate& certificate, DWORD disposition) override {
        return Target(certificate, disposition).Add(certificate, disposition);
    }
    std::shared_ptr<Crl> Add(const Crl& crl, DWORD disposition) override {
        return Target(crl, disposition).Add(crl, disposition);
    }
    // Each store's changes are its own.
    void Together(const std::function<void()>& body) override { body(); }
    void Keep() override {
        for (Store* source : Sources()) source->Keep();
    }
    [[nodiscard]] bool IsCollection() const override { return true; }
    void Remove(const Certificate& certificate) override { Home(certificate).Remove(certificate); }
    void Remove(const Crl& crl) override { Home(crl).Remove(crl); }
    void SaveProperties(const Certificate& certificate) override {
        Home(certificate).SaveProperties(certificate);
    }
    void SaveProperty(const Certificate& certificate, DWORD property) override {
        Home(certificate).SaveProperty(certificate, property);
    }

  private:
    // The stores at the bottom, each once, however often and deep it was added.
    void CollectSources(std::vector<Store*>& sources) const {
        for (const Sibling& sibling : siblings_) {
            if (const auto* inner = dynamic_cast<const CollectionStore*>(sibling.store.get())) {
                inner->CollectSources(sources);
            } else if (std::find(sources.begin(), sources.end(), sibling.store.get()) ==
                       sources.end()) {
                sources.push_back(sibling.store.get());
            }
        }
    }
    [[nodiscard]] std::vector<Store*> Sources() const {
        std::vector<Store*> sources;
        CollectSources(sources);
        return sources;
    }

    template <class Item>
    std::vector<std::shared_ptr<Item>> Joined(std::vector<std::shared_ptr<Item>> (Store::*list)()) {
        std::vector<std::shared_ptr<Item>> joined;
        for (Store* source : Sources()) {
            const auto items = (source->*list)();
            joined.insert(joined.end(), items.begin(), items.end());
        }
        return joined;
    }

    // The next item of the store in which `previous` stands, or the first one of those
    // behind it.
    template <class Item>
    std::shared_ptr<Item> Next(const Item* previous,
                               std::shared_ptr<Item> (Store::*next)(const Item*)) {
        const std::shared_ptr<Store> last = previous == nullptr ? nullptr : StoreHolding(*previous);
        for (Store* source : Sources()) {
            if (previous != nullptr && source != last.get()) continue;
            if (auto item = (source->*next)(previous)) return item;
            previous = nullptr;
        }
        return nullptr;
    }

    static auto ItemsOf(Store& store, const Certificate&) { return store.Certificates(); }
    static auto ItemsOf(Store& store, const Crl&) { return store.Crls(); }

    template <class Item>
    static bool Has(Store& store, const Item& wanted) {
        const auto items = ItemsOf(store, wanted);
        return std::any_of(items.begin(), items.end(),
                           [&](const auto& item) { return Equal(item->Der(), wanted.Der()); });
    }

    // The store that has the item, unless one more of it is wanted, or the one for new ones.
    template <class Item>
    Store& Target(const Item& item, DWORD disposition) {
        if (readOnly) throw Error(E_ACCESSDENIED);
        if (disposition != CERT_STORE_ADD_ALWAYS) {
            for (Store* source : Sources()) {
                if (Has(*source, item)) return *source;
            }
        }
        const auto target = std::find_if(siblings_.begin(), siblings_.end(),
                                         [](const Sibling& s) { return s.takesNew; });
        if (target == siblings_.end()) throw Error(E_ACCESSDENIED);
        return *target->store;
    }

    template <class Item>
    Store& Home(const Item& item) {
        const std::shared_ptr<Store> home = StoreHolding(item);
        if (!home) throw Error(CRYPT_E_NOT_FOUND);
        return *home;
    }

    std::vector<Sibling> siblings_;
};

}  // namespace

std::shared_ptr<Store> NewCollectionStore() { return std::make_shared<CollectionStore>(); }

void AddToCollection(Store& collection, std::shared_ptr<Store> sibling, bool takesNew,
                     DWORD priority) {
    auto* target = dynamic_cast<CollectionStore*>(&collection);
    const auto* inner = dynamic_cast<const CollectionStore*>(sibling.get());
    if (target == nullptr || (inner != nullptr && inner->Holds(target))) throw Error(E_INVALIDARG);
    target->AddSibling({std::move(sibling), takesNew, priority});
}

}  // namespace platform
