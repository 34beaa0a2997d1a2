#include <libpq-fe.h>

#include <map>
#include <string>
#include <vector>

#include "db/NDBConstants.h"
#include "db/storage/Store.h"

namespace noxdb {
namespace {

// The numbering of the SQLite store's schema, whose records this one holds: version 2 has a
// content digest per unit.
constexpr int kSchemaVersion = 2;

// The first half of the write lock's key; the second is the schema's own number, so that
// databases in several schemas of one server do not wait for each other.
constexpr int kLockClass = 0x4E4F58;

// Names, keywords and meta values are bytes compared byte by byte, as the SQLite store keeps
// them: no encoding the server could refuse, no collation that orders them otherwise. Chunks
// are stored out of line without compression: clips and pixels do not compress, and trying
// costs more than the write.
const char* const kSchema = R"sql(
CREATE TABLE meta(key BYTEA PRIMARY KEY, value BYTEA NOT NULL);
CREATE TABLE file_type(type BIGINT PRIMARY KEY, name BYTEA NOT NULL);
CREATE TABLE folder(
  id BYTEA PRIMARY KEY,
  parent BYTEA REFERENCES folder(id) ON DELETE CASCADE,
  name BYTEA NOT NULL);
CREATE UNIQUE INDEX folder_name ON folder(parent, name);
CREATE TABLE file(
  id BYTEA PRIMARY KEY,
  folder BYTEA NOT NULL REFERENCES folder(id),
  name BYTEA NOT NULL,
  type BIGINT NOT NULL,
  checksum BYTEA,
  created BIGINT NOT NULL,
  changed BIGINT NOT NULL);
CREATE UNIQUE INDEX file_name ON file(folder, type, name);
CREATE INDEX file_checksum ON file(checksum) WHERE checksum IS NOT NULL;
CREATE TABLE keyword(
  file BYTEA NOT NULL REFERENCES file(id) ON DELETE CASCADE,
  word BYTEA NOT NULL,
  PRIMARY KEY(file, word));
CREATE TABLE unit(
  id BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  file BYTEA NOT NULL REFERENCES file(id) ON DELETE CASCADE,
  kind BIGINT NOT NULL,
  position BIGINT NOT NULL,
  name BYTEA NOT NULL,
  width BIGINT,
  height BIGINT,
  status BIGINT NOT NULL DEFAULT 0,
  size BIGINT NOT NULL DEFAULT 0,
  digest BYTEA);
CREATE UNIQUE INDEX unit_position ON unit(file, kind, position);
CREATE TABLE chunk(
  unit BIGINT NOT NULL REFERENCES unit(id) ON DELETE CASCADE,
  seq BIGINT NOT NULL,
  data BYTEA NOT NULL,
  PRIMARY KEY(unit, seq));
ALTER TABLE chunk ALTER COLUMN data SET STORAGE EXTERNAL;
)sql";

constexpr const char* kFileColumns =
    "SELECT id, folder, name, type, checksum, created, changed FROM file";

class PostgresStore;

// libpq's message on one line: it ends in a line break and may hold a hint on a second line.
std::string OneLine(const char* message) {
  std::string out;
  for (const char* p = message; *p != '\0'; ++p) {
    if (*p != '\n' && *p != '\t') {
      out += *p;
    } else if (!out.empty() && out.back() != ' ') {
      out += ' ';
    }
  }
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

// The location as messages show it: without the password a URI may carry.
std::string Shown(const std::string& location) {
  const size_t scheme = location.find("://");
  if (scheme == std::string::npos) return location;
  const size_t from = scheme + 3;
  const size_t at = location.find('@', from);
  const size_t colon = location.find(':', from);
  if (at == std::string::npos || colon > at || location.find('/', from) < at) return location;
  return location.substr(0, colon + 1) + "***" + location.substr(at);
}

// One statement: parameters go and results come in binary form (bytea as its bytes, bigint
// as eight bytes, most significant first), so that chunks cross the wire unescaped.
class Query {
 public:
  Query(PostgresStore* store, std::string sql) : store_(store), sql_(std::move(sql)) {}
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;
  ~Query() { PQclear(result_); }

  Query& Bind(const std::string& bytes) { return Add(bytes.data(), bytes.size(), false); }
  Query& BindNullable(const std::string& bytes) { return Add(bytes.data(), bytes.size(), bytes.empty()); }
  Query& Bind(int64_t v) {
    char be[8];
    for (int i = 0; i < 8; ++i) be[i] = static_cast<char>(static_cast<uint64_t>(v) >> (56 - 8 * i));
    owner_.push_back(static_cast<int>(owned_.size()));
    owned_.emplace_back(be, 8);
    values_.push_back(nullptr);
    lengths_.push_back(8);
    return *this;
  }
  Query& BindNull() { return Add(nullptr, 0, true); }
  // Bytes the caller keeps alive until the statement has run.
  Query& BindStatic(const uint8_t* data, size_t size) {
    return Add(reinterpret_cast<const char*>(data), size, false);
  }

  // Runs the statement; its status. Rows are read with Rows() and the accessors after it.
  Status Run();
  int Rows() const { return result_ ? PQntuples(result_) : 0; }
  bool IsNull(int row, int col) const { return PQgetisnull(result_, row, col) != 0; }
  std::string Bytes(int row, int col) const {
    return std::string(PQgetvalue(result_, row, col), PQgetlength(result_, row, col));
  }
  int64_t Int(int row, int col) const {
    if (IsNull(row, col) || PQgetlength(result_, row, col) != 8) return 0;
    const auto* p = reinterpret_cast<const uint8_t*>(PQgetvalue(result_, row, col));
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = v << 8 | p[i];
    return static_cast<int64_t>(v);
  }
  const char* Data(int row, int col) const { return PQgetvalue(result_, row, col); }
  size_t Length(int row, int col) const { return PQgetlength(result_, row, col); }

 private:
  Query& Add(const char* data, size_t size, bool null) {
    owner_.push_back(-1);
    values_.push_back(null ? nullptr : data);
    lengths_.push_back(static_cast<int>(size));
    if (!null && size == 0) values_.back() = "";
    return *this;
  }

  PostgresStore* store_;
  std::string sql_;
  std::vector<const char*> values_;  // null for SQL NULL
  std::vector<int> lengths_;
  std::vector<int> owner_;  // the index in owned_ of bytes the query holds itself, or -1
  std::vector<std::string> owned_;
  PGresult* result_ = nullptr;
};

class PostgresStore final : public Store {
 public:
  PostgresStore(PGconn* conn, const std::string& location) : conn_(conn), location_(Shown(location)) {}
  ~PostgresStore() override { PQfinish(conn_); }

  Status Init(OpenMode mode) {
    readOnly_ = mode == OpenMode::ReadOnly;
    // Notices (a savepoint released twice, a table that exists) are the server talking to
    // itself; libpq would print them on standard error.
    PQsetNoticeProcessor(conn_, [](void*, const char*) {}, nullptr);
    Status st = readOnly_ ? Exec("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY") : Status::Ok();
    // The schema the location names (through search_path) holds the database.
    Query q(this, "SELECT oid::bigint FROM pg_namespace WHERE nspname = current_schema()");
    if (st.ok()) st = q.Run();
    if (st.ok() && q.Rows() == 0) {
      return Status::Error(CNDBConstants::eCannotOpenDatabase, "no schema of the search path exists");
    }
    if (!st.ok()) return st;
    // An oid is unsigned; the lock takes it as the signed 32-bit number of the same bits.
    lockKey_ = static_cast<int32_t>(static_cast<uint32_t>(q.Int(0, 0)));
    bool has = false;
    if (!(st = HasSchema(&has)).ok()) return st;
    if (!has) {
      if (mode != OpenMode::Create) {
        return Status::Error(CNDBConstants::eCannotOpenDatabase, "not a media database");
      }
      if (!(st = Begin()).ok()) return st;
      st = HasSchema(&has);
      if (st.ok() && !has) st = Exec(kSchema);
      if (st.ok() && !has) st = SetMeta("schema_version", std::to_string(kSchemaVersion));
      st = st.ok() ? Commit() : (Rollback(), st);
      if (!st.ok()) return st;
    }
    std::string version;
    bool found = false;
    st = GetMeta("schema_version", &version, &found);
    if (st.ok() && (!found || version != std::to_string(kSchemaVersion))) {
      st = Status::Error(CNDBConstants::eCannotOpenDatabase,
                         "unsupported database schema version '" + version + "'");
    }
    return st;
  }

  // Read committed: once the lock is held, every statement sees all files committed before,
  // so a writer never works on a stale picture and never meets a serialization failure.
  Status Begin() override {
    Status st;
    if (depth_ > 0) {
      st = Exec("SAVEPOINT nest");
    } else if (readOnly_) {
      st = Exec("BEGIN READ ONLY");
    } else {
      st = Exec("BEGIN ISOLATION LEVEL READ COMMITTED");
      if (st.ok()) {
        st = Exec(("SELECT pg_advisory_xact_lock(" + std::to_string(kLockClass) + ", " +
                   std::to_string(lockKey_) + ")").c_str());
        if (!st.ok()) Exec("ROLLBACK");
      }
    }
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
    // A lost connection has ended the transaction on the server already.
    if (PQstatus(conn_) != CONNECTION_OK) {
      depth_ = 0;
      return Status::Ok();
    }
    return depth_ == 0 ? Exec("ROLLBACK") : Exec("ROLLBACK TO nest; RELEASE nest");
  }
  int TransactionDepth() const override { return depth_; }

  Status GetMeta(const std::string& key, std::string* value, bool* found) override {
    Query q(this, "SELECT value FROM meta WHERE key=$1");
    return One(q.Bind(key), found, [&] { *value = q.Bytes(0, 0); });
  }
  Status SetMeta(const std::string& key, const std::string& value) override {
    return Query(this, "INSERT INTO meta(key, value) VALUES($1, $2) "
                       "ON CONFLICT(key) DO UPDATE SET value=excluded.value")
        .Bind(key).Bind(value).Run();
  }

  Status GetTypeName(int type, std::string* name, bool* found) override {
    Query q(this, "SELECT name FROM file_type WHERE type=$1");
    return One(q.Bind(int64_t{type}), found, [&] { *name = q.Bytes(0, 0); });
  }
  Status AddType(int type, const std::string& name) override {
    return Query(this, "INSERT INTO file_type(type, name) VALUES($1, $2)")
        .Bind(int64_t{type}).Bind(name).Run();
  }

  Status GetFolder(const Id& id, FolderRecord* folder, bool* found) override {
    Query q(this, "SELECT id, parent, name FROM folder WHERE id=$1");
    return One(q.Bind(id), found, [&] { ReadFolder(q, 0, folder); });
  }
  Status FindFolder(const Id& parent, const std::string& name, FolderRecord* folder,
                    bool* found) override {
    Query q(this, "SELECT id, parent, name FROM folder WHERE parent=$1 AND name=$2");
    return One(q.Bind(parent).Bind(name), found, [&] { ReadFolder(q, 0, folder); });
  }
  Status AddFolder(const FolderRecord& f) override {
    return Query(this, "INSERT INTO folder(id, parent, name) VALUES($1, $2, $3)")
        .Bind(f.id).BindNullable(f.parent).Bind(f.name).Run();
  }
  Status ListFolders(const Id& parent, std::vector<FolderRecord>* folders) override {
    Query q(this, "SELECT id, parent, name FROM folder WHERE parent=$1 ORDER BY name");
    Status st = q.Bind(parent).Run();
    folders->clear();
    for (int r = 0; st.ok() && r < q.Rows(); ++r) ReadFolder(q, r, &folders->emplace_back());
    return st;
  }

  Status GetFile(const Id& id, FileRecord* file, bool* found) override {
    Query q(this, kFileColumns + std::string(" WHERE id=$1"));
    return One(q.Bind(id), found, [&] { ReadFile(q, 0, file); });
  }
  Status FindFiles(const Id& folder, const std::string& name,
                   std::vector<FileRecord>* files) override {
    Query q(this, kFileColumns + std::string(" WHERE folder=$1 AND name=$2 ORDER BY type"));
    return ReadFiles(q.Bind(folder).Bind(name), files);
  }
  Status ListFiles(const Id& folder, std::vector<FileRecord>* files) override {
    Query q(this, kFileColumns + std::string(" WHERE folder=$1 ORDER BY name, type"));
    return ReadFiles(q.Bind(folder), files);
  }
  Status ListAllFiles(std::vector<FileRecord>* files) override {
    Query q(this, kFileColumns + std::string(" ORDER BY folder, name, type"));
    return ReadFiles(q, files);
  }
  Status FindFilesByChecksum(const std::string& checksum,
                             std::vector<FileRecord>* files) override {
    Query q(this, kFileColumns + std::string(" WHERE checksum=$1 ORDER BY created, name"));
    return ReadFiles(q.Bind(checksum), files);
  }
  Status InsertFile(const FileRecord& f) override {
    return Query(this, "INSERT INTO file(id, folder, name, type, checksum, created, changed) "
                       "VALUES($1, $2, $3, $4, $5, $6, $7)")
        .Bind(f.id).Bind(f.folder).Bind(f.name).Bind(int64_t{f.type})
        .BindNullable(f.checksum).Bind(f.created).Bind(f.changed).Run();
  }
  Status UpdateFile(const FileRecord& f) override {
    return Query(this, "UPDATE file SET folder=$1, name=$2, type=$3, checksum=$4, created=$5, "
                       "changed=$6 WHERE id=$7")
        .Bind(f.folder).Bind(f.name).Bind(int64_t{f.type}).BindNullable(f.checksum)
        .Bind(f.created).Bind(f.changed).Bind(f.id).Run();
  }
  Status DeleteFile(const Id& id) override {
    return Query(this, "DELETE FROM file WHERE id=$1").Bind(id).Run();
  }

  Status ListKeywords(const Id& file, std::vector<std::string>* keywords) override {
    Query q(this, "SELECT word FROM keyword WHERE file=$1 ORDER BY word");
    Status st = q.Bind(file).Run();
    keywords->clear();
    for (int r = 0; st.ok() && r < q.Rows(); ++r) keywords->push_back(q.Bytes(r, 0));
    return st;
  }
  Status AddKeyword(const Id& file, const std::string& keyword) override {
    return Query(this, "INSERT INTO keyword(file, word) VALUES($1, $2) ON CONFLICT DO NOTHING")
        .Bind(file).Bind(keyword).Run();
  }

  Status ListUnits(const Id& file, UnitKind kind, std::vector<UnitRecord>* units) override {
    Query q(this, "SELECT id, position, name, width, height, status, size, digest "
                  "FROM unit WHERE file=$1 AND kind=$2 ORDER BY position");
    Status st = q.Bind(file).Bind(int64_t(kind)).Run();
    units->clear();
    for (int r = 0; st.ok() && r < q.Rows(); ++r) {
      UnitRecord& u = units->emplace_back();
      u.id = q.Int(r, 0);
      u.kind = kind;
      u.position = static_cast<int>(q.Int(r, 1));
      u.name = q.Bytes(r, 2);
      u.hasSize = !q.IsNull(r, 3);
      u.width = static_cast<int32_t>(q.Int(r, 3));
      u.height = static_cast<int32_t>(q.Int(r, 4));
      u.status = static_cast<uint8_t>(q.Int(r, 5));
      u.size = static_cast<uint64_t>(q.Int(r, 6));
      u.digest = q.Bytes(r, 7);
    }
    return st;
  }
  Status InsertUnit(const Id& file, UnitRecord* u) override {
    Query q(this, "INSERT INTO unit(file, kind, position, name, width, height, status, size) "
                  "VALUES($1, $2, $3, $4, $5, $6, $7, $8) RETURNING id");
    q.Bind(file).Bind(int64_t(u->kind)).Bind(int64_t{u->position}).Bind(u->name);
    if (u->hasSize) {
      q.Bind(int64_t{u->width}).Bind(int64_t{u->height});
    } else {
      q.BindNull().BindNull();
    }
    Status st = q.Bind(int64_t{u->status}).Bind(static_cast<int64_t>(u->size)).Run();
    if (st.ok()) u->id = q.Int(0, 0);
    return st;
  }
  Status SetUnitSize(int64_t unit, uint64_t size) override {
    return Query(this, "UPDATE unit SET size=$1 WHERE id=$2")
        .Bind(static_cast<int64_t>(size)).Bind(unit).Run();
  }
  Status SetUnitDigest(int64_t unit, const std::string& digest) override {
    return Query(this, "UPDATE unit SET digest=$1 WHERE id=$2").BindNullable(digest).Bind(unit).Run();
  }
  Status DeleteUnits(const Id& file, UnitKind kind) override {
    return Query(this, "DELETE FROM unit WHERE file=$1 AND kind=$2").Bind(file).Bind(int64_t(kind)).Run();
  }
  Status DeleteUnit(int64_t unit) override {
    return Query(this, "DELETE FROM unit WHERE id=$1").Bind(unit).Run();
  }

  Status ReadChunk(int64_t unit, uint64_t seq, std::vector<uint8_t>* data, bool* found) override {
    Query q(this, "SELECT data FROM chunk WHERE unit=$1 AND seq=$2");
    return One(q.Bind(unit).Bind(static_cast<int64_t>(seq)), found, [&] {
      const auto* p = reinterpret_cast<const uint8_t*>(q.Data(0, 0));
      data->assign(p, p + q.Length(0, 0));
    });
  }
  Status WriteChunk(int64_t unit, uint64_t seq, const uint8_t* data, size_t size) override {
    return Query(this, "INSERT INTO chunk(unit, seq, data) VALUES($1, $2, $3) "
                       "ON CONFLICT(unit, seq) DO UPDATE SET data=excluded.data")
        .Bind(unit).Bind(static_cast<int64_t>(seq)).BindStatic(data, size).Run();
  }

  // Every statement has reached the server already; a full device shows at once.
  Status WriteOut() override { return Status::Ok(); }

  // What the server can check cheaply: records whose owner is gone (a chunk of no unit, a
  // unit or keyword of no file, a file in no folder, a folder under a missing parent). The
  // foreign keys forbid them, so they appear only where the tables were changed by hand or
  // the constraints were dropped. Damaged pages are the server's own affair (data checksums,
  // amcheck), out of reach of a client and too slow to run on every check.
  Status CheckIntegrity(std::vector<std::string>* problems) override {
    problems->clear();
    const struct {
      const char* what;
      const char* sql;
    } checks[] = {
        {"chunks of a missing unit", "SELECT count(*) FROM chunk c WHERE NOT EXISTS (SELECT 1 FROM unit u WHERE u.id = c.unit)"},
        {"units of a missing file", "SELECT count(*) FROM unit u WHERE NOT EXISTS (SELECT 1 FROM file f WHERE f.id = u.file)"},
        {"keywords of a missing file", "SELECT count(*) FROM keyword k WHERE NOT EXISTS (SELECT 1 FROM file f WHERE f.id = k.file)"},
        {"files in a missing folder", "SELECT count(*) FROM file f WHERE NOT EXISTS (SELECT 1 FROM folder d WHERE d.id = f.folder)"},
        {"folders under a missing parent", "SELECT count(*) FROM folder f WHERE f.parent IS NOT NULL AND NOT EXISTS (SELECT 1 FROM folder d WHERE d.id = f.parent)"},
    };
    for (const auto& c : checks) {
      Query q(this, c.sql);
      Status st = q.Run();
      if (!st.ok()) return st;
      if (q.Int(0, 0) > 0) problems->push_back(std::to_string(q.Int(0, 0)) + " " + c.what);
    }
    return Status::Ok();
  }

  Status Fail(const PGresult* result) const {
    const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    const std::string code = state ? state : "";
    if (code == "53100") {
      return Status::Error(CNDBConstants::eDiskFull,
                           "no space left on device for the database '" + location_ + "'");
    }
    if (code == "25006") {
      return Status::Error(CNDBConstants::eReadOnly,
                           "the database '" + location_ + "' can only be read here");
    }
    return Status::Error(CNDBConstants::eStorageFailure, "storage: " + OneLine(PQerrorMessage(conn_)));
  }

  // A statement prepared once per connection, by its text.
  Status Prepared(const std::string& sql, std::string* name) {
    auto it = prepared_.find(sql);
    if (it == prepared_.end()) {
      const std::string next = "s" + std::to_string(prepared_.size());
      PGresult* r = PQprepare(conn_, next.c_str(), sql.c_str(), 0, nullptr);
      const bool ok = PQresultStatus(r) == PGRES_COMMAND_OK;
      Status st = ok ? Status::Ok() : Fail(r);
      PQclear(r);
      if (!ok) return st;
      it = prepared_.emplace(sql, next).first;
    }
    *name = it->second;
    return Status::Ok();
  }
  PGconn* conn() const { return conn_; }

 private:
  Status Exec(const char* sql) {
    PGresult* r = PQexec(conn_, sql);
    const ExecStatusType s = PQresultStatus(r);
    Status st = s == PGRES_COMMAND_OK || s == PGRES_TUPLES_OK ? Status::Ok() : Fail(r);
    PQclear(r);
    return st;
  }

  template <class Read>
  static Status One(Query& q, bool* found, Read read) {
    Status st = q.Run();
    *found = st.ok() && q.Rows() > 0;
    if (*found) read();
    return st;
  }

  Status HasSchema(bool* has) {
    Query q(this, "SELECT count(*) FROM pg_tables WHERE schemaname = current_schema() AND tablename = 'meta'");
    Status st = q.Run();
    *has = st.ok() && q.Int(0, 0) == 1;
    return st;
  }

  static void ReadFolder(const Query& q, int r, FolderRecord* f) {
    f->id = q.Bytes(r, 0);
    f->parent = q.Bytes(r, 1);
    f->name = q.Bytes(r, 2);
  }
  static void ReadFile(const Query& q, int r, FileRecord* f) {
    f->id = q.Bytes(r, 0);
    f->folder = q.Bytes(r, 1);
    f->name = q.Bytes(r, 2);
    f->type = static_cast<int>(q.Int(r, 3));
    f->checksum = q.Bytes(r, 4);
    f->created = q.Int(r, 5);
    f->changed = q.Int(r, 6);
  }
  static Status ReadFiles(Query& q, std::vector<FileRecord>* files) {
    Status st = q.Run();
    files->clear();
    for (int r = 0; st.ok() && r < q.Rows(); ++r) ReadFile(q, r, &files->emplace_back());
    return st;
  }

  PGconn* conn_;
  std::string location_;
  std::map<std::string, std::string> prepared_;
  int32_t lockKey_ = 0;
  bool readOnly_ = false;
  int depth_ = 0;
};

Status Query::Run() {
  std::string name;
  Status st = store_->Prepared(sql_, &name);
  if (!st.ok()) return st;
  for (size_t i = 0; i < values_.size(); ++i) {
    if (owner_[i] >= 0) values_[i] = owned_[owner_[i]].data();
  }
  const std::vector<int> binary(values_.size(), 1);
  PQclear(result_);
  result_ = PQexecPrepared(store_->conn(), name.c_str(), static_cast<int>(values_.size()),
                           values_.data(), lengths_.data(), binary.data(), 1);
  const ExecStatusType s = PQresultStatus(result_);
  return s == PGRES_COMMAND_OK || s == PGRES_TUPLES_OK ? Status::Ok() : store_->Fail(result_);
}

}  // namespace

std::unique_ptr<Store> OpenPostgresStore(const std::string& location, Status* status,
                                         OpenMode mode) {
  PGconn* conn = PQconnectdb(location.c_str());
  if (PQstatus(conn) != CONNECTION_OK) {
    const std::string text = OneLine(conn ? PQerrorMessage(conn) : "out of memory");
    PQfinish(conn);
    *status = Status::Error(CNDBConstants::eCannotOpenDatabase,
                            "cannot open database '" + Shown(location) + "': " + text);
    return nullptr;
  }
  auto store = std::make_unique<PostgresStore>(conn, location);
  *status = store->Init(mode);
  if (!status->ok()) {
    *status = Status::Error(CNDBConstants::eCannotOpenDatabase,
                            "cannot open database '" + Shown(location) + "': " + status->text);
    return nullptr;
  }
  return store;
}

}  // namespace noxdb
