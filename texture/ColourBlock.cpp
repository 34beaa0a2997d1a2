#include "texture/ColourBlock.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "texture/Block.h"
#include "texture/ColourBlockSimd.h"
#include "texture/ColourFit.h"
#include "texture/DXTTables.h"

namespace nox::texture {
namespace {

constexpr int kColourChannels[3] = {kBlue, kGreen, kRed};

// Floyd-Steinberg neighbourhood over two rows of errors padded by one zero on each side:
// 7 from the left, 1 from up left, 5 from up, 3 from up right.
int diffused(const int* current, const int* up, int x) {
  return 7 * current[x] + up[x] + 5 * up[x + 1] + 3 * up[x + 2];
}

void expand565(uint16_t c, int out[3]) {
  out[kBlue] = expand5(c & 31);
  out[kGreen] = expand6((c >> 5) & 63);
  out[kRed] = expand5(c >> 11);
}

// Both end points widened, with the two colours between them (see expandPalette).
Palette palette(uint16_t c0, uint16_t c1, bool fourColour) {
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

// The line from colour 1 to colour 0 that pixels are projected on, the projections of the
// four colours (`stops`) and the thresholds half way between neighbouring stops.
struct MatchLine {
  int dir[3];
  int stops[4];
  int c0Point;
  int halfPoint;
  int c3Point;
};

MatchLine matchLine(const Palette& colours) {
  MatchLine line;
  for (int ch = 0; ch < 3; ++ch) line.dir[ch] = colours.colour[0][ch] - colours.colour[1][ch];
  for (int i = 0; i < 4; ++i) {
    const int* c = colours.colour[i];
    line.stops[i] = c[0] * line.dir[0] + c[1] * line.dir[1] + c[2] * line.dir[2];
  }
  line.c0Point = (line.stops[1] + line.stops[3]) >> 1;
  line.halfPoint = (line.stops[3] + line.stops[2]) >> 1;
  line.c3Point = (line.stops[2] + line.stops[0]) >> 1;
  return line;
}

MatchLine matchLine(Endpoints ends) {
  return matchLine(palette(ends.max16, ends.min16, ends.max16 > ends.min16));
}

// Index for a projection value between the stops of colours 1 (low) to 0 (high).
int pickIndex(int value, int c0Point, int halfPoint, int c3Point) {
  return value < halfPoint ? (value < c0Point ? 1 : 3) : (value < c3Point ? 2 : 0);
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

// A float limited to 0..top, then truncated; a NaN gives 0.
int limitTruncate(float v, int top) {
  if (!(v > 0.0f)) return 0;
  return v >= static_cast<float>(top) ? top : static_cast<int>(v);
}

// The colour channels of a block as planes of 16 values, indexed by block channel, with
// their sums: the scalar pixel set of ColourFit.h, and the reference for the SIMD builds.
// 16-bit lanes let the compiler vectorise the loops over them.
struct Planes {
  explicit Planes(const uint8_t* block) {
    uint32_t pixels[kBlockPixels];
    std::memcpy(pixels, block, sizeof(pixels));
    for (int ch = 0; ch < 3; ++ch) {
      sum[ch] = 0;
      for (int i = 0; i < kBlockPixels; ++i) {
        c[ch][i] = static_cast<int16_t>((pixels[i] >> (8 * ch)) & 255);
        sum[ch] += c[ch][i];
      }
    }
  }

  const int* sums() const { return sum; }

  // Power iteration on the covariance from the start vector maximum minus minimum.
  void axis(int out[3]) const {
    int range[3];
    alignas(16) int16_t centred[3][kBlockPixels];
    for (int ch = 0; ch < 3; ++ch) {
      const int16_t* v = c[ch];
      range[ch] = *std::max_element(v, v + kBlockPixels) - *std::min_element(v, v + kBlockPixels);
      const int mean = (sum[ch] + 8) >> 4;
      for (int i = 0; i < kBlockPixels; ++i) centred[ch][i] = static_cast<int16_t>(v[i] - mean);
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

    float vr = static_cast<float>(range[kRed]);
    float vg = static_cast<float>(range[kGreen]);
    float vb = static_cast<float>(range[kBlue]);
    for (int iteration = 0; iteration < 4; ++iteration) {
      const float nr = vr * cov[0] + vg * cov[1] + vb * cov[2];
      const float ng = vr * cov[1] + vg * cov[3] + vb * cov[4];
      const float nb = vr * cov[2] + vg * cov[4] + vb * cov[5];
      vr = nr;
      vg = ng;
      vb = nb;
    }
    // The signs are dropped: the axis always lies among positive values.
    vr = std::fabs(vr);
    vg = std::fabs(vg);
    vb = std::fabs(vb);

    out[kRed] = 148;
    out[kGreen] = 300;
    out[kBlue] = 58;
    const float magnitude = std::max(std::max(vr, vg), vb);
    if (magnitude >= 4.0f) {
      const float scale = 512.0f / magnitude;
      out[kRed] = static_cast<int>(vr * scale);
      out[kGreen] = static_cast<int>(vg * scale);
      out[kBlue] = static_cast<int>(vb * scale);
    }
  }

  // Projections of the pixels on `axis`, whose components fit 16 bits.
  void project(const int axis[3], int32_t* dots) const {
    const auto blue = static_cast<int16_t>(axis[kBlue]);
    const auto green = static_cast<int16_t>(axis[kGreen]);
    const auto red = static_cast<int16_t>(axis[kRed]);
    for (int i = 0; i < kBlockPixels; ++i) {
      dots[i] = c[kBlue][i] * blue + c[kGreen][i] * green + c[kRed][i] * red;
    }
  }

  void extremes(const int axis[3], int& lowest, int& highest) const {
    alignas(16) int32_t dots[kBlockPixels];
    project(axis, dots);
    firstExtremes(dots, lowest, highest);
  }

  uint16_t pixel565(int i) const { return to565(c[kRed][i], c[kGreen][i], c[kBlue][i]); }

  uint32_t indices(Endpoints ends) const { return indices(matchLine(ends)); }

  uint32_t indices(const MatchLine& line) const {
    alignas(16) int32_t dots[kBlockPixels];
    project(line.dir, dots);
    // Indices first, then packed, so that the compiler vectorises the choice.
    alignas(16) int32_t indices[kBlockPixels];
    for (int i = 0; i < kBlockPixels; ++i) {
      indices[i] = pickIndex(dots[i], line.c0Point, line.halfPoint, line.c3Point);
    }
    uint32_t mask = 0;
    for (int i = kBlockPixels - 1; i >= 0; --i) mask = mask << 2 | static_cast<uint32_t>(indices[i]);
    return mask;
  }

  // The projection error carried Floyd-Steinberg fashion over the block, in sixteenths.
  uint32_t ditheredIndices(const MatchLine& line) const {
    alignas(16) int32_t dots[kBlockPixels];
    project(line.dir, dots);
    const int c0Point = line.c0Point * 16;
    const int halfPoint = line.halfPoint * 16;
    const int c3Point = line.c3Point * 16;
    uint32_t mask = 0;
    int rows[2][6] = {};
    int* current = rows[0];
    int* up = rows[1];
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 4; ++x) {
        const int dot = dots[y * 4 + x];
        const int index = pickIndex(dot * 16 + diffused(current, up, x), c0Point, halfPoint, c3Point);
        current[x + 1] = dot - line.stops[index];
        mask |= static_cast<uint32_t>(index) << (2 * (y * 4 + x));
      }
      std::swap(current, up);
    }
    return mask;
  }

  Endpoints leastSquares(uint32_t mask) const {
    int16_t weights[kBlockPixels];
    uint32_t akku = 0;
    for (int i = 0; i < kBlockPixels; ++i) {
      const uint32_t step = (mask >> (2 * i)) & 3;
      weights[i] = static_cast<int16_t>(weightTable[step]);
      akku += productTable[step];
    }
    int at1[3];
    int at2[3];
    for (int ch = 0; ch < 3; ++ch) {
      at1[ch] = 0;
      for (int i = 0; i < kBlockPixels; ++i) at1[ch] += weights[i] * c[ch][i];
      at2[ch] = 3 * sum[ch] - at1[ch];
    }

    const int xx = static_cast<int>(akku >> 16);
    const int yy = static_cast<int>((akku >> 8) & 255);
    const int xy = static_cast<int>(akku & 255);
    // 3 * 31 / 255; the determinant is only 0 when all indices are equal, which the caller
    // has excluded.
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
    return {static_cast<uint16_t>(hi[kRed] << 11 | hi[kGreen] << 5 | hi[kBlue]),
            static_cast<uint16_t>(lo[kRed] << 11 | lo[kGreen] << 5 | lo[kBlue])};
  }

  alignas(16) int16_t c[3][kBlockPixels];
  int sum[3];
};

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
  const uint16_t a = p.pixel565(first);
  const uint16_t b = p.pixel565(second);
  return {std::max(a, b), std::min(a, b)};
}

Endpoints lumaPlanes(const Planes& p) {
  int axis[3];
  axis[kRed] = 54;
  axis[kGreen] = 182;
  axis[kBlue] = 20;
  alignas(16) int32_t luma[kBlockPixels];
  p.project(axis, luma);
  for (int32_t& v : luma) v >>= 8;
  int darkest;
  int brightest;
  firstExtremes(luma, darkest, brightest);
  return {p.pixel565(brightest), p.pixel565(darkest)};
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

// End points and indices of a block that is not all one colour, on the scalar planes.
ColourFit fitColours(const uint8_t* block, int quality, bool dither) {
  const Planes planes(block);
  // End points are searched on the dithered copy when dithering; indices always come from
  // the block itself.
  uint8_t dithered[kBlockBytes] = {};
  if (dither) ditherBlock(dithered, block);
  const Planes source = dither ? Planes(dithered) : planes;
  const auto match = [&planes, dither](int, Endpoints ends) -> uint32_t {
    if (ends.max16 == ends.min16) return 0;
    return dither ? planes.ditheredIndices(matchLine(ends)) : planes.indices(ends);
  };
  ColourFit fit;
  switch (quality) {
    case 1:
      fit.ends = pairPlanes(source);
      break;
    case 2:
      fit.ends = lumaPlanes(source);
      break;
    case 3:
      fit.ends = boxPlanes(source);
      break;
    default:
      fitPrincipalAxis<1>(&source, match, &fit);
      return fit;
  }
  fit.mask = match(0, fit.ends);
  return fit;
}

using BatchFit = void (*)(const uint8_t* const* blocks, ColourFit* fits);

BatchFit batchFit(ColourPath path) {
  switch (path) {
    case ColourPath::kSse2:
      return fitPrincipalAxisSse2;
    case ColourPath::kSse41:
      return fitPrincipalAxisSse41;
    case ColourPath::kAvx2:
      return fitPrincipalAxisAvx2;
    case ColourPath::kScalar:
      break;
  }
  return nullptr;
}

// The last steps of the encoder for a block with its fit: three-colour mode with
// transparent pixels when `transparent`, else max16 first; then the 8 bytes.
void finishColourBlock(uint8_t* dest, const uint8_t* block, ColourFit fit, bool transparent) {
  Endpoints& ends = fit.ends;
  if (transparent) {
    if (ends.max16 > ends.min16) std::swap(ends.max16, ends.min16);
    fit.mask = matchColoursOneBitAlpha(block, evalColours(ends.max16, ends.min16));
  } else if (ends.max16 < ends.min16) {
    std::swap(ends.max16, ends.min16);
    fit.mask ^= 0x55555555u;
  }
  writeColourBlock(dest, ends.max16, ends.min16, fit.mask);
}

}  // namespace

ColourPath fastestColourPath() {
  static const ColourPath fastest = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) return ColourPath::kAvx2;
    return __builtin_cpu_supports("sse4.1") ? ColourPath::kSse41 : ColourPath::kSse2;
  }();
  return fastest;
}

