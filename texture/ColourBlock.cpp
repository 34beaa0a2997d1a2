#include "texture/ColourBlock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "texture/Block.h"
#include "texture/DXTTables.h"

namespace nox::texture {
namespace {

constexpr int kColourChannels[3] = {kBlue, kGreen, kRed};

// The colour channels of a block as planes of 16 values, indexed by block channel, with
// their sums. 16-bit lanes let the compiler vectorise the loops over them with the SSE2
// multiply-add, minimum and maximum instructions.
struct Planes {
  alignas(16) int16_t c[3][kBlockPixels];
  int sum[3];
};

Planes toPlanes(const uint8_t* block) {
  uint32_t pixels[kBlockPixels];
  std::memcpy(pixels, block, sizeof(pixels));
  Planes p;
  for (int ch = 0; ch < 3; ++ch) {
    int sum = 0;
    for (int i = 0; i < kBlockPixels; ++i) {
      const auto v = static_cast<int16_t>((pixels[i] >> (8 * ch)) & 255);
      p.c[ch][i] = v;
      sum += v;
    }
    p.sum[ch] = sum;
  }
  return p;
}

void expand565(uint16_t c, int out[3]) {
  out[kBlue] = expand5(c & 31);
  out[kGreen] = expand6((c >> 5) & 63);
  out[kRed] = expand5(c >> 11);
}

uint16_t pixel565(const Planes& p, int i) {
  return to565(p.c[kRed][i], p.c[kGreen][i], p.c[kBlue][i]);
}

// The constant-colour pair of one colour: its one-third point lies closest to the colour.
Endpoints matchedPair(int r, int g, int b) {
  return {static_cast<uint16_t>(match5[r].mx << 11 | match6[g].mx << 5 | match5[b].mx),
          static_cast<uint16_t>(match5[r].mn << 11 | match6[g].mn << 5 | match5[b].mn)};
}

// Index for a projection value between the stops of colours 1 (low) to 0 (high).
inline int pickIndex(int value, int c0Point, int halfPoint, int c3Point) {
  return value < halfPoint ? (value < c0Point ? 1 : 3) : (value < c3Point ? 2 : 0);
}

// Floyd-Steinberg neighbourhood over two rows of errors padded by one zero on each side:
// 7 from the left, 1 from up left, 5 from up, 3 from up right.
int diffused(const int* current, const int* up, int x) {
  return 7 * current[x] + up[x] + 5 * up[x + 1] + 3 * up[x + 2];
}

// A float limited to 0..top, then truncated; a NaN gives 0.
int limitTruncate(float v, int top) {
  if (!(v > 0.0f)) return 0;
  return v >= static_cast<float>(top) ? top : static_cast<int>(v);
}

// Projections of the block's pixels on `axis` (block channel order).
void project(const Planes& p, const int axis[3], int32_t* dots) {
  const auto blue = static_cast<int16_t>(axis[kBlue]);
  const auto green = static_cast<int16_t>(axis[kGreen]);
  const auto red = static_cast<int16_t>(axis[kRed]);
  for (int i = 0; i < kBlockPixels; ++i) {
    dots[i] = p.c[kBlue][i] * blue + p.c[kGreen][i] * green + p.c[kRed][i] * red;
  }
}

// The first positions of the smallest and of the largest of 16 values.
void firstExtremes(const int32_t* values, int& lowest, int& highest) {
  int32_t lo = values[0];
  int32_t hi = values[0];
  for (int i = 1; i < kBlockPixels; ++i) {
    lo = values[i] < lo ? values[i] : lo;
    hi = values[i] > hi ? values[i] : hi;
  }
  lowest = 0;
  while (values[lowest] != lo) ++lowest;
  highest = 0;
  while (values[highest] != hi) ++highest;
}

uint32_t matchPlanes(const Planes& p, const Palette& colours, bool dither) {
  int dir[3];
  for (int ch = 0; ch < 3; ++ch) dir[ch] = colours.colour[0][ch] - colours.colour[1][ch];
  int stops[4];
  for (int i = 0; i < 4; ++i) {
    const int* c = colours.colour[i];
    stops[i] = c[0] * dir[0] + c[1] * dir[1] + c[2] * dir[2];
  }
  int c0Point = (stops[1] + stops[3]) >> 1;
  int halfPoint = (stops[3] + stops[2]) >> 1;
  int c3Point = (stops[2] + stops[0]) >> 1;
  alignas(16) int32_t dots[kBlockPixels];
  project(p, dir, dots);

  uint32_t mask = 0;
  if (!dither) {
    alignas(16) int32_t indices[kBlockPixels];
    for (int i = 0; i < kBlockPixels; ++i) {
      indices[i] = pickIndex(dots[i], c0Point, halfPoint, c3Point);
    }
    for (int i = kBlockPixels - 1; i >= 0; --i) {
      mask = mask << 2 | static_cast<uint32_t>(indices[i]);
    }
    return mask;
  }

  c0Point *= 16;
  halfPoint *= 16;
  c3Point *= 16;
  int rows[2][6] = {};
  int* current = rows[0];
  int* up = rows[1];
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) {
      const int dot = dots[y * 4 + x];
      const int value = dot * 16 + diffused(current, up, x);
      const int index = pickIndex(value, c0Point, halfPoint, c3Point);
      current[x + 1] = dot - stops[index];
      mask |= static_cast<uint32_t>(index) << (2 * (y * 4 + x));
    }
    std::swap(current, up);
  }
  return mask;
}

