// The picture operations of CNoxImage, checked against values worked out by hand.

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using nox::test::nbn::Bytes;

// A picture of `format` holding `pixels`; format 6 gets a palette whose entry 9 is zero.
void make(CNoxImage& image, int width, int height, int format, const Bytes& pixels) {
  ASSERT_TRUE(image.set_geometry(width, height, format));
  std::memcpy(image.pixels(), pixels.data(), pixels.size());
  if (format == kNbnIndexed) {
    uint32_t palette[256];
    for (uint32_t i = 0; i < 256; ++i) palette[i] = i == 9 ? 0 : 0x00100000u + i;
    image.set_palette(palette);
  }
}

Bytes plain(const CNoxImage& image) {
  return Bytes(image.pixels(), image.pixels() + size_t(image.width()) * image.height() * image.bytes_per_pixel());
}

struct HalfCase {
  const char* name;
  int width;
  int height;
  int format;
  Bytes source;
  Bytes expected;
};

class NbnScaleByHalf : public testing::TestWithParam<HalfCase> {};

TEST_P(NbnScaleByHalf, AveragesOrVotesEachSquare) {
  const HalfCase hc = GetParam();
  CNoxImage image;
  make(image, hc.width, hc.height, hc.format, hc.source);
  Bytes out(hc.expected.size() + 8, 0xEE);
  ASSERT_TRUE(image.scale_by_half(hc.width, hc.height, hc.source.data(), out.data()));
  EXPECT_EQ(Bytes(out.begin(), out.begin() + hc.expected.size()), hc.expected);
  EXPECT_EQ(out[hc.expected.size()], 0xEE);  // nothing past the halved picture
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NbnScaleByHalf,
    testing::Values(
        HalfCase{"rgba", 2, 2, kNbnRgba, {0, 1, 2, 3, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4}, {1, 1, 2, 2}},
        HalfCase{"grey", 4, 2, kNbnLuminance, {10, 20, 30, 41, 50, 60, 70, 80}, {35, 55}},
        HalfCase{"grey_alpha", 2, 2, kNbnLuminanceAlpha, {1, 2, 3, 4, 5, 6, 7, 9}, {4, 5}},
        HalfCase{"odd_sides", 3, 3, kNbnLuminance, {4, 8, 99, 12, 16, 99, 99, 99, 99}, {10}},
        HalfCase{"one_row", 4, 1, kNbnLuminance, {10, 21, 30, 40}, {15, 35}},
        HalfCase{"one_column", 1, 4, kNbnLuminance, {8, 16, 30, 2}, {12, 16}},
        HalfCase{"vote_majority", 2, 2, kNbnIndexed, {1, 2, 2, 3}, {2}},
        HalfCase{"vote_first_of_equals", 2, 2, kNbnIndexed, {1, 1, 2, 2}, {1}},
        // Entry 9 of the palette is zero: its pixels weigh 1 instead of 4.
        HalfCase{"vote_empty_entry", 2, 2, kNbnIndexed, {9, 9, 5, 6}, {5}},
        HalfCase{"vote_empty_entry_loses", 2, 2, kNbnIndexed, {5, 9, 9, 9}, {5}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NbnPicture, ScaleByHalfRefusesPicturesWithoutPixelBytes) {
  CNoxImage image;
  image.set_geometry(2, 2, kNbnNoPixels);
  uint8_t in[4] = {};
  uint8_t out[4] = {};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(image.scale_by_half(2, 2, in, out));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "PICTURE::scale_by_half: Illegal number of components: 0\n");
}

struct ScaleCase {
  const char* name;
  int width;
  int height;
  int format;
  Bytes source;
  int newWidth;
  int newHeight;
  Bytes expected;
};

class NbnScaleTo : public testing::TestWithParam<ScaleCase> {};

TEST_P(NbnScaleTo, WeighsCoveredFractions) {
  const ScaleCase sc = GetParam();
  CNoxImage image;
  make(image, sc.width, sc.height, sc.format, sc.source);
  ASSERT_TRUE(image.scale_to(sc.newWidth, sc.newHeight));
  EXPECT_EQ(image.width(), sc.newWidth);
  EXPECT_EQ(image.height(), sc.newHeight);
  EXPECT_EQ(plain(image), sc.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NbnScaleTo,
    testing::Values(
        // Cells of 1.5 source pixels: (256 * 0 + 128 * 90) / 384 and (128 * 90 + 256 * 255) / 384.
        ScaleCase{"down_3_to_2", 3, 1, kNbnLuminance, {0, 90, 255}, 2, 1, {30, 200}},
        ScaleCase{"down_5_to_3", 5, 1, kNbnLuminance, {0, 30, 60, 90, 120}, 3, 1, {11, 59, 107}},
        ScaleCase{"up_2_to_4", 2, 1, kNbnLuminance, {0, 200}, 4, 1, {0, 0, 200, 200}},
        ScaleCase{"square_means", 4, 2, kNbnLuminanceAlpha, {0, 10, 2, 20, 4, 30, 6, 40, 8, 50, 10, 60, 12, 70, 14, 81},
                  2, 1, {5, 35, 9, 55}},
        ScaleCase{"rgb_rows", 1, 4, kNbnRgb, {0, 0, 0, 30, 60, 90, 90, 90, 90, 3, 6, 9}, 1, 2,
                  {15, 30, 45, 46, 48, 49}},
        // The sign of each vote alternates from pixel to pixel: a majority of 2 loses to 3.
        ScaleCase{"vote_alternates", 4, 1, kNbnIndexed, {1, 2, 2, 3}, 1, 1, {3}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NbnPicture, CropMovesTheGeoBounds) {
  CNoxImage image;
  Bytes pixels(100);
  for (int i = 0; i < 100; ++i) pixels[i] = uint8_t(i);
  make(image, 10, 10, kNbnLuminance, pixels);
  image.set_geo_block(1, 0.0, 10.0, 0.0, 20.0);
  EXPECT_FALSE(image.crop(0, 0, 11, 5));
  EXPECT_FALSE(image.crop(0, 0, 5, 11));
  ASSERT_TRUE(image.crop(2, 3, 6, 8));
  EXPECT_EQ(std::make_tuple(image.width(), image.height(), image.pixels()[0], image.pixels()[4 * 5 - 1]),
            std::make_tuple(4, 5, uint8_t{32}, uint8_t{75}));
  EXPECT_EQ(std::vector<double>(image.geo_bounds(), image.geo_bounds() + 4), (std::vector<double>{2, 6, 6, 16}));
}

struct FitCase {
  const char* name;
  int width;
  int height;
  int packWord;
  unsigned flags;
  bool result;
  int newWidth;
  int newHeight;
  int firstPixel;  // value at (0, 0) afterwards: y * width + x of where it came from
};

class NbnFitToMultiple : public testing::TestWithParam<FitCase> {};

TEST_P(NbnFitToMultiple, CropsOrScalesToTheDivisor) {
  const FitCase fc = GetParam();
  CNoxImage image;
  Bytes pixels(size_t(fc.width) * fc.height);
  for (int y = 0; y < fc.height; ++y)
    for (int x = 0; x < fc.width; ++x) pixels[size_t(y) * fc.width + x] = uint8_t(y * fc.width + x);
  make(image, fc.width, fc.height, kNbnLuminance, pixels);
  EXPECT_EQ(image.fit_to_multiple(fc.packWord, fc.flags), fc.result);
  EXPECT_EQ(image.width(), fc.newWidth);
  EXPECT_EQ(image.height(), fc.newHeight);
  EXPECT_EQ(image.pixels()[0], fc.firstPixel);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NbnFitToMultiple,
    testing::Values(FitCase{"fits", 8, 8, 2, 0, true, 8, 8, 0},
                    FitCase{"crop_dxt", 10, 9, 2, kNbnFitCrop, true, 8, 8, 1},
                    FitCase{"scale_dxt", 10, 9, 3, kNbnFitScale, true, 12, 12, 0},
                    FitCase{"neither", 10, 9, 2, 0, false, 10, 9, 0},
                    FitCase{"chain_without_dxt", 10, 10, 0, kNbnMipChain, true, 10, 10, 0},
                    FitCase{"chain_dxt_crop", 11, 10, 3, kNbnMipChain | kNbnFitCrop, true, 8, 8, 12}),
    [](const auto& info) { return std::string(info.param.name); });

struct ConvertCase {
  const char* name;
  int format;
  unsigned flags;
  Bytes source;
  bool result;
  Bytes expected;
};

class NbnConvertToRgba : public testing::TestWithParam<ConvertCase> {};

TEST_P(NbnConvertToRgba, FillsFourChannels) {
  const ConvertCase cc = GetParam();
  CNoxImage image;
  make(image, 2, 1, cc.format, cc.source);
  EXPECT_EQ(image.convert_to_rgba(cc.flags), cc.result);
  if (!cc.result) return;
  EXPECT_EQ(image.picture_format(), kNbnRgba);
  EXPECT_EQ(image.bytes_per_pixel(), 4);
  EXPECT_EQ(image.capacity(), 12);
  EXPECT_EQ(image.used_size(), 12);
  EXPECT_EQ(plain(image), cc.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NbnConvertToRgba,
    testing::Values(
        ConvertCase{"alpha", kNbnAlpha, 0, {7, 9}, true, {7, 7, 7, 7, 9, 9, 9, 9}},
        ConvertCase{"luminance", kNbnLuminance, 0, {7, 9}, true, {7, 7, 7, 7, 9, 9, 9, 9}},
        ConvertCase{"luminance_alpha", kNbnLuminanceAlpha, 0, {7, 100, 9, 50}, true, {7, 7, 7, 100, 9, 9, 9, 50}},
        ConvertCase{"rgb", kNbnRgb, 0, {30, 60, 91, 1, 2, 3}, true, {30, 60, 91, 255, 1, 2, 3, 255}},
        ConvertCase{"rgb_alpha_from_colour", kNbnRgb, kNbnAlphaFromColour, {30, 60, 91, 1, 2, 3}, true,
                    {30, 60, 91, 60, 1, 2, 3, 2}},
        ConvertCase{"rgba", kNbnRgba, 0, {1, 2, 3, 4, 5, 6, 7, 8}, true, {1, 2, 3, 4, 5, 6, 7, 8}},
        ConvertCase{"indexed", kNbnIndexed, 0, {1, 2}, false, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NbnPicture, ExpandPaletteMakesTheTransparentIndexClear) {
  CNoxImage image;
  make(image, 2, 1, kNbnIndexed, {3, 7});
  uint32_t palette[256] = {};
  palette[3] = 0x00332211;
  palette[7] = 0x00AABBCC;
  image.set_palette(palette);
  image.set_transparent_index(7);
  ASSERT_TRUE(image.expand_palette());
  EXPECT_EQ(plain(image), (Bytes{0x11, 0x22, 0x33, 255, 0xCC, 0xBB, 0xAA, 0}));
  EXPECT_EQ(image.picture_format(), kNbnRgba);
  EXPECT_FALSE(image.has_palette());
  EXPECT_EQ(image.transparent_index(), -1);
  EXPECT_FALSE(image.expand_palette());
}

TEST(NbnPicture, SetPixelWritesTheHighestByteFirst) {
  const std::pair<int, Bytes> cases[] = {{kNbnRgba, {0x11, 0x22, 0x33, 0x44}},
                                         {kNbnRgb, {0x22, 0x33, 0x44}},
                                         {kNbnLuminanceAlpha, {0x33, 0x44}},
                                         {kNbnLuminance, {0x44}}};
  for (const auto& [format, expected] : cases) {
    CNoxImage image;
    image.set_geometry(3, 2, format);
    ASSERT_TRUE(image.set_pixel(2, 1, 0x11223344));
    const int bpp = image.bytes_per_pixel();
    EXPECT_EQ(Bytes(image.pixels() + 5 * bpp, image.pixels() + 6 * bpp), expected) << format;
    EXPECT_FALSE(image.set_pixel(3, 0, 0));
    EXPECT_FALSE(image.set_pixel(0, 2, 0));
  }
}

}  // namespace
