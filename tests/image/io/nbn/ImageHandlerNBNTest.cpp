// The NBN handler: which container layouts become images, and with what.

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>

#include "image/image/Image.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/MemNoxImage.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::nbn;
using nox::test::io::failureOf;

// An NBN file of a width x height picture of `pictureFormat`, block-exact colours.
Bytes nbnFile(int width, int height, int pictureFormat, int packWord, unsigned flags) {
  const Bytes rgba = blockExactRgba(width, height, 5);
  const int bpp = nbnFormatBytes(pictureFormat);
  Bytes pixels;
  for (int i = 0; i < width * height; ++i) pixels.insert(pixels.end(), &rgba[4 * i], &rgba[4 * i] + bpp);
  return nox::test::io::nbnFile(width, height, pictureFormat, packWord, flags, pixels);
}

std::shared_ptr<IImage> load(const Bytes& file, std::string& failed) {
  std::shared_ptr<IImage> image;
  failed = failureOf([&] {
    image = ImageHandlerNBN(file.data(), static_cast<int32_t>(file.size()), kHandlerOptionsDefault).load();
  });
  return image;
}

// Level 0 as the container reads it from the same bytes.
Bytes containerLevel0(const Bytes& file, size_t size) {
  CMemNoxImage nbn;
  EXPECT_TRUE(nbn.load_from_memory(file.data(), static_cast<uint32_t>(file.size()), true));
  return Bytes(nbn.pixels(), nbn.pixels() + size);
}

struct MapCase {
  const char* name;
  int pictureFormat;
  int packWord;
  ImageFormat word;      // when it loads
  const char* failure;   // "" when it loads
};

void PrintTo(const MapCase& c, std::ostream* os) { *os << c.name; }

class NbnHandlerMap : public testing::TestWithParam<MapCase> {};

TEST_P(NbnHandlerMap, MapsLevelZeroOrRefuses) {
  const MapCase& c = GetParam();
  // With a mip chain level 0 is read whole: only the file's last byte is never seen.
  const Bytes file = nbnFile(16, 8, c.pictureFormat, c.packWord, kNbnMipChain);
  std::string failed;
  const auto image = load(file, failed);
  ASSERT_EQ(failed, c.failure);
  if (!image) return;
  EXPECT_EQ(image->format(), c.word);
  EXPECT_EQ(image->width(), 16u);
  EXPECT_EQ(image->height(), 8u);
  const size_t size = formatImageSize(16, 8, c.word);
  const auto* data = static_cast<const uint8_t*>(image->data());
  EXPECT_EQ(Bytes(data, data + size), containerLevel0(file, size));
  if (c.packWord == kNbnRaw) {
    // Raw pixels as they were written, rows unchanged.
    const Bytes rgba = blockExactRgba(16, 8, 5);
    const size_t bpp = c.pictureFormat == kNbnRgb ? 3 : 4;
    for (size_t i = 0; i < 16 * 8; ++i)
      for (size_t ch = 0; ch < bpp; ++ch) ASSERT_EQ(data[i * bpp + ch], rgba[i * 4 + ch]) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, NbnHandlerMap,
    testing::Values(MapCase{"Rgb", kNbnRgb, kNbnRaw, FormatRGB8, ""},
                    MapCase{"Rgba", kNbnRgba, kNbnRaw, FormatRGBA8, ""},
                    MapCase{"Dxt1", kNbnRgba, kNbnDxt1, FormatDXT1, ""},
                    MapCase{"Dxt5", kNbnRgba, kNbnDxt5, FormatDXT5, ""},
                    MapCase{"LzRaw", kNbnRgba, kNbnLz, 0, "4: Unsupported format"},
                    MapCase{"LzDxt1", kNbnRgba, kNbnLzDxt1, 0, "4: Unsupported format"},
                    MapCase{"Alpha", kNbnAlpha, kNbnRaw, 0, "4: Unsupported format"},
                    MapCase{"Luminance", kNbnLuminance, kNbnRaw, 0, "4: Unsupported format"},
                    MapCase{"LuminanceAlpha", kNbnLuminanceAlpha, kNbnRaw, 0, "4: Unsupported format"},
                    MapCase{"Indexed", kNbnIndexed, kNbnRaw, 0, "4: Unsupported format: 6"}),
    [](const auto& info) { return std::string(info.param.name); });

// A picture smaller than a DXT block needs a whole block, more bytes than the container lays
// out for it: what lies beyond its buffer reads as zero.
TEST(NbnHandler, TinyDxtPictureTakesAWholeBlock) {
  Bytes file = nbnFile(4, 4, kNbnRgba, kNbnDxt5, 0);
  const auto put32 = [&](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) file[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  put32(12, 1);   // width
  put32(16, 2);   // height
  put32(64, 12);  // stored size of level 0: what a 1x2 picture's buffer holds
  std::string failed;
  const auto image = load(file, failed);
  ASSERT_EQ(failed, "");
  ASSERT_EQ(image->format(), FormatDXT5);
  ASSERT_EQ(image->pixelCount(), 1);
  const auto* block = static_cast<const uint8_t*>(image->data());
  EXPECT_EQ(Bytes(block, block + 12), Bytes(file.begin() + 192, file.begin() + 204));
  EXPECT_EQ(Bytes(block + 12, block + 16), Bytes(4, 0));
}

}  // namespace
