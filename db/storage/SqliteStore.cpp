#include <sqlite3.h>

#include <cerrno>
#include <map>

#include "db/NDBConstants.h"
#include "db/storage/Store.h"

namespace noxdb {
namespace {

// Version 1: types, folders, files, keywords, units of two kinds and their chunks.
// Version 2: a content digest per unit.
constexpr int kSchemaVersion = 2;

// Writers hold the lock for a whole file; a large clip takes a while, so others wait long.
constexpr int kBusyTimeoutMs = 10 * 60 * 1000;

const char* const kSchema = R"sql(
CREATE TABLE meta(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE file_type(type INTEGER PRIMARY KEY, name TEXT NOT NULL);
CREATE TABLE folder(
  id BLOB PRIMARY KEY,
  parent BLOB REFERENCES folder(id) ON DELETE CASCADE,
  name TEXT NOT NULL);
CREATE UNIQUE INDEX folder_name ON folder(parent, name);
CREATE TABLE file(
  id BLOB PRIMARY KEY,
  folder BLOB NOT NULL REFERENCES folder(id),
  name TEXT NOT NULL,
  type INTEGER NOT NULL,
  checksum BLOB,
  created INTEGER NOT NULL,
  changed INTEGER NOT NULL);
CREATE UNIQUE INDEX file_name ON file(folder, type, name);
CREATE INDEX file_checksum ON file(checksum) WHERE checksum IS NOT NULL;
CREATE TABLE keyword(
  file BLOB NOT NULL REFERENCES file(id) ON DELETE CASCADE,
  word TEXT NOT NULL,
  PRIMARY KEY(file, word));
CREATE TABLE unit(
  id INTEGER PRIMARY KEY,
  file BLOB NOT NULL REFERENCES file(id) ON DELETE CASCADE,
  kind INTEGER NOT NULL,
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  width INTEGER,
  height INTEGER,
  status INTEGER NOT NULL DEFAULT 0,
  size INTEGER NOT NULL DEFAULT 0,
  digest BLOB);
CREATE UNIQUE INDEX unit_position ON unit(file, kind, position);
CREATE TABLE chunk(
  unit INTEGER NOT NULL REFERENCES unit(id) ON DELETE CASCADE,
  seq INTEGER NOT NULL,
  data BLOB NOT NULL,
  PRIMARY KEY(unit, seq));
)sql";

class SqliteStore;

// A cached prepared statement, reset and cleared on every use.
class Query {
 public:
  Query(SqliteStore* store, sqlite3_stmt* stmt) : store_(store), stmt_(stmt) {}
  ~Query() {
    if (stmt_) {
      sqlite3_reset(stmt_);
      sqlite3_clear_bindings(stmt_);
    }
  }
  Query& Bind(const std::string& blob) {
    sqlite3_bind_blob(stmt_, ++arg_, blob.data(), static_cast<int>(blob.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Query& BindText(const std::string& text) {
    sqlite3_bind_text(stmt_, ++arg_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Query& BindNullableBlob(const std::string& blob) {
    if (blob.empty()) {
      sqlite3_bind_null(stmt_, ++arg_);
      return *this;
    }
    return Bind(blob);
  }
  Query& Bind(int64_t v) {
    sqlite3_bind_int64(stmt_, ++arg_, v);
    return *this;
  }
  Query& BindStatic(const uint8_t* data, size_t size) {
    sqlite3_bind_blob64(stmt_, ++arg_, data, size, SQLITE_STATIC);
    return *this;
  }
  // True while a row is there; errors end the walk and show in status().
  bool Step();
  Status Run() {
    while (Step()) {
    }
    return status_;
  }
  const Status& status() const { return status_; }

  int64_t Int(int col) const { return sqlite3_column_int64(stmt_, col); }
  bool IsNull(int col) const { return sqlite3_column_type(stmt_, col) == SQLITE_NULL; }
  std::string Text(int col) const {
    const auto* p = sqlite3_column_blob(stmt_, col);
    return p ? std::string(static_cast<const char*>(p), sqlite3_column_bytes(stmt_, col)) : "";
  }

 private:
  SqliteStore* store_;
  sqlite3_stmt* stmt_;
  int arg_ = 0;
  Status status_;
};

class SqliteStore final : public Store {
 public:
  explicit SqliteStore(sqlite3* db) : db_(db) {}
  ~SqliteStore() override {
    for (auto& [sql, stmt] : cache_) sqlite3_finalize(stmt);
    if (depth_ > 0) Exec("ROLLBACK");
    sqlite3_close_v2(db_);
  }

  Status Init(OpenMode mode) {
    const bool writable = mode != OpenMode::ReadOnly && !sqlite3_db_readonly(db_, "main");
    // Large pages: unit bytes come in chunks of half a megabyte. Takes effect on a new file.
    Status st = writable ? Exec("PRAGMA page_size=65536") : Status::Ok();
    if (st.ok()) st = Exec("PRAGMA foreign_keys=ON");
    // A rollback journal, not a write-ahead log: unit bytes land in new pages at the end of
    // the file, which the journal need not copy, so a clip is written once instead of twice
    // (log, then checkpoint) and needs its own size in free space, not twice that. A crash
    // still leaves the old file or the new one whole, and readers need no shared-memory file
    // beside the database. A database left in WAL mode by an older engine is converted when
    // no other connection holds it.
    if (st.ok() && writable) Exec("PRAGMA journal_mode=DELETE");
    // Full sync on every commit: a committed file survives a power loss.
    if (st.ok()) st = Exec("PRAGMA synchronous=FULL");
    // Pages spill to the file once the cache is full; a larger cache spills less often.
    if (st.ok()) st = Exec("PRAGMA cache_size=-16384");
    if (!st.ok()) return st;
    // Only a new database takes the write lock here, so opening never waits for an import
    // that another process is running.
    bool has = false;
    if (!(st = HasSchema(&has)).ok()) return st;
    if (!has) {
      if (mode != OpenMode::Create) {
        return Status::Error(CNDBConstants::eCannotOpenDatabase, "not a media database");
      }
      if (!(st = Begin()).ok()) return st;
      st = HasSchema(&has);
      if (st.ok() && !has) st = CreateSchema();
      st = st.ok() ? Commit() : (Rollback(), st);
      if (!st.ok()) return st;
    }
    std::string version;
    bool found = false;
    st = GetMeta("schema_version", &version, &found);
    if (st.ok() && found && version == "1") {
      // Version 1 lacks the digests; a reader does without them, a writer adds the column.
      if (!writable) {
        digestColumn_ = "NULL";
        return st;
      }
      if (!(st = Begin()).ok()) return st;
      st = GetMeta("schema_version", &version, &found);
      if (st.ok() && version == "1") st = Exec("ALTER TABLE unit ADD COLUMN digest BLOB");
      if (st.ok()) st = SetMeta("schema_version", std::to_string(kSchemaVersion));
      st = st.ok() ? Commit() : (Rollback(), st);
      if (st.ok()) version = std::to_string(kSchemaVersion);
    }
    if (st.ok() && (!found || version != std::to_string(kSchemaVersion))) {
      st = Status::Error(CNDBConstants::eCannotOpenDatabase,
                         "unsupported database schema version '" + version + "'");
    }
    return st;
  }

  Status Begin() override {
    Status st = depth_ == 0 ? Exec("BEGIN IMMEDIATE") : Exec("SAVEPOINT nest");
    if (st.ok()) ++depth_;
    return st;
  }
  Status Commit() override {
    if (depth_ == 0) return Status::Error(CNDBConstants::eStorageFailure, "no transaction");
    Status st = depth_ == 1 ? Exec("COMMIT") : Exec("RELEASE nest");
    if (st.ok()) --depth_;
    return st;
  }
  Status Rollback() override {
    if (depth_ == 0) return Status::Error(CNDBConstants::eStorageFailure, "no transaction");
    --depth_;
    // A full disk or an I/O error makes SQLite roll the whole transaction back by itself.
    if (sqlite3_get_autocommit(db_)) {
      depth_ = 0;
      return Status::Ok();
    }
    return depth_ == 0 ? Exec("ROLLBACK") : Exec("ROLLBACK TO nest; RELEASE nest");
  }
  int TransactionDepth() const override { return depth_; }

  Status GetMeta(const std::string& key, std::string* value, bool* found) override {
    Query q = Prepare("SELECT value FROM meta WHERE key=?");
    q.BindText(key);
    *found = q.Step();
    if (*found) *value = q.Text(0);
    return q.status();
  }
  Status SetMeta(const std::string& key, const std::string& value) override {
    return Prepare("INSERT OR REPLACE INTO meta(key, value) VALUES(?, ?)")
        .BindText(key).BindText(value).Run();
  }

  Status GetTypeName(int type, std::string* name, bool* found) override {
    Query q = Prepare("SELECT name FROM file_type WHERE type=?");
    q.Bind(int64_t{type});
    *found = q.Step();
    if (*found) *name = q.Text(0);
    return q.status();
  }
  Status AddType(int type, const std::string& name) override {
    return Prepare("INSERT INTO file_type(type, name) VALUES(?, ?)")
        .Bind(int64_t{type}).BindText(name).Run();
  }

  Status GetFolder(const Id& id, FolderRecord* folder, bool* found) override {
    Query q = Prepare("SELECT id, parent, name FROM folder WHERE id=?");
    q.Bind(id);
    *found = q.Step();
    if (*found) ReadFolder(q, folder);
    return q.status();
  }
  Status FindFolder(const Id& parent, const std::string& name, FolderRecord* folder,
                    bool* found) override {
    Query q = Prepare("SELECT id, parent, name FROM folder WHERE parent=? AND name=?");
    q.Bind(parent).BindText(name);
    *found = q.Step();
    if (*found) ReadFolder(q, folder);
    return q.status();
  }
  Status AddFolder(const FolderRecord& f) override {
    return Prepare("INSERT INTO folder(id, parent, name) VALUES(?, ?, ?)")
        .Bind(f.id).BindNullableBlob(f.parent).BindText(f.name).Run();
  }
  Status ListFolders(const Id& parent, std::vector<FolderRecord>* folders) override {
    Query q = Prepare("SELECT id, parent, name FROM folder WHERE parent=? ORDER BY name");
    q.Bind(parent);
    folders->clear();
    while (q.Step()) ReadFolder(q, &folders->emplace_back());
    return q.status();
  }

  Status GetFile(const Id& id, FileRecord* file, bool* found) override {
    Query q = Prepare(kFileColumns + std::string(" WHERE id=?"));
    q.Bind(id);
    *found = q.Step();
    if (*found) ReadFile(q, file);
    return q.status();
  }
  Status FindFiles(const Id& folder, const std::string& name,
                   std::vector<FileRecord>* files) override {
    Query q = Prepare(kFileColumns + std::string(" WHERE folder=? AND name=? ORDER BY type"));
    q.Bind(folder).BindText(name);
    return ReadFiles(q, files);
  }
  Status ListFiles(const Id& folder, std::vector<FileRecord>* files) override {
    Query q = Prepare(kFileColumns + std::string(" WHERE folder=? ORDER BY name, type"));
    q.Bind(folder);
    return ReadFiles(q, files);
  }
  Status ListAllFiles(std::vector<FileRecord>* files) override {
    Query q = Prepare(kFileColumns + std::string(" ORDER BY folder, name, type"));
    return ReadFiles(q, files);
  }
  Status FindFilesByChecksum(const std::string& checksum,
                             std::vector<FileRecord>* files) override {
    Query q = Prepare(kFileColumns + std::string(" WHERE checksum=? ORDER BY created, name"));
    q.Bind(checksum);
    return ReadFiles(q, files);
  }
  Status InsertFile(const FileRecord& f) override {
    return Prepare("INSERT INTO file(id, folder, name, type, checksum, created, changed) "
                   "VALUES(?, ?, ?, ?, ?, ?, ?)")
        .Bind(f.id).Bind(f.folder).BindText(f.name).Bind(int64_t{f.type})
        .BindNullableBlob(f.checksum).Bind(f.created).Bind(f.changed).Run();
  }
  Status UpdateFile(const FileRecord& f) override {
    return Prepare("UPDATE file SET folder=?, name=?, type=?, checksum=?, created=?, changed=? "
                   "WHERE id=?")
        .Bind(f.folder).BindText(f.name).Bind(int64_t{f.type}).BindNullableBlob(f.checksum)
        .Bind(f.created).Bind(f.changed).Bind(f.id).Run();
  }
  Status DeleteFile(const Id& id) override {
    return Prepare("DELETE FROM file WHERE id=?").Bind(id).Run();
  }

  Status ListKeywords(const Id& file, std::vector<std::string>* keywords) override {
    Query q = Prepare("SELECT word FROM keyword WHERE file=? ORDER BY word");
    q.Bind(file);
    keywords->clear();
    while (q.Step()) keywords->push_back(q.Text(0));
    return q.status();
  }
  Status AddKeyword(const Id& file, const std::string& keyword) override {
    return Prepare("INSERT OR IGNORE INTO keyword(file, word) VALUES(?, ?)")
        .Bind(file).BindText(keyword).Run();
  }

  Status ListUnits(const Id& file, UnitKind kind, std::vector<UnitRecord>* units) override {
    Query q = Prepare("SELECT id, position, name, width, height, status, size, " + digestColumn_ +
                      " FROM unit WHERE file=? AND kind=? ORDER BY position");
    q.Bind(file).Bind(int64_t(kind));
    units->clear();
    while (q.Step()) {
      UnitRecord& u = units->emplace_back();
      u.id = q.Int(0);
      u.kind = kind;
      u.position = static_cast<int>(q.Int(1));
      u.name = q.Text(2);
      u.hasSize = !q.IsNull(3);
      u.width = static_cast<int32_t>(q.Int(3));
      u.height = static_cast<int32_t>(q.Int(4));
      u.status = static_cast<uint8_t>(q.Int(5));
      u.size = static_cast<uint64_t>(q.Int(6));
      u.digest = q.Text(7);
    }
    return q.status();
  }
  Status InsertUnit(const Id& file, UnitRecord* u) override {
    Query q = Prepare("INSERT INTO unit(file, kind, position, name, width, height, status, size) "
                      "VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
    q.Bind(file).Bind(int64_t(u->kind)).Bind(int64_t{u->position}).BindText(u->name);
    if (u->hasSize) {
      q.Bind(int64_t{u->width}).Bind(int64_t{u->height});
    } else {
      q.BindNullableBlob("").BindNullableBlob("");
    }
    Status st = q.Bind(int64_t{u->status}).Bind(static_cast<int64_t>(u->size)).Run();
    if (st.ok()) u->id = sqlite3_last_insert_rowid(db_);
    return st;
  }
  Status SetUnitSize(int64_t unit, uint64_t size) override {
    return Prepare("UPDATE unit SET size=? WHERE id=?")
        .Bind(static_cast<int64_t>(size)).Bind(unit).Run();
  }
  Status SetUnitDigest(int64_t unit, const std::string& digest) override {
    return Prepare("UPDATE unit SET digest=? WHERE id=?").BindNullableBlob(digest).Bind(unit).Run();
  }
  Status DeleteUnits(const Id& file, UnitKind kind) override {
    return Prepare("DELETE FROM unit WHERE file=? AND kind=?").Bind(file).Bind(int64_t(kind)).Run();
  }
  Status DeleteUnit(int64_t unit) override {
    return Prepare("DELETE FROM unit WHERE id=?").Bind(unit).Run();
  }

  Status ReadChunk(int64_t unit, uint64_t seq, std::vector<uint8_t>* data, bool* found) override {
    Query q = Prepare("SELECT data FROM chunk WHERE unit=? AND seq=?");
    q.Bind(unit).Bind(static_cast<int64_t>(seq));
    *found = q.Step();
    if (*found) {
      const std::string bytes = q.Text(0);
      data->assign(bytes.begin(), bytes.end());
    }
    return q.status();
  }
  // An update, else an insert: INSERT OR REPLACE would copy every page it touches to a
  // statement journal, writing a streamed unit nearly twice.
  Status WriteChunk(int64_t unit, uint64_t seq, const uint8_t* data, size_t size) override {
    Status st = Prepare("UPDATE chunk SET data=? WHERE unit=? AND seq=?")
                    .BindStatic(data, size).Bind(unit).Bind(static_cast<int64_t>(seq)).Run();
    if (!st.ok() || sqlite3_changes(db_) > 0) return st;
    return Prepare("INSERT INTO chunk(unit, seq, data) VALUES(?, ?, ?)")
        .Bind(unit).Bind(static_cast<int64_t>(seq)).BindStatic(data, size).Run();
  }

  Status WriteOut() override {
    const int rc = depth_ > 0 ? sqlite3_db_cacheflush(db_) : SQLITE_OK;
    return rc == SQLITE_OK ? Status::Ok() : Fail(rc);
  }

  Status CheckIntegrity(std::vector<std::string>* problems) override {
    Query q = Prepare("PRAGMA integrity_check");
    problems->clear();
    while (q.Step()) {
      if (q.Text(0) != "ok") problems->push_back(q.Text(0));
    }
    return q.status();
  }

  Status Fail(int rc) const {
    if ((rc & 0xFF) == SQLITE_FULL || sqlite3_system_errno(db_) == ENOSPC) {
      return Status::Error(CNDBConstants::eDiskFull,
                           std::string("no space left on device for the database '") +
                               sqlite3_db_filename(db_, "main") + "'");
    }
    if ((rc & 0xFF) == SQLITE_READONLY) {
      return Status::Error(CNDBConstants::eReadOnly,
                           std::string("the database '") + sqlite3_db_filename(db_, "main") +
                               "' can only be read here");
    }
    return Status::Error((rc & 0xFF) == SQLITE_BUSY ? CNDBConstants::eSessionBusy
                                                    : CNDBConstants::eStorageFailure,
                         std::string("storage: ") + sqlite3_errmsg(db_));
  }

  Query Prepare(const std::string& sql) {
    auto it = cache_.find(sql);
    if (it == cache_.end()) {
      sqlite3_stmt* stmt = nullptr;
      if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
        return Query(this, nullptr);
      }
      it = cache_.emplace(sql, stmt).first;
    }
    return Query(this, it->second);
  }

 private:
  static constexpr const char* kFileColumns =
      "SELECT id, folder, name, type, checksum, created, changed FROM file";

  Status Exec(const char* sql) {
    char* err = nullptr;
    const int rc = sqlite3_exec(db_, sql, nullptr, nullptr, &err);
    sqlite3_free(err);
    return rc == SQLITE_OK ? Status::Ok() : Fail(rc);
  }

  Status HasSchema(bool* has) {
    Query q = Prepare("SELECT count(*) FROM sqlite_master WHERE type='table' AND name='meta'");
    *has = q.Step() && q.Int(0) == 1;
    return q.status();
  }

  Status CreateSchema() {
    Status st = Exec(kSchema);
    if (st.ok()) st = SetMeta("schema_version", std::to_string(kSchemaVersion));
    return st;
  }

  static void ReadFolder(const Query& q, FolderRecord* f) {
    f->id = q.Text(0);
    f->parent = q.Text(1);
    f->name = q.Text(2);
  }
  static void ReadFile(const Query& q, FileRecord* f) {
    f->id = q.Text(0);
    f->folder = q.Text(1);
    f->name = q.Text(2);
    f->type = static_cast<int>(q.Int(3));
    f->checksum = q.Text(4);
    f->created = q.Int(5);
    f->changed = q.Int(6);
  }
  static Status ReadFiles(Query& q, std::vector<FileRecord>* files) {
    files->clear();
    while (q.Step()) ReadFile(q, &files->emplace_back());
    return q.status();
  }

  sqlite3* db_;
  std::string digestColumn_ = "digest";
  std::map<std::string, sqlite3_stmt*> cache_;
  int depth_ = 0;
};

bool Query::Step() {
  if (!status_.ok()) return false;
  if (stmt_ == nullptr) {
    status_ = Status::Error(CNDBConstants::eStorageFailure, "storage: statement failed to prepare");
    return false;
  }
  const int rc = sqlite3_step(stmt_);
  if (rc == SQLITE_ROW) return true;
  if (rc != SQLITE_DONE) status_ = store_->Fail(rc);
  return false;
}

}  // namespace

namespace {

std::unique_ptr<Store> Open(const std::string& path, Status* status, OpenMode mode, bool recover) {
  sqlite3* db = nullptr;
  const int flags = mode == OpenMode::ReadOnly ? SQLITE_OPEN_READONLY
                    : mode == OpenMode::Existing ? SQLITE_OPEN_READWRITE
                                                 : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  const int rc = sqlite3_open_v2(path.c_str(), &db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
  if (rc != SQLITE_OK) {
    *status = Status::Error(CNDBConstants::eCannotOpenDatabase,
                            "cannot open database '" + path + "': " +
                                (db ? sqlite3_errmsg(db) : sqlite3_errstr(rc)));
    sqlite3_close_v2(db);
    return nullptr;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  auto store = std::make_unique<SqliteStore>(db);
  *status = store->Init(mode);
  if (!status->ok() && recover && sqlite3_extended_errcode(db) == SQLITE_READONLY_ROLLBACK) {
    // A writer died mid-file and left its journal: a connection that may write rolls the
    // file back on opening. Then read as asked.
    store.reset();
    Status ignored;
    if (Open(path, &ignored, OpenMode::Existing, false)) return Open(path, status, mode, false);
  }
  if (!status->ok()) {
    status->code = CNDBConstants::eCannotOpenDatabase;
    status->text = "cannot open database '" + path + "': " + status->text;
    return nullptr;
  }
  return store;
}

}  // namespace

std::unique_ptr<Store> OpenSqliteStore(const std::string& path, Status* status, OpenMode mode) {
  return Open(path, status, mode, mode == OpenMode::ReadOnly);
}

}  // namespace noxdb
