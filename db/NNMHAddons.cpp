#include "db/NNMHAddons.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "db/SessionAccess.h"
#include "db/UnitBytes.h"

using noxdb::Status;

namespace NNMHAddons {
namespace {

ENErrorCode Report(CNoxDbI& session, CNDBConstants::DBERROR& error, ENErrorCode result,
                   const Status& status) {
  error.code = status.code;
  error.text = status.text.empty() ? CNDBConstants::ErrorText(status.code) : status.text;
  SessionAccess::Record(session, status);
  return result;
}

// The file must exist; its add-ons are then read or changed in one transaction.
Status CheckFile(noxdb::Store* store, const std::string& id) {
  noxdb::FileRecord rec;
  bool found = false;
  Status st = store->GetFile(id, &rec, &found);
  if (st.ok() && !found) st = Status::Error(CNDBConstants::eFileNotFound, "file not found");
  return st;
}

ENErrorCode ResultOf(const Status& st) {
  switch (st.code) {
    case 0: return NMH_OK;
    case CNDBConstants::eFileNotFound: return NMH_FILE_NOT_FOUND;
    case CNDBConstants::eAddonSourceUnreadable: return NMH_SOURCE_UNREADABLE;
    case CNDBConstants::eCancelled: return NMH_CANCELLED;
    default: return NMH_STORAGE_FAILED;
  }
}

// The regular files that `path` stands for, or an error.
Status Sources(const std::string& path, std::vector<std::pair<std::string, std::string>>* files) {
  struct stat st{};
  if (stat(path.c_str(), &st) != 0) {
    return Status::Error(CNDBConstants::eAddonSourceUnreadable, "add-on source not found: " + path);
  }
  if (S_ISREG(st.st_mode)) {
    const size_t slash = path.find_last_of('/');
    files->emplace_back(slash == std::string::npos ? path : path.substr(slash + 1), path);
    return Status::Ok();
  }
  if (!S_ISDIR(st.st_mode)) {
    return Status::Error(CNDBConstants::eAddonSourceUnreadable, "not a file or folder: " + path);
  }
  std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(path.c_str()), closedir);
  if (!dir) return Status::Error(CNDBConstants::eAddonSourceUnreadable, "cannot read folder: " + path);
  while (dirent* e = readdir(dir.get())) {
    const std::string full = path + "/" + e->d_name;
    struct stat entry{};
    if (stat(full.c_str(), &entry) == 0 && S_ISREG(entry.st_mode)) files->emplace_back(e->d_name, full);
  }
  std::sort(files->begin(), files->end());
  return Status::Ok();
}

Status StoreOne(noxdb::Store* store, const std::string& file, const std::string& name,
                const std::string& path, int position) {
  std::vector<noxdb::UnitRecord> existing;
  Status st = store->ListUnits(file, noxdb::UnitKind::Addon, &existing);
  for (const auto& u : existing) {
    if (st.ok() && u.name == name) {
      st = store->DeleteUnit(u.id);
      position = u.position;
    }
  }
  noxdb::UnitRecord unit;
  unit.kind = noxdb::UnitKind::Addon;
  unit.position = position;
  unit.name = name;
  if (st.ok()) st = store->InsertUnit(file, &unit);
  std::unique_ptr<FILE, int (*)(FILE*)> in(fopen(path.c_str(), "rb"), fclose);
  if (st.ok() && !in) st = Status::Error(CNDBConstants::eAddonSourceUnreadable, "cannot read " + path);
  noxdb::UnitBytes bytes(store);
  std::vector<uint8_t> buffer(noxdb::UnitBytes::kChunkSize);
  size_t n;
  while (st.ok() && (n = fread(buffer.data(), 1, buffer.size(), in.get())) > 0) {
    st = bytes.Write(&unit, unit.size, buffer.data(), n);
  }
  if (st.ok() && ferror(in.get())) st = Status::Error(CNDBConstants::eAddonSourceUnreadable, "cannot read " + path);
  if (st.ok()) st = bytes.Seal(&unit);
  return st;
}

// Runs `body` in a transaction of its own (a savepoint inside a file being written).
template <typename Body>
Status InTransaction(noxdb::Store* store, Body body) {
  Status st = store->Begin();
  if (!st.ok()) return st;
  st = body();
  if (st.ok()) return store->Commit();
  store->Rollback();
  return st;
}

Status Invalid() { return Status::Error(CNDBConstants::eCannotOpenDatabase, "the session is not valid"); }

}  // namespace

