// The block encoders: extraction, alpha blocks, the colour encoder, the YCoCg encoder, and
// agreement of the own block decoder with libsquish's.

#include <gtest/gtest.h>
#include <squish.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "TestPictures.h"
#include "texture/AlphaBlock.h"
#include "texture/Block.h"
#include "texture/BlockDecoder.h"
#include "texture/ColourBlock.h"
#include "texture/DXTTables.h"
#include "texture/YCoCgBlock.h"

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

uint16_t colour0(const uint8_t* c) { return static_cast<uint16_t>(c[0] | c[1] << 8); }
uint16_t colour1(const uint8_t* c) { return static_cast<uint16_t>(c[2] | c[3] << 8); }
uint32_t indexMask(const uint8_t* c) {
  return static_cast<uint32_t>(c[4] | c[5] << 8 | c[6] << 16) | static_cast<uint32_t>(c[7]) << 24;
}

std::vector<uint8_t> decoded(const uint8_t* encoded, int type) {
  std::vector<uint8_t> rgba(kBlockBytes, 0);
  EXPECT_TRUE(decodeBlock(encoded, type, rgba.data()));
  return rgba;
}

// Every block of a size by size picture, extracted.
template <class Visit>
void forEachBlock(const std::vector<uint8_t>& picture, int size, Visit visit) {
  for (int by = 0; by < size; by += 4) {
    for (int bx = 0; bx < size; bx += 4) {
      Block block{};
      extractBlock(picture.data(), bx, by, size, size, block.data());
      visit(block, bx, by);
    }
  }
}

TEST(ExtractBlockTest, RepeatsPositionsOfPartialBlocks) {
  struct Case { int width, height, x, y; std::array<int, 4> columns, rows; };  // source columns, rows
  for (const Case& c : {Case{8, 8, 4, 0, {4, 5, 6, 7}, {0, 1, 2, 3}}, Case{7, 7, 4, 4, {4, 5, 6, 4}, {4, 5, 6, 4}},
                        Case{6, 3, 4, 0, {4, 5, 4, 5}, {0, 1, 2, 0}}}) {
    // Red holds the column, green the row.
    std::vector<uint8_t> picture;
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) picture.insert(picture.end(), {uint8_t(x), uint8_t(y), 100, 200});
    }
    Block block{};
    extractBlock(picture.data(), c.x, c.y, c.width, c.height, block.data());
    for (int i = 0; i < 16; ++i) {
      const uint8_t* p = block.data() + i * 4;
      EXPECT_EQ(p[kRed], c.columns[i % 4]) << c.width << "x" << c.height << " pixel " << i;
      EXPECT_EQ(p[kGreen], c.rows[i / 4]) << c.width << "x" << c.height << " pixel " << i;
      EXPECT_EQ(p[kBlue], 100);
      EXPECT_EQ(p[kAlpha], 200);
    }
  }
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
  // DXT3 keeps the top four bits, the first pixel in the low nibble.
  std::vector<std::array<int, 4>> ramp;
  for (int i = 0; i < 16; ++i) ramp.push_back({0, 0, 0, i * 17 ^ 0x0F});
  encodeDXT3Alpha(out, blockOf(ramp).data());
  for (int k = 0; k < 8; ++k) {
    EXPECT_EQ(out[k], ((((2 * k + 1) * 17) ^ 0x0F) & 0xF0) | ((((2 * k) * 17) ^ 0x0F) >> 4));
  }
}

TEST(AlphaBlockTest, RoundTripsWithinHalfAStepOnEveryChannelType) {
  forEachBlock(test::photoPicture(16, 16, 7, true), 16, [](const Block& block, int, int) {
    uint8_t out[16];
    // Type 3 carries alpha, type 5 red, type 6 green then red.
    encodeAlphaBlock(out, block.data(), kAlpha);
    encodeColourBlock(out + 8, block.data(), 0, false, false);
    const std::vector<uint8_t> dxt5 = decoded(out, 3);
    encodeAlphaBlock(out, block.data(), kRed);
    const std::vector<uint8_t> one = decoded(out, 5);
    encodeAlphaBlock(out, block.data(), kGreen);
    encodeAlphaBlock(out + 8, block.data(), kRed);
    const std::vector<uint8_t> two = decoded(out, 6);
    const int kChannel[4] = {kRed, kGreen, kBlue, kAlpha};
    for (const auto& [result, channel] : {std::pair{&dxt5, 3}, {&one, 0}, {&two, 0}, {&two, 1}}) {
      int lo = 255;
      int hi = 0;
      for (int i = 0; i < 16; ++i) {
        lo = std::min(lo, static_cast<int>(block[i * 4 + kChannel[channel]]));
        hi = std::max(hi, static_cast<int>(block[i * 4 + kChannel[channel]]));
      }
      for (int i = 0; i < 16; ++i) {
        EXPECT_LE(std::abs((*result)[i * 4 + channel] - block[i * 4 + kChannel[channel]]),
                  (hi - lo) / 14 + 1)
            << "channel " << channel << " pixel " << i;
      }
    }
    // Types 5 and 6 leave the channels they do not carry alone.
    EXPECT_EQ(one[1], 0);
    EXPECT_EQ(two[2], 0);
    EXPECT_EQ(two[3], 0);
  });
}

