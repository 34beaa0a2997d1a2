#pragma once
// The volume scalers of the 3D mip chain: `srcW` by `srcH` by `srcD` pictures of interleaved
// 8-bit components, slices one after the other, to `dstW` by `dstH` by `dstD`. Gamma, edge
// reads, ownership and sizes as for the 2D scalers in Scale2D.h. None of them fails.

#include <cstdint>

namespace nox::texture {

using Scaler3D = void (*)(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                          int srcH, int srcD, int components, int gammaCorrect, float gamma);

// Point sampling; ignores gamma.
void scaleNearest3D(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                    int srcH, int srcD, int components, int gammaCorrect, float gamma);

// Mean of 2 by 2 by 2 source pixels. Once the source slice reaches dstD - 1 the second slice
// is replaced by the 2 by 2 pixels at the very start of the source: the filter has always
// done so, and chains made with it depend on it.
void scaleBox3D(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW, int srcH,
                int srcD, int components, int gammaCorrect, float gamma);

// 8.8 fixed-point blend of two bilinear slices.
void scaleTrilinear(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                    int srcH, int srcD, int components, int gammaCorrect, float gamma);

// Cubic over four bicubic slices, 7-bit fractions on every axis.
void scaleTricubic(uint8_t* dst, int dstW, int dstH, int dstD, const uint8_t* src, int srcW,
                   int srcH, int srcD, int components, int gammaCorrect, float gamma);

}  // namespace nox::texture