ENErrorCode HasAddons(CNoxDbI& session, const CUUID& file, bool& has,
                      CNDBConstants::DBERROR& error, Progress, void*) {
  noxdb::Store* store = SessionAccess::Store(session);
  if (!store) return Report(session, error, NMH_FAILED, Invalid());
  std::vector<noxdb::UnitRecord> units;
  Status st = CheckFile(store, file.Bytes());
  if (st.ok()) st = store->ListUnits(file.Bytes(), noxdb::UnitKind::Addon, &units);
  has = st.ok() && !units.empty();
  return st.ok() ? NMH_OK : Report(session, error, ResultOf(st), st);
}

ENErrorCode RemoveAddons(CNoxDbI& session, const CUUID& file, CNDBConstants::DBERROR& error,
                         Progress, void*) {
  noxdb::Store* store = SessionAccess::Store(session);
  if (!store) return Report(session, error, NMH_FAILED, Invalid());
  const std::string id = file.Bytes();
  Status st = InTransaction(store, [&] {
    Status s = CheckFile(store, id);
    return s.ok() ? store->DeleteUnits(id, noxdb::UnitKind::Addon) : s;
  });
  return st.ok() ? NMH_OK : Report(session, error, ResultOf(st), st);
}

ENErrorCode ImportAddons(CNoxDbI& session, const CUUID& file, const std::string& path,
                         ENMHTransfer, CNDBConstants::DBERROR& error, Progress callback,
                         void* argument) {
  noxdb::Store* store = SessionAccess::Store(session);
  if (!store) return Report(session, error, NMH_FAILED, Invalid());
  const std::string id = file.Bytes();
  std::vector<std::pair<std::string, std::string>> sources;
  Status st = Sources(path, &sources);
  if (st.ok()) {
    st = InTransaction(store, [&] {
      std::vector<noxdb::UnitRecord> existing;
      Status s = CheckFile(store, id);
      if (s.ok()) s = store->ListUnits(id, noxdb::UnitKind::Addon, &existing);
      int next = existing.empty() ? 1 : existing.back().position + 1;
      for (const auto& [name, full] : sources) {
        if (s.ok()) s = StoreOne(store, id, name, full, next++);
        if (s.ok() && callback && !callback(argument)) {
          s = Status::Error(CNDBConstants::eCancelled, "add-on import cancelled");
        }
      }
      return s;
    });
  }
  return st.ok() ? NMH_OK : Report(session, error, ResultOf(st), st);
}

int ReadAddon(CNoxDbI& session, const CUUID& file, const std::string& name, std::string* out) {
  noxdb::Store* store = SessionAccess::Store(session);
  if (!store) return SessionAccess::Record(session, Invalid());
  std::vector<noxdb::UnitRecord> units;
  Status st = store->ListUnits(file.Bytes(), noxdb::UnitKind::Addon, &units);
  auto it = std::find_if(units.begin(), units.end(), [&](const auto& u) { return u.name == name; });
  if (st.ok() && it == units.end()) st = Status::Error(CNDBConstants::eUnitNotFound, "add-on not found: " + name);
  if (st.ok()) {
    out->assign(it->size, '\0');
    size_t got = 0;
    noxdb::UnitBytes bytes(store);
    st = bytes.Read(*it, 0, reinterpret_cast<uint8_t*>(out->data()), out->size(), &got);
  }
  return st.ok() ? 0 : SessionAccess::Record(session, st);
}

}  // namespace NNMHAddons
