#pragma once
// A Store that forwards to another and fails on command: every change of data from the
// n-th on answers a storage failure, as a full disk or a broken connection would. Tests use
// it to walk every failure path of a write.

#include <memory>

#include "db/NDBConstants.h"
#include "db/storage/Store.h"

namespace noxdb {

class FaultStore final : public Store {
 public:
  explicit FaultStore(std::unique_ptr<Store> base);

  // The n-th change from now (1 = the next) and all after it fail with `code` (a storage
  // failure, or eDiskFull as a full device answers); 0 heals the store.
  void FailFrom(int n, int code = CNDBConstants::eStorageFailure);
  // Changes seen since construction, whether they failed or not.
  int Changes() const { return changes_; }

  Status Begin() override { return base_->Begin(); }
  Status Commit() override;
  Status Rollback() override { return base_->Rollback(); }
  int TransactionDepth() const override { return base_->TransactionDepth(); }

  Status GetMeta(const std::string& key, std::string* value, bool* found) override {
    return base_->GetMeta(key, value, found);
  }
  Status SetMeta(const std::string& key, const std::string& value) override;
  Status GetTypeName(int type, std::string* name, bool* found) override {
    return base_->GetTypeName(type, name, found);
  }
  Status AddType(int type, const std::string& name) override;
  Status GetFolder(const Id& id, FolderRecord* folder, bool* found) override {
    return base_->GetFolder(id, folder, found);
  }
  Status FindFolder(const Id& parent, const std::string& name, FolderRecord* folder,
                    bool* found) override {
    return base_->FindFolder(parent, name, folder, found);
  }
  Status AddFolder(const FolderRecord& folder) override;
  Status ListFolders(const Id& parent, std::vector<FolderRecord>* folders) override {
    return base_->ListFolders(parent, folders);
  }
  Status GetFile(const Id& id, FileRecord* file, bool* found) override {
    return base_->GetFile(id, file, found);
  }
  Status FindFiles(const Id& folder, const std::string& name,
                   std::vector<FileRecord>* files) override {
    return base_->FindFiles(folder, name, files);
  }
  Status ListFiles(const Id& folder, std::vector<FileRecord>* files) override {
    return base_->ListFiles(folder, files);
  }
  Status ListAllFiles(std::vector<FileRecord>* files) override { return base_->ListAllFiles(files); }
  Status FindFilesByChecksum(const std::string& checksum,
                             std::vector<FileRecord>* files) override {
    return base_->FindFilesByChecksum(checksum, files);
  }
  Status InsertFile(const FileRecord& file) override;
  Status UpdateFile(const FileRecord& file) override;
  Status DeleteFile(const Id& id) override;
  Status ListKeywords(const Id& file, std::vector<std::string>* keywords) override {
    return base_->ListKeywords(file, keywords);
  }
  Status AddKeyword(const Id& file, const std::string& keyword) override;
  Status ListUnits(const Id& file, UnitKind kind, std::vector<UnitRecord>* units) override {
    return base_->ListUnits(file, kind, units);
  }
  Status InsertUnit(const Id& file, UnitRecord* unit) override;
  Status SetUnitSize(int64_t unit, uint64_t size) override;
  Status SetUnitDigest(int64_t unit, const std::string& digest) override;
  Status DeleteUnits(const Id& file, UnitKind kind) override;
  Status DeleteUnit(int64_t unit) override;
  Status ReadChunk(int64_t unit, uint64_t seq, std::vector<uint8_t>* data, bool* found) override {
    return base_->ReadChunk(unit, seq, data, found);
  }
  Status WriteChunk(int64_t unit, uint64_t seq, const uint8_t* data, size_t size) override;
  Status WriteOut() override;
  Status CheckIntegrity(std::vector<std::string>* problems) override {
    return base_->CheckIntegrity(problems);
  }

 private:
  // Counts one change; the injected failure when it is due, else success.
  Status Change();

  std::unique_ptr<Store> base_;
  int changes_ = 0;
  int failFrom_ = 0;  // absolute change number from which changes fail; 0 = never
  int failCode_ = 0;
};

}  // namespace noxdb