Endpoints pcaPlanes(const Planes& p) {
  int lo[3];
  int hi[3];
  int mean[3];
  alignas(16) int16_t centred[3][kBlockPixels];
  for (int ch = 0; ch < 3; ++ch) {
    int16_t mn = 255;
    int16_t mx = 0;
    for (int i = 0; i < kBlockPixels; ++i) {
      mn = p.c[ch][i] < mn ? p.c[ch][i] : mn;
      mx = p.c[ch][i] > mx ? p.c[ch][i] : mx;
    }
    lo[ch] = mn;
    hi[ch] = mx;
    mean[ch] = (p.sum[ch] + 8) >> 4;
    for (int i = 0; i < kBlockPixels; ++i) {
      centred[ch][i] = static_cast<int16_t>(p.c[ch][i] - mean[ch]);
    }
  }

  // Covariance sums in the order red-red, red-green, red-blue, green-green, green-blue,
  // blue-blue.
  const int16_t* r = centred[kRed];
  const int16_t* g = centred[kGreen];
  const int16_t* b = centred[kBlue];
  int sums[6] = {};
  for (int i = 0; i < kBlockPixels; ++i) sums[0] += r[i] * r[i];
  for (int i = 0; i < kBlockPixels; ++i) sums[1] += r[i] * g[i];
  for (int i = 0; i < kBlockPixels; ++i) sums[2] += r[i] * b[i];
  for (int i = 0; i < kBlockPixels; ++i) sums[3] += g[i] * g[i];
  for (int i = 0; i < kBlockPixels; ++i) sums[4] += g[i] * b[i];
  for (int i = 0; i < kBlockPixels; ++i) sums[5] += b[i] * b[i];
  float cov[6];
  for (int k = 0; k < 6; ++k) cov[k] = static_cast<float>(sums[k]) / 255.0f;

  float vr = static_cast<float>(hi[kRed] - lo[kRed]);
  float vg = static_cast<float>(hi[kGreen] - lo[kGreen]);
  float vb = static_cast<float>(hi[kBlue] - lo[kBlue]);
  for (int iteration = 0; iteration < 4; ++iteration) {
    const float r = vr * cov[0] + vg * cov[1] + vb * cov[2];
    const float g = vr * cov[1] + vg * cov[3] + vb * cov[4];
    const float b = vr * cov[2] + vg * cov[4] + vb * cov[5];
    vr = r;
    vg = g;
    vb = b;
  }
  vr = std::fabs(vr);
  vg = std::fabs(vg);
  vb = std::fabs(vb);

  int axis[3];
  axis[kRed] = 148;
  axis[kGreen] = 300;
  axis[kBlue] = 58;
  const float magnitude = std::max(std::max(vr, vg), vb);
  if (magnitude >= 4.0f) {
    const float scale = 512.0f / magnitude;
    axis[kRed] = static_cast<int>(vr * scale);
    axis[kGreen] = static_cast<int>(vg * scale);
    axis[kBlue] = static_cast<int>(vb * scale);
  }

  alignas(16) int32_t dots[kBlockPixels];
  project(p, axis, dots);
  int lowest;
  int highest;
  firstExtremes(dots, lowest, highest);
  return {pixel565(p, highest), pixel565(p, lowest)};
}

