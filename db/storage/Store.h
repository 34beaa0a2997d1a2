#pragma once
// The storage interface below the database engine: records of types, folders, files,
// keywords and units, and the chunks that hold unit bytes. One Store is one connection;
// the engine drives it from one thread at a time. SQLite implements it for a database file,
// PostgreSQL for a database on a server.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace noxdb {

// 0 and an empty text for success; otherwise a negative code of CNDBConstants::EError
// and a text for people.
struct Status {
  int code = 0;
  std::string text;

  bool ok() const { return code == 0; }
  static Status Ok() { return {}; }
  static Status Error(int code, std::string text) { return {code, std::move(text)}; }
};

// Identifiers travel as 16 raw bytes.
using Id = std::string;

struct FolderRecord {
  Id id;
  Id parent;  // empty for the root
  std::string name;
};

struct FileRecord {
  Id id;
  Id folder;
  std::string name;
  int type = 0;
  std::string checksum;  // 16 bytes of MD5, or empty
  int64_t created = 0;   // seconds since the epoch
  int64_t changed = 0;
};

enum class UnitKind : int { Unit = 0, Addon = 1 };

struct UnitRecord {
  int64_t id = 0;  // given by the store on insert
  UnitKind kind = UnitKind::Unit;
  int position = 0;  // order within the file, from 1
  std::string name;
  bool hasSize = false;
  int32_t width = 0;
  int32_t height = 0;
  uint8_t status = 0;
  uint64_t size = 0;  // bytes
  // CRC-32C of the unit's bytes, recorded when its file was written; empty for units
  // written before digests were kept.
  std::string digest;
};

class Store {
 public:
  virtual ~Store() = default;

  // Write transactions nest: the outermost takes the database's write lock at once (waiting
  // for other writers), inner ones are savepoints. Commit and Rollback end the innermost.
  virtual Status Begin() = 0;
  virtual Status Commit() = 0;
  virtual Status Rollback() = 0;
  virtual int TransactionDepth() const = 0;

  virtual Status GetMeta(const std::string& key, std::string* value, bool* found) = 0;
  virtual Status SetMeta(const std::string& key, const std::string& value) = 0;

  virtual Status GetTypeName(int type, std::string* name, bool* found) = 0;
  virtual Status AddType(int type, const std::string& name) = 0;

  virtual Status GetFolder(const Id& id, FolderRecord* folder, bool* found) = 0;
  virtual Status FindFolder(const Id& parent, const std::string& name, FolderRecord* folder,
                            bool* found) = 0;
  virtual Status AddFolder(const FolderRecord& folder) = 0;
  virtual Status ListFolders(const Id& parent, std::vector<FolderRecord>* folders) = 0;

  virtual Status GetFile(const Id& id, FileRecord* file, bool* found) = 0;
  // Files of that name in the folder, of any type, ordered by type.
  virtual Status FindFiles(const Id& folder, const std::string& name,
                           std::vector<FileRecord>* files) = 0;
  virtual Status ListFiles(const Id& folder, std::vector<FileRecord>* files) = 0;
  virtual Status ListAllFiles(std::vector<FileRecord>* files) = 0;
  virtual Status FindFilesByChecksum(const std::string& checksum,
                                     std::vector<FileRecord>* files) = 0;
  virtual Status InsertFile(const FileRecord& file) = 0;
  virtual Status UpdateFile(const FileRecord& file) = 0;
  // Removes the file with its keywords, units and their chunks.
  virtual Status DeleteFile(const Id& id) = 0;

  virtual Status ListKeywords(const Id& file, std::vector<std::string>* keywords) = 0;
  virtual Status AddKeyword(const Id& file, const std::string& keyword) = 0;

  virtual Status ListUnits(const Id& file, UnitKind kind, std::vector<UnitRecord>* units) = 0;
  // Inserts the unit and sets unit->id.
  virtual Status InsertUnit(const Id& file, UnitRecord* unit) = 0;
  virtual Status SetUnitSize(int64_t unit, uint64_t size) = 0;
  virtual Status SetUnitDigest(int64_t unit, const std::string& digest) = 0;
  // Removes units with their chunks: all of a kind, or (DeleteUnit) one.
  virtual Status DeleteUnits(const Id& file, UnitKind kind) = 0;
  virtual Status DeleteUnit(int64_t unit) = 0;

  // A chunk holds bytes [seq * chunk size, ...) of a unit; a missing chunk reads as zeros.
  virtual Status ReadChunk(int64_t unit, uint64_t seq, std::vector<uint8_t>* data,
                           bool* found) = 0;
  virtual Status WriteChunk(int64_t unit, uint64_t seq, const uint8_t* data, size_t size) = 0;

  // Writes what the open transaction changed so far to the database file, so that a full
  // device shows now rather than at the commit.
  virtual Status WriteOut() = 0;

  // The store's own check of its structures: one line per problem found.
  virtual Status CheckIntegrity(std::vector<std::string>* problems) = 0;
};

// How a database is opened: created when missing; only an existing one; or for reading,
// which works wherever the file can be read (a read-only folder or medium, another user's
// file) and never changes it.
enum class OpenMode { Create, Existing, ReadOnly };

// Opens a SQLite database file: a rollback journal, synchronous commits, a busy timeout so
// that several processes can write one database, and the current schema. On failure returns
// null and fills *status.
std::unique_ptr<Store> OpenSqliteStore(const std::string& path, Status* status,
                                       OpenMode mode = OpenMode::Create);

// Opens a database on a PostgreSQL server, given as a libpq connection URI. Its tables live
// in the first schema of the connection's search path, which may be set in the URI
// ("options=-csearch_path%3Dname"). On failure returns null and fills *status with the
// server's or libpq's reason.
std::unique_ptr<Store> OpenPostgresStore(const std::string& location, Status* status,
                                         OpenMode mode = OpenMode::Create);

// True for a location on a server: "postgresql://..." or "postgres://...".
bool IsServerLocation(const std::string& location);

// A database file's path opens the SQLite store, a server location the PostgreSQL store.
std::unique_ptr<Store> OpenStore(const std::string& location, Status* status,
                                 OpenMode mode = OpenMode::Create);

}  // namespace noxdb
