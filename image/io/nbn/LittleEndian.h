#pragma once
// Little-endian loads and stores at any alignment, for the NBN header fields, the LZ stream
// and the DXT blocks. Each touches exactly the bytes its width names.

#include <cstdint>
#include <cstring>

namespace nox::image::io {

inline uint32_t loadLE32(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline uint32_t loadLE24(const uint8_t* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
}

inline uint32_t loadLE16(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8; }

// Stores the low `bytes` bytes of `value`, lowest first.
inline void storeLE(uint8_t* p, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(value >> (8 * i));
}

inline uint64_t loadLE64(const uint8_t* p) {
  return uint64_t(loadLE32(p)) | uint64_t(loadLE32(p + 4)) << 32;
}

inline double loadLEDouble(const uint8_t* p) {
  const uint64_t bits = loadLE64(p);
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

inline void storeLEDouble(uint8_t* p, double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  storeLE(p, bits, 8);
}

}  // namespace nox::image::io