TEST(ConstantBlockTest, UsesTheMatchedPairAtIndexTwo) {
  // (2, 2, 2) has a pair with a smaller first end point, so the block is turned to index 3.
  struct Case { std::array<int, 4> rgba; uint32_t mask; };
  for (const Case& c : {Case{{255, 255, 255, 255}, 0xAAAAAAAAu}, Case{{200, 30, 90, 255}, 0xAAAAAAAAu},
                        Case{{2, 2, 2, 255}, 0xFFFFFFFFu}}) {
    for (const int quality : {0, 1, 2, 3}) {
      uint8_t out[8];
      encodeColourBlock(out, blockOf({c.rgba}).data(), quality, quality == 0, true);
      EXPECT_EQ(indexMask(out), c.mask) << c.rgba[0] << " at quality " << quality;
      EXPECT_GE(colour0(out), colour1(out));
      const std::vector<uint8_t> rgba = decoded(out, 1);
      for (int i = 0; i < 16; ++i) {
        for (int ch = 0; ch < 3; ++ch) EXPECT_LE(std::abs(rgba[i * 4 + ch] - c.rgba[ch]), 1);
        EXPECT_EQ(rgba[i * 4 + 3], 255);
      }
    }
  }
}

TEST(OneBitAlphaTest, PixelsBelowHalfAlphaBecomeTransparent) {
  uint8_t out[8];
  encodeColourBlock(out, blockOf({{0, 0, 0, 0}}).data(), 0, false, true);
  EXPECT_EQ(indexMask(out), 0xFFFFFFFFu) << "transparent black is all index 3";
  const Block block = blockOf({{250, 40, 40, 255},
                               {20, 30, 200, 0},
                               {240, 60, 40, 127},
                               {40, 60, 230, 128},
                               {120, 50, 120, 255}});
  for (const int quality : {0, 1, 2, 3}) {
    encodeColourBlock(out, block.data(), quality, false, true);
    EXPECT_LE(colour0(out), colour1(out));
    const std::vector<uint8_t> rgba = decoded(out, 1);
    for (int i = 0; i < 16; ++i) {
      EXPECT_EQ(rgba[i * 4 + 3], block[i * 4 + kAlpha] < 128 ? 0 : 255) << "pixel " << i;
    }
    // Without the one-bit mode alpha is ignored and all four colours are used.
    encodeColourBlock(out, block.data(), quality, false, false);
    EXPECT_GE(colour0(out), colour1(out));
  }
}

struct QualityCase {
  int quality;
  bool dither;
  double photoLimit;     // root mean square error on the photograph
  double gradientLimit;  // and on the gradient
};

class ColourEncoderTest : public ::testing::TestWithParam<QualityCase> {};

