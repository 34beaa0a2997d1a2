#pragma once
// The LZ codec of NBN levels: the QuickLZ level 3 block format, without a streaming buffer.
//
// A block is a header of 3 bytes (inputs of up to 215 bytes) or 9 bytes (longer inputs) and a
// body. Header: flags (0x4C | bit 0 "body packed" | bit 1 "long header"), then the block
// length and the input length, each 1 or 4 bytes, little-endian. A packed body is a series of
// 32-bit control words, each governing up to 31 items (bit clear: one literal byte, bit set:
// one match token of 1 to 4 bytes). Packing keeps no state between calls; unpacking needs
// none at all.

#include <cstddef>
#include <cstdint>

namespace nox::image::io {

// Work memory of one packing call: 4096 hash buckets of the 16 latest input positions and a
// one-byte counter per bucket. Its 528 KB are meant to live on the caller's stack; neither
// table has to be cleared by the caller.
struct LzWorkMemory {
  const uint8_t* bucket[4096][16];
  uint8_t counter[4096];
};

// No block unpacks to more than this many times its own size: the longest match, 258 bytes,
// takes a four-byte token and one control bit.
constexpr size_t kLzBestRatio = 65;

// Largest input `lz_pack` accepts.
constexpr size_t kLzMaxInput = 0xFFFFFE6F;

// Bytes the destination of `lz_pack` must offer for an input of `length` bytes: the header,
// the input, a control word per 31 items and the minimum body of 9.
constexpr size_t lz_pack_bound(size_t length) { return length + length / 7 + 32; }

// Packs `length` bytes of `source` into one block at `destination`, which must hold
// lz_pack_bound(length) bytes. Input that does not pack well is stored as it stands (flags
// 0x4C or 0x4E). Returns the block length, or 0 for a length below 1 or above kLzMaxInput.
// A packed body is reported as at least 9 bytes long; bytes of those 9 that hold no data
// are written as zero.
size_t lz_pack(const void* source, void* destination, size_t length, LzWorkMemory& work);

// The body of a packed block: packs `length` bytes (at least 1) of `source` to `body`, with
// the counters of `work` zeroed by the caller. Returns the body length (at least 9), or 0
// when the body turned out no smaller than the input and packing gave up.
size_t lz_pack_core(const uint8_t* source, size_t length, uint8_t* body, LzWorkMemory& work);

// Unpacks the block of `blockSize` bytes at `block` into `destination`, which has room for
// `capacity` bytes. Returns the input length the block names, having written exactly that
// many bytes, or 0 when the block is damaged: too short for its header or body, longer
// than `capacity` once unpacked, or holding a match that reaches before the output or past
// its end. It never reads or writes outside the two given ranges, whatever the bytes say.
// Unlike packing it needs no work memory.
size_t lz_unpack(const void* block, size_t blockSize, void* destination, size_t capacity);

// Unpacks a packed body of `bodySize` bytes into exactly `length` bytes of `destination`.
// Returns `length`, or 0 for a damaged body, under the same bounds as `lz_unpack`.
size_t lz_unpack_core(const uint8_t* body, size_t bodySize, uint8_t* destination, size_t length);

}  // namespace nox::image::io
