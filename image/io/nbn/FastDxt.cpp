#include "image/io/nbn/FastDxt.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "image/io/nbn/LittleEndian.h"

namespace nox::image::io {

namespace {

// A 4x4 block of 4-byte pixels in block order.
using Block = uint8_t[64];

inline unsigned pack565(const uint8_t* px) {
  return ((px[0] >> 3) << 11) | ((px[1] >> 2) << 5) | (px[2] >> 3);
}

// An end point widened back to 8 bits per channel from its 5:6:5 bits.
inline void widen(const uint8_t* px, int out[3]) {
  out[0] = (px[0] & 0xF8) | (px[0] >> 5);
  out[1] = (px[1] & 0xFC) | (px[1] >> 6);
  out[2] = (px[2] & 0xF8) | (px[2] >> 5);
}

inline int distance(const uint8_t* px, const int colour[3]) {
  return std::abs(px[0] - colour[0]) + std::abs(px[1] - colour[1]) + std::abs(px[2] - colour[2]);
}

// 8 bytes: the larger 5:6:5 end point, the smaller one, 2-bit indices of pixels 0 to 15.
void encodeColour(const Block& block, uint8_t* out) {
  int bestI = 0;
  int bestJ = 0;
  int bestSpread = -1;
  for (int i = 0; i < 16; ++i) {
    const uint8_t* a = block + 4 * i;
    for (int j = i + 1; j < 16; ++j) {
      const uint8_t* b = block + 4 * j;
      const int d0 = a[0] - b[0];
      const int d1 = a[1] - b[1];
      const int d2 = a[2] - b[2];
      const int spread = d0 * d0 + d1 * d1 + d2 * d2;
      if (spread > bestSpread) {
        bestSpread = spread;
        bestI = i;
        bestJ = j;
      }
    }
  }
  const uint8_t* high = block + 4 * bestI;
  const uint8_t* low = block + 4 * bestJ;
  if (pack565(low) > pack565(high)) std::swap(high, low);
  storeLE(out, pack565(high), 2);
  storeLE(out + 2, pack565(low), 2);

  int colour[4][3];
  widen(high, colour[0]);
  widen(low, colour[1]);
  for (int ch = 0; ch < 3; ++ch) {
    colour[2][ch] = (2 * colour[0][ch] + colour[1][ch]) / 3;
    colour[3][ch] = (colour[0][ch] + 2 * colour[1][ch]) / 3;
  }
  uint32_t indices = 0;
  for (int i = 15; i >= 0; --i) {
    const uint8_t* px = block + 4 * i;
    const int d0 = distance(px, colour[0]);
    const int d1 = distance(px, colour[1]);
    const int d2 = distance(px, colour[2]);
    const int d3 = distance(px, colour[3]);
    const uint32_t bit1 = (d1 > d2 && d0 > d2) || (d1 > d3 && d0 > d3);
    const uint32_t bit0 = d2 > d3 && d0 > d3;
    indices = (indices << 2) | (bit1 << 1) | bit0;
  }
  storeLE(out + 4, indices, 4);
}

// 8 bytes: the two alpha end points, inset by a sixteenth of their range, larger first,
// then 3-bit indices of pixels 0 to 15.
void encodeAlpha(const Block& block, uint8_t* out) {
  int lo = 255;
  int hi = 0;
  for (int i = 0; i < 16; ++i) {
    lo = std::min<int>(lo, block[4 * i + 3]);
    hi = std::max<int>(hi, block[4 * i + 3]);
  }
  const int inset = (hi - lo) >> 4;
  const int lo2 = std::min(lo + inset, 255);
  const int hi2 = hi < inset ? 0 : hi - inset;
  out[0] = static_cast<uint8_t>(hi2);
  out[1] = static_cast<uint8_t>(lo2);

  const int mid = (hi2 - lo2) / 14;
  uint8_t threshold[7];
  threshold[0] = static_cast<uint8_t>(lo2 + mid);
  for (int k = 6; k >= 1; --k)
    threshold[7 - k] = static_cast<uint8_t>((k * hi2 + (7 - k) * lo2) / 7 + mid);

  uint64_t indices = 0;
  for (int i = 0; i < 16; ++i) {
    const uint8_t a = block[4 * i + 3];
    unsigned index = 1;
    for (uint8_t t : threshold) index += a <= t;
    index &= 7;
    if (index < 2) index ^= 1;
    indices |= uint64_t(index) << (3 * i);
  }
  storeLE(out + 2, indices, 6);
}

template <bool Flipped, bool WithAlpha>
size_t encodeBlocks(const uint8_t* source, uint8_t* destination, int width, int height) {
  const size_t stride = size_t(width) * 4;
  uint8_t* out = destination;
  Block block;
  for (int by = 0; by + 4 <= height; by += 4) {
    for (int bx = 0; bx + 4 <= width; bx += 4) {
      for (int r = 0; r < 4; ++r) {
        const int row = Flipped ? height - 1 - (by + r) : by + r;
        const uint8_t* src = source + size_t(row) * stride + size_t(bx) * 4;
        uint8_t* dst = block + 16 * r;
        for (int x = 0; x < 4; ++x, src += 4, dst += 4) {
          dst[0] = src[Flipped ? 2 : 0];
          dst[1] = src[1];
          dst[2] = src[Flipped ? 0 : 2];
          dst[3] = src[3];
        }
      }
      if (WithAlpha) {
        encodeAlpha(block, out);
        out += 8;
      }
      encodeColour(block, out);
      out += 8;
    }
  }
  return static_cast<size_t>(out - destination);
}

}  // namespace

size_t encode_dxt1(const uint8_t* source, uint8_t* destination, int width, int height) {
  return encodeBlocks<false, false>(source, destination, width, height);
}

size_t encode_dxt5(const uint8_t* source, uint8_t* destination, int width, int height) {
  return encodeBlocks<false, true>(source, destination, width, height);
}

size_t encode_dxt1_flipped(const uint8_t* source, uint8_t* destination, int width, int height) {
  return encodeBlocks<true, false>(source, destination, width, height);
}

size_t encode_dxt5_flipped(const uint8_t* source, uint8_t* destination, int width, int height) {
  return encodeBlocks<true, true>(source, destination, width, height);
}

}  // namespace nox::image::io
