#pragma once
// Mip chain arithmetic and the level loops. A chain is one buffer holding every level, the
// largest first, each placed directly behind the one before; a level halves each side of
// the one above (never below 1) and is scaled from it, not from the top.

namespace nox::texture {

// Number of levels from width by height down to 1 by 1: floor(log2(max(width, height))) + 1.
// Sizes below 1 have no chain and give 0.
int mipLevelCount(int width, int height);

// Bytes of `levels` levels starting `firstLevel` levels below width by height; the count
// stops early once a level is 1 by 1. `type` 0 counts bytesPerPixel per pixel; any other
// type counts 4 by 4 blocks (at least one a level) of 8 bytes for types 1 and 5 and 16 for
// the rest, and ignores bytesPerPixel. 0 for `levels` below 1.
int mipChainSize(int width, int height, int bytesPerPixel, int firstLevel, int levels, int type);

// mipChainSize for volumes. The block form counts ((h + 3) / 4) * ((w + 3) / 4) * d blocks,
// without the one-block minimum.
int mipChainSize3D(int width, int height, int depth, int bytesPerPixel, int firstLevel, int levels,
                   int type);

// Fills `chain` (at least mipChainSize(width, height, components, 0, levels, 0) bytes, owned
// by the caller) with the top level copied from `source` and `levels` - 1 scaled levels
// behind it. The scaler: nearest when `forceNearest` is not 0 or `filter` is 1, bilinear for
// 3, bicubic for 4, Lanczos for 5, box for every other filter. `gammaCorrect` and `gamma`
// are passed to the scaler. Returns 1; throws std::bad_alloc only from the Lanczos buffer.
int generateMipmaps(void* chain, const void* source, int width, int height, int components,
                    int forceNearest, int levels, int filter, int gammaCorrect, float gamma);

// generateMipmaps without the copy of the top level: fills `below` (at least
// mipChainSize(width, height, components, 0, levels, 0) - width * height * components bytes)
// with levels 1 to levels - 1, the first scaled straight from `source`. Returns 1.
int generateMipmapsBelow(void* below, const void* source, int width, int height, int components,
                         int forceNearest, int levels, int filter, int gammaCorrect, float gamma);

// generateMipmaps for volumes: nearest (forceNearest or filter 1), trilinear (3), tricubic (4)
// or box for every other filter, Lanczos included. `chain` must hold
// mipChainSize3D(width, height, depth, components, 0, levels, 0) bytes. Returns 1.
int generateMipmaps3D(void* chain, const void* source, int width, int height, int depth,
                      int components, int forceNearest, int levels, int filter, int gammaCorrect,
                      float gamma);

}  // namespace nox::texture
