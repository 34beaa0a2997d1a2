#include "image/io/nbn/LzCodec.h"

#include <algorithm>
#include <cstring>

#include "image/io/nbn/LittleEndian.h"

namespace nox::image::io {

namespace {

constexpr uint32_t kControlMarker = 0x80000000u;
constexpr size_t kShortInputLimit = 215;
constexpr size_t kShortHeader = 3;
constexpr size_t kLongHeader = 9;
constexpr size_t kMinBody = 9;
constexpr uint8_t kBaseFlags = 0x4C;
// Matches this far back or farther do not fit the tokens.
constexpr size_t kMaxDistance = 131071;

// Bucket of the 4 bytes `x` read at a position; only their first three count.
inline unsigned hashOf(uint32_t x) { return ((x >> 12) ^ x) & 4095; }

// Remembers position `p` in its bucket, in the slot after the latest.
inline void remember(LzWorkMemory& work, const uint8_t* p) {
  const unsigned h = hashOf(loadLE32(p));
  work.bucket[h][work.counter[h] & 15] = p;
  ++work.counter[h];
}

// Writes the shortest token for a match; `length` is 3 to 255, `distance` 3 to 131070.
uint8_t* emitToken(uint8_t* out, size_t distance, size_t length) {
  const uint32_t d = static_cast<uint32_t>(distance);
  const uint32_t n = static_cast<uint32_t>(length);
  if (n == 3 && d < 64) {
    *out = static_cast<uint8_t>(d << 2);
    return out + 1;
  }
  if (n == 3 && d < 16384) {
    storeLE(out, (d << 2) | 1, 2);
    return out + 2;
  }
  if (n <= 18 && d < 1024) {
    storeLE(out, (((d << 4) | (n - 3)) << 2) | 2, 2);
    return out + 2;
  }
  if (n <= 33) {
    storeLE(out, (d << 7) | ((n - 2) << 2) | 3, 3);
    return out + 3;
  }
  storeLE(out, (d << 15) | ((n - 3) << 7) | 3, 4);
  return out + 4;
}

// Closes the control word being filled: its items move down to bit 0, the marker to bit 31.
inline void storeControl(uint8_t* at, uint32_t c) { storeLE(at, (c >> 1) | kControlMarker, 4); }

struct Token {
  size_t size;
  size_t distance;
  size_t length;
};

// Reads the token at `in`, of which `available` bytes may be read. False when the block
// ends inside the token.
inline bool readToken(const uint8_t* in, size_t available, Token& token) {
  uint32_t v = 0;
  if (available >= 4) {
    v = loadLE32(in);
  } else {
    for (size_t i = 0; i < available; ++i) v |= uint32_t(in[i]) << (8 * i);
  }
  switch (v & 3) {
    case 0:
      token = {1, size_t((v & 0xFF) >> 2), 3};
      break;
    case 1:
      token = {2, size_t((v & 0xFFFF) >> 2), 3};
      break;
    case 2:
      token = {2, size_t((v & 0xFFFF) >> 6), size_t(((v >> 2) & 15) + 3)};
      break;
    default:
      if ((v & 127) != 3)
        token = {3, size_t((v >> 7) & 0x1FFFF), size_t(((v >> 2) & 31) + 2)};
      else
        token = {4, size_t(v >> 15), size_t(((v >> 7) & 255) + 3)};
  }
  return token.size <= available;
}

// Copies `length` bytes from `distance` bytes behind `out`, byte after byte in effect, so a
// short distance repeats the bytes it has just written. `room` is the number of bytes that
// may be written at `out`; with some to spare the copy moves 8, 4 or 3 bytes at a time and
// the bytes it writes past the match are overwritten by the next item.
inline void copyMatch(uint8_t* out, size_t distance, size_t length, size_t room) {
  const uint8_t* from = out - distance;
  if (distance >= 8 && room >= length + 7) {
    for (size_t k = 0; k < length; k += 8) std::memcpy(out + k, from + k, 8);
  } else if (distance >= 3 && room >= length + 3) {
    const size_t step = distance >= 4 ? 4 : 3;
    for (size_t k = 0; k < length; k += step) {
      // At distance 3 the four bytes read reach the first byte written: load, then store.
      uint32_t four;
      std::memcpy(&four, from + k, 4);
      std::memcpy(out + k, &four, 4);
    }
  } else {
    for (size_t k = 0; k < length; ++k) out[k] = from[k];
  }
}

// Number of literals a control word announces before its next match or its end, up to 4,
// from its low four bits (index 0: four literals).
constexpr uint8_t kLiteralRun[16] = {4, 0, 1, 0, 2, 0, 1, 0, 3, 0, 1, 0, 2, 0, 1, 0};

}  // namespace

size_t lz_pack_core(const uint8_t* source, size_t length, uint8_t* body, LzWorkMemory& work) {
  const size_t n = length;
  const uint8_t* first = source;
  const uint8_t* last = source + n - 1;
  const uint8_t* p = first;
  const uint8_t* giveUpFrom = first + (n / 4) * 3;
  uint8_t* control = body;
  uint8_t* out = body + 4;
  uint32_t c = kControlMarker;

  // Matches are searched while 11 bytes remain, so every 4-byte read below stays inside.
  if (n > 10) {
    const uint8_t* end = last - 10;
    while (p <= end) {
      if (c & 1) {
        const size_t done = static_cast<size_t>(p - first);
        if (p > giveUpFrom && static_cast<size_t>(out - body) > done - done / 32) return 0;
        storeControl(control, c);
        control = out;
        out += 4;
        c = kControlMarker;
      }

      const size_t limit = std::min<size_t>(255, static_cast<size_t>(last - p) - 3);
      const uint32_t x = loadLE32(p);
      const unsigned h = hashOf(x);
      const unsigned k = work.counter[h];
      const uint8_t* const* slots = work.bucket[h];
      const uint8_t* best = nullptr;
      size_t bestLength = 0;
      for (unsigned s = 0; s < std::min(k, 16u); ++s) {
        const uint8_t* candidate = slots[s];
        // A candidate at least 3 behind has its 4 bytes before or at `p`.
        if (candidate + 2 >= p || ((loadLE32(candidate) ^ x) & 0xFFFFFF) != 0) continue;
        size_t matched = 3;
        while (matched < limit && candidate[matched] == p[matched]) ++matched;
        if (matched > bestLength || (matched == bestLength && candidate > best)) {
          best = candidate;
          bestLength = matched;
        }
      }
      work.bucket[h][k & 15] = p;
      work.counter[h] = static_cast<uint8_t>(k + 1);

      const size_t distance = best ? static_cast<size_t>(p - best) : 0;
      if (bestLength < 3 || distance >= kMaxDistance) {
        *out++ = *p++;
        c >>= 1;
        continue;
      }
      for (const uint8_t* q = p + 1; q < p + bestLength; ++q) remember(work, q);
      c = (c >> 1) | kControlMarker;
      out = emitToken(out, distance, bestLength);
      p += bestLength;
    }
  }

  while (p <= last) {
    if (c & 1) {
      storeControl(control, c);
      control = out;
      out += 4;
      c = kControlMarker;
    }
    *out++ = *p++;
    c >>= 1;
  }
  while (!(c & 1)) c >>= 1;
  storeControl(control, c);

  const size_t bodyLength = static_cast<size_t>(out - body);
  if (bodyLength < kMinBody) {
    std::memset(out, 0, kMinBody - bodyLength);
    return kMinBody;
  }
  return bodyLength;
}

size_t lz_pack(const void* source, void* destination, size_t length, LzWorkMemory& work) {
  if (length < 1 || length > kLzMaxInput) return 0;
  const bool longHeader = length > kShortInputLimit;
  const size_t header = longHeader ? kLongHeader : kShortHeader;
  auto* block = static_cast<uint8_t*>(destination);

  std::memset(work.counter, 0, sizeof work.counter);
  const size_t bodyLength =
      lz_pack_core(static_cast<const uint8_t*>(source), length, block + header, work);
  uint8_t flags = kBaseFlags | (longHeader ? 2 : 0);
  size_t blockLength;
  if (bodyLength == 0) {
    std::memcpy(block + header, source, length);
    blockLength = header + length;
  } else {
    flags |= 1;
    blockLength = header + bodyLength;
  }

  block[0] = flags;
  const int width = longHeader ? 4 : 1;
  storeLE(block + 1, blockLength, width);
  storeLE(block + 1 + width, length, width);
  return blockLength;
}

size_t lz_unpack_core(const uint8_t* body, size_t bodySize, uint8_t* destination, size_t length) {
  size_t r = 0;
  size_t w = 0;
  uint32_t c = 1;
  while (w < length) {
    if (c == 1) {
      if (bodySize - r < 4) return 0;
      c = loadLE32(body + r);
      r += 4;
    }
    if (c & 1) {
      c >>= 1;
      Token token;
      if (!readToken(body + r, bodySize - r, token)) return 0;
      r += token.size;
      if (token.distance == 0 || token.distance > w || token.length > length - w) return 0;
      copyMatch(destination + w, token.distance, token.length, length - w);
      w += token.length;
    } else if (w + 11 < length && bodySize - r >= 4) {
      // Up to four literals in one move; the bytes of the move past them are overwritten.
      const unsigned run = kLiteralRun[c & 15];
      std::memcpy(destination + w, body + r, 4);
      c >>= run;
      w += run;
      r += run;
    } else {
      if (r >= bodySize) return 0;
      destination[w++] = body[r++];
      c >>= 1;
    }
  }
  return length;
}

size_t lz_unpack(const void* block, size_t blockSize, void* destination, size_t capacity) {
  const auto* in = static_cast<const uint8_t*>(block);
  if (blockSize < kShortHeader) return 0;
  const bool longHeader = in[0] & 2;
  const size_t header = longHeader ? kLongHeader : kShortHeader;
  if (blockSize < header) return 0;
  const size_t length = longHeader ? loadLE32(in + 5) : in[2];
  if (length == 0 || length > capacity) return 0;

  auto* out = static_cast<uint8_t*>(destination);
  if (!(in[0] & 1)) {
    if (blockSize - header < length) return 0;
    std::memcpy(out, in + header, length);
    return length;
  }
  return lz_unpack_core(in + header, blockSize - header, out, length);
}

}  // namespace nox::image::io
