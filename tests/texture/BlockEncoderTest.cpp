// The block encoders on hand-worked blocks, one-bit alpha through the decoder, and the SIMD colour
// fits against the scalar one. Whole chains, and with them the end point searches, are pinned
// by digest in DDSTest.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "texture/AlphaBlock.h"
#include "texture/Block.h"
#include "texture/BlockDecoder.h"
#include "texture/ColourBlock.h"

namespace nox::texture {
namespace {

using Block = std::array<uint8_t, kBlockBytes>;

// A working block (blue, green, red, alpha) of 16 pixels given as RGBA, repeated in turn.
Block blockOf(const std::vector<std::array<int, 4>>& rgba) {
  Block block{};
  for (int i = 0; i < kBlockPixels; ++i) {
    const std::array<int, 4>& p = rgba[i % rgba.size()];
    block[i * 4 + kRed] = static_cast<uint8_t>(p[0]);
    block[i * 4 + kGreen] = static_cast<uint8_t>(p[1]);
    block[i * 4 + kBlue] = static_cast<uint8_t>(p[2]);
    block[i * 4 + kAlpha] = static_cast<uint8_t>(p[3]);
  }
  return block;
}

TEST(AlphaBlockTest, HandWorkedBlocks) {
  // Each value at its nearest step; a constant value takes the minimum everywhere.
  std::vector<std::array<int, 4>> steps;
  for (const int v : {20, 200, 46, 71, 97, 123, 149, 174, 200, 20, 110, 60, 150, 190, 30, 180}) {
    steps.push_back({0, 0, 0, v});
  }
  uint8_t out[8];
  encodeAlphaBlock(out, blockOf(steps).data(), kAlpha);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 8),
            (std::vector<uint8_t>{0xC8, 0x14, 0xC1, 0x5D, 0x4E, 0x48, 0x3D, 0x44}));
  encodeAlphaBlock(out, blockOf({{77, 2, 1, 255}}).data(), kRed);
  EXPECT_EQ(std::vector<uint8_t>(out, out + 8),
            (std::vector<uint8_t>{77, 77, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24}));
}

TEST(OneBitAlphaTest, TransparentPixelsDecodeTransparentAndTheMeanWinsATie) {
  uint8_t out[8], rgba[64];
  encodeColourBlock(out, blockOf({{0, 0, 0, 0}}).data(), 0, false, true);
  EXPECT_TRUE(decodeBlock(out, 1, rgba) && rgba[3] == 0);
  // Blue 191 lies as near to colour 1 (255) as to the mean (127).
  EXPECT_EQ(matchColoursOneBitAlpha(blockOf({{0, 0, 191, 255}}).data(), evalColours(0, 0x001F)),
            0xAAAAAAAAu);
}

// Blocks of every kind the encoder meets, in turn: noise, one colour, two colours, ramps,
// faint noise around a colour, and rows of colours with alpha edges or speckles.
std::vector<Block> variedBlocks(int count) {
  std::mt19937 random(7);
  const auto byte = [&random]() { return static_cast<int>(random() % 256); };
  std::vector<Block> blocks(count);
  for (int n = 0; n < count; ++n) {
    const int a[4] = {byte(), byte(), byte(), 255};
    const int b[4] = {byte(), byte(), byte(), n % 3 == 0 ? byte() : 255};
    for (int i = 0; i < kBlockBytes; ++i) {
      const int ch = i % 4;
      const int pixel = i / 4;
      const bool coin = ((n * 31u + pixel) * 2654435761u >> 13 & 1) != 0;
      const int kinds[6] = {byte(), a[ch], coin ? a[ch] : b[ch], a[ch] + (b[ch] - a[ch]) * pixel / 15,
                            std::clamp(a[ch] + byte() % 9 - 4, 0, 255),
                            ch == kAlpha ? (pixel % 4 < 2 ? 0 : b[ch]) : (pixel / 4 < 2 ? a : b)[ch]};
      blocks[n][i] = static_cast<uint8_t>(kinds[n % 6]);
    }
  }
  return blocks;
}

TEST(SimdPathTest, EveryBuildGivesTheScalarBytes) {
  const std::vector<Block> blocks = variedBlocks(30001);  // the last colour batch is short
  for (const Block& block : blocks) {
    for (const int channel : {kBlue, kGreen, kRed, kAlpha}) {
      uint8_t scalar[8];
      uint8_t simd[8];
      encodeAlphaBlockScalar(scalar, block.data(), channel);
      encodeAlphaBlock(simd, block.data(), channel);
      ASSERT_TRUE(std::equal(simd, simd + 8, scalar)) << "alpha, channel " << channel;
    }
  }
  const int count = static_cast<int>(blocks.size());
  for (const bool oneBitAlpha : {false, true}) {
    std::vector<uint8_t> scalar(blocks.size() * 8);
    encodeColourBlocks(scalar.data(), 8, blocks[0].data(), count, 0, false, oneBitAlpha,
                       ColourPath::kScalar);
    for (const ColourPath path : {ColourPath::kSse2, ColourPath::kSse41, ColourPath::kAvx2}) {
      if (path > fastestColourPath()) continue;  // not on this processor
      std::vector<uint8_t> simd(blocks.size() * 8);
      encodeColourBlocks(simd.data(), 8, blocks[0].data(), count, 0, false, oneBitAlpha, path);
      const auto at = std::mismatch(simd.begin(), simd.end(), scalar.begin()).first - simd.begin();
      EXPECT_EQ(at, static_cast<long>(simd.size())) << "path " << static_cast<int>(path) << " block "
                                                    << at / 8;
    }
  }
}

}  // namespace
}  // namespace nox::texture