Palette expandPalette(uint16_t c0, uint16_t c1, bool fourColour) {
  return palette(c0, c1, fourColour);
}

Palette evalColours(uint16_t c0, uint16_t c1) { return palette(c0, c1, c0 > c1); }

uint32_t matchColours(const uint8_t* block, const Palette& colours, bool dither) {
  const Planes planes(block);
  const MatchLine line = matchLine(colours);
  return dither ? planes.ditheredIndices(line) : planes.indices(line);
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

Endpoints pairEndpoints(const uint8_t* source) { return pairPlanes(Planes(source)); }

Endpoints lumaEndpoints(const uint8_t* source) { return lumaPlanes(Planes(source)); }

Endpoints boxEndpoints(const uint8_t* source) { return boxPlanes(Planes(source)); }

Endpoints pcaEndpoints(const uint8_t* source) {
  const Planes planes(source);
  int axis[3];
  planes.axis(axis);
  int lowest;
  int highest;
  planes.extremes(axis, lowest, highest);
  return {planes.pixel565(highest), planes.pixel565(lowest)};
}

bool refineEndpoints(const uint8_t* source, uint16_t& max16, uint16_t& min16, uint32_t mask) {
  Endpoints ends{max16, min16};
  const bool changed = refine(Planes(source), ends, mask);
  max16 = ends.max16;
  min16 = ends.min16;
  return changed;
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
  // Little endian, as Block.h asserts.
  const uint32_t ends = c0 | static_cast<uint32_t>(c1) << 16;
  std::memcpy(dest, &ends, 4);
  std::memcpy(dest + 4, &mask, 4);
}

void encodeColourBlock(uint8_t* dest, const uint8_t* block, int quality, bool dither,
                       bool oneBitAlpha) {
  encodeColourBlocks(dest, 8, block, 1, quality, dither, oneBitAlpha, fastestColourPath());
}

void encodeColourBlocks(uint8_t* dest, int stride, const uint8_t* blocks, int count, int quality,
                        bool dither, bool oneBitAlpha, ColourPath path) {
  const BatchFit batch = dither || (quality >= 1 && quality <= 3) ? nullptr : batchFit(path);
  // Blocks for the batch fit, four at a time; a short batch repeats its last block.
  const uint8_t* queued[kBatchBlocks];
  uint8_t* queuedDest[kBatchBlocks];
  bool queuedTransparent[kBatchBlocks];
  int waiting = 0;
  const auto flush = [&]() {
    for (int i = waiting; i < kBatchBlocks; ++i) queued[i] = queued[waiting - 1];
    ColourFit fits[kBatchBlocks];
    batch(queued, fits);
    for (int i = 0; i < waiting; ++i) {
      finishColourBlock(queuedDest[i], queued[i], fits[i], queuedTransparent[i]);
    }
    waiting = 0;
  };

  for (int n = 0; n < count; ++n, blocks += kBlockBytes, dest += stride) {
    uint32_t pixels[kBlockPixels];
    std::memcpy(pixels, blocks, sizeof(pixels));
    uint32_t differences = 0;
    uint32_t common = ~0u;
    for (int i = 0; i < kBlockPixels; ++i) {
      differences |= pixels[i] ^ pixels[0];
      common &= pixels[i];
    }
    // Some alpha is below 255 exactly when the alpha bytes of all pixels do not and to 255.
    const bool transparent = oneBitAlpha && (common >> (8 * kAlpha) & 255) != 255;
    if (differences == 0) {
      const ColourFit fit{matchedPair(blocks[kRed], blocks[kGreen], blocks[kBlue]), 0xAAAAAAAAu};
      finishColourBlock(dest, blocks, fit, transparent);
    } else if (batch == nullptr) {
      finishColourBlock(dest, blocks, fitColours(blocks, quality, dither), transparent);
    } else {
      queued[waiting] = blocks;
      queuedDest[waiting] = dest;
      queuedTransparent[waiting] = transparent;
      if (++waiting == kBatchBlocks) flush();
    }
  }
  if (waiting > 0) flush();
}

}  // namespace nox::texture
