#include "texture/YCoCgBlock.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "texture/AlphaBlock.h"
#include "texture/Block.h"
#include "texture/ColourBlock.h"
#include "texture/DXTTables.h"

namespace nox::texture {
namespace {

struct Range {
  int lo;
  int hi;
};

Range channelRange(const uint8_t* block, int ch) {
  Range r{block[ch], block[ch]};
  for (int i = 1; i < kBlockPixels; ++i) {
    r.lo = std::min(r.lo, static_cast<int>(block[i * 4 + ch]));
    r.hi = std::max(r.hi, static_cast<int>(block[i * 4 + ch]));
  }
  return r;
}

// Chroma around 128 stretched by `factor`, modulo 256.
int stretch(int v, int factor) { return (((v + 128) & 255) * factor + 128) & 255; }

// Pulls both ends in by (range - 7) / 16 and rounds them to `bits` bits (kept in 8 bits).
Range insetQuantised(Range r, int bits) {
  const int range = r.hi - r.lo;
  const int lo = std::max((r.lo * 16 + range - 7) >> 4, 0);
  const int hi = std::min((r.hi * 16 + 7 - range) >> 4, 255);
  const int keep = 0xFF << (8 - bits) & 0xFF;
  return {(lo & keep) | (lo >> bits), (hi & keep) | (hi >> bits)};
}

}  // namespace

void encodeYCoCgBlock(uint8_t* dest, const uint8_t* block) {
  encodeAlphaBlock(dest, block, kAlpha);

  Range co = channelRange(block, kRed);
  Range cg = channelRange(block, kGreen);
  int m = 0;
  for (const int v : {co.lo, co.hi, cg.lo, cg.hi}) m = std::max(m, std::abs(v - 128));
  const int factor = m < 32 ? 4 : (m < 64 ? 2 : 1);
  const int blue = (factor - 1) * 8;

  uint8_t pixels[kBlockBytes];
  std::copy(block, block + kBlockBytes, pixels);
  for (int i = 0; i < kBlockPixels; ++i) {
    pixels[i * 4 + kRed] = static_cast<uint8_t>(stretch(pixels[i * 4 + kRed], factor));
    pixels[i * 4 + kGreen] = static_cast<uint8_t>(stretch(pixels[i * 4 + kGreen], factor));
  }
  co = insetQuantised({stretch(co.lo, factor), stretch(co.hi, factor)}, 5);
  cg = insetQuantised({stretch(cg.lo, factor), stretch(cg.hi, factor)}, 6);

  // Chroma that runs against the diagonal of the box is coded with green reversed.
  const int midCo = (co.lo + co.hi + 1) >> 1;
  const int midCg = (cg.lo + cg.hi + 1) >> 1;
  int across = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    across += (pixels[i * 4 + kGreen] < midCg) != (pixels[i * 4 + kRed] < midCo) ? 1 : 0;
  }
  if (co.lo != co.hi && across >= 9) std::swap(cg.lo, cg.hi);

  // Colours 0 (maximum end), 1 (minimum end), 2 and 3 (one and two thirds) as Co, Cg.
  const int colours[4][2] = {{co.hi, cg.hi},
                             {co.lo, cg.lo},
                             {co.hi + mul8(co.lo - co.hi, 85), cg.hi + mul8(cg.lo - cg.hi, 85)},
                             {co.hi + mul8(co.lo - co.hi, 170), cg.hi + mul8(cg.lo - cg.hi, 170)}};
  uint32_t mask = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    int d[4];
    for (int k = 0; k < 4; ++k) {
      d[k] = std::abs(pixels[i * 4 + kRed] - colours[k][0]) +
             std::abs(pixels[i * 4 + kGreen] - colours[k][1]);
    }
    const uint32_t high = (d[1] > d[2] && d[0] > d[2]) || (d[1] > d[3] && d[0] > d[3]);
    const uint32_t low = d[0] > d[3] && d[2] > d[3];
    mask |= (high << 1 | low) << (2 * i);
  }

  writeColourBlock(dest + 8, to565(co.hi, cg.hi, blue), to565(co.lo, cg.lo, blue), mask);
}

}  // namespace nox::texture
