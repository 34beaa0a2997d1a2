#include "db/UnitBytes.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>

namespace noxdb {

namespace {

// CRC-32C (Castagnoli), the checksum file systems keep for their data blocks: it finds every
// flipped byte and burst up to 32 bits, and with the instruction SSE 4.2 has for it, it costs
// a streamed unit next to nothing (a cryptographic digest took longer than the writing).
uint32_t Crc32cSoftware(uint32_t crc, const uint8_t* p, size_t n) {
  static const auto table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c >> 1) ^ (0x82F63B78u & (0u - (c & 1)));
      t[i] = c;
    }
    return t;
  }();
  while (n--) crc = table[(crc ^ *p++) & 0xFF] ^ (crc >> 8);
  return crc;
}

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) uint32_t Crc32cHardware(uint32_t crc, const uint8_t* p, size_t n) {
  uint64_t c = crc;
  for (; n >= 8; n -= 8, p += 8) {
    uint64_t word;
    std::memcpy(&word, p, 8);
    c = _mm_crc32_u64(c, word);
  }
  uint32_t c32 = static_cast<uint32_t>(c);
  for (; n > 0; --n) c32 = _mm_crc32_u8(c32, *p++);
  return c32;
}
#endif

uint32_t Crc32c(uint32_t crc, const uint8_t* p, size_t n) {
#if defined(__x86_64__)
  static const bool hardware = __builtin_cpu_supports("sse4.2");
  if (hardware) return ~Crc32cHardware(~crc, p, n);
#endif
  return ~Crc32cSoftware(~crc, p, n);
}

}  // namespace

// The content digest of a unit's bytes as far as they came in order from its start.
class UnitBytes::Hash {
 public:
  // False once bytes came out of order: the digest must then be read back.
  bool Add(uint64_t offset, const uint8_t* data, size_t n) {
    inOrder_ = inOrder_ && offset == upTo_;
    if (inOrder_ && n > 0) crc_ = Crc32c(crc_, data, n);
    upTo_ += inOrder_ ? n : 0;
    return inOrder_;
  }
  void Break() { inOrder_ = false; }
  bool Covers(uint64_t size) const { return inOrder_ && upTo_ == size; }
  // Four bytes, most significant first.
  std::string Finish() const {
    return {static_cast<char>(crc_ >> 24), static_cast<char>(crc_ >> 16), static_cast<char>(crc_ >> 8),
            static_cast<char>(crc_)};
  }

 private:
  uint32_t crc_ = 0;
  uint64_t upTo_ = 0;
  bool inOrder_ = true;
};

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
  auto& hash = hashes_[unit->id];
  if (!hash) {
    hash = std::make_shared<Hash>();
    // Bytes stored before this writer came are not in the digest.
    if (unit->size > 0) hash->Break();
  }
  hash->Add(offset, data, n);
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

Status UnitBytes::Digest(const UnitRecord& unit, std::string* digest) {
  Hash hash;
  std::vector<uint8_t> buffer(kChunkSize);
  for (uint64_t at = 0; at < unit.size;) {
    size_t got = 0;
    Status st = Read(unit, at, buffer.data(), buffer.size(), &got);
    if (!st.ok()) return st;
    hash.Add(at, buffer.data(), got);
    at += got;
  }
  *digest = hash.Finish();
  return Status::Ok();
}

Status UnitBytes::Seal(UnitRecord* unit) {
  Status st = Flush();
  if (!st.ok()) return st;
  auto it = hashes_.find(unit->id);
  if (it != hashes_.end() && it->second->Covers(unit->size)) {
    unit->digest = it->second->Finish();
  } else if (!(st = Digest(*unit, &unit->digest)).ok()) {
    return st;
  }
  if (it != hashes_.end()) hashes_.erase(it);
  return store_->SetUnitDigest(unit->id, unit->digest);
}

void UnitBytes::Reset() {
  hashes_.clear();
  wUnit_ = nullptr;
  wBuf_.clear();
  wDirty_ = false;
  resized_.clear();
  rUnit_ = 0;
  rBuf_.clear();
}

}  // namespace noxdb
