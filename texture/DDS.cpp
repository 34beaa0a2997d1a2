#include "texture/DDS.h"

#include <squish.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "texture/AlphaBlock.h"
#include "texture/Block.h"
#include "texture/ColourBlock.h"
#include "texture/MipChain.h"
#include "texture/YCoCgBlock.h"

namespace nox::texture {
namespace {

// Runs `encode(out, blocks, count)` over the 4 by 4 blocks of an RGBA level, rows of blocks
// from the top, on runs of up to kRun blocks along a row, each block writing `blockBytes`
// bytes. Runs let the colour encoder fit several blocks at once.
template <class Encode>
void encodeBlocks(const uint8_t* pixels, int width, int height, uint8_t* out, int blockBytes,
                  Encode encode) {
  constexpr int kRun = 16;
  uint8_t run[kRun * kBlockBytes];
  for (int y = 0; y < height; y += 4) {
    for (int x = 0; x < width; x += 4 * kRun) {
      const int count = std::min(kRun, (width - x + 3) / 4);
      for (int i = 0; i < count; ++i) {
        extractBlock(pixels, x + 4 * i, y, width, height, run + i * kBlockBytes);
      }
      encode(out, run, count);
      out += count * blockBytes;
    }
  }
}

// `encode(out, block)` on each block of a run.
template <class Encode>
auto eachBlock(int blockBytes, Encode encode) {
  return [blockBytes, encode](uint8_t* out, const uint8_t* blocks, int count) {
    for (int i = 0; i < count; ++i) encode(out + i * blockBytes, blocks + i * kBlockBytes);
  };
}

// `pixels` pixels widened to RGBA: grey to (v, v, v, 255), grey and alpha to (v, v, v, a),
// RGB with alpha 255.
std::unique_ptr<uint8_t[]> widenToRGBA(const uint8_t* chain, size_t pixels, int components) {
  std::unique_ptr<uint8_t[]> rgba(new uint8_t[pixels * 4]);
  uint8_t* out = rgba.get();
  for (size_t i = 0; i < pixels; ++i, chain += components, out += 4) {
    const bool grey = components < 3;
    out[0] = chain[0];
    out[1] = grey ? chain[0] : chain[1];
    out[2] = grey ? chain[0] : chain[2];
    out[3] = components == 2 ? chain[1] : 255;
  }
  return rgba;
}

int squishFormat(int type) {
  if (type == 1) return squish::kDxt1;
  return type == 2 ? squish::kDxt3 : squish::kDxt5;
}

}  // namespace
}  // namespace nox::texture

using namespace nox::texture;

CDDS::~CDDS() { releaseLevels(); }

void CDDS::releaseLevels() {
  if (!levels.empty()) {
    std::free(levels[0].data);
    levels.clear();
  }
}

int CDDS::compress(void* blocks, const void* pixels, int type, int width, int height,
                   int components, int levelCount) {
  releaseLevels();
  if (width % 4 != 0 || height % 4 != 0) return 0;
  // A picture without pixels or of an unknown layout has nothing to encode.
  if (width < 1 || height < 1 || components < 1 || components > 4) return 0;
  // Further 1 by 1 levels would have no room in a buffer sized by mipChainSize.
  levelCount = std::min(levelCount, mipLevelCount(width, height));
  if (levelCount < 1) return 1;

  // The chain below the top level; the top level is read where the caller has it.
  const size_t topPixels = static_cast<size_t>(width) * height;
  const size_t belowPixels = mipChainSize(width, height, 1, 0, levelCount, 0) - topPixels;
  std::unique_ptr<uint8_t[]> below(new uint8_t[belowPixels * components]);
  generateMipmapsBelow(below.get(), pixels, width, height, components, 0, levelCount, filter,
                       gammaCorrect, gamma);
  const auto* top = static_cast<const uint8_t*>(pixels);
  std::unique_ptr<uint8_t[]> wideTop;
  if (components != 4) {
    wideTop = widenToRGBA(top, topPixels, components);
    below = widenToRGBA(below.get(), belowPixels, components);
    top = wideTop.get();
  }
  const bool oneBitAlpha = type == 1 && components == 4;

  auto* out = static_cast<uint8_t*>(blocks);
  const uint8_t* level = top;
  size_t offset = 0;
  for (int i = 0; i < levelCount; ++i) {
    const int size = mipChainSize(width, height, 0, 0, 1, type);
    uint8_t* dest = out + offset;
    if (type == 5) {
      encodeBlocks(level, width, height, dest, 8, eachBlock(8, [](uint8_t* o, const uint8_t* b) {
                     encodeAlphaBlock(o, b, kRed);
                   }));
    } else if (type == 6) {
      encodeBlocks(level, width, height, dest, 16,
                   eachBlock(16, [](uint8_t* o, const uint8_t* b) {
                     encodeAlphaBlock(o, b, kGreen);
                     encodeAlphaBlock(o + 8, b, kRed);
                   }));
    } else if (type == 9) {
      encodeBlocks(level, width, height, dest, 16, eachBlock(16, encodeYCoCgBlock));
    } else if (quality < 5 || dither) {
      const int q = quality;
      const bool d = dither;
      const ColourPath path = fastestColourPath();
      if (type == 1) {
        encodeBlocks(level, width, height, dest, 8, [&](uint8_t* o, const uint8_t* b, int count) {
          encodeColourBlocks(o, 8, b, count, q, d, oneBitAlpha, path);
        });
      } else {
        encodeBlocks(level, width, height, dest, 16, [&](uint8_t* o, const uint8_t* b, int count) {
          for (int k = 0; k < count; ++k) {
            if (type == 2) {
              encodeDXT3Alpha(o + k * 16, b + k * kBlockBytes);
            } else {
              encodeAlphaBlock(o + k * 16, b + k * kBlockBytes, kAlpha);
            }
          }
          encodeColourBlocks(o + 8, 16, b, count, q, d, false, path);
        });
      }
    } else {
      // This libsquish numbers its fit flags differently from the older one (where range fit
      // was 16 and cluster fit 8), so they are given by name.
      int flags = squishFormat(type);
      if (quality == 5) {
        flags |= squish::kColourRangeFit;
      } else if (quality == 6) {
        flags |= squish::kColourClusterFit;
      }
      // Perceptual channel weights: the older libsquish used them unless told otherwise,
      // this one takes them as an explicit metric.
      float metric[3] = {0.2126f, 0.7152f, 0.0722f};
      squish::CompressImage(level, width, height, dest, flags, metric);
    }
    levels.push_back({static_cast<uint32_t>(size), tagSIZE{width, height}, dest});
    offset += size;
    level = i == 0 ? below.get() : level + static_cast<size_t>(width) * height * 4;
    width = std::max(width >> 1, 1);
    height = std::max(height >> 1, 1);
  }
  return 1;
}
