#include "image/image/ImageFormat.h"

#include <gtest/gtest.h>

namespace {

using namespace nox::image;

TEST(ImageFormat, MakeFormat) {
  struct Case { unsigned channels; int depth; ImageFormat word; };
  const Case cases[] = {
      {3, 8, 167},  {4, 8, 175},  {1, 8, 524449}, {2, 8, 1573027}, {1, 16, 524577}, {2, 16, 1573155},
      {3, 16, 295}, {4, 16, 303}, {4, 32, 1071},  {3, 12, 39},      {5, 8, 160},     {0, 7, 32},
  };
  for (const auto& c : cases) EXPECT_EQ(makeFormat(c.channels, c.depth), c.word) << c.channels << "x" << c.depth;
}

TEST(ImageFormat, ChannelsAndPixelSize) {
  constexpr ImageFormat kExtra = 14680064;  // bits 21, 22 and 23
  struct Case { ImageFormat word; unsigned channels, bytes; const char* why; };
  const Case cases[] = {
      {FormatBGRA8, 4, 4, "BGRA8"},   {FormatLA16, 2, 4, "LA16"},         {FormatA8, 1, 1, "A8"},
      {FormatRGB16F, 3, 6, "RGB16F"}, {FormatRGBA32F, 4, 16, "RGBA32F"}, {FormatDXT3, 4, 0, "DXT3"},
      {128 | 1024 | 15, 4, 4, "first size bit wins"}, {39, 3, 0, "no size bit"},
      {160 | 7 | 65536, 3, 6, "bit 16 adds a byte per component"},
      {128 | kExtra, 3, 3, "second rule, bit 24 clear"},
      {128 | kExtra | 65536, 3, 3, "bit 16 no longer counts"},
      {128 | kExtra | 16777216, 3, 0, "bit 24 without bit 25"},
      {256 | kExtra | 16777216 | 33554432, 3, 4, "bits 24 and 25, bit 3 clear: 2 * c"},
      {256 | 8 | kExtra | 16777216 | 33554432, 4, 6, "bits 24 and 25, bit 3 set: 3 * c"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(formatChannels(c.word), c.channels) << c.why;
    EXPECT_EQ(formatPixelSize(c.word), c.bytes) << c.why;
  }
}

TEST(ImageFormat, ImageSizeCountsBlocksAndWrapsAt32Bits) {
  struct Case { int width; int height; ImageFormat word; uint64_t bytes; };
  const Case cases[] = {
      {5, 3, FormatDXT1, 16}, {5, 5, FormatDXT3, 64}, {-3, 4, FormatDXT1, 0}, {64, 64, 274447, 0},
      {64, 64, FormatRGBA8 | 262144, 0},
      {3, 2, FormatRGB32F, 72}, {65537, 65536, FormatRGBA8, 262144},
      {65536, 16384, FormatRGB8, 3221225472u},
      {-1, 1, FormatRGBA8, 4294967292u},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(formatImageSize(c.width, c.height, c.word), c.bytes) << c.width << "x" << c.height << " " << c.word;
  }
}

}  // namespace