bool refinePlanes(const Planes& p, uint16_t& max16, uint16_t& min16, uint32_t mask) {
  const uint16_t oldMax = max16;
  const uint16_t oldMin = min16;

  if (((mask * 4) ^ mask) < 4) {
    const Endpoints pair =
        matchedPair((p.sum[kRed] + 8) >> 4, (p.sum[kGreen] + 8) >> 4, (p.sum[kBlue] + 8) >> 4);
    max16 = pair.max16;
    min16 = pair.min16;
    return max16 != oldMax || min16 != oldMin;
  }

  alignas(16) int16_t weights[kBlockPixels];
  uint32_t akku = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    const uint32_t step = (mask >> (2 * i)) & 3;
    weights[i] = static_cast<int16_t>(weightTable[step]);
    akku += productTable[step];
  }
  int at1[3];
  int at2[3];
  for (int ch = 0; ch < 3; ++ch) {
    int weighted = 0;
    for (int i = 0; i < kBlockPixels; ++i) weighted += weights[i] * p.c[ch][i];
    at1[ch] = weighted;
    at2[ch] = 3 * p.sum[ch] - weighted;
  }

  const int xx = static_cast<int>(akku >> 16);
  const int yy = static_cast<int>((akku >> 8) & 255);
  const int xy = static_cast<int>(akku & 255);
  // 3 * 31 / 255; the determinant is only 0 when all indices are equal, caught above.
  const float f = 0.3647059f / static_cast<float>(yy * xx - xy * xy);
  const float fGreen = f * 63.0f / 31.0f;

  int hi[3];
  int lo[3];
  for (int ch = 0; ch < 3; ++ch) {
    const float scale = ch == kGreen ? fGreen : f;
    const int top = ch == kGreen ? 63 : 31;
    hi[ch] = limitTruncate(static_cast<float>(at1[ch] * yy - at2[ch] * xy) * scale + 0.5f, top);
    lo[ch] = limitTruncate(static_cast<float>(at2[ch] * xx - at1[ch] * xy) * scale + 0.5f, top);
  }
  max16 = static_cast<uint16_t>(hi[kRed] << 11 | hi[kGreen] << 5 | hi[kBlue]);
  min16 = static_cast<uint16_t>(lo[kRed] << 11 | lo[kGreen] << 5 | lo[kBlue]);
  return max16 != oldMax || min16 != oldMin;
}

// Both end points widened, with the two colours between them (see expandPalette).
inline Palette palette(uint16_t c0, uint16_t c1, bool fourColour) {
  Palette p{};
  expand565(c0, p.colour[0]);
  expand565(c1, p.colour[1]);
  for (int ch = 0; ch < 3; ++ch) {
    const int a = p.colour[0][ch];
    const int b = p.colour[1][ch];
    if (fourColour) {
      p.colour[2][ch] = a + mul8(b - a, 85);
      p.colour[3][ch] = a + mul8(b - a, 170);
    } else {
      p.colour[2][ch] = (a + b) >> 1;
      p.colour[3][ch] = 0;
    }
  }
  return p;
}

// Indices for end points found by a search: none are needed when both are equal.
uint32_t matchedMask(const Planes& block, Endpoints ends, bool dither) {
  return ends.max16 != ends.min16
             ? matchPlanes(block, palette(ends.max16, ends.min16, ends.max16 > ends.min16), dither)
             : 0;
}

Endpoints pairPlanes(const Planes& p) {
  int best = -1;
  int first = 0;
  int second = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    for (int j = i + 1; j < kBlockPixels; ++j) {
      int distance = 0;
      for (int ch = 0; ch < 3; ++ch) {
        const int d = p.c[ch][i] - p.c[ch][j];
        distance += d * d;
      }
      if (distance > best) {
        best = distance;
        first = i;
        second = j;
      }
    }
  }
  const uint16_t a = pixel565(p, first);
  const uint16_t b = pixel565(p, second);
  return {std::max(a, b), std::min(a, b)};
}

Endpoints lumaPlanes(const Planes& p) {
  int axis[3];
  axis[kRed] = 54;
  axis[kGreen] = 182;
  axis[kBlue] = 20;
  alignas(16) int32_t luma[kBlockPixels];
  project(p, axis, luma);
  for (int32_t& v : luma) v >>= 8;
  int darkest;
  int brightest;
  firstExtremes(luma, darkest, brightest);
  return {pixel565(p, brightest), pixel565(p, darkest)};
}

Endpoints boxPlanes(const Planes& p) {
  int hi[3];
  int lo[3];
  for (int ch = 0; ch < 3; ++ch) {
    const int mx = *std::max_element(p.c[ch], p.c[ch] + kBlockPixels);
    const int mn = *std::min_element(p.c[ch], p.c[ch] + kBlockPixels);
    const int inset = (mx - mn) >> 4;
    hi[ch] = std::max(mx - inset, 0);
    lo[ch] = std::min(mn + inset, 255);
  }
  return {to565(hi[kRed], hi[kGreen], hi[kBlue]), to565(lo[kRed], lo[kGreen], lo[kBlue])};
}

}  // namespace

Palette expandPalette(uint16_t c0, uint16_t c1, bool fourColour) {
  return palette(c0, c1, fourColour);
}

Palette evalColours(uint16_t c0, uint16_t c1) { return palette(c0, c1, c0 > c1); }

uint32_t matchColours(const uint8_t* block, const Palette& colours, bool dither) {
  return matchPlanes(toPlanes(block), colours, dither);
}

