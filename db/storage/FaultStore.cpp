#include "db/storage/FaultStore.h"

#include "db/NDBConstants.h"

namespace noxdb {

FaultStore::FaultStore(std::unique_ptr<Store> base) : base_(std::move(base)) {}

void FaultStore::FailFrom(int n, int code) {
  failFrom_ = n > 0 ? changes_ + n : 0;
  failCode_ = code;
}

Status FaultStore::Change() {
  ++changes_;
  if (failFrom_ > 0 && changes_ >= failFrom_) {
    return Status::Error(failCode_, failCode_ == CNDBConstants::eDiskFull
                                        ? "no space left on device (injected)"
                                        : "storage: injected failure");
  }
  return Status::Ok();
}

#define NOX_FORWARD_CHANGE(call) \
  do {                           \
    Status st = Change();        \
    return st.ok() ? base_->call : st; \
  } while (0)

Status FaultStore::Commit() { NOX_FORWARD_CHANGE(Commit()); }
Status FaultStore::SetMeta(const std::string& key, const std::string& value) {
  NOX_FORWARD_CHANGE(SetMeta(key, value));
}
Status FaultStore::AddType(int type, const std::string& name) { NOX_FORWARD_CHANGE(AddType(type, name)); }
Status FaultStore::AddFolder(const FolderRecord& folder) { NOX_FORWARD_CHANGE(AddFolder(folder)); }
Status FaultStore::InsertFile(const FileRecord& file) { NOX_FORWARD_CHANGE(InsertFile(file)); }
Status FaultStore::UpdateFile(const FileRecord& file) { NOX_FORWARD_CHANGE(UpdateFile(file)); }
Status FaultStore::DeleteFile(const Id& id) { NOX_FORWARD_CHANGE(DeleteFile(id)); }
Status FaultStore::AddKeyword(const Id& file, const std::string& keyword) {
  NOX_FORWARD_CHANGE(AddKeyword(file, keyword));
}
Status FaultStore::InsertUnit(const Id& file, UnitRecord* unit) { NOX_FORWARD_CHANGE(InsertUnit(file, unit)); }
Status FaultStore::SetUnitSize(int64_t unit, uint64_t size) { NOX_FORWARD_CHANGE(SetUnitSize(unit, size)); }
Status FaultStore::SetUnitDigest(int64_t unit, const std::string& digest) {
  NOX_FORWARD_CHANGE(SetUnitDigest(unit, digest));
}
Status FaultStore::WriteOut() { NOX_FORWARD_CHANGE(WriteOut()); }
Status FaultStore::DeleteUnits(const Id& file, UnitKind kind) { NOX_FORWARD_CHANGE(DeleteUnits(file, kind)); }
Status FaultStore::DeleteUnit(int64_t unit) { NOX_FORWARD_CHANGE(DeleteUnit(unit)); }
Status FaultStore::WriteChunk(int64_t unit, uint64_t seq, const uint8_t* data, size_t size) {
  NOX_FORWARD_CHANGE(WriteChunk(unit, seq, data, size));
}

#undef NOX_FORWARD_CHANGE

}  // namespace noxdb
