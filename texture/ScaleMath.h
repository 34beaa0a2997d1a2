#pragma once
// Arithmetic shared by the mip scalers: gamma tables, the fixed-point blends and the
// sampling of a source picture whose reads never leave it.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nox::texture::detail {

// Byte conversions into and out of linear light, tabled once per scaler call. Both tables
// hold exactly what the per-sample pow() formula gives; without gamma they are the identity,
// so every scaler has a single code path.
class GammaCurve {
 public:
  GammaCurve(int gammaCorrect, float gamma);
  int toLinear(uint8_t v) const { return toLinear_[v]; }
  // r must already be limited to 0..255.
  uint8_t fromLinear(int r) const { return fromLinear_[r]; }

 private:
  uint8_t toLinear_[256];
  uint8_t fromLinear_[256];
};

// Interleaved 8-bit picture, `depth` slices of `height` rows. A coordinate outside the picture
// reads the nearest pixel inside: the scalers' edge reads (one pixel past a row of width 1,
// the row below the last, the column left of the first) would otherwise leave the row or the
// buffer, and only the pixels that touch such a read can differ from reading memory as it lies.
struct Picture {
  const uint8_t* pixels;
  int width;
  int height;
  int depth;
  int components;

  const uint8_t* at(int x, int y, int z = 0) const {
    x = x < 0 ? 0 : (x >= width ? width - 1 : x);
    y = y < 0 ? 0 : (y >= height ? height - 1 : y);
    z = z < 0 ? 0 : (z >= depth ? depth - 1 : z);
    return pixels + ((static_cast<size_t>(z) * height + y) * width + x) * components;
  }
};

inline int clampByte(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

// 8.8 fixed-point blend: a + (b - a) * f / 255 rounded.
inline int mix(int d, int f) {
  int u = d * f + 128;
  return (u + (u >> 8)) >> 8;
}
inline int lerp(int a, int b, int f) { return a + mix(b - a, f); }

// Cubic through p0..p3 at p1 + f / 128, in wrapping 32-bit two's complement arithmetic.
inline int cubic(int p0, int p1, int p2, int p3, int f) {
  uint32_t t = static_cast<uint32_t>(p3 - p2 - p0 + p1) * static_cast<uint32_t>(f - 128) +
               (static_cast<uint32_t>(p0 - p1) << 7);
  t = t * static_cast<uint32_t>(f) + (static_cast<uint32_t>(p2 - p0) << 14);
  t = t * static_cast<uint32_t>(f) + (static_cast<uint32_t>(p1) << 21);
  return static_cast<int32_t>(t) >> 21;
}

// Source sample `index` and fraction (of `fractionBits` bits) for destination position `i`
// on an axis of `srcN` source and `dstN` destination samples. The last position is pulled
// back by one step so that its neighbour stays inside; a single destination sample is 0, 0.
struct FixedStep {
  int index;
  int fraction;
};
FixedStep fixedStep(int i, int srcN, int dstN, int fractionBits);
// fixedStep for every destination position of an axis.
std::vector<FixedStep> axisSteps(int srcN, int dstN, int fractionBits);

// Source index under the centre of destination index i: (srcN / 2 + i * srcN) / dstN.
inline int centreIndex(int i, int srcN, int dstN) {
  return static_cast<int>((srcN / 2 + static_cast<int64_t>(i) * srcN) / dstN);
}

// Per-pixel kernels shared by the 2D scalers and their volume forms. Each handles all
// `pic.components` components of one destination pixel, reading slice `z` in linear light.

// Adds the 2 by 2 pixels at (x, y) to sums[c].
void addBox(const Picture& pic, const GammaCurve& g, int x, int y, int z, int* sums);

// Bilinear values at the steps (sx, sy), not yet limited to a byte.
void bilinear(const Picture& pic, const GammaCurve& g, FixedStep sx, FixedStep sy, int z, int* out);

// Bicubic values at the steps (sx, sy), limited to 0..255. Without `hasAbove` the row sy
// stands in for sy - 1; without `hasBelow` the row sy + 1 stands in for sy + 2.
void bicubic(const Picture& pic, const GammaCurve& g, FixedStep sx, FixedStep sy, bool hasAbove,
             bool hasBelow, int z, int* out);

}  // namespace nox::texture::detail