uint32_t matchColoursOneBitAlpha(const uint8_t* block, const Palette& colours) {
  uint32_t mask = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    const uint8_t* p = block + i * 4;
    int index = 3;
    if (p[kAlpha] >= 128) {
      int distance[3];
      for (int k = 0; k < 3; ++k) {
        distance[k] = 0;
        for (int ch = 0; ch < 3; ++ch) {
          const int d = p[ch] - colours.colour[k][ch];
          distance[k] += d * d;
        }
      }
      if (distance[0] < distance[1] && distance[0] < distance[2]) {
        index = 0;
      } else {
        index = distance[1] < distance[2] ? 1 : 2;
      }
    }
    mask |= static_cast<uint32_t>(index) << (2 * i);
  }
  return mask;
}

Endpoints pairEndpoints(const uint8_t* source) { return pairPlanes(toPlanes(source)); }

Endpoints lumaEndpoints(const uint8_t* source) { return lumaPlanes(toPlanes(source)); }

Endpoints boxEndpoints(const uint8_t* source) { return boxPlanes(toPlanes(source)); }

Endpoints pcaEndpoints(const uint8_t* source) { return pcaPlanes(toPlanes(source)); }

bool refineEndpoints(const uint8_t* source, uint16_t& max16, uint16_t& min16, uint32_t mask) {
  return refinePlanes(toPlanes(source), max16, min16, mask);
}

void ditherBlock(uint8_t* dest, const uint8_t* block) {
  for (const int ch : kColourChannels) {
    const uint8_t* quant = (ch == kGreen ? quant6 : quant5).data() + kQuantOffset;
    int rows[2][6] = {};
    int* current = rows[0];
    int* up = rows[1];
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 4; ++x) {
        const int at = (y * 4 + x) * 4 + ch;
        const int value = block[at];
        // Diffused errors can reach past the table's margin of 8; its end entries repeat,
        // so limiting the index keeps every result the table would give.
        const int index =
            std::clamp(value + (diffused(current, up, x) >> 4), -kQuantOffset, 255 + kQuantOffset);
        dest[at] = quant[index];
        current[x + 1] = value - dest[at];
      }
      std::swap(current, up);
    }
  }
}

void writeColourBlock(uint8_t* dest, uint16_t c0, uint16_t c1, uint32_t mask) {
  dest[0] = static_cast<uint8_t>(c0);
  dest[1] = static_cast<uint8_t>(c0 >> 8);
  dest[2] = static_cast<uint8_t>(c1);
  dest[3] = static_cast<uint8_t>(c1 >> 8);
  for (int k = 0; k < 4; ++k) dest[4 + k] = static_cast<uint8_t>(mask >> (8 * k));
}

void encodeColourBlock(uint8_t* dest, const uint8_t* block, int quality, bool dither,
                       bool oneBitAlpha) {
  uint32_t pixels[kBlockPixels];
  std::memcpy(pixels, block, sizeof(pixels));
  uint32_t differences = 0;
  uint32_t common = ~0u;
  for (int i = 0; i < kBlockPixels; ++i) {
    differences |= pixels[i] ^ pixels[0];
    common &= pixels[i];
  }
  const bool constant = differences == 0;
  // Some alpha is below 255 exactly when the alpha bytes of all pixels do not and to 255.
  const bool hasAlpha = (common >> (8 * kAlpha) & 255) != 255;

  Endpoints ends;
  uint32_t mask;
  if (constant) {
    ends = matchedPair(block[kRed], block[kGreen], block[kBlue]);
    mask = 0xAAAAAAAAu;
  } else {
    const Planes planes = toPlanes(block);
    // End points are searched on the dithered copy when dithering; indices always come from
    // the block itself.
    Planes ditheredPlanes;
    const Planes* source = &planes;
    if (dither) {
      uint8_t dithered[kBlockBytes] = {};
      ditherBlock(dithered, block);
      ditheredPlanes = toPlanes(dithered);
      source = &ditheredPlanes;
    }
    bool matched = false;
    switch (quality) {
      case 1:
        ends = pairPlanes(*source);
        break;
      case 2:
        ends = lumaPlanes(*source);
        break;
      case 3:
        ends = boxPlanes(*source);
        break;
      default:
        ends = pcaPlanes(*source);
        mask = matchedMask(planes, ends, dither);
        // End points that the refinement leaves alone would give the same mask again.
        matched = !refinePlanes(*source, ends.max16, ends.min16, mask);
        break;
    }
    if (!matched) mask = matchedMask(planes, ends, dither);
  }

  if (oneBitAlpha && hasAlpha) {
    if (ends.max16 > ends.min16) std::swap(ends.max16, ends.min16);
    mask = matchColoursOneBitAlpha(block, evalColours(ends.max16, ends.min16));
  } else if (ends.max16 < ends.min16) {
    std::swap(ends.max16, ends.min16);
    mask ^= 0x55555555u;
  }
  writeColourBlock(dest, ends.max16, ends.min16, mask);
}

}  // namespace nox::texture
