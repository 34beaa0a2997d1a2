#include "db/UnitBytes.h"

#include <algorithm>
#include <cstring>

namespace noxdb {

Status UnitBytes::Load(UnitRecord* unit, uint64_t seq) {
  if (wUnit_ == unit && wSeq_ == seq) return Status::Ok();
  Status st = Flush();
  if (!st.ok()) return st;
  bool found = false;
  st = store_->ReadChunk(unit->id, seq, &wBuf_, &found);
  if (!st.ok()) return st;
  if (!found) wBuf_.clear();
  wUnit_ = unit;
  wSeq_ = seq;
  return st;
}

Status UnitBytes::Write(UnitRecord* unit, uint64_t offset, const uint8_t* data, size_t n) {
  while (n > 0) {
    const uint64_t seq = offset / kChunkSize;
    const size_t at = static_cast<size_t>(offset % kChunkSize);
    const size_t take = std::min<size_t>(n, kChunkSize - at);
    Status st;
    if (at == 0 && take == kChunkSize && !(wUnit_ == unit && wSeq_ == seq)) {
      st = store_->WriteChunk(unit->id, seq, data, take);
    } else {
      st = Load(unit, seq);
      if (st.ok()) {
        if (wBuf_.size() < at + take) wBuf_.resize(at + take);
        std::memcpy(wBuf_.data() + at, data, take);
        wDirty_ = true;
      }
    }
    if (!st.ok()) return st;
    if (rUnit_ == unit->id && rSeq_ == seq) rUnit_ = 0;
    offset += take;
    data += take;
    n -= take;
    unit->size = std::max(unit->size, offset);
  }
  // Registered last: loading a chunk above flushes, and that flush forgets the list.
  if (std::find(resized_.begin(), resized_.end(), unit) == resized_.end()) resized_.push_back(unit);
  return Status::Ok();
}

Status UnitBytes::Forward(const UnitRecord& unit, uint64_t seq, const uint8_t** data,
                          size_t* size) {
  if (wUnit_ != nullptr && wUnit_->id == unit.id && wSeq_ == seq) {
    *data = wBuf_.data();
    *size = wBuf_.size();
    return Status::Ok();
  }
  if (rUnit_ != unit.id || rSeq_ != seq) {
    bool found = false;
    Status st = store_->ReadChunk(unit.id, seq, &rBuf_, &found);
    if (!st.ok()) return st;
    if (!found) rBuf_.clear();
    rUnit_ = unit.id;
    rSeq_ = seq;
  }
  *data = rBuf_.data();
  *size = rBuf_.size();
  return Status::Ok();
}

Status UnitBytes::Read(const UnitRecord& unit, uint64_t offset, uint8_t* data, size_t n,
                       size_t* got) {
  *got = 0;
  if (offset >= unit.size) return Status::Ok();
  n = static_cast<size_t>(std::min<uint64_t>(n, unit.size - offset));
  while (*got < n) {
    const uint64_t seq = offset / kChunkSize;
    const size_t at = static_cast<size_t>(offset % kChunkSize);
    const size_t take = std::min<size_t>(n - *got, kChunkSize - at);
    const uint8_t* chunk = nullptr;
    size_t have = 0;
    Status st = Forward(unit, seq, &chunk, &have);
    if (!st.ok()) return st;
    // Bytes inside the unit's size that no chunk holds were never written: zeros.
    const size_t stored = at < have ? std::min(take, have - at) : 0;
    if (stored) std::memcpy(data + *got, chunk + at, stored);
    std::memset(data + *got + stored, 0, take - stored);
    *got += take;
    offset += take;
  }
  return Status::Ok();
}

Status UnitBytes::Flush() {
  if (wDirty_) {
    Status st = store_->WriteChunk(wUnit_->id, wSeq_, wBuf_.data(), wBuf_.size());
    if (!st.ok()) return st;
    wDirty_ = false;
  }
  for (UnitRecord* unit : resized_) {
    Status st = store_->SetUnitSize(unit->id, unit->size);
    if (!st.ok()) return st;
  }
  resized_.clear();
  return Status::Ok();
}

void UnitBytes::Reset() {
  wUnit_ = nullptr;
  wBuf_.clear();
  wDirty_ = false;
  resized_.clear();
  rUnit_ = 0;
  rBuf_.clear();
}

}  // namespace noxdb
