// CDDS::compress: the level table, refusals, the encoder choice and what the levels decode to.

#include <gtest/gtest.h>
#include <squish.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "TestPictures.h"
#include "texture/AlphaBlock.h"
#include "texture/Block.h"
#include "texture/ColourBlock.h"
#include "texture/DDS.h"
#include "texture/MipChain.h"
#include "texture/YCoCgBlock.h"

namespace nox::texture {
namespace {

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

int blockBytes(int type) { return (type == 1 || type == 5) ? 8 : 16; }

// One level encoded block by block with the own encoders, as the choice table asks.
std::vector<uint8_t> ownLevel(const std::vector<uint8_t>& rgba, int width, int height, int type,
                              int quality, bool dither, bool oneBitAlpha) {
  std::vector<uint8_t> out;
  uint8_t block[kBlockBytes];
  for (int y = 0; y < height; y += 4) {
    for (int x = 0; x < width; x += 4) {
      extractBlock(rgba.data(), x, y, width, height, block);
      uint8_t encoded[16];
      if (type == 1) {
        encodeColourBlock(encoded, block, quality, dither, oneBitAlpha);
      } else if (type == 2 || type == 0 || type == 3) {
        if (type == 2) encodeDXT3Alpha(encoded, block);
        else encodeAlphaBlock(encoded, block, kAlpha);
        encodeColourBlock(encoded + 8, block, quality, dither, false);
      } else if (type == 9) {
        encodeYCoCgBlock(encoded, block);
      } else {  // 5: red; 6: green, then red
        encodeAlphaBlock(encoded, block, type == 5 ? kRed : kGreen);
        if (type == 6) encodeAlphaBlock(encoded + 8, block, kRed);
      }
      out.insert(out.end(), encoded, encoded + blockBytes(type));
    }
  }
  return out;
}

std::vector<uint8_t> squishLevel(const std::vector<uint8_t>& rgba, int width, int height,
                                 int flags) {
  std::vector<uint8_t> out(squish::GetStorageRequirements(width, height, flags));
  float metric[3] = {0.2126f, 0.7152f, 0.0722f};
  squish::CompressImage(rgba.data(), width, height, out.data(), flags, metric);
  return out;
}

// The bytes of a level; type 0 records have size 0, so `bytes` tells how many to take.
std::vector<uint8_t> levelBytes(const CDDS& dds, int level, size_t bytes) {
  const COMPRESSED_IMAGE_DATA& record = dds.levels.at(level);
  return std::vector<uint8_t>(record.data, record.data + bytes);
}

struct TableCase {
  int type, width, height;
  std::vector<uint32_t> sizes;
};

// 4 by 4 DXT1 gives three levels of one block; 16 by 8 DXT5 five levels, packed in turn.
TEST(CDDSTest, LevelTableSizesSidesAndOffsets) {
  for (const TableCase& c : {TableCase{1, 4, 4, {8, 8, 8}}, TableCase{3, 16, 8, {128, 32, 16, 16, 16}}}) {
    CDDS dds;
    const std::vector<uint8_t> picture = test::photoPicture(c.width, c.height, 5);
    ASSERT_EQ(compressInto(dds, picture, c.type, c.width, c.height, 4,
                           mipLevelCount(c.width, c.height)), 1);
    ASSERT_EQ(dds.levels.size(), c.sizes.size());
    uint32_t offset = 0;
    for (size_t i = 0; i < c.sizes.size(); ++i) {
      EXPECT_EQ(dds.levels[i].size, c.sizes[i]);
      EXPECT_EQ(dds.levels[i].dimensions.cx, std::max(c.width >> i, 1));
      EXPECT_EQ(dds.levels[i].dimensions.cy, std::max(c.height >> i, 1));
      EXPECT_EQ(dds.levels[i].data, dds.levels[0].data + offset);
      offset += c.sizes[i];
    }
  }
}

TEST(CDDSTest, TypeZeroCodesEveryLevelAtTheStartWithSizeZero) {
  CDDS dds;
  const std::vector<uint8_t> picture = test::photoPicture(8, 8, 9);
  ASSERT_EQ(compressInto(dds, picture, 0, 8, 8, 4, mipLevelCount(8, 8)), 1);
  ASSERT_EQ(dds.levels.size(), 4u);
  for (const COMPRESSED_IMAGE_DATA& level : dds.levels) {
    EXPECT_EQ(level.size, 0u);
    EXPECT_EQ(level.data, dds.levels[0].data);
  }
  // The last level written there is the 1 by 1 level, in the DXT5 layout.
  std::vector<uint8_t> chain(mipChainSize(8, 8, 4, 0, 4, 0));
  generateMipmaps(chain.data(), picture.data(), 8, 8, 4, 0, 4, 0, 0, 2.2f);
  const std::vector<uint8_t> last(chain.end() - 4, chain.end());
  EXPECT_EQ(std::vector<uint8_t>(dds.levels[0].data, dds.levels[0].data + 16),
            ownLevel(last, 1, 1, 3, 0, false, false));
}

TEST(CDDSTest, RefusesBadSizesAndComponentsAndDropsThePreviousLevels) {
  struct Case { int width, height, type, components; };
  for (const Case& c : {Case{2, 4, 1, 4}, Case{4, 2, 1, 4}, Case{8, 10, 0, 4}, Case{0, 4, 1, 4},
                        Case{4, 4, 1, 0}, Case{4, 4, 1, 5}}) {
    CDDS dds;
    ASSERT_EQ(compressInto(dds, test::gradientPicture(8, 8), 1, 8, 8, 4, 4), 1);
    const std::vector<uint8_t> picture(static_cast<size_t>(16) * 16 * 4, 9);
    EXPECT_EQ(compressInto(dds, picture, c.type, c.width, c.height, c.components, 1), 0)
        << c.width << "x" << c.height << " type " << c.type << " components " << c.components;
    EXPECT_TRUE(dds.levels.empty());
  }
}

TEST(CDDSTest, TopLevelComesFromTheChosenEncoder) {
  // squishFlags 0: the own encoder. The channel formats and YCoCg use the own encoders at
  // every quality.
  struct Case { int type, quality; bool dither; int squishFlags; };
  const std::vector<uint8_t> picture = test::photoPicture(12, 8, 21, true);
  for (const Case& c : {Case{1, -2, false, 0}, Case{2, 4, false, 0}, Case{0, 2, false, 0}, Case{1, 5, true, 0},
                        Case{1, 5, false, squish::kDxt1 | squish::kColourRangeFit},
                        Case{2, 6, false, squish::kDxt3 | squish::kColourClusterFit},
                        Case{0, 12, false, squish::kDxt5}, Case{5, 0, false, 0}, Case{6, 7, false, 0},
                        Case{9, 6, true, 0}}) {
    CDDS dds;
    dds.quality = c.quality;
    dds.dither = c.dither;
    ASSERT_EQ(compressInto(dds, picture, c.type, 12, 8, 4, 1), 1);
    const std::vector<uint8_t> expected =
        c.squishFlags != 0 ? squishLevel(picture, 12, 8, c.squishFlags)
                           : ownLevel(picture, 12, 8, c.type, c.quality, c.dither, c.type == 1);
    EXPECT_EQ(levelBytes(dds, 0, expected.size()), expected) << "type " << c.type << " quality " << c.quality;
  }
}

TEST(CDDSTest, FewerComponentsAreWidenedToRGBA) {
  const std::vector<uint8_t> rgba = test::photoPicture(8, 8, 4, true);
  for (const int components : {1, 2, 3}) {
    std::vector<uint8_t> narrow;
    std::vector<uint8_t> widened;
    for (size_t i = 0; i < rgba.size(); i += 4) {
      const uint8_t alpha = components == 2 ? rgba[i + 3] : 255;
      if (components < 3) {
        narrow.push_back(rgba[i + 1]);
        if (components == 2) narrow.push_back(alpha);
        widened.insert(widened.end(), {rgba[i + 1], rgba[i + 1], rgba[i + 1], alpha});
      } else {
        narrow.insert(narrow.end(), {rgba[i], rgba[i + 1], rgba[i + 2]});
        widened.insert(widened.end(), {rgba[i], rgba[i + 1], rgba[i + 2], 255});
      }
    }
    CDDS dds;
    ASSERT_EQ(compressInto(dds, narrow, 1, 8, 8, components, 1), 1);
    // Only four components make DXT1 blocks with transparency.
    EXPECT_EQ(levelBytes(dds, 0, 32), ownLevel(widened, 8, 8, 1, 0, false, false))
        << components << " components";
  }
}

struct AgreementCase {
  int type, quality;
  bool dither, alpha;
};

class LevelAgreementTest : public ::testing::TestWithParam<AgreementCase> {};

// Every level of a chain, partial blocks of 2 by 2 and 1 by 1 levels included, decodes
// close to the box-filtered chain, and the own decoder agrees with libsquish's on it.
TEST_P(LevelAgreementTest, EveryLevelDecodesAlikeAndCloseToTheChain) {
  const AgreementCase c = GetParam();
  const int width = 32;
  const int height = 24;
  const int count = mipLevelCount(width, height);
  const std::vector<uint8_t> picture = test::photoPicture(width, height, 17, c.alpha);
  std::vector<uint8_t> chain(mipChainSize(width, height, 4, 0, count, 0));
  generateMipmaps(chain.data(), picture.data(), width, height, 4, 0, count, 0, 0, 2.2f);

  CDDS dds;
  dds.quality = c.quality;
  dds.dither = c.dither;
  ASSERT_EQ(compressInto(dds, picture, c.type, width, height, 4, count), 1);
  ASSERT_EQ(static_cast<int>(dds.levels.size()), count);
  const int flags = c.type == 1 ? squish::kDxt1 : (c.type == 2 ? squish::kDxt3 : squish::kDxt5);
  size_t at = 0;
  for (const COMPRESSED_IMAGE_DATA& level : dds.levels) {
    const int w = level.dimensions.cx;
    const int h = level.dimensions.cy;
    std::vector<uint8_t> source(chain.begin() + static_cast<long>(at),
                                chain.begin() + static_cast<long>(at + w * h * 4));
    at += static_cast<size_t>(w) * h * 4;
    if (c.type == 1 && c.alpha) {
      // DXT1 with transparency: pixels below half alpha decode as transparent black.
      for (size_t i = 0; i < source.size(); i += 4) {
        if (source[i + 3] < 128) {
          std::fill_n(source.begin() + static_cast<long>(i), 4, 0);
        } else {
          source[i + 3] = 255;
        }
      }
    }
    const std::vector<uint8_t> ours = test::decodeLevel(level.data, c.type, w, h);
    std::vector<uint8_t> theirs(ours.size());
    squish::DecompressImage(theirs.data(), w, h, level.data, flags);
    EXPECT_LE(test::maxDifference(ours, theirs), 1) << w << "x" << h;
    // Small levels of the grainy picture are hard for every encoder, libsquish's included.
    EXPECT_LT(test::rmse(ours, source, 7), 22.0) << w << "x" << h;
    if (c.type == 1) {
      EXPECT_EQ(test::rmse(ours, source, 8), 0.0) << w << "x" << h;
    } else {
      EXPECT_LT(test::rmse(ours, source, 8), c.type == 2 ? 10.0 : 8.0) << w << "x" << h;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Encoders, LevelAgreementTest,
    ::testing::Values(AgreementCase{1, 0, false, false}, AgreementCase{1, 1, false, true},
                      AgreementCase{1, 2, true, false}, AgreementCase{2, 0, false, true},
                      AgreementCase{3, 0, true, true}, AgreementCase{1, 6, false, false}));

}  // namespace
}  // namespace nox::texture
