// The STBI handler: native depths, format words, row order and EXIF orientation.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>

#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerSTBI.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaFiles.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::exif::ExifBuilder;

std::shared_ptr<IImage> loadBlock(const Bytes& block, uint16_t options, std::string& failed) {
  std::shared_ptr<IImage> image;
  failed = failureOf([&] { image = ImageHandlerSTBI(block.data(), static_cast<int32_t>(block.size()), options).load(); });
  return image;
}

Bytes bigEndian16(const std::vector<uint16_t>& values) {
  Bytes out;
  for (uint16_t v : values) out.insert(out.end(), {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)});
  return out;
}

Bytes native16(const std::vector<uint16_t>& values) {
  Bytes out(values.size() * 2);
  std::memcpy(out.data(), values.data(), out.size());
  return out;
}

std::vector<uint16_t> ramp16(size_t count) {
  std::vector<uint16_t> out;
  for (size_t i = 0; i < count; ++i) out.push_back(static_cast<uint16_t>(1000 * i + 7));
  return out;
}

// Model bytes (rows bottom first) of `fileOrder` rows of `rowBytes` each.
Bytes rowsReversed(const Bytes& fileOrder, size_t rowBytes) {
  Bytes out;
  for (size_t end = fileOrder.size(); end >= rowBytes; end -= rowBytes)
    out.insert(out.end(), fileOrder.begin() + static_cast<long>(end - rowBytes), fileOrder.begin() + static_cast<long>(end));
  return out;
}

Bytes withAlpha(const Bytes& rgb, uint8_t alpha) {
  Bytes out;
  for (size_t i = 0; i < rgb.size(); i += 3) out.insert(out.end(), {rgb[i], rgb[i + 1], rgb[i + 2], alpha});
  return out;
}

struct DecodeCase {
  const char* name;
  Bytes file;
  uint16_t options;
  ImageFormat word;     // expected word when no failure is expected
  Bytes fileOrder;      // expected pixel bytes in file order; empty: not compared
  const char* failure;  // "" when the file loads
};

void PrintTo(const DecodeCase& c, std::ostream* os) { *os << c.name; }

constexpr int kW = 6;
constexpr int kH = 4;

