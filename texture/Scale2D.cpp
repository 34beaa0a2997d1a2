#include "texture/Scale2D.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "texture/ScaleMath.h"

namespace nox::texture {

using namespace detail;

namespace {

// Runs `kernel(sx, sy, values)` for every destination pixel at the fixed-point source steps
// of `fractionBits` bits and writes the values, limited to a byte, back out of linear light.
template <class Kernel>
void interpolate(uint8_t* dst, int dstW, int dstH, const Picture& pic, const GammaCurve& g,
                 int fractionBits, Kernel kernel) {
  const std::vector<FixedStep> xs = axisSteps(pic.width, dstW, fractionBits);
  std::vector<int> values(pic.components);
  for (int y = 0; y < dstH; ++y) {
    const FixedStep sy = fixedStep(y, pic.height, dstH, fractionBits);
    for (int x = 0; x < dstW; ++x) {
      kernel(xs[x], sy, values.data());
      for (const int v : values) *dst++ = g.fromLinear(clampByte(v));
    }
  }
}

constexpr float kLanczosA = 5.0f;
constexpr float kPi = 3.1415927f;

float lanczosKernel(float a, float x) {
  if (x == 0.0f) return 1.0f;
  if (x <= -a || x >= a) return 0.0f;
  const float px = kPi * x;
  return std::sin(px / a) * std::sin(px) * a / (px * px);
}

// One Lanczos pass along an axis: `count` destination samples from `srcN` source samples.
// `sample(i)` reads source sample i (already in linear light), `store(i, v)` writes one.
template <class Sample, class Store>
void lanczosAxis(int srcN, int count, float scale, float k, float radius, Sample sample,
                 Store store) {
  for (int i = 0; i < count; ++i) {
    const float centre = (static_cast<float>(i) + 0.5f) / scale;
    const int lo = static_cast<int>(std::max(centre - radius + 0.5f, 0.0f));
    const int hi = static_cast<int>(std::min(centre + radius + 0.5f, static_cast<float>(srcN)));
    float weightSum = 0.0f;
    float valueSum = 0.0f;
    for (int j = 0; j < hi - lo; ++j) {
      const float w = lanczosKernel(kLanczosA, (static_cast<float>(j + lo) - centre + 0.5f) * k);
      weightSum += w;
      valueSum += w * static_cast<float>(sample(lo + j));
    }
    if (weightSum != 0.0f && weightSum != 1.0f) valueSum /= weightSum;
    store(i, !(valueSum > 0.0f) ? 0 : (valueSum >= 255.0f ? 255 : static_cast<int>(valueSum)));
  }
}

}  // namespace

void scaleNearest(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int /*gammaCorrect*/, float /*gamma*/) {
  const Picture pic{src, srcW, srcH, 1, components};
  for (int y = 0; y < dstH; ++y) {
    const int sy = centreIndex(y, srcH, dstH);
    for (int x = 0; x < dstW; ++x) {
      const uint8_t* p = pic.at(centreIndex(x, srcW, dstW), sy);
      dst = std::copy(p, p + components, dst);
    }
  }
}

void scaleBox(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
              int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, 1, components};
  std::vector<int> sums(components);
  for (int y = 0; y < dstH; ++y) {
    const int sy = std::max(centreIndex(y, srcH, dstH) - 1, 0);
    for (int x = 0; x < dstW; ++x) {
      std::fill(sums.begin(), sums.end(), 0);
      addBox(pic, g, std::max(centreIndex(x, srcW, dstW) - 1, 0), sy, 0, sums.data());
      for (int c = 0; c < components; ++c) *dst++ = g.fromLinear(sums[c] >> 2);
    }
  }
}

void scaleBilinear(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                   int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, 1, components};
  interpolate(dst, dstW, dstH, pic, g, 8,
              [&](FixedStep sx, FixedStep sy, int* out) { bilinear(pic, g, sx, sy, 0, out); });
}

void scaleBicubic(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, 1, components};
  interpolate(dst, dstW, dstH, pic, g, 7, [&](FixedStep sx, FixedStep sy, int* out) {
    // The guard of the lowest row compares with the destination height, as the filter has
    // always done; chains made with it depend on it.
    bicubic(pic, g, sx, sy, sy.index > 0, sy.index < dstH - 1, 0, out);
  });
}

void scaleLanczos(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const float scaleX = static_cast<float>(dstW) / static_cast<float>(srcW);
  const float scaleY = static_cast<float>(dstH) / static_cast<float>(srcH);
  const float kX = std::min(1.0f, scaleX);
  const float kY = std::min(1.0f, scaleY);
  const float radiusX = std::max(kLanczosA / kX, 0.5f);
  const float radiusY = std::max(kLanczosA / kY, 0.5f);
  const size_t rowBytes = static_cast<size_t>(srcW) * components;

  // The buffer holds linear light; the second pass turns its results back.
  std::vector<uint8_t> columns(rowBytes * dstH);
  for (int x = 0; x < srcW; ++x) {
    for (int c = 0; c < components; ++c) {
      const size_t at = static_cast<size_t>(x) * components + c;
      lanczosAxis(
          srcH, dstH, scaleY, kY, radiusY,
          [&](int row) { return g.toLinear(src[row * rowBytes + at]); },
          [&](int row, int v) { columns[row * rowBytes + at] = static_cast<uint8_t>(v); });
    }
  }
  for (int y = 0; y < dstH; ++y) {
    const uint8_t* line = columns.data() + y * rowBytes;
    uint8_t* out = dst + static_cast<size_t>(y) * dstW * components;
    for (int c = 0; c < components; ++c) {
      lanczosAxis(
          srcW, dstW, scaleX, kX, radiusX, [&](int col) { return line[col * components + c]; },
          [&](int col, int v) { out[col * components + c] = g.fromLinear(v); });
    }
  }
}

}  // namespace nox::texture
