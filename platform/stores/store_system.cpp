// System stores: the lists of one store name in a side's database, stores.db.
//
// Changes are made in a transaction that bars other writers, on lists that were brought
// up to date inside it, so that two processes that write at once lose nothing. Readers
// look at SQLite's data version, which changes when another connection has committed.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "platform/base/descriptor.h"
#include "platform/base/error.h"
#include "platform/base/text.h"
#include "platform/stores/database.h"
#include "platform/stores/list_store.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 3> kPredefined = {"My", "Root", "CA"};

// "KCST" in application_id tells the database from others of SQLite.
constexpr std::int64_t kApplicationId = 0x4B435354;
constexpr std::int64_t kSchemaVersion = 1;

constexpr const char* kSchema =
    "CREATE TABLE stores("
    "  id INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  name TEXT NOT NULL,"
    "  folded TEXT NOT NULL UNIQUE);"
    "CREATE TABLE certificates("
    "  id INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  store INTEGER NOT NULL REFERENCES stores(id) ON DELETE CASCADE,"
    "  der BLOB NOT NULL);"
    "CREATE INDEX certificates_of_store ON certificates(store);"
    "CREATE TABLE crls("
    "  id INTEGER PRIMARY KEY AUTOINCREMENT,"
    "  store INTEGER NOT NULL REFERENCES stores(id) ON DELETE CASCADE,"
    "  der BLOB NOT NULL);"
    "CREATE INDEX crls_of_store ON crls(store);"
    "CREATE TABLE properties("
    "  certificate INTEGER NOT NULL REFERENCES certificates(id) ON DELETE CASCADE,"
    "  property INTEGER NOT NULL,"
    "  value BLOB NOT NULL,"
    "  PRIMARY KEY(certificate, property)) WITHOUT ROWID;"
    "PRAGMA application_id = 1262703444;"
    "PRAGMA user_version = 1;";

fs::path FileOf(Side side) { return HomeOf(side) / "stores.db"; }

std::string Folded(std::string_view name) { return Narrow(FoldCase(Widen(name))); }

const char* PredefinedName(std::string_view name) {
    for (const char* predefined : kPredefined) {
        if (SameName(name, predefined)) return predefined;
    }
    return nullptr;
}

// ---- the database file -----------------------------------------------------------

// False for a file without any table yet: a process died before it made them.
bool CheckSchema(Database& database) {
    bool present = false;
    database.InSnapshot([&] {
        const std::int64_t application = database.Number("PRAGMA application_id");
        const std::int64_t version = database.Number("PRAGMA user_version");
        present = database.Number("SELECT count(*) FROM sqlite_master") != 0;
        if (!present && application == 0 && version == 0) return;
        if (application != kApplicationId) throw Error(ERROR_BADDB, database.Path());
        if (version != kSchemaVersion) {
            throw Error(ERROR_BADDB, database.Path() + " (" + std::to_string(version) + ")");
        }
    });
    return present;
}

// A missing file or folder is an empty side; whatever else keeps it from being read, a link
// that leads nowhere too, is told.
bool IsMissing(const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) return false;
    if (errno != ENOENT) ThrowErrno(errno, file);
    // "Not found" would be taken for a store that was never made.
    if (lstat(file.c_str(), &status) == 0) throw Error(ERROR_FILE_CORRUPT, file.string());
    return true;
}

std::unique_ptr<Database> OpenPresent(Side side) {
    const fs::path file = FileOf(side);
    if (IsMissing(file)) return nullptr;
    auto database = std::make_unique<Database>(file);
    return CheckSchema(*database) ? std::move(database) : nullptr;
}

// Makes the file with its mode, whatever the user's mask is; SQLite gives the same one to its
// journal. An empty file may be that of a process that died before it set the mode.
void CreateFile(Side side, const fs::path& file) {
    const mode_t mode = side == Side::User ? 0600 : 0644;
    const Descriptor made(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode));
    struct stat status {};
    if (made.Get() < 0 || fstat(made.Get(), &status) != 0) ThrowErrno(errno, file);
    const bool ours = status.st_size == 0 && status.st_uid == geteuid();
    if (ours && (status.st_mode & 0777) != mode && fchmod(made.Get(), mode) != 0) {
        ThrowErrno(errno, file);
    }
}

std::unique_ptr<Database> OpenForWriting(Side side) {
    const fs::path file = EnsureHome(side) / "stores.db";
    CreateFile(side, file);
    auto database = std::make_unique<Database>(file);
    if (CheckSchema(*database)) return database;
    database->InTransaction([&] {
        // Another process may have been faster.
        const bool present = database->Number("SELECT count(*) FROM sqlite_master") != 0;
        if (!present) database->Run(kSchema);
    });
    return database;
}

// ---- changes that wait -------------------------------------------------------------

