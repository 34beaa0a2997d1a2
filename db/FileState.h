#pragma once
// What an open database file holds: its units in order, and its checksum.

#include <string>
#include <vector>

#include "db/NOFChecksum.h"

class FileState {
 public:
  class UNIT {
   public:
    UNIT(std::string name, int index, unsigned char status)
        : name_(std::move(name)), index_(index), status_(status) {}
    std::string name() const { return name_; }
    // The index that CNDBFile::SelectUnitByIndex takes (from 1).
    int index() const { return index_; }
    // 0 for an ordinary unit.
    unsigned char status() const { return status_; }

   private:
    std::string name_;
    int index_;
    unsigned char status_;
  };

  FileState() = default;
  ~FileState() = default;

  std::vector<UNIT> units;
  // The file's stored checksum; null when it has none.
  const CNOFChecksum* Checksum() const { return hasChecksum_ ? &checksum_ : nullptr; }
  void SetChecksum(const CNOFChecksum* checksum) {
    hasChecksum_ = checksum != nullptr;
    if (checksum) checksum_ = *checksum;
  }

 private:
  CNOFChecksum checksum_;
  bool hasChecksum_ = false;
};
