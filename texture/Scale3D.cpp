#include "texture/Scale3D.h"

#include <algorithm>
#include <vector>

#include "texture/ScaleMath.h"

namespace nox::texture {

using namespace detail;

void scaleNearest3D(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                    int srcH, int srcD, int components, int /*gammaCorrect*/, float /*gamma*/) {
  const Picture pic{src, srcW, srcH, srcD, components};
  for (int z = 0; z < dstD; ++z) {
    const int sz = centreIndex(z, srcD, dstD);
    for (int y = 0; y < dstH; ++y) {
      const int sy = centreIndex(y, srcH, dstH);
      for (int x = 0; x < dstW; ++x) {
        const uint8_t* p = pic.at(centreIndex(x, srcW, dstW), sy, sz);
        dst = std::copy(p, p + components, dst);
      }
    }
  }
}

void scaleBox3D(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW, int srcH,
                int srcD, int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, srcD, components};
  std::vector<int> sums(components);
  for (int z = 0; z < dstD; ++z) {
    const int sz = std::max(centreIndex(z, srcD, dstD) - 1, 0);
    const bool secondSlice = sz < dstD - 1;
    for (int y = 0; y < dstH; ++y) {
      const int sy = std::max(centreIndex(y, srcH, dstH) - 1, 0);
      for (int x = 0; x < dstW; ++x) {
        const int sx = std::max(centreIndex(x, srcW, dstW) - 1, 0);
        std::fill(sums.begin(), sums.end(), 0);
        addBox(pic, g, sx, sy, sz, sums.data());
        if (secondSlice) {
          addBox(pic, g, sx, sy, sz + 1, sums.data());
        } else {
          addBox(pic, g, 0, 0, 0, sums.data());
        }
        for (int c = 0; c < components; ++c) *dst++ = g.fromLinear(sums[c] >> 3);
      }
    }
  }
}

namespace {

// Runs `kernel(sx, sy, sz, values)` for every destination voxel at the fixed-point source
// steps of `fractionBits` bits and writes the values, limited to a byte, out of linear light.
template <class Kernel>
void interpolate3D(uint8_t* dst, int dstW, int dstH, int dstD, const Picture& pic,
                   const GammaCurve& g, int fractionBits, Kernel kernel) {
  const std::vector<FixedStep> xs = axisSteps(pic.width, dstW, fractionBits);
  const std::vector<FixedStep> ys = axisSteps(pic.height, dstH, fractionBits);
  std::vector<int> values(pic.components);
  for (int z = 0; z < dstD; ++z) {
    const FixedStep sz = fixedStep(z, pic.depth, dstD, fractionBits);
    for (int y = 0; y < dstH; ++y) {
      for (int x = 0; x < dstW; ++x) {
        kernel(xs[x], ys[y], sz, values.data());
        for (const int v : values) *dst++ = g.fromLinear(clampByte(v));
      }
    }
  }
}

}  // namespace

void scaleTrilinear(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                    int srcH, int srcD, int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, srcD, components};
  std::vector<int> front(components);
  std::vector<int> back(components);
  interpolate3D(dst, dstW, dstH, dstD, pic, g, 8,
                [&](FixedStep sx, FixedStep sy, FixedStep sz, int* out) {
                  bilinear(pic, g, sx, sy, sz.index, front.data());
                  bilinear(pic, g, sx, sy, sz.index + 1, back.data());
                  for (int c = 0; c < components; ++c) {
                    out[c] = lerp(front[c], back[c], sz.fraction);
                  }
                });
}

void scaleTricubic(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                   int srcH, int srcD, int components, int gammaCorrect, float gamma) {
  const GammaCurve g(gammaCorrect, gamma);
  const Picture pic{src, srcW, srcH, srcD, components};
  std::vector<int> slices[4] = {std::vector<int>(components), std::vector<int>(components),
                                std::vector<int>(components), std::vector<int>(components)};
  interpolate3D(
      dst, dstW, dstH, dstD, pic, g, 7, [&](FixedStep sx, FixedStep sy, FixedStep sz, int* out) {
        // Slices and rows are guarded against the destination sizes, as in scaleBicubic.
        const bool hasAbove = sy.index > 0;
        const bool hasBelow = sy.index < dstH - 1;
        const bool hasFront = sz.index > 0;
        const bool hasBack = sz.index < dstD - 1;
        for (int k = 0; k < 4; ++k) {
          if ((k == 0 && !hasFront) || (k == 3 && !hasBack)) continue;
          bicubic(pic, g, sx, sy, hasAbove, hasBelow, sz.index - 1 + k, slices[k].data());
        }
        if (!hasFront) slices[0] = slices[1];
        if (!hasBack) slices[3] = slices[2];
        for (int c = 0; c < components; ++c) {
          out[c] = cubic(slices[0][c], slices[1][c], slices[2][c], slices[3][c], sz.fraction);
        }
      });
}

}  // namespace nox::texture