// The database of a side in which changes wait, if any: a second one could not write beside it.
Database*& Waiting(Side side) {
    static Database* waiting[2] = {};
    return waiting[side == Side::User ? 0 : 1];
}

void KeepWaiting(Side side, const Database* own) {
    Database*& waiting = Waiting(side);
    if (waiting == nullptr || waiting == own) return;
    std::exchange(waiting, nullptr)->KeepForOthers();
}

// ---- one store -------------------------------------------------------------------

class SystemStore : public ListStore {
  public:
    SystemStore(Side side, std::string name)
        : side_(side), name_(std::move(name)), folded_(Folded(name_)) {}
    ~SystemStore() override { StopWaiting(); }
    SystemStore(const SystemStore&) = delete;
    SystemStore& operator=(const SystemStore&) = delete;

    // Reads the store. False when it does not exist.
    bool Load() {
        Refresh();
        return storeRow_ != 0 || PredefinedName(name_) != nullptr;
    }
    // Throws ERROR_FILE_EXISTS when `fresh` and it was there.
    void Create(bool fresh) {
        ChangeKnown([&](bool present) {
            if (present && fresh) throw Error(ERROR_FILE_EXISTS, name_);
        });
    }
    void Delete() {
        ChangeKnown([&](bool present) {
            if (!present) throw Error(ERROR_FILE_NOT_FOUND, name_);
            Statement(*database_, "DELETE FROM stores WHERE id = ?").Bind(1, storeRow_).Execute();
        });
        readVersion_.reset();
    }
    void Keep() override {
        StopWaiting();
        if (database_) database_->Keep();
    }
    [[nodiscard]] std::string SystemName() const override {
        return (side_ == Side::User ? "user/" : "machine/") + folded_;
    }

  protected:
    void Refresh() override;
    void Change(const std::function<void()>& body) override;
    std::int64_t InsertRow(const Certificate& certificate) override;
    std::int64_t InsertRow(const Crl& crl) override;
    void UpdateRow(const Crl& crl) override;
    void DeleteRow(const Certificate& certificate) override;
    void DeleteRow(const Crl& crl) override;
    void WriteProperties(std::int64_t row, const Properties& properties) override;

  private:
    void ChangeKnown(const std::function<void(bool present)>& body);
    void StopWaiting();
    void ReadIfChanged();
    void FindStoreRow();
    void InsertStoreRow();
    template <class Item>
    void ReadItems(const char* sql, ItemList<Item>& items);
    void ReadProperties();
    std::int64_t Insert(const char* sql, ByteView der);

    Side side_;
    std::string name_;
    std::string folded_;
    std::unique_ptr<Database> database_;
    std::int64_t storeRow_ = 0;
    // That of the database when the lists were read; none: they must be.
    std::optional<std::pair<std::int64_t, std::int64_t>> readVersion_;
};

void SystemStore::Refresh() {
    KeepWaiting(side_, database_.get());
    if (!database_) database_ = OpenPresent(side_);
    if (!database_) return;
    // Unchanged is the common case, and then no transaction is worth its while.
    if (readVersion_ && database_->Version() == *readVersion_) return;
    database_->InSnapshot([&] { ReadIfChanged(); });
}

void SystemStore::ReadIfChanged() {
    // A lock on the snapshot first: the version belongs to what is read after it.
    FindStoreRow();
    const auto version = database_->Version();
    if (readVersion_ == version) return;
    readVersion_.reset();
    ReadItems("SELECT id, der FROM certificates WHERE store = ? ORDER BY id", certificates_);
    ReadItems("SELECT id, der FROM crls WHERE store = ? ORDER BY id", crls_);
    ReadProperties();
    readVersion_ = version;
}

void SystemStore::FindStoreRow() {
    Statement query(*database_, "SELECT id FROM stores WHERE folded = ?");
    query.Bind(1, folded_);
    storeRow_ = query.Step() ? query.Integer(0) : 0;
}

// Items that are known already stay the objects that callers have.
template <class Item>
void SystemStore::ReadItems(const char* sql, ItemList<Item>& items) {
    ItemList<Item> next;
    Statement query(*database_, sql);
    query.Bind(1, storeRow_);
    while (query.Step()) {
        std::shared_ptr<Item> item = items.At(query.Integer(0));
        if (!item || !Equal(item->Der(), query.Blob(1))) {
            try {
                item = Item::Parse(query.Blob(1));
            } catch (const Error&) {
                throw Error(ERROR_FILE_CORRUPT, database_->Path());
            }
            item->store = weak_from_this();
            item->row = query.Integer(0);
        }
        next.Put(std::move(item));
    }
    items = std::move(next);
}

