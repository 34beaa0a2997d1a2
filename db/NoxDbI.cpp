#include "db/NoxDbI.h"

#include <algorithm>

#include "db/NDBFile.h"
#include "db/UnitBytes.h"
#include "db/storage/Store.h"

using noxdb::Status;

namespace {

constexpr unsigned int kBufferSize = 512000;

std::vector<std::string> SplitPath(const std::string& path) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= path.size()) {
    const size_t end = std::min(path.find('/', start), path.size());
    if (end > start) parts.push_back(path.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

}  // namespace

CNoxDbI::CNoxDbI(const char* location) : CNoxDbI(location, noxdb::OpenMode::Create) {}

CNoxDbI::CNoxDbI(const char* location, noxdb::OpenMode mode) {
  Status st;
  if (location == nullptr || *location == '\0') {
    st = Status::Error(CNDBConstants::eCannotOpenDatabase, "no database location given");
  } else {
    store_ = noxdb::OpenStore(location, &st, mode);
  }
  if (!st.ok()) {
    Record(st);
    return;
  }
  Init();
}

CNoxDbI::CNoxDbI(std::unique_ptr<noxdb::Store> store) : store_(std::move(store)) {
  if (store_) Init();
}

CNoxDbI::~CNoxDbI() = default;

void CNoxDbI::Init() {
  std::string root;
  bool found = false;
  Status st = store_->GetMeta("root_folder", &root, &found);
  if (st.ok() && !found) {
    // The first session on a database makes its root folder.
    if ((st = store_->Begin()).ok()) {
      st = store_->GetMeta("root_folder", &root, &found);
      if (st.ok() && !found) {
        root = CUUID::Generate().Bytes();
        st = store_->AddFolder({root, "", ""});
        if (st.ok()) st = store_->SetMeta("root_folder", root);
      }
      st = st.ok() ? store_->Commit() : (store_->Rollback(), st);
    }
  }
  if (!st.ok() || root.size() != 16) {
    if (st.ok()) st = Status::Error(CNDBConstants::eCannotOpenDatabase, "the database has no root folder");
    Record(st);
    store_.reset();
    return;
  }
  root_ = current_ = CUUID::FromBytes(root.data());
}

int CNoxDbI::NotValid() const {
  return Record(Status::Error(CNDBConstants::eCannotOpenDatabase, "the session is not valid"));
}

int CNoxDbI::Record(const Status& status) const {
  lastError_ = status.code;
  lastText_ = status.text.empty() ? CNDBConstants::ErrorText(status.code) : status.text;
  const int code = status.code;
  if (code == 0 || code == CNDBConstants::eDiskFull || code == CNDBConstants::eReadOnly ||
      code == CNDBConstants::eStorageFailure) {
    storageError_ = code;
    storageText_ = code == 0 ? "" : lastText_;
  }
  return status.code;
}

bool CNoxDbI::IsValid() const { return store_ != nullptr; }

bool CNoxDbI::ExistFileType(int type) const {
  if (!store_) return false;
  std::string name;
  bool found = false;
  Status st = store_->GetTypeName(type, &name, &found);
  if (!st.ok()) Record(st);
  return st.ok() && found;
}

bool CNoxDbI::CreateFileType(int type, const char* name, bool) const {
  if (!store_) return false;
  if (type <= 0 || type > 0xFFFF || name == nullptr || *name == '\0') {
    Record(Status::Error(CNDBConstants::eInvalidArgument, "a file type needs a number from 1 to 65535 and a name"));
    return false;
  }
  Status st = store_->Begin();
  if (st.ok()) {
    // Importers ask ExistFileType first, and another session (several processes importing
    // into a new database) may have made the type since: under the write lock, the type
    // standing under the same name is success.
    std::string existing;
    bool found = false;
    st = store_->GetTypeName(type, &existing, &found);
    if (st.ok() && found && existing != name) {
      st = Status::Error(CNDBConstants::eInvalidArgument, "file type " + std::to_string(type) +
                                                              " is already '" + existing + "'");
    } else if (st.ok() && !found) {
      st = store_->AddType(type, name);
    }
    st = st.ok() ? store_->Commit() : (store_->Rollback(), st);
  }
  if (!st.ok()) Record(st);
  return st.ok();
}

int CNoxDbI::ResolvePath(const CUUID& base, const std::string& name, bool create, CUUID* folder,
                         std::string* leaf) const {
  std::vector<std::string> parts = SplitPath(name);
  if (leaf) {
    if (parts.empty() || name.back() == '/') {
      return Record(Status::Error(CNDBConstants::eInvalidArgument, "'" + name + "' names no file"));
    }
    *leaf = parts.back();
    parts.pop_back();
  }
  std::string id = (!name.empty() && name[0] == '/' ? root_ : base).Bytes();
  noxdb::FolderRecord rec;
  bool found = false;
  Status st = store_->GetFolder(id, &rec, &found);
  if (st.ok() && !found) st = Status::Error(CNDBConstants::eFolderNotFound, "folder not found");
  for (size_t i = 0; st.ok() && i < parts.size(); ++i) {
    st = store_->FindFolder(id, parts[i], &rec, &found);
    if (st.ok() && !found) {
      if (!create) {
        st = Status::Error(CNDBConstants::eFolderNotFound, "folder not found: " + parts[i]);
        break;
      }
      rec = {CUUID::Generate().Bytes(), id, parts[i]};
      st = store_->AddFolder(rec);
    }
    id = rec.id;
  }
  if (!st.ok()) return Record(st);
  if (folder) *folder = CUUID::FromBytes(id.data());
  return 0;
}

void CNoxDbI::LockNamesForImport(bool on) {
  lockNames_ = on;
  if (!on && lookupLock_) {
    lookupLock_ = false;
    Status st = store_->Commit();
    if (!st.ok()) Record(st);
  }
}

CUUID CNoxDbI::GetUuid(const char* name, int type, CUUID* out) const {
  CUUID result;
  CUUID folder;
  std::string leaf;
  std::vector<noxdb::FileRecord> files;
  if (store_ && lockNames_ && writer_ == nullptr && !lookupLock_) {
    Status st = store_->Begin();
    if (st.ok()) lookupLock_ = true;
    else Record(st);
  }
  if (store_ && name && ResolvePath(current_, name, false, &folder, &leaf) == 0) {
    Status st = store_->FindFiles(folder.Bytes(), leaf, &files);
    if (!st.ok()) Record(st);
    for (const auto& f : files) {
      if (f.type == type) result = CUUID::FromBytes(f.id.data());
    }
  }
  if (out) *out = result;
  return result;
}

unsigned short CNoxDbI::GetTypeEx(const _GUID& uuid) const {
  if (!store_) return 0;
  noxdb::FileRecord rec;
  bool found = false;
  Status st = store_->GetFile(CUUID(uuid).Bytes(), &rec, &found);
  if (!st.ok()) Record(st);
  return found ? static_cast<unsigned short>(rec.type) : 0;
}

const CUUID& CNoxDbI::GetCurrentFolder() const { return current_; }

void CNoxDbI::SetCurrentFolder(const _GUID& folder) { current_ = CUUID(folder); }

int CNoxDbI::DeleteFileA(const _GUID* file, const _GUID*, CNDBConstants::eDeleteRefFlags) const {
  if (!store_) return NotValid();
  if (file == nullptr) return Record(Status::Error(CNDBConstants::eInvalidArgument, "no file given"));
  const std::string id = CUUID(*file).Bytes();
  Status st = store_->Begin();
  if (st.ok()) {
    noxdb::FileRecord rec;
    bool found = false;
    st = store_->GetFile(id, &rec, &found);
    if (st.ok() && !found) st = Status::Error(CNDBConstants::eFileNotFound, "file not found: " + CUUID(*file).ToString());
    if (st.ok()) st = store_->DeleteFile(id);
    st = st.ok() ? store_->Commit() : (store_->Rollback(), st);
  }
  return st.ok() ? 0 : Record(st);
}

const char* CNoxDbI::GetLastErrorStr() const { return lastText_.c_str(); }

int CNoxDbI::SetLastError(int code) { return Record(Status::Error(code, "")); }

unsigned int CNoxDbI::GetBufferSize() const { return kBufferSize; }

bool CNoxDbI::Supports(const CNDBConstants::EFeature& feature, CNDBConstants::CSupportInfo*) const {
  return feature == CNDBConstants::eFeatureChecksum || feature == CNDBConstants::eFeatureAddons;
}

bool CNoxDbI::Supports(const CNDBConstants::EFeature& feature, bool,
                       CNDBConstants::CSupportInfo* info) const {
  return Supports(feature, info);
}

int CNoxDbI::FindFolder(const char* path, CUUID* folder) const {
  if (!store_) return NotValid();
  return ResolvePath(current_, path ? path : "", false, folder, nullptr);
}

int CNoxDbI::CreateFolder(const char* path, CUUID* folder) {
  if (!store_) return NotValid();
  Status st = store_->Begin();
  if (!st.ok()) return Record(st);
  const int rc = ResolvePath(current_, path ? path : "", true, folder, nullptr);
  st = rc == 0 ? store_->Commit() : (store_->Rollback(), Status::Error(rc, lastText_));
  return st.ok() ? 0 : Record(st);
}

int CNoxDbI::FolderPath(const CUUID& folder, std::string* path) const {
  path->clear();
  std::string id = folder.Bytes();
  // Bounded walk: a damaged tree with a cycle must not hang the caller.
  for (int depth = 0; depth < 4096; ++depth) {
    noxdb::FolderRecord rec;
    bool found = false;
    Status st = store_->GetFolder(id, &rec, &found);
    if (st.ok() && !found) st = Status::Error(CNDBConstants::eFolderNotFound, "folder not found");
    if (!st.ok()) return Record(st);
    if (rec.parent.empty()) {
      if (path->empty()) *path = "/";
      return 0;
    }
    *path = "/" + rec.name + *path;
    id = rec.parent;
  }
  return Record(Status::Error(CNDBConstants::eDamagedData, "the folder tree is damaged"));
}

int CNoxDbI::Describe(const noxdb::FileRecord& rec, const std::string& folderPath,
                      FileInfo* info) const {
  *info = FileInfo();
  info->folderPath = folderPath;
  info->uuid = CUUID::FromBytes(rec.id.data());
  info->folder = CUUID::FromBytes(rec.folder.data());
  info->name = rec.name;
  info->type = rec.type;
  info->created = rec.created;
  info->changed = rec.changed;
  if (!rec.checksum.empty()) info->checksum = CNOFChecksum::FromDigest(rec.checksum).hexdigest();
  bool typeFound = false;
  Status st = store_->GetTypeName(rec.type, &info->typeName, &typeFound);
  if (st.ok()) st = store_->ListKeywords(rec.id, &info->keywords);
  for (auto kind : {noxdb::UnitKind::Unit, noxdb::UnitKind::Addon}) {
    std::vector<noxdb::UnitRecord> units;
    if (st.ok()) st = store_->ListUnits(rec.id, kind, &units);
    for (const auto& u : units) {
      auto& list = kind == noxdb::UnitKind::Unit ? info->units : info->addons;
      list.push_back({u.name, u.hasSize, u.width, u.height, u.size});
      if (kind == noxdb::UnitKind::Unit) info->bytes += u.size;
    }
  }
  return st.ok() ? 0 : Record(st);
}

int CNoxDbI::GetFileInfo(const _GUID& file, FileInfo* info) const {
  if (!store_) return NotValid();
  noxdb::FileRecord rec;
  bool found = false;
  Status st = store_->GetFile(CUUID(file).Bytes(), &rec, &found);
  if (st.ok() && !found) st = Status::Error(CNDBConstants::eFileNotFound, "file not found");
  if (!st.ok()) return Record(st);
  std::string folderPath;
  const int rc = FolderPath(CUUID::FromBytes(rec.folder.data()), &folderPath);
  return rc ? rc : Describe(rec, folderPath, info);
}

int CNoxDbI::ListFolder(const _GUID& folder, std::vector<FolderInfo>* folders,
                        std::vector<FileInfo>* files) const {
  if (!store_) return NotValid();
  const std::string id = CUUID(folder).Bytes();
  std::vector<noxdb::FolderRecord> subfolders;
  std::vector<noxdb::FileRecord> records;
  Status st = store_->ListFolders(id, &subfolders);
  if (st.ok()) st = store_->ListFiles(id, &records);
  if (!st.ok()) return Record(st);
  folders->clear();
  for (const auto& f : subfolders) folders->push_back({CUUID::FromBytes(f.id.data()), f.name});
  // Every file here shares the folder's path: walk the tree once.
  std::string folderPath;
  int rc = FolderPath(CUUID(folder), &folderPath);
  files->clear();
  for (const auto& r : records) {
    if (rc == 0) rc = Describe(r, folderPath, &files->emplace_back());
  }
  return rc;
}

int CNoxDbI::FindFile(const char* nameOrUuid, CUUID* file) const {
  if (!store_) return NotValid();
  const std::string text = nameOrUuid ? nameOrUuid : "";
  CUUID id;
  if (CUUID::Parse(text, &id) && GetTypeEx(id) != 0) {
    *file = id;
    return 0;
  }
  CUUID folder;
  std::string leaf;
  int rc = ResolvePath(current_, text, false, &folder, &leaf);
  if (rc == CNDBConstants::eFolderNotFound) {
    return Record(Status::Error(CNDBConstants::eFileNotFound, "file not found: " + text));
  }
  if (rc) return rc;
  std::vector<noxdb::FileRecord> files;
  Status st = store_->FindFiles(folder.Bytes(), leaf, &files);
  if (st.ok() && files.empty()) st = Status::Error(CNDBConstants::eFileNotFound, "file not found: " + text);
  if (st.ok() && files.size() > 1) {
    st = Status::Error(CNDBConstants::eInvalidArgument,
                       "several files are named '" + text + "'; give the identifier");
  }
  if (!st.ok()) return Record(st);
  *file = CUUID::FromBytes(files[0].id.data());
  return 0;
}

int CNoxDbI::FindFilesByChecksum(const CNOFChecksum& checksum, std::vector<CUUID>* files) const {
  if (!store_) return NotValid();
  if (!checksum.finalized()) return Record(Status::Error(CNDBConstants::eInvalidArgument, "the checksum is not finished"));
  std::vector<noxdb::FileRecord> records;
  Status st = store_->FindFilesByChecksum(checksum.digest(), &records);
  if (!st.ok()) return Record(st);
  files->clear();
  for (const auto& r : records) files->push_back(CUUID::FromBytes(r.id.data()));
  return 0;
}

int CNoxDbI::Check(const char* nameOrUuid, CheckReport* report) const {
  if (!store_) return NotValid();
  *report = CheckReport();
  std::vector<noxdb::FileRecord> files;
  Status st = store_->CheckIntegrity(&report->problems);
  if (st.ok() && nameOrUuid && *nameOrUuid) {
    CUUID id;
    const int rc = FindFile(nameOrUuid, &id);
    if (rc) return rc;
    bool found = false;
    st = store_->GetFile(id.Bytes(), &files.emplace_back(), &found);
  } else if (st.ok()) {
    st = store_->ListAllFiles(&files);
  }
  noxdb::UnitBytes bytes(store_.get());
  for (const auto& f : files) {
    if (!st.ok()) break;
    ++report->files;
    std::string folder;
    FolderPath(CUUID::FromBytes(f.folder.data()), &folder);
    const std::string where = (folder == "/" ? "" : folder) + "/" + f.name + " (" +
                              CUUID::FromBytes(f.id.data()).ToString() + ")";
    for (auto kind : {noxdb::UnitKind::Unit, noxdb::UnitKind::Addon}) {
      std::vector<noxdb::UnitRecord> units;
      if (st.ok()) st = store_->ListUnits(f.id, kind, &units);
      for (const auto& u : units) {
        if (!st.ok()) break;
        ++report->units;
        if (u.digest.empty()) {
          ++report->undigested;
          continue;
        }
        std::string digest;
        st = bytes.Digest(u, &digest);
        if (st.ok() && digest != u.digest) {
          report->problems.push_back(where + ": " + (kind == noxdb::UnitKind::Unit ? "unit '" : "add-on '") +
                                     u.name + "' does not match the digest recorded when it was written");
        }
      }
    }
  }
  return st.ok() ? 0 : Record(st);
}