std::vector<DecodeCase> decodeCases() {
  const auto pic = [](int channels) { return quadrantPicture(kW, kH, channels); };
  const std::vector<uint16_t> rgb16 = ramp16(kW * kH * 3);
  const std::vector<uint16_t> rgba16 = ramp16(kW * kH * 4);
  const std::vector<uint16_t> grey16 = ramp16(kW * kH);
  const std::vector<uint16_t> greyAlpha16 = ramp16(kW * kH * 2);
  // stb_image takes a white matte out of PSD colours with partial alpha; opaque ones stay.
  std::vector<uint16_t> opaque16 = rgba16;
  for (size_t i = 3; i < opaque16.size(); i += 4) opaque16[i] = 65535;
  // 1-bit indices, 8 pixels a row: 1,0,1,1,0,0,0,0 and 0,1,0,...
  const Bytes palette = {10, 20, 30, 200, 150, 100};
  const Bytes indexedExpected = {200, 150, 100, 10, 20, 30, 200, 150, 100, 200, 150, 100, 10, 20, 30, 10, 20, 30,
                                 10,  20,  30,  10, 20, 30, 10,  20,  30,  200, 150, 100, 10, 20, 30, 10, 20, 30,
                                 10,  20,  30,  10, 20, 30, 10,  20,  30,  10,  20,  30};
  const uint16_t none = 0;
  const uint16_t force = kOptionForceRgba;
  return {
      {"PngRgb8", stbEncode(StbKind::Png, kW, kH, 3, pic(3)), none, FormatRGB8, pic(3), ""},
      {"PngRgba8", stbEncode(StbKind::Png, kW, kH, 4, pic(4)), none, FormatRGBA8, pic(4), ""},
      {"PngGrey8", stbEncode(StbKind::Png, kW, kH, 1, pic(1)), none, FormatL8, pic(1), ""},
      {"PngGreyAlpha8", stbEncode(StbKind::Png, kW, kH, 2, pic(2)), none, FormatLA8, pic(2), ""},
      {"PngRgb16", pngFile(kW, kH, 2, 16, bigEndian16(rgb16)), none, FormatRGB16, native16(rgb16), ""},
      {"PngRgba16", pngFile(kW, kH, 6, 16, bigEndian16(rgba16)), none, FormatRGBA16, native16(rgba16), ""},
      {"PngGrey16", pngFile(kW, kH, 0, 16, bigEndian16(grey16)), none, FormatL16, native16(grey16), ""},
      {"PngGreyAlpha16", pngFile(kW, kH, 4, 16, bigEndian16(greyAlpha16)), none, FormatLA16, native16(greyAlpha16),
       ""},
      {"PngPalette1Bit", pngFile(8, 2, 3, 1, {0xB0, 0x40}, palette), none, FormatRGB8, indexedExpected, ""},
      {"PngForcedToRgba", stbEncode(StbKind::Png, kW, kH, 3, pic(3)), force, FormatRGBA8, withAlpha(pic(3), 255), ""},
      {"JpegRgb", stbEncode(StbKind::Jpg, 16, 16, 3, quadrantPicture(16, 16, 3)), none, FormatRGB8, {}, ""},
      {"JpegForcedToRgba", stbEncode(StbKind::Jpg, 16, 16, 3, quadrantPicture(16, 16, 3)), force, 0, {},
       "4: Unsupported format"},
      {"Bmp", stbEncode(StbKind::Bmp, kW, kH, 3, pic(3)), none, FormatRGB8, pic(3), ""},
      {"TgaRgb", stbEncode(StbKind::Tga, kW, kH, 3, pic(3)), none, FormatRGB8, pic(3), ""},
      {"TgaRgba", stbEncode(StbKind::Tga, kW, kH, 4, pic(4)), none, FormatRGBA8, pic(4), ""},
      {"TgaGrey", stbEncode(StbKind::Tga, kW, kH, 1, pic(1)), none, 0, {}, "4: Unsupported format"},
      {"Psd8", psdFile(kW, kH, 3, 8, pic(3)), none, FormatRGBA8, withAlpha(pic(3), 255), ""},
      {"Psd16", psdFile(kW, kH, 4, 16, bigEndian16(opaque16)), none, FormatRGBA16, native16(opaque16), ""},
      {"UnknownType", toBytes("GIF89a and more bytes"), none, 0, {}, "4: Unsupported format"},
      {"Empty", {}, none, 0, {}, "4: Unsupported format"},
  };
}

class StbiDecode : public testing::TestWithParam<DecodeCase> {};

TEST_P(StbiDecode, GivesTheWordOfItsTypeWithRowsReversed) {
  const DecodeCase& c = GetParam();
  std::string failed;
  const auto image = loadBlock(c.file, c.options, failed);
  ASSERT_EQ(failed, c.failure);
  if (!image) return;
  EXPECT_EQ(image->format(), c.word);
  if (c.fileOrder.empty()) return;
  const size_t rowBytes = c.fileOrder.size() / image->height();
  const auto* data = static_cast<const uint8_t*>(image->data());
  EXPECT_EQ(Bytes(data, data + c.fileOrder.size()), rowsReversed(c.fileOrder, rowBytes));
}

INSTANTIATE_TEST_SUITE_P(Files, StbiDecode, testing::ValuesIn(decodeCases()),
                         [](const auto& info) { return std::string(info.param.name); });

