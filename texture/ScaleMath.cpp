#include "texture/ScaleMath.h"

#include <cmath>

namespace nox::texture::detail {
namespace {

// min(255, int(x)) for the non-negative results of pow(); a NaN from a nonsense gamma gives 0.
uint8_t toByte(float x) {
  if (x >= 255.0f) return 255;
  return x > 0.0f ? static_cast<uint8_t>(static_cast<int>(x)) : 0;
}

}  // namespace

GammaCurve::GammaCurve(int gammaCorrect, float gamma) {
  const float inverse = 1.0f / gamma;
  for (int v = 0; v < 256; ++v) {
    if (gammaCorrect == 0) {
      toLinear_[v] = fromLinear_[v] = static_cast<uint8_t>(v);
      continue;
    }
    const float unit = static_cast<float>(v) / 255.0f;
    toLinear_[v] = toByte(std::pow(unit, gamma) * 255.0f);
    fromLinear_[v] = toByte(std::pow(unit, inverse) * 255.0f);
  }
}

FixedStep fixedStep(int i, int srcN, int dstN, int fractionBits) {
  if (dstN == 1) return {0, 0};
  // 64 bits: (srcN - 1) * i << 8 leaves 32 bits for pictures above 4096 samples.
  int64_t t = (static_cast<int64_t>(srcN - 1) * i * (int64_t{1} << fractionBits)) / (dstN - 1);
  if (i == dstN - 1) t -= 1;
  return {static_cast<int>(t >> fractionBits), static_cast<int>(t & ((1 << fractionBits) - 1))};
}

std::vector<FixedStep> axisSteps(int srcN, int dstN, int fractionBits) {
  std::vector<FixedStep> steps(dstN);
  for (int i = 0; i < dstN; ++i) steps[i] = fixedStep(i, srcN, dstN, fractionBits);
  return steps;
}

void addBox(const Picture& pic, const GammaCurve& g, int x, int y, int z, int* sums) {
  const uint8_t* p00 = pic.at(x, y, z);
  const uint8_t* p10 = pic.at(x + 1, y, z);
  const uint8_t* p01 = pic.at(x, y + 1, z);
  const uint8_t* p11 = pic.at(x + 1, y + 1, z);
  for (int c = 0; c < pic.components; ++c) {
    sums[c] += g.toLinear(p00[c]) + g.toLinear(p10[c]) + g.toLinear(p01[c]) + g.toLinear(p11[c]);
  }
}

void bilinear(const Picture& pic, const GammaCurve& g, FixedStep sx, FixedStep sy, int z,
              int* out) {
  const uint8_t* p00 = pic.at(sx.index, sy.index, z);
  const uint8_t* p10 = pic.at(sx.index + 1, sy.index, z);
  const uint8_t* p01 = pic.at(sx.index, sy.index + 1, z);
  const uint8_t* p11 = pic.at(sx.index + 1, sy.index + 1, z);
  for (int c = 0; c < pic.components; ++c) {
    const int top = lerp(g.toLinear(p00[c]), g.toLinear(p10[c]), sx.fraction);
    const int bottom = lerp(g.toLinear(p01[c]), g.toLinear(p11[c]), sx.fraction);
    out[c] = lerp(top, bottom, sy.fraction);
  }
}

namespace {

// The cubic through the four pixels of one row around column step `sx`, component c.
int cubicRow(const Picture& pic, const GammaCurve& g, FixedStep sx, int y, int z, int c) {
  return cubic(g.toLinear(pic.at(sx.index - 1, y, z)[c]), g.toLinear(pic.at(sx.index, y, z)[c]),
               g.toLinear(pic.at(sx.index + 1, y, z)[c]), g.toLinear(pic.at(sx.index + 2, y, z)[c]),
               sx.fraction);
}

}  // namespace

void bicubic(const Picture& pic, const GammaCurve& g, FixedStep sx, FixedStep sy, bool hasAbove,
             bool hasBelow, int z, int* out) {
  for (int c = 0; c < pic.components; ++c) {
    const int r1 = cubicRow(pic, g, sx, sy.index, z, c);
    const int r2 = cubicRow(pic, g, sx, sy.index + 1, z, c);
    const int r0 = hasAbove ? cubicRow(pic, g, sx, sy.index - 1, z, c) : r1;
    const int r3 = hasBelow ? cubicRow(pic, g, sx, sy.index + 2, z, c) : r2;
    out[c] = clampByte(cubic(r0, r1, r2, r3, sy.fraction));
  }
}

}  // namespace nox::texture::detail
