// CDDS::compress: the level table, refusals, and every byte of whole chains for each
// encoder choice, pinned by digest, with what they decode to.

#include <gtest/gtest.h>
#include <squish.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "texture/BlockDecoder.h"
#include "texture/DDS.h"
#include "texture/MipChain.h"

namespace nox::texture {
namespace {

// RGBA picture that behaves like a photograph: smooth shading, fine grain, hard edges.
// Alpha is 255 unless `withAlpha`, which gives a smooth alpha ramp with a cut-out disc.
std::vector<uint8_t> photoPicture(int width, int height, uint32_t seed, bool withAlpha = false) {
  std::mt19937 random(seed);
  std::normal_distribution<float> grain(0.0f, 4.0f);
  std::vector<uint8_t> rgba;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) / static_cast<float>(width);
      const float v = static_cast<float>(y) / static_cast<float>(height);
      // Sky shading above a wavy horizon, textured ground below it, and a flat disc.
      const float texture = 0.5f + 0.5f * std::sin(40.0f * u + 7.0f * std::sin(23.0f * v));
      const bool ground = v > 0.55f + 0.1f * std::sin(6.0f * u);
      const bool sun = (u - 0.3f) * (u - 0.3f) + (v - 0.3f) * (v - 0.3f) < 0.01f;
      const float base[3] = {ground ? 90.0f + 50.0f * texture : 110.0f + 90.0f * v,
                             ground ? 70.0f + 40.0f * texture : 150.0f + 60.0f * v,
                             ground ? 40.0f + 20.0f * texture : 230.0f - 40.0f * v};
      for (const float b : base) {
        rgba.push_back(static_cast<uint8_t>(std::clamp(sun ? 250.0f : b + grain(random), 0.0f, 255.0f)));
      }
      rgba.push_back(withAlpha ? (sun ? 0 : static_cast<uint8_t>(255.0f * u)) : 255);
    }
  }
  return rgba;
}

// Runs compress on a block buffer sized as the importer sizes it; the buffer belongs to
// `dds` afterwards unless the call refused, in which case it is freed here.
int compressInto(CDDS& dds, const std::vector<uint8_t>& pixels, int type, int width, int height,
                 int components, int levelCount) {
  const int bytes = mipChainSize(width, height, 4, 0, levelCount, type);
  void* blocks = std::malloc(static_cast<size_t>(bytes > 0 ? bytes : 1));
  const int result =
      dds.compress(blocks, pixels.data(), type, width, height, components, levelCount);
  if (dds.levels.empty()) std::free(blocks);
  return result;
}

uint64_t digest(const uint8_t* bytes, size_t count, uint64_t hash = 14695981039346656037u) {
  for (size_t i = 0; i < count; ++i) hash = (hash ^ bytes[i]) * 1099511628211u;
  return hash;
}

// The first `components` bytes of each RGBA pixel, grey taken from green.
std::vector<uint8_t> narrowed(const std::vector<uint8_t>& rgba, int components) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < rgba.size(); i += 4) {
    if (components < 3) out.push_back(rgba[i + 1]);
    if (components == 2) out.push_back(rgba[i + 3]);
    if (components >= 3) out.insert(out.end(), rgba.begin() + i, rgba.begin() + i + components);
  }
  return out;
}

struct ChainCase {
  int type, quality;
  bool dither, alpha;
  int components;
  uint64_t digest;  // of every level; 0: the top level is libsquish's with `squishFlags`
  int squishFlags;
  bool decode;  // the top level decoded by our decoder and by libsquish
};

const ChainCase kChains[] = {
    // The default, every search, dither; 4, 0 and negative qualities are the same path, as
    // is 5 with dither.
    {1, 0, false, false, 4, 0xcc539ed22dc46dcbu, 0, true},
    {1, -3, false, false, 4, 0xcc539ed22dc46dcbu, 0, true},
    {1, 4, false, false, 4, 0xcc539ed22dc46dcbu, 0, true},
    {1, 1, false, false, 4, 0x57f81366cf56636bu, 0, true},
    {1, 2, false, false, 4, 0x3b26393369c6dbdcu, 0, true},
    {1, 3, false, false, 4, 0x85f849f8f6c3fd31u, 0, true},
    {1, 0, true, false, 4, 0x6495a1434b5f9867u, 0, true},
    {1, 5, true, false, 4, 0x6495a1434b5f9867u, 0, true},
    {1, 2, true, false, 4, 0xa96aa55dabc2cc2fu, 0, true},
    // Transparency only with four components; fewer are widened.
    {1, 0, false, true, 4, 0x3be5bf3daa9658b0u, 0, false},
    {1, 0, false, true, 3, 0xcc539ed22dc46dcbu, 0, true},
    {3, 0, false, true, 2, 0xad32a0e244c9e785u, 0, false},
    {1, 0, false, true, 1, 0x2832c843152b7c43u, 0, false},
    {2, 0, false, true, 4, 0x78703fedc6c48546u, 0, true},
    {3, 0, false, true, 4, 0x50a7cb8ff6a067bdu, 0, true},
    {3, 3, true, true, 4, 0xd55a1881476f70a0u, 0, true},
    {5, 0, false, true, 4, 0x2ccf1be9a82fbbd1u, 0, false},
    {6, 7, false, true, 4, 0x42f456cd59df37e4u, 0, false},
    {9, 6, true, true, 4, 0x77ddc6b321bd96a2u, 0, false},
    // Type 0: every level at the start with size 0, the last one (1 by 1) remaining.
    {0, 0, false, true, 4, 0xed2641f3b5389681u, 0, false},
    // libsquish: range fit, cluster fit, and cluster fit again without a fit flag.
    {1, 5, false, false, 4, 0, squish::kDxt1 | squish::kColourRangeFit, true},
    {2, 6, false, true, 4, 0, squish::kDxt3 | squish::kColourClusterFit, true},
    {3, 12, false, true, 4, 0, squish::kDxt5, true}};

