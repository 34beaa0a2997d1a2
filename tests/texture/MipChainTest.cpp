// Level counts, chain sizes and the level loops of 2D and 3D chains.

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

#include "texture/MipChain.h"

namespace nox::texture {
namespace {

TEST(MipChainTest, LevelCountsAndChainSizes) {
  struct Count { int width, height, count; };
  for (const Count c : {Count{1, 1, 1}, Count{5, 3, 3}, Count{256, 128, 9}, Count{1, 100, 7},
                        Count{0, 4, 0}, Count{4, -1, 0}}) {
    EXPECT_EQ(mipLevelCount(c.width, c.height), c.count) << c.width << "x" << c.height;
  }
  struct Size { int width, height, bytesPerPixel, firstLevel, levels, type, size; };
  for (const Size c : {Size{4, 4, 4, 0, 3, 0, 84},     // 64 + 16 + 4
                       Size{8, 8, 0, 0, 4, 1, 56},     // 8 * (4 + 1 + 1 + 1)
                       Size{4, 4, 4, 0, 3, 3, 48},     // DXT5 blocks ignore bytesPerPixel
                       Size{8, 4, 0, 0, 4, 6, 80},     // 16 * (2 + 1 + 1 + 1)
                       Size{4, 4, 4, 0, 9, 0, 84},     // stops at 1 by 1
                       Size{4, 4, 4, 0, 0, 0, 0},      // no levels
                       Size{4, 4, 0, 0, 3, 0, 0},      // type 0 without pixel size
                       Size{16, 8, 1, 1, 2, 0, 40},    // from 8 by 4: 32 + 8
                       Size{5, 3, 1, 0, 3, 0, 18}}) {  // 15 + 2 + 1
    EXPECT_EQ(mipChainSize(c.width, c.height, c.bytesPerPixel, c.firstLevel, c.levels, c.type),
              c.size)
        << c.width << "x" << c.height << " type " << c.type << " levels " << c.levels;
  }
}

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

TEST(GenerateMipmapsTest, ScalesEachLevelFromTheOneBefore) {
  // Box (unknown filters too): columns 0 and 2 of rows 0 and 1, then the 2 by 1 level with
  // its own row repeated. Nearest: columns 1 and 3 of row 1, then column 1 of that level.
  // Bilinear puts the end pixels on the corners: columns 0 and 4 of row 0, then column 0.
  struct Case { int forceNearest, filter; std::vector<uint8_t> lowerLevels; };  // 2x1, then 1x1
  for (const Case& c : {Case{0, 0, {30, 50, 40}}, Case{0, 7, {30, 50, 40}}, Case{0, 1, {60, 80, 80}},
                        Case{1, 3, {60, 80, 80}},
                        Case{0, 3, {0, 40, 0}}}) {
    std::vector<uint8_t> chain(mipChainSize(5, 3, 1, 0, 3, 0));
    EXPECT_EQ(generateMipmaps(chain.data(), kFiveByThree.data(), 5, 3, 1, c.forceNearest, 3,
                              c.filter, 0, 2.2f), 1);
    EXPECT_EQ(std::vector<uint8_t>(chain.begin(), chain.begin() + 15), kFiveByThree);
    EXPECT_EQ(std::vector<uint8_t>(chain.begin() + 15, chain.end()), c.lowerLevels)
        << "nearest " << c.forceNearest << " filter " << c.filter;
  }
}

TEST(GenerateMipmaps3DTest, BuildsVolumeLevelsWithoutLanczos) {
  // 2 by 2 by 2: the box takes the last level's second slice from the start of the source,
  // nearest takes slice (1 + 0) / 1 = 1.
  const std::vector<uint8_t> volume = {0, 0, 0, 0, 200, 200, 200, 200};
  std::vector<uint8_t> chain(mipChainSize3D(2, 2, 2, 1, 0, 2, 0));
  ASSERT_EQ(chain.size(), 9u);
  for (const auto& [nearest, filter, last] : {std::tuple{0, 0, 0}, {1, 0, 200}, {0, 5, 0}}) {
    EXPECT_EQ(generateMipmaps3D(chain.data(), volume.data(), 2, 2, 2, 1, nearest, 2, filter, 0, 2.2f), 1);
    EXPECT_EQ(chain[8], last) << "nearest " << nearest << " filter " << filter;
  }
}

}  // namespace
}  // namespace nox::texture
