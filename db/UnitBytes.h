#pragma once
// Byte-addressed reading and writing of units that the store keeps as fixed-size chunks.
// Memory stays bounded whatever a unit's size: one chunk is buffered for writing and one
// for reading. Writes that cover a whole chunk go to the store without a copy.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "db/storage/Store.h"

namespace noxdb {

class UnitBytes {
 public:
  // A multiple of the 51,200-byte packets that raw writes are counted in, and equal to the
  // session's transfer buffer, so that a packet of a streamed clip is exactly one chunk.
  static constexpr uint32_t kChunkSize = 512000;

  explicit UnitBytes(Store* store) : store_(store) {}

  // Writes n bytes at `offset` of `unit`, growing unit->size; a gap reads as zeros. The
  // record must stay alive until Flush.
  Status Write(UnitRecord* unit, uint64_t offset, const uint8_t* data, size_t n);
  // Reads up to n bytes at `offset`; *got is what stands before the unit's end.
  Status Read(const UnitRecord& unit, uint64_t offset, uint8_t* data, size_t n, size_t* got);
  // Stores the buffered chunk and the sizes of the units written since the last flush.
  Status Flush();
  // Drops buffers without storing them, after the transaction they belong to ended.
  void Reset();

  // Flushes, then records the unit's content digest (CRC-32C of its bytes). A unit written
  // from its start in order was digested on the way; any other is read back once.
  Status Seal(UnitRecord* unit);
  // The content digest of a stored unit, read from the store.
  Status Digest(const UnitRecord& unit, std::string* digest);

  class Hash;

 private:
  Status Load(UnitRecord* unit, uint64_t seq);
  Status Forward(const UnitRecord& unit, uint64_t seq, const uint8_t** data, size_t* size);

  Store* store_;
  UnitRecord* wUnit_ = nullptr;  // unit of the write buffer
  uint64_t wSeq_ = 0;
  std::vector<uint8_t> wBuf_;
  bool wDirty_ = false;
  std::vector<UnitRecord*> resized_;
  std::map<int64_t, std::shared_ptr<Hash>> hashes_;  // by unit id
  int64_t rUnit_ = 0;  // unit of the read cache
  uint64_t rSeq_ = 0;
  std::vector<uint8_t> rBuf_;
};

}  // namespace noxdb
