// Level counts, chain sizes and the level loops of 2D and 3D chains.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "texture/MipChain.h"

namespace nox::texture {
namespace {

struct CountCase {
  int width;
  int height;
  int count;
};

class MipLevelCountTest : public ::testing::TestWithParam<CountCase> {};

TEST_P(MipLevelCountTest, CountsLevelsDownToOneByOne) {
  const CountCase c = GetParam();
  EXPECT_EQ(mipLevelCount(c.width, c.height), c.count);
}

INSTANTIATE_TEST_SUITE_P(Sizes, MipLevelCountTest,
                         ::testing::Values(CountCase{1, 1, 1}, CountCase{5, 3, 3},
                                           CountCase{256, 128, 9}, CountCase{100, 1, 7},
                                           CountCase{1, 2, 2}, CountCase{1, 100, 7},
                                           CountCase{4096, 4096, 13}, CountCase{0, 4, 0},
                                           CountCase{4, -1, 0}));

struct SizeCase {
  int width;
  int height;
  int bytesPerPixel;
  int firstLevel;
  int levels;
  int type;
  int size;
};

class MipChainSizeTest : public ::testing::TestWithParam<SizeCase> {};

TEST_P(MipChainSizeTest, SumsTheLevels) {
  const SizeCase c = GetParam();
  EXPECT_EQ(mipChainSize(c.width, c.height, c.bytesPerPixel, c.firstLevel, c.levels, c.type),
            c.size);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, MipChainSizeTest,
    ::testing::Values(SizeCase{4, 4, 4, 0, 3, 0, 84},    // 64 + 16 + 4
                      SizeCase{8, 8, 0, 0, 4, 1, 56},    // 8 * (4 + 1 + 1 + 1)
                      SizeCase{4, 4, 0, 0, 3, 1, 24},    // one DXT1 block per level
                      SizeCase{4, 4, 4, 0, 3, 3, 48},    // DXT5 blocks ignore bytesPerPixel
                      SizeCase{4, 4, 0, 0, 3, 5, 24},    // one channel: 8 bytes a block
                      SizeCase{8, 4, 0, 0, 4, 6, 80},    // 16 * (2 + 1 + 1 + 1)
                      SizeCase{4, 4, 4, 0, 9, 0, 84},    // stops at 1 by 1
                      SizeCase{4, 4, 4, 0, 0, 0, 0},     // no levels
                      SizeCase{4, 4, 0, 0, 3, 0, 0},     // type 0 without pixel size
                      SizeCase{16, 8, 1, 1, 2, 0, 40},   // from 8 by 4: 32 + 8
                      SizeCase{5, 3, 1, 0, 3, 0, 18}));  // 15 + 2 + 1

TEST(MipChainSize3DTest, CountsSlicesAndBlocksWithoutTheMinimum) {
  EXPECT_EQ(mipChainSize3D(4, 4, 4, 1, 0, 3, 0), 64 + 8 + 1);
  EXPECT_EQ(mipChainSize3D(4, 4, 2, 4, 0, 3, 0), 4 * (32 + 4 + 1));
  // 8 by 8 by 8 in DXT1: 4 * 8 blocks, then 1 * 4, then 1 * 2 and 1 * 1.
  EXPECT_EQ(mipChainSize3D(8, 8, 8, 0, 0, 4, 1), 8 * (32 + 4 + 2 + 1));
  EXPECT_EQ(mipChainSize3D(8, 8, 8, 0, 0, 0, 1), 0);
}

// 5 by 3, one component.
const std::vector<uint8_t> kFiveByThree = {0,  10, 20,  30,  40,  50,  60, 70,
                                           80, 90, 100, 110, 120, 130, 140};

struct FilterCase {
  int forceNearest;
  int filter;
  std::vector<uint8_t> lowerLevels;  // 2 by 1, then 1 by 1
};

class GenerateMipmapsTest : public ::testing::TestWithParam<FilterCase> {};

TEST_P(GenerateMipmapsTest, ScalesEachLevelFromTheOneBefore) {
  const FilterCase c = GetParam();
  std::vector<uint8_t> chain(mipChainSize(5, 3, 1, 0, 3, 0));
  ASSERT_EQ(chain.size(), 18u);
  EXPECT_EQ(generateMipmaps(chain.data(), kFiveByThree.data(), 5, 3, 1, c.forceNearest, 3, c.filter,
                            0, 2.2f),
            1);
  EXPECT_EQ(std::vector<uint8_t>(chain.begin(), chain.begin() + 15), kFiveByThree);
  EXPECT_EQ(std::vector<uint8_t>(chain.begin() + 15, chain.end()), c.lowerLevels);
}

// Box: columns 0 and 2 of rows 0 and 1, then the 2 by 1 level with its own row repeated.
// Nearest: columns 1 and 3 of row 1, then column 1 of that level.
INSTANTIATE_TEST_SUITE_P(
    Filters, GenerateMipmapsTest,
    ::testing::Values(FilterCase{0, 0, {30, 50, 40}}, FilterCase{0, 2, {30, 50, 40}},
                      FilterCase{0, 7, {30, 50, 40}}, FilterCase{0, -1, {30, 50, 40}},
                      FilterCase{0, 1, {60, 80, 80}}, FilterCase{1, 0, {60, 80, 80}},
                      FilterCase{1, 3, {60, 80, 80}}));

TEST(GenerateMipmapsTest, OneLevelIsACopy) {
  std::vector<uint8_t> chain(15, 0xEE);
  generateMipmaps(chain.data(), kFiveByThree.data(), 5, 3, 1, 0, 1, 0, 0, 2.2f);
  EXPECT_EQ(chain, kFiveByThree);
}

TEST(GenerateMipmapsTest, WidthOneLevelHalvesOnlyItsHeight) {
  // 1 by 2 RGBA: the next level is 1 by 1, the mean of both pixels.
  const std::vector<uint8_t> source = {10, 20, 30, 40, 50, 60, 70, 80};
  std::vector<uint8_t> chain(mipChainSize(1, 2, 4, 0, 2, 0));
  ASSERT_EQ(chain.size(), 12u);
  generateMipmaps(chain.data(), source.data(), 1, 2, 4, 0, 2, 0, 0, 2.2f);
  EXPECT_EQ(std::vector<uint8_t>(chain.begin() + 8, chain.end()),
            (std::vector<uint8_t>{30, 40, 50, 60}));
}

TEST(GenerateMipmaps3DTest, LanczosHasNoVolumeFormAndFallsBackToTheBox) {
  std::vector<uint8_t> picture(8 * 8);
  for (size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<uint8_t>(i * 37 % 251);
  const int levels = mipLevelCount(8, 8);
  auto chain2D = [&](int filter) {
    std::vector<uint8_t> chain(mipChainSize(8, 8, 1, 0, levels, 0));
    generateMipmaps(chain.data(), picture.data(), 8, 8, 1, 0, levels, filter, 0, 2.2f);
    return chain;
  };
  auto chain3D = [&](int filter) {
    std::vector<uint8_t> chain(mipChainSize3D(8, 8, 1, 1, 0, levels, 0));
    generateMipmaps3D(chain.data(), picture.data(), 8, 8, 1, 1, 0, levels, filter, 0, 2.2f);
    return chain;
  };
  EXPECT_NE(chain2D(5), chain2D(0));
  EXPECT_EQ(chain3D(5), chain3D(0));
}

TEST(GenerateMipmaps3DTest, BuildsVolumeLevels) {
  // 2 by 2 by 2: the last level takes its second slice from the start of the source.
  const std::vector<uint8_t> volume = {0, 0, 0, 0, 200, 200, 200, 200};
  std::vector<uint8_t> chain(mipChainSize3D(2, 2, 2, 1, 0, 2, 0));
  ASSERT_EQ(chain.size(), 9u);
  EXPECT_EQ(generateMipmaps3D(chain.data(), volume.data(), 2, 2, 2, 1, 0, 2, 0, 0, 2.2f), 1);
  EXPECT_EQ(chain[8], 0);
  // Nearest takes slice (1 + 0) / 1 = 1.
  generateMipmaps3D(chain.data(), volume.data(), 2, 2, 2, 1, 1, 2, 0, 0, 2.2f);
  EXPECT_EQ(chain[8], 200);
}

}  // namespace
}  // namespace nox::texture