// 28 by 20 has levels of 14 by 10, 7 by 5, 3 by 2 and 1 by 1: one, two and three pixels
// left over at the right and bottom edges.
TEST(CDDSTest, ChainsKeepTheirBytesAndDecodeClose) {
  const int width = 28, height = 20;
  const int count = mipLevelCount(width, height);
  for (const ChainCase& c : kChains) {
    SCOPED_TRACE("row " + std::to_string(&c - kChains));
    const std::vector<uint8_t> rgba = photoPicture(width, height, 21, c.alpha);
    CDDS dds;
    dds.quality = c.quality;
    dds.dither = c.dither;
    ASSERT_EQ(compressInto(dds, narrowed(rgba, c.components), c.type, width, height,
                           c.components, count), 1);
    ASSERT_EQ(static_cast<int>(dds.levels.size()), count);
    uint64_t hash = digest(nullptr, 0);
    const uint8_t* next = dds.levels[0].data;
    for (int i = 0; i < count; ++i) {
      const COMPRESSED_IMAGE_DATA& level = dds.levels[i];
      const int w = std::max(width >> i, 1);
      const int h = std::max(height >> i, 1);
      EXPECT_EQ(std::pair(level.dimensions.cx, level.dimensions.cy), std::pair(w, h));
      EXPECT_EQ(level.size, static_cast<uint32_t>(mipChainSize(w, h, 0, 0, 1, c.type)));
      EXPECT_EQ(level.data, next);
      next += level.size;
      hash = digest(level.data, c.type == 0 ? 16 : level.size, hash);
    }
    const uint8_t* top = dds.levels[0].data;
    if (c.squishFlags != 0) {
      std::vector<uint8_t> expected(dds.levels[0].size);
      float metric[3] = {0.2126f, 0.7152f, 0.0722f};
      squish::CompressImage(rgba.data(), width, height, expected.data(), c.squishFlags, metric);
      EXPECT_EQ(std::vector<uint8_t>(top, top + expected.size()), expected);
    } else {
      EXPECT_EQ(hash, c.digest) << std::hex << hash;
    }
    if (!c.decode) continue;
    // The own decoder agrees with libsquish's up to the rounding of the thirds.
    const int flags = c.type == 1 ? squish::kDxt1 : (c.type == 2 ? squish::kDxt3 : squish::kDxt5);
    for (uint32_t at = 0; at < dds.levels[0].size; at += c.type == 1 ? 8 : 16) {
      uint8_t ours[64];
      uint8_t theirs[64];
      ASSERT_TRUE(decodeBlock(top + at, c.type, ours));
      squish::Decompress(theirs, top + at, flags);
      for (int i = 0; i < 64; ++i) ASSERT_LE(std::abs(ours[i] - theirs[i]), 1) << "byte " << at * 4 + i;
    }
  }
}

TEST(CDDSTest, RefusesBadSizesAndComponentsAndDropsThePreviousLevels) {
  struct Case { int width, height, type, components; };
  for (const Case& c : {Case{2, 4, 1, 4}, Case{4, 2, 1, 4}, Case{8, 10, 0, 4}, Case{0, 4, 1, 4},
                        Case{4, 4, 1, 0}, Case{4, 4, 1, 5}}) {
    CDDS dds;
    ASSERT_EQ(compressInto(dds, photoPicture(8, 8, 1), 1, 8, 8, 4, 4), 1);
    const std::vector<uint8_t> picture(static_cast<size_t>(16) * 16 * 4, 9);
    EXPECT_EQ(compressInto(dds, picture, c.type, c.width, c.height, c.components, 1), 0)
        << c.width << "x" << c.height << " type " << c.type << " components " << c.components;
    EXPECT_TRUE(dds.levels.empty());
  }
}

}  // namespace
}  // namespace nox::texture
