#include "texture/MipChain.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "texture/Scale2D.h"
#include "texture/Scale3D.h"

namespace nox::texture {
namespace {

// One step of the level walk on doubled sizes: halves what is above 1 and answers false
// once every side is 1 (the walk is over).
bool nextLevel(int& w, int& h, int& d) {
  if (w != 1) {
    if (w > 1) w >>= 1;
  } else if (h == 1 && d == 1) {
    return false;
  }
  if (h > 1) h >>= 1;
  if (d > 1) d >>= 1;
  return true;
}

int blockBytes(int type) { return (type == 1 || type == 5) ? 8 : 16; }

// Shared by both size functions: `blocksOf` counts the blocks of one level.
template <class BlocksOf>
int chainSize(int width, int height, int depth, int bytesPerPixel, int firstLevel, int levels,
              int type, BlocksOf blocksOf) {
  if (levels < 1) return 0;
  int w = 2 * std::max(width >> firstLevel, 1);
  int h = 2 * std::max(height >> firstLevel, 1);
  int d = 2 * std::max(depth >> firstLevel, 1);
  int sum = 0;
  for (int i = 0; i < levels && nextLevel(w, h, d); ++i) {
    sum += type == 0 ? w * h * d : blocksOf(w, h, d);
  }
  return type == 0 ? bytesPerPixel * sum : blockBytes(type) * sum;
}

// Scales each level below the top from the one before, each right behind the one before,
// the first from `source` into `below`.
template <class Scale>
void buildLevels(uint8_t* below, const uint8_t* source, int width, int height, int depth,
                 int components, int levels, Scale scale) {
  const uint8_t* level = source;
  uint8_t* next = below;
  for (int i = 1; i < levels; ++i) {
    const int nw = std::max(width >> 1, 1);
    const int nh = std::max(height >> 1, 1);
    const int nd = std::max(depth >> 1, 1);
    scale(next, nw, nh, nd, level, width, height, depth);
    level = next;
    next += static_cast<size_t>(nw) * nh * nd * components;
    width = nw;
    height = nh;
    depth = nd;
  }
}

// The top level copied to the start of the chain, the other levels behind it.
template <class Scale>
void buildChain(void* chain, const void* source, int width, int height, int depth, int components,
                int levels, Scale scale) {
  auto* top = static_cast<uint8_t*>(chain);
  const size_t bytes = static_cast<size_t>(width) * height * depth * components;
  std::memcpy(top, source, bytes);
  buildLevels(top + bytes, top, width, height, depth, components, levels, scale);
}

Scaler2D scaler2D(int forceNearest, int filter) {
  if (forceNearest != 0 || filter == 1) return scaleNearest;
  if (filter == 3) return scaleBilinear;
  if (filter == 4) return scaleBicubic;
  if (filter == 5) return scaleLanczos;
  return scaleBox;
}

// The 2D scaler in the form the level loops take.
auto levelScaler(int forceNearest, int filter, int components, int gammaCorrect, float gamma) {
  return [scale = scaler2D(forceNearest, filter), components, gammaCorrect, gamma](
             uint8_t* dst, int dw, int dh, int, const uint8_t* src, int sw, int sh, int) {
    scale(dst, dw, dh, src, sw, sh, components, gammaCorrect, gamma);
  };
}

}  // namespace

int mipLevelCount(int width, int height) {
  // The walk never ends for a side of 0 or below.
  if (width < 1 || height < 1) return 0;
  int w = 2 * width;
  int h = 2 * height;
  int d = 1;
  int count = 0;
  while (nextLevel(w, h, d)) ++count;
  return count;
}

int mipChainSize(int width, int height, int bytesPerPixel, int firstLevel, int levels, int type) {
  return chainSize(
      width, height, 1, bytesPerPixel, firstLevel, levels, type,
      [](int w, int h, int) { return ((std::max(h, 4) + 3) >> 2) * ((std::max(w, 4) + 3) >> 2); });
}

int mipChainSize3D(int width, int height, int depth, int bytesPerPixel, int firstLevel, int levels,
                   int type) {
  return chainSize(width, height, depth, bytesPerPixel, firstLevel, levels, type,
                   [](int w, int h, int d) { return ((h + 3) >> 2) * ((w + 3) >> 2) * d; });
}

int generateMipmaps(void* chain, const void* source, int width, int height, int components,
                    int forceNearest, int levels, int filter, int gammaCorrect, float gamma) {
  buildChain(chain, source, width, height, 1, components, levels,
             levelScaler(forceNearest, filter, components, gammaCorrect, gamma));
  return 1;
}

int generateMipmapsBelow(void* below, const void* source, int width, int height, int components,
                         int forceNearest, int levels, int filter, int gammaCorrect, float gamma) {
  buildLevels(static_cast<uint8_t*>(below), static_cast<const uint8_t*>(source), width, height, 1,
              components, levels,
              levelScaler(forceNearest, filter, components, gammaCorrect, gamma));
  return 1;
}

int generateMipmaps3D(void* chain, const void* source, int width, int height, int depth,
                      int components, int forceNearest, int levels, int filter, int gammaCorrect,
                      float gamma) {
  Scaler3D scale = scaleBox3D;
  if (forceNearest != 0 || filter == 1) {
    scale = scaleNearest3D;
  } else if (filter == 3) {
    scale = scaleTrilinear;
  } else if (filter == 4) {
    scale = scaleTricubic;
  }
  buildChain(chain, source, width, height, depth, components, levels,
             [&](uint8_t* dst, int dw, int dh, int dd, const uint8_t* src, int sw, int sh, int sd) {
               scale(dst, dw, dh, dd, src, sw, sh, sd, components, gammaCorrect, gamma);
             });
  return 1;
}

}  // namespace nox::texture
