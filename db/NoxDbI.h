#pragma once
// A session on a media database: one database file on disk (created when missing), its file
// types, its folder tree with a current folder, and its files. Not thread-safe: use one
// session per thread; several sessions and processes may write one database, and each waits
// for the others' files to complete.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "db/NDBConstants.h"
#include "db/NOFChecksum.h"
#include "db/Uuid.h"

namespace noxdb {
enum class OpenMode;
class Store;
struct Status;
struct FileRecord;
}  // namespace noxdb
class CNDBFile;

class CNoxDbI {
 public:
  // Opens or creates the database at `location`. IsValid() tells whether that worked, and
  // GetLastErrorStr() why not.
  explicit CNoxDbI(const char* location);
  // The same with a choice: only an existing database, or one opened for reading only.
  CNoxDbI(const char* location, noxdb::OpenMode mode);
  // A session on a store the caller opened (another backend, or one wrapped for tests).
  explicit CNoxDbI(std::unique_ptr<noxdb::Store> store);
  ~CNoxDbI();
  CNoxDbI(const CNoxDbI&) = delete;
  CNoxDbI& operator=(const CNoxDbI&) = delete;

  bool IsValid() const;
  bool ExistFileType(int type) const;
  // Registers a file type; false if the number is taken or the database refuses.
  bool CreateFileType(int type, const char* name, bool flag) const;
  // The identifier of the file of that name and type below the current folder (a name with
  // '/' is a path of folders), or a null identifier. `out`, when given, receives it too.
  CUUID GetUuid(const char* name, int type, CUUID* out) const;
  // The file's type; 0 for an unknown file.
  unsigned short GetTypeEx(const _GUID& uuid) const;
  const CUUID& GetCurrentFolder() const;
  // Names are resolved and files created here from now on. An unknown folder is taken as it
  // is; operations in it fail with eFolderNotFound.
  void SetCurrentFolder(const _GUID& folder);
  // Deletes a file with its units and add-ons: 0, or eFileNotFound.
  int DeleteFileA(const _GUID* file, const _GUID* other, CNDBConstants::eDeleteRefFlags flags) const;
  // The text of the last error on this session or on a file opened on it.
  const char* GetLastErrorStr() const;
  // Records a code with its fixed text; returns the code.
  int SetLastError(int code);
  // Bytes that raw transfers move per call: 512,000, a multiple of 51,200.
  unsigned int GetBufferSize() const;
  bool Supports(const CNDBConstants::EFeature& feature, CNDBConstants::CSupportInfo* info) const;
  bool Supports(const CNDBConstants::EFeature& feature, bool flag,
                CNDBConstants::CSupportInfo* info) const;

  // --- Beyond what importers need: inspection for tools and duplicate detection. ---
  struct UnitInfo {
    std::string name;
    bool hasSize = false;
    int width = 0, height = 0;
    uint64_t bytes = 0;
  };
  struct FileInfo {
    CUUID uuid, folder;
    std::string name, folderPath, typeName;
    int type = 0;
    std::string checksum;  // hex digits, empty when none
    int64_t created = 0, changed = 0;
    uint64_t bytes = 0;  // all units together
    std::vector<std::string> keywords;
    std::vector<UnitInfo> units, addons;
  };
  struct FolderInfo {
    CUUID uuid;
    std::string name;
  };

  // For importers that may run in several processes at once: while on, a name look-up
  // (GetUuid) outside a write takes the database's write lock and keeps it for the file that
  // is created or opened next on this session, so that choosing a free name and creating the
  // file are one step and concurrent importers get the names sequential ones would. Turning
  // it off gives back a lock that no file took.
  void LockNamesForImport(bool on);

  int GetLastError() const { return lastError_; }
  // The latest failure of the storage itself (a full device, a read-only database, an I/O
  // error) since SetLastError(0), with its text: later failures such as a clean-up that
  // found nothing to delete do not hide it. 0 when none.
  int GetStorageError() const { return storageError_; }
  const char* GetStorageErrorStr() const { return storageText_.c_str(); }
  const CUUID& GetRootFolder() const { return root_; }
  // A folder by path below the current folder ('/' first: below the root). 0 or an error.
  int FindFolder(const char* path, CUUID* folder) const;
  // As FindFolder, creating missing folders.
  int CreateFolder(const char* path, CUUID* folder);
  int GetFileInfo(const _GUID& file, FileInfo* info) const;
  int ListFolder(const _GUID& folder, std::vector<FolderInfo>* folders,
                 std::vector<FileInfo>* files) const;
  // A file by identifier text, or by name below the current folder when exactly one file of
  // any type has that name.
  int FindFile(const char* nameOrUuid, CUUID* file) const;
  // What Check found.
  struct CheckReport {
    int files = 0, units = 0;
    int undigested = 0;                 // units written before digests were kept
    std::vector<std::string> problems;  // one line each: the store's own, then mismatches
  };
  // Runs the store's own integrity check and recomputes the content digest (CRC-32C of the
  // bytes) of every unit and add-on of every file, or of the one file named, against the
  // digest recorded when the file was written. 0 when the check ran, whatever it found.
  int Check(const char* nameOrUuid, CheckReport* report) const;
  // Files whose stored checksum equals `checksum` (a finished digest), oldest first.
  int FindFilesByChecksum(const CNOFChecksum& checksum, std::vector<CUUID>* files) const;

 private:
  friend class CNDBFile;
  friend class SessionAccess;

  void Init();
  // Records the status as the last error and returns its code.
  int Record(const noxdb::Status& status) const;
  // Records and returns the failure of a call on a session that did not open.
  int NotValid() const;
  // Splits `name` into folders and a leaf, resolving the folders from `base` (from the root
  // for a leading '/'), creating missing ones when `create` is set.
  int ResolvePath(const CUUID& base, const std::string& name, bool create, CUUID* folder,
                  std::string* leaf) const;
  int FolderPath(const CUUID& folder, std::string* path) const;
  // Fills `info` from a file record found in the folder at `folderPath`.
  int Describe(const noxdb::FileRecord& record, const std::string& folderPath,
               FileInfo* info) const;

  std::unique_ptr<noxdb::Store> store_;
  CUUID root_;
  CUUID current_;
  mutable int lastError_ = 0;
  mutable std::string lastText_;
  mutable int storageError_ = 0;
  mutable std::string storageText_;
  // The file that holds this session's write transaction, if any.
  CNDBFile* writer_ = nullptr;
  bool lockNames_ = false;
  // A write transaction begun by a name look-up, waiting for the next file to take it.
  mutable bool lookupLock_ = false;
};