// Every block through encodeColourBlock, decoded by the own decoder and by libsquish, which
// must agree up to the rounding of the one- and two-thirds colours.
TEST_P(ColourEncoderTest, DecodesCloseToTheSourceAndAgreesWithLibsquish) {
  const QualityCase c = GetParam();
  const int size = 64;
  for (const bool photo : {true, false}) {
    const std::vector<uint8_t> picture =
        photo ? test::photoPicture(size, size, 11) : test::gradientPicture(size, size);
    std::vector<uint8_t> ours(picture.size());
    std::vector<uint8_t> theirs(picture.size());
    forEachBlock(picture, size, [&](const Block& block, int bx, int by) {
      uint8_t out[8];
      encodeColourBlock(out, block.data(), c.quality, c.dither, false);
      EXPECT_GE(colour0(out), colour1(out));
      uint8_t mine[64];
      uint8_t squished[64];
      decodeBlock(out, 1, mine);
      squish::Decompress(squished, out, squish::kDxt1);
      for (int i = 0; i < 16; ++i) {
        const size_t at = ((static_cast<size_t>(by) + i / 4) * size + bx + i % 4) * 4;
        std::copy_n(mine + i * 4, 4, ours.begin() + static_cast<long>(at));
        std::copy_n(squished + i * 4, 4, theirs.begin() + static_cast<long>(at));
      }
    });
    EXPECT_LE(test::maxDifference(ours, theirs), 1);
    EXPECT_LT(test::rmse(ours, picture, 7), photo ? c.photoLimit : c.gradientLimit)
        << (photo ? "photograph" : "gradient");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Qualities, ColourEncoderTest,
    ::testing::Values(QualityCase{1, false, 7.0, 3.5}, QualityCase{2, false, 7.0, 3.5},
                      QualityCase{3, false, 6.5, 4.5}, QualityCase{0, false, 5.5, 3.5},
                      QualityCase{-7, false, 5.5, 3.5},
                      // Dithering trades error for smoother shading.
                      QualityCase{0, true, 6.0, 5.0}));

TEST(YCoCgBlockTest, RoundTripsScaledChromaAndLuma) {
  // Chroma along and against the diagonal, luma in alpha.
  for (const int spread : {10, 40, 100}) {
    for (const int direction : {1, -1}) {
      std::vector<std::array<int, 4>> pixels;
      for (int i = 0; i < 16; ++i) {
        const int t = i * spread / 15 - spread / 2;
        pixels.push_back({128 + t, 128 + direction * t, 0, 40 + 10 * i});
      }
      const Block block = blockOf(pixels);
      uint8_t out[16];
      encodeYCoCgBlock(out, block.data());
      EXPECT_EQ(colour0(out + 8) & 31, colour1(out + 8) & 31);
      const int factor = (colour0(out + 8) & 31) + 1;
      const int span = std::abs(pixels[0][0] - 128);
      const int actual = pixels[15][0] - pixels[0][0];
      EXPECT_EQ(factor, span < 32 ? 4 : (span < 64 ? 2 : 1));
      // Decoded as type 3; chroma is stretched around 128 by the factor.
      const std::vector<uint8_t> rgba = decoded(out, 3);
      for (int i = 0; i < 16; ++i) {
        for (const auto& [at, channel] : {std::pair{0, kRed}, {1, kGreen}}) {
          const double chroma = 128.0 + (rgba[i * 4 + at] - 128.0) / factor;
          // Four steps across the block's chroma range, each end pulled in a little.
          EXPECT_NEAR(chroma, block[i * 4 + channel], actual / 6.0 + 4.0) << "pixel " << i;
        }
        EXPECT_NEAR(rgba[i * 4 + 3], block[i * 4 + kAlpha], 12);
      }
    }
  }
}

TEST(BlockDecoderTest, ThreeColourModeOnlyForDXT1AndDXT3) {
  // c0 < c1 and every index 3: transparent black in DXT1, black in DXT3, two thirds in DXT5.
  uint8_t block[16] = {};
  const uint8_t colour[8] = {0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  std::copy_n(colour, 8, block + 8);
  const std::vector<uint8_t> dxt1 = decoded(colour, 1);
  EXPECT_EQ(std::vector<uint8_t>(dxt1.begin(), dxt1.begin() + 4), (std::vector<uint8_t>{0, 0, 0, 0}));
  EXPECT_EQ(decoded(block, 2)[0], 0);
  EXPECT_EQ(decoded(block, 3)[0], 170);
}

// The end-point searches, refinement, dithering and match tables, each against its rule.
std::vector<uint8_t> rgbaOf(const Block& block) {
  std::vector<uint8_t> rgba(kBlockBytes);
  for (int i = 0; i < kBlockPixels; ++i) {
    rgba[i * 4 + 0] = block[i * 4 + kRed];
    rgba[i * 4 + 1] = block[i * 4 + kGreen];
    rgba[i * 4 + 2] = block[i * 4 + kBlue];
    rgba[i * 4 + 3] = block[i * 4 + kAlpha];
  }
  return rgba;
}

TEST(DXTTablesTest, MatchTablesHoldTheFirstClosestThirdPoint) {
  for (const int bits : {5, 6}) {
    const auto& table = bits == 5 ? match5 : match6;
    auto expand = [bits](int v) { return bits == 5 ? expand5(v) : expand6(v); };
    for (int i = 0; i < 256; ++i) {
      int bestError = 256;
      MatchPair best{};
      for (int mn = 0; mn < (1 << bits); ++mn) {
        for (int mx = 0; mx < (1 << bits); ++mx) {
          const int error = std::abs(expand(mx) + mul8(expand(mn) - expand(mx), 85) - i);
          if (error < bestError) {
            bestError = error;
            best = {static_cast<uint8_t>(mx), static_cast<uint8_t>(mn)};
          }
        }
      }
      ASSERT_EQ(table[i].mx, best.mx) << bits << " bits, value " << i;
      ASSERT_EQ(table[i].mn, best.mn) << bits << " bits, value " << i;
    }
  }
}

struct EndpointCase {
  std::string name;
  Endpoints (*search)(const uint8_t*);
  Endpoints expected;
};

// Grey 100 with a red outlier at pixel 3 and a green one at pixel 9.
Block outlierBlock() {
  std::vector<std::array<int, 4>> pixels(16, {100, 100, 100, 255});
  pixels[3] = {250, 10, 10, 255};
  pixels[9] = {10, 240, 10, 255};
  return blockOf(pixels);
}

class EndpointSearchTest : public ::testing::TestWithParam<EndpointCase> {};

TEST_P(EndpointSearchTest, FindsTheHandWorkedEndPoints) {
  const EndpointCase& c = GetParam();
  const Block block = outlierBlock();
  const Endpoints found = c.search(block.data());
  EXPECT_EQ(found.max16, c.expected.max16);
  EXPECT_EQ(found.min16, c.expected.min16);
}

INSTANTIATE_TEST_SUITE_P(
    Searches, EndpointSearchTest,
    ::testing::Values(
        // The farthest pair is the two outliers; the larger 5:6:5 value (red) comes first.
        EndpointCase{"Pair", pairEndpoints, {to565(250, 10, 10), to565(10, 240, 10)}},
        // Luma 173 for the green outlier, 60 for the red one.
        EndpointCase{"Luma", lumaEndpoints, {to565(10, 240, 10), to565(250, 10, 10)}},
        // Box 10..250, 10..240, 10..100, pulled in by 15, 14 and 5.
        EndpointCase{"Box", boxEndpoints, {to565(235, 226, 95), to565(25, 24, 15)}},
        // The axis comes out as (512, 472, 29): the red outlier projects highest, and the
        // grey pixels, first of them pixel 0, lowest.
        EndpointCase{"PrincipalAxis", pcaEndpoints, {to565(250, 10, 10), to565(100, 100, 100)}}),
    [](const ::testing::TestParamInfo<EndpointCase>& info) { return info.param.name; });

TEST(EndpointSearchTest, AntiCorrelatedBlockFallsBackToTheFixedAxis) {
  // Red and green in turn: the start vector (255, 255, 0) is orthogonal to the principal
  // axis, the iteration dies out, and the fixed axis ranks green above red.
  const Block block = blockOf({{255, 0, 0, 255}, {0, 255, 0, 255}});
  const Endpoints found = pcaEndpoints(block.data());
  EXPECT_EQ(found.max16, 0x07E0);
  EXPECT_EQ(found.min16, 0xF800);
  // The encoder still codes both colours exactly, red first after the final swap.
  uint8_t out[8];
  encodeColourBlock(out, block.data(), 0, false, false);
  EXPECT_EQ(colour0(out), 0xF800);
  EXPECT_EQ(colour1(out), 0x07E0);
  EXPECT_EQ(test::maxDifference(decoded(out, 1), rgbaOf(block)), 0);
}

TEST(RefineEndpointsTest, FitsTwoColoursExactly) {
  // White at index 0, black at index 1.
  const Block block = blockOf({{255, 255, 255, 255}, {0, 0, 0, 255}});
  uint16_t max16 = 0x1234;
  uint16_t min16 = 0x4321;
  EXPECT_TRUE(refineEndpoints(block.data(), max16, min16, 0x44444444u));
  EXPECT_EQ(max16, 0xFFFF);
  EXPECT_EQ(min16, 0x0000);
  EXPECT_FALSE(refineEndpoints(block.data(), max16, min16, 0x44444444u));
}

TEST(RefineEndpointsTest, OneIndexForAllTakesTheMatchedPairOfTheMean) {
  const Block block = blockOf({{255, 255, 255, 255}, {0, 0, 0, 255}});
  for (const uint32_t mask : {0u, 0x55555555u, 0xFFFFFFFFu}) {
    uint16_t max16 = 0;
    uint16_t min16 = 0;
    refineEndpoints(block.data(), max16, min16, mask);
    // Mean (8 + 8 * 255) >> 4 = 128 in every channel.
    EXPECT_EQ(max16, match5[128].mx << 11 | match6[128].mx << 5 | match5[128].mx);
    EXPECT_EQ(min16, match5[128].mn << 11 | match6[128].mn << 5 | match5[128].mn);
  }
}

TEST(DitherBlockTest, QuantisesToFiveSixFiveLevelsAndLeavesAlpha) {
  const std::vector<uint8_t> picture = test::gradientPicture(4, 4);
  Block block{};
  extractBlock(picture.data(), 0, 0, 4, 4, block.data());
  Block out{};
  out.fill(7);
  ditherBlock(out.data(), block.data());
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(out[i * 4 + kRed], expand5(out[i * 4 + kRed] >> 3));
    EXPECT_EQ(out[i * 4 + kGreen], expand6(out[i * 4 + kGreen] >> 2));
    EXPECT_EQ(out[i * 4 + kBlue], expand5(out[i * 4 + kBlue] >> 3));
    EXPECT_EQ(out[i * 4 + kAlpha], 7);
    for (const int ch : {kRed, kGreen, kBlue}) {
      EXPECT_LE(std::abs(out[i * 4 + ch] - block[i * 4 + ch]), 12);
    }
  }
}


// Blocks of every kind the encoder meets: noise, one colour, two colours, ramps, faint
// noise around a colour, and alpha edges and speckles.
std::vector<Block> variedBlocks(int count) {
  std::mt19937 random(7);
  const auto byte = [&random]() { return static_cast<int>(random() % 256); };
  std::vector<Block> blocks;
  for (int n = 0; n < count; ++n) {
    std::array<int, 4> a = {byte(), byte(), byte(), 255};
    std::array<int, 4> b = {byte(), byte(), byte(), n % 3 == 0 ? byte() : 255};
    std::vector<std::array<int, 4>> pixels;
    for (int i = 0; i < kBlockPixels; ++i) {
      std::array<int, 4> p = a;
      for (int ch = 0; ch < 4; ++ch) {
        switch (n % 6) {
          case 0: p[ch] = byte(); break;
          case 1: break;
          case 2: p[ch] = (random() % 2 ? a : b)[ch]; break;
          case 3: p[ch] = a[ch] + (b[ch] - a[ch]) * i / 15; break;
          case 4: p[ch] = std::clamp(a[ch] + byte() % 9 - 4, 0, 255); break;
          default: p[ch] = ch == 3 ? (i % 4 < 2 ? 0 : b[3]) : a[ch] + (b[ch] - a[ch]) * (i / 4) / 3;
        }
      }
      pixels.push_back(p);
    }
    blocks.push_back(blockOf(pixels));
  }
  return blocks;
}

TEST(ColourPathTest, EverySimdBuildGivesTheScalarBytes) {
  const std::vector<Block> blocks = variedBlocks(30001);
  const int count = static_cast<int>(blocks.size());
  for (const bool oneBitAlpha : {false, true}) {
    std::vector<uint8_t> scalar(blocks.size() * 8);
    encodeColourBlocks(scalar.data(), 8, blocks[0].data(), count, 0, false, oneBitAlpha, ColourPath::kScalar);
    for (const ColourPath path : {ColourPath::kSse2, ColourPath::kSse41, ColourPath::kAvx2}) {
      if (path > fastestColourPath()) continue;  // not on this processor
      std::vector<uint8_t> simd(blocks.size() * 8);
      encodeColourBlocks(simd.data(), 8, blocks[0].data(), count, 0, false, oneBitAlpha, path);
      const auto differ = std::mismatch(simd.begin(), simd.end(), scalar.begin()).first - simd.begin();
      EXPECT_EQ(differ, static_cast<long>(simd.size()))
          << "path " << static_cast<int>(path) << " block " << differ / 8;
    }
  }
}

}  // namespace
}  // namespace nox::texture
