#pragma once
// The 2D scalers of the mip chain. Each reads a `srcW` by `srcH` picture of interleaved 8-bit
// components and writes `dstW` by `dstH` pixels of the same layout to `dst`; all components,
// alpha included, are treated alike. With `gammaCorrect` not 0 the filters work in linear
// light with the exponent `gamma` (scaleNearest copies and ignores it). Sizes must be at
// least 1. The caller owns both buffers; `dst` must not overlap `src`. Reads at the picture's
// edge that would fall outside it take the nearest pixel inside. Only scaleLanczos allocates,
// and throws std::bad_alloc when it cannot.

#include <cstdint>

namespace nox::texture {

using Scaler2D = void (*)(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                          int components, int gammaCorrect, float gamma);

// Point sampling at the source pixel under the destination pixel's centre.
void scaleNearest(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int gammaCorrect, float gamma);

// Mean of the 2 by 2 source pixels at the destination pixel; exact halving for even sizes.
void scaleBox(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
              int components, int gammaCorrect, float gamma);

// Bilinear interpolation in 8.8 fixed point, corners aligned.
void scaleBilinear(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                   int components, int gammaCorrect, float gamma);

// Bicubic interpolation over 4 by 4 source pixels with 7-bit fractions.
void scaleBicubic(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int gammaCorrect, float gamma);

// Separable Lanczos (a = 5) in single precision, columns first through a buffer of
// srcW * dstH pixels.
void scaleLanczos(uint8_t* dst, int dstW, int dstH, const uint8_t* src, int srcW, int srcH,
                  int components, int gammaCorrect, float gamma);

}  // namespace nox::texture