void SystemStore::ReadProperties() {
    for (const auto& certificate : certificates_.All()) certificate->properties.clear();
    Statement query(*database_,
                    "SELECT p.certificate, p.property, p.value FROM properties p"
                    " JOIN certificates c ON c.id = p.certificate WHERE c.store = ?");
    query.Bind(1, storeRow_);
    while (query.Step()) {
        const std::shared_ptr<Certificate> certificate = certificates_.At(query.Integer(0));
        if (!certificate) continue;
        certificate->properties[static_cast<DWORD>(query.Integer(1))] = Copy(query.Blob(2));
    }
}

void SystemStore::Change(const std::function<void()>& body) {
    ChangeKnown([&](bool) { body(); });
}

// Tells the body whether the store was there before.
void SystemStore::ChangeKnown(const std::function<void(bool present)>& body) {
    KeepWaiting(side_, database_.get());
    if (!database_) database_ = OpenForWriting(side_);
    const auto change = [&] {
        ReadIfChanged();
        const bool present = storeRow_ != 0 || PredefinedName(name_) != nullptr;
        if (storeRow_ == 0) InsertStoreRow();
        body(present);
    };
    if (!gathers) return database_->InTransaction(change);
    database_->Gather(change);
    Waiting(side_) = database_.get();
}

void SystemStore::StopWaiting() {
    Database*& waiting = Waiting(side_);
    if (waiting != nullptr && waiting == database_.get()) waiting = nullptr;
}

void SystemStore::InsertStoreRow() {
    const char* predefined = PredefinedName(name_);
    const std::string name = predefined == nullptr ? name_ : predefined;
    Statement insert(*database_, "INSERT INTO stores(name, folded) VALUES(?, ?)");
    insert.Bind(1, name).Bind(2, folded_).Execute();
    storeRow_ = database_->LastRow();
}

std::int64_t SystemStore::Insert(const char* sql, ByteView der) {
    Statement insert(*database_, sql);
    insert.Bind(1, storeRow_).Bind(2, der).Execute();
    return database_->LastRow();
}

std::int64_t SystemStore::InsertRow(const Certificate& certificate) {
    return Insert("INSERT INTO certificates(store, der) VALUES(?, ?)", certificate.Der());
}

std::int64_t SystemStore::InsertRow(const Crl& crl) {
    return Insert("INSERT INTO crls(store, der) VALUES(?, ?)", crl.Der());
}

void SystemStore::UpdateRow(const Crl& crl) {
    Statement update(*database_, "UPDATE crls SET der = ? WHERE id = ?");
    update.Bind(1, crl.Der()).Bind(2, crl.row).Execute();
}

void SystemStore::DeleteRow(const Certificate& certificate) {
    Statement(*database_, "DELETE FROM certificates WHERE id = ?")
        .Bind(1, certificate.row)
        .Execute();
}

void SystemStore::DeleteRow(const Crl& crl) {
    Statement(*database_, "DELETE FROM crls WHERE id = ?").Bind(1, crl.row).Execute();
}

void SystemStore::WriteProperties(std::int64_t row, const Properties& properties) {
    Statement(*database_, "DELETE FROM properties WHERE certificate = ?").Bind(1, row).Execute();
    for (const auto& [property, value] : properties) {
        Statement(*database_,
                  "INSERT INTO properties(certificate, property, value) VALUES(?, ?, ?)")
            .Bind(1, row)
            .Bind(2, std::int64_t{property})
            .Bind(3, ByteView(value))
            .Execute();
    }
}

}  // namespace

std::shared_ptr<Store> OpenSystemStore(Side side, std::string_view name, OpenMode mode) {
    if (name.empty()) throw Error(E_INVALIDARG);
    const auto store = std::make_shared<SystemStore>(side, std::string(name));
    // Reading it now finds a damaged database at the opening, where callers look for it.
    const bool present = store->Load();
    if (!present && mode == OpenMode::Existing) {
        throw Error(ERROR_FILE_NOT_FOUND, std::string(name));
    }
    const bool create = !present && mode == OpenMode::OpenOrCreate;
    if (create || mode == OpenMode::CreateNew) store->Create(mode == OpenMode::CreateNew);
    return store;
}

void DeleteSystemStore(Side side, std::string_view name) {
    OpenSystemStore(side, name, OpenMode::Existing);
    std::make_shared<SystemStore>(side, std::string(name))->Delete();
}

std::vector<std::string> SystemStoreNames(Side side) {
    std::vector<std::string> names(kPredefined.begin(), kPredefined.end());
    KeepWaiting(side, nullptr);
    const std::unique_ptr<Database> database = OpenPresent(side);
    if (!database) return names;
    Statement query(*database, "SELECT name FROM stores ORDER BY id");
    while (query.Step()) {
        std::string name = query.Text(0);
        if (PredefinedName(name) == nullptr) names.push_back(std::move(name));
    }
    return names;
}

}  // namespace platform