// A JPEG of 32x16 whose four quadrants differ, with an EXIF orientation when it is not 0.
Bytes orientedJpeg(int orientation) {
  const Bytes jpeg = stbEncode(StbKind::Jpg, 32, 16, 3, quadrantPicture(32, 16, 3));
  if (orientation == 0) return jpeg;
  return nox::test::exif::spliceAfterSoi(jpeg, ExifBuilder(false).orientation(static_cast<uint16_t>(orientation)).segment());
}

bool near(Rgb a, Rgb b) {
  const auto close = [](int x, int y) { return std::abs(x - y) <= 12; };
  return close(a.r, b.r) && close(a.g, b.g) && close(a.b, b.b);
}

struct TurnCase {
  int orientation;
  uint16_t options;
  unsigned width, height;
  Rgb topLeft, topRight, bottomLeft, bottomRight;
};

void PrintTo(const TurnCase& c, std::ostream* os) { *os << "orientation " << c.orientation; }

class StbiOrientation : public testing::TestWithParam<TurnCase> {};

TEST_P(StbiOrientation, TurnsByExifBeforeTheFlip) {
  const TurnCase& c = GetParam();
  std::string failed;
  const auto image = loadBlock(orientedJpeg(c.orientation), c.options, failed);
  ASSERT_EQ(failed, "");
  ASSERT_EQ(image->width(), c.width);
  ASSERT_EQ(image->height(), c.height);
  const unsigned r = c.width - 3;
  const unsigned b = c.height - 3;
  EXPECT_TRUE(near(shownAt(*image, 2, 2), c.topLeft));
  EXPECT_TRUE(near(shownAt(*image, r, 2), c.topRight));
  EXPECT_TRUE(near(shownAt(*image, 2, b), c.bottomLeft));
  EXPECT_TRUE(near(shownAt(*image, r, b), c.bottomRight));
}

constexpr uint16_t kOn = kHandlerOptionsDefault;
const Rgb TL = kTopLeft, TR = kTopRight, BL = kBottomLeft, BR = kBottomRight;

INSTANTIATE_TEST_SUITE_P(
    Orientations, StbiOrientation,
    testing::Values(TurnCase{0, kOn, 32, 16, TL, TR, BL, BR}, TurnCase{1, kOn, 32, 16, TL, TR, BL, BR},
                    TurnCase{3, kOn, 32, 16, BR, BL, TR, TL}, TurnCase{6, kOn, 16, 32, BL, TL, BR, TR},
                    TurnCase{8, kOn, 16, 32, TR, BR, TL, BL}, TurnCase{2, kOn, 32, 16, TL, TR, BL, BR},
                    TurnCase{5, kOn, 32, 16, TL, TR, BL, BR}, TurnCase{6, 0, 32, 16, TL, TR, BL, BR}),
    [](const auto& info) {
      return "Orientation" + std::to_string(info.param.orientation) + (info.param.options ? "" : "Ignored");
    });

TEST(StbiHandler, DamagedExifFailsOnlyWhenOrientationIsWantedAndDecoderFailuresGiveTheirReason) {
  const Bytes payload = {'E', 'x', 'i', 'f', 0, 0, 'X', 'X', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes jpeg = nox::test::exif::spliceAfterSoi(orientedJpeg(0), nox::test::exif::app1(payload));
  std::string failed;
  loadBlock(jpeg, kHandlerOptionsDefault, failed);
  EXPECT_EQ(failed, "2: Failed to read EXIF information");
  const auto image = loadBlock(jpeg, 0, failed);
  EXPECT_EQ(failed, "");
  EXPECT_TRUE(image && near(shownAt(*image, 2, 2), kTopLeft));

  // A decoder failure gives its reason behind the code.
  Bytes png = stbEncode(StbKind::Png, kW, kH, 3, quadrantPicture(kW, kH, 3));
  png.resize(40);
  loadBlock(png, kHandlerOptionsDefault, failed);
  ASSERT_EQ(failed.substr(0, 3), "3: ");
  EXPECT_GT(failed.size(), 3u);
}

}  // namespace
