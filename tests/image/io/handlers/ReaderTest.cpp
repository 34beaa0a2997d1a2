// One table of files for the readers of the HDR, STBI and EXR handlers: the format word and
// the pixels each gives, or its refusal. Then the EXIF orientation of JPEGs.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <ostream>

#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/NbnLayout.h"
#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaFiles.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::exif::ExifBuilder;
using Load = std::function<std::shared_ptr<IImage>(const Bytes&)>;

template <class H>
Load as(uint16_t options = kHandlerOptionsDefault, uint64_t maxPixels = kMaxImagePixels) {
  return [=](const Bytes& b) {
    H handler(b.data(), static_cast<int32_t>(b.size()), options);
    handler.setMaxPixels(maxPixels);
    return handler.load();
  };
}

Bytes join(const std::string& header, Bytes pixels) {
  Bytes out = toBytes(header);
  out.insert(out.end(), pixels.begin(), pixels.end());
  return out;
}

// RGBE quadruples as the float triples they stand for, in bytes.
Bytes rgbeFloats(const Bytes& quadruples) {
  std::vector<float> out;
  for (size_t i = 0; i + 3 < quadruples.size(); i += 4) {
    const float f = quadruples[i + 3] == 0 ? 0.0f : std::ldexp(1.0f, quadruples[i + 3] - 136);
    for (int c = 0; c < 3; ++c) out.push_back(quadruples[i + c] * f);
  }
  Bytes bytes(out.size() * sizeof(float));
  std::memcpy(bytes.data(), out.data(), bytes.size());
  return bytes;
}

Bytes ramp(int pixels) {
  Bytes out;
  for (int i = 0; i < pixels; ++i)
    out.insert(out.end(), {static_cast<uint8_t>(10 + i), static_cast<uint8_t>(100 + i), static_cast<uint8_t>(200 - i), 136});
  return out;
}

// 16-bit samples big-endian as a PNG holds them, and in this machine's order as an image does.
std::pair<Bytes, Bytes> ramp16(size_t count, bool opaque = false) {
  std::vector<uint16_t> values;
  for (size_t i = 0; i < count; ++i) values.push_back(opaque && i % 4 == 3 ? 65535 : static_cast<uint16_t>(1000 * i + 7));
  Bytes big;
  for (uint16_t v : values) big.insert(big.end(), {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)});
  Bytes native(values.size() * 2);
  std::memcpy(native.data(), values.data(), native.size());
  return {big, native};
}

Bytes withAlpha(const Bytes& rgb) {
  Bytes out;
  for (size_t i = 0; i < rgb.size(); i += 3) out.insert(out.end(), {rgb[i], rgb[i + 1], rgb[i + 2], 255});
  return out;
}

Bytes patched(Bytes b, size_t at, std::initializer_list<uint8_t> values) {
  for (uint8_t v : values) b.at(at++) = v;
  return b;
}

size_t find(const Bytes& b, const std::string& text) {
  const Bytes what = toBytes(text);
  return static_cast<size_t>(std::search(b.begin(), b.end(), what.begin(), what.end()) - b.begin());
}

Bytes cut(const Bytes& b, size_t length) { return Bytes(b.begin(), b.begin() + static_cast<long>(length)); }

Bytes nbnOfSize(int32_t width, int32_t height) {
  Bytes b = nbnFile(8, 8, kNbnRgba, kNbnRaw, 0, quadrantPicture(8, 8, 4));
  NbnHeader head = decodeNbnHeader(b.data());
  head.width = width;
  head.height = height;
  encodeNbnHeader(head, b.data());
  return b;
}

struct ReadCase {
  const char* name;
  Bytes file;
  Load load;
  const char* failure;  // "" when it loads; ending in a space: the start of the library's text
  ImageFormat word;
  Bytes fileOrder;  // the pixels' bytes, rows top first as in the file; empty: not compared
  const char* stderrText = "";
};

void PrintTo(const ReadCase& c, std::ostream* os) { *os << c.name; }

std::vector<ReadCase> hdrCases() {
  const auto hdr = as<ImageHandlerHDR>();
  const std::string format = "FORMAT=32-bit_rle_rgbe\n";
  const std::string size1x2 = "\n-Y 1 +X 2\n";
  const std::string head8x2 = "#?RADIANCE\n" + format + "\n-Y 2 +X 8\n";
  // A run-length scanline of width 8 (red a run, green a literal, blue a run of 4 and a
  // literal of 4, exponents a run), then a flat one.
  Bytes rleThenFlat = {2, 2, 0, 8, 136, 40, 8, 1, 2, 3, 4, 5, 6, 7, 8, 132, 90, 4, 91, 92, 93, 94, 136, 137};
  Bytes bothRows;
  const uint8_t blue[8] = {90, 90, 90, 90, 91, 92, 93, 94};
  for (int x = 0; x < 8; ++x) bothRows.insert(bothRows.end(), {40, static_cast<uint8_t>(x + 1), blue[x], 137});
  const Bytes flatRow = ramp(8);
  rleThenFlat.insert(rleThenFlat.end(), flatRow.begin(), flatRow.end());
  bothRows.insert(bothRows.end(), flatRow.begin(), flatRow.end());
  // A flat first pixel whose second byte is 2, as a marker's is.
  Bytes secondByteTwo = ramp(16);
  secondByteTwo[0] = 1;
  secondByteTwo[1] = 2;
  // Runs of one and of seven in every plane.
  const Bytes runOfOne = {2, 2, 0, 8, 129, 200, 135, 100, 129, 10, 135, 20, 129, 30, 135, 40, 129, 136, 135, 136};
  Bytes runsOfOne = runOfOne;
  runsOfOne.insert(runsOfOne.end(), runOfOne.begin(), runOfOne.end());
  Bytes runsDecoded = {200, 10, 30, 136};
  for (int x = 1; x < 8; ++x) runsDecoded.insert(runsDecoded.end(), {100, 20, 40, 136});
  runsDecoded.insert(runsDecoded.end(), runsDecoded.begin(), runsDecoded.end());
  const char* header = "2: Failed to read header";
  const char* pixels = "2: Failed to read pixel data";
  const char* said = "RGBE read error";
  const ImageFormat f = FormatRGB32F;
  return {
      {"HdrFlatWithMarkerLikeSecondByte", join(head8x2, secondByteTwo), hdr, "", f, rgbeFloats(secondByteTwo)},
      {"HdrRunsOfOne", join(head8x2, runsOfOne), hdr, "", f, rgbeFloats(runsDecoded)},
      {"HdrNoProgramLine", join(format + size1x2, ramp(2)), hdr, "", f, rgbeFloats(ramp(2))},
      {"HdrLineBehindFormat", join("#?RADIANCE\nGAMMA=2.2\n" + format + "EXPOSURE=2\nSOFTWARE=nox\n" + size1x2, ramp(2)), hdr, "",
       f, rgbeFloats(ramp(2))},
      {"HdrWidth7IsFlat", join(format + "\n-Y 2 +X 7\n", ramp(14)), hdr, "", f, rgbeFloats(ramp(14))},
      {"HdrWidth8WithFlatFirstScanline", join(head8x2, ramp(16)), hdr, "", f, rgbeFloats(ramp(16))},
      {"HdrRunLengthThenFlat", join(head8x2, rleThenFlat), hdr, "", f, rgbeFloats(bothRows)},
      {"HdrExponentZeroIsBlack", join(format + size1x2, {200, 100, 50, 0, 1, 2, 3, 0}), hdr, "", f, Bytes(24, 0)},
      {"HdrBlankFirstLine", join("\n" + format + size1x2, ramp(2)), hdr, header, 0, {}, said},
      {"HdrEmpty", {}, hdr, header, 0, {}, said},
      {"HdrNoFormatLine", join("#?RADIANCE\nGAMMA=1\n" + size1x2, ramp(2)), hdr, header, 0, {}},
      {"HdrXBeforeY", join(format + "\n+X 2 -Y 1\n", ramp(2)), hdr, header, 0, {}},
      {"HdrHugeSize", join(format + "\n-Y 100000 +X 100000\n", ramp(2)), hdr, "5: Invalid size", 0, {}},
      {"HdrNegativeSize", join(format + "\n-Y -1 +X 2\n", ramp(2)), hdr, "5: Invalid size", 0, {}},
      {"HdrMissingPixels", join(format + size1x2, ramp(1)), hdr, pixels, 0, {}, said},
      {"HdrMarkerWithWrongWidth", join(head8x2, {2, 2, 0, 9, 136, 40}), hdr, pixels, 0, {}},
      {"HdrRunLongerThanPlane", join(head8x2, {2, 2, 0, 8, 137, 40}), hdr, pixels, 0, {}},
      {"HdrLiteralLongerThanPlane", join(head8x2, {2, 2, 0, 8, 4, 1, 2, 3, 4, 5, 1, 2, 3, 4, 5}), hdr, pixels, 0, {}},
      {"HdrZeroCountPacket", join(head8x2, {2, 2, 0, 8, 0, 40}), hdr, pixels, 0, {}},
      {"HdrTruncatedPlane", join(head8x2, {2, 2, 0, 8, 136, 40, 8, 1, 2}), hdr, pixels, 0, {}, said},
      // Files that declare more than they hold are refused before anything is allocated.
      {"HdrSizeBomb", toBytes("#?RADIANCE\n" + format + "\n-Y 16384 +X 16384\n"), hdr, "3: File is not complete", 0, {}},
      {"HdrAboveTheCap", toBytes("#?RADIANCE\n" + format + "\n-Y 32768 +X 16384\n"), hdr, "5: Invalid size", 0, {}},
  };
}

constexpr int kW = 6;
constexpr int kH = 4;

std::vector<ReadCase> stbiCases() {
  const auto stbi = as<ImageHandlerSTBI>();
  const auto pic = [](int channels) { return quadrantPicture(kW, kH, channels); };
  const auto png = [&](int channels) { return stbEncode(StbKind::Png, kW, kH, channels, pic(channels)); };
  const auto [rgb16, rgb16Native] = ramp16(kW * kH * 3);
  const auto [rgba16, rgba16Native] = ramp16(kW * kH * 4);
  const auto [grey16, grey16Native] = ramp16(kW * kH);
  const auto [greyAlpha16, greyAlpha16Native] = ramp16(kW * kH * 2);
  // stb_image takes a white matte out of PSD colours with partial alpha; opaque ones stay.
  const auto [opaque16, opaque16Native] = ramp16(kW * kH * 4, true);
  // 1-bit indices, 8 pixels a row: 1,0,1,1,0,0,0,0 and 0,1,0,...
  const Bytes indexed = {200, 150, 100, 10, 20, 30, 200, 150, 100, 200, 150, 100, 10, 20, 30, 10, 20, 30,
                         10,  20,  30,  10, 20, 30, 10,  20,  30,  200, 150, 100, 10, 20, 30, 10, 20, 30,
                         10,  20,  30,  10, 20, 30, 10,  20,  30,  10,  20,  30};
  const Bytes jpeg = stbEncode(StbKind::Jpg, 16, 16, 3, quadrantPicture(16, 16, 3));
  const Bytes damagedExif = {'E', 'x', 'i', 'f', 0, 0, 'X', 'X', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const Bytes bmp = stbEncode(StbKind::Bmp, 16, 16, 3, quadrantPicture(16, 16, 3));
  const Bytes tga = stbEncode(StbKind::Tga, 16, 16, 4, quadrantPicture(16, 16, 4));
  const Bytes psd = psdFile(16, 16, 3, 8, quadrantPicture(16, 16, 3));
  const Bytes png8 = stbEncode(StbKind::Png, 8, 8, 3, quadrantPicture(8, 8, 3));
  const Bytes jpg8 = stbEncode(StbKind::Jpg, 8, 8, 3, quadrantPicture(8, 8, 3));
  const char* unsupported = "4: Unsupported format";
  const char* incomplete = "3: File is not complete";
  return {
      {"PngRgb8", png(3), stbi, "", FormatRGB8, pic(3)},
      {"PngRgba8", png(4), stbi, "", FormatRGBA8, pic(4)},
      {"PngGrey8", png(1), stbi, "", FormatL8, pic(1)},
      {"PngGreyAlpha8", png(2), stbi, "", FormatLA8, pic(2)},
      {"PngRgb16", pngFile(kW, kH, 2, 16, rgb16), stbi, "", FormatRGB16, rgb16Native},
      {"PngRgba16", pngFile(kW, kH, 6, 16, rgba16), stbi, "", FormatRGBA16, rgba16Native},
      {"PngGrey16", pngFile(kW, kH, 0, 16, grey16), stbi, "", FormatL16, grey16Native},
      {"PngGreyAlpha16", pngFile(kW, kH, 4, 16, greyAlpha16), stbi, "", FormatLA16, greyAlpha16Native},
      {"PngPalette1Bit", pngFile(8, 2, 3, 1, {0xB0, 0x40}, {10, 20, 30, 200, 150, 100}), stbi, "", FormatRGB8, indexed},
      {"PngForcedToRgba", png(3), as<ImageHandlerSTBI>(kOptionForceRgba), "", FormatRGBA8, withAlpha(pic(3))},
      {"JpegRgb", jpeg, stbi, "", FormatRGB8, {}},
      {"JpegForcedToRgba", jpeg, as<ImageHandlerSTBI>(kOptionForceRgba), unsupported, 0, {}},
      // A damaged EXIF block fails the load only when the orientation is wanted.
      {"JpegDamagedExif", nox::test::exif::spliceAfterSoi(jpeg, nox::test::exif::app1(damagedExif)), stbi,
       "2: Failed to read EXIF information", 0, {}},
      {"JpegDamagedExifUnread", nox::test::exif::spliceAfterSoi(jpeg, nox::test::exif::app1(damagedExif)), as<ImageHandlerSTBI>(0),
       "", FormatRGB8, {}},
      {"Bmp", stbEncode(StbKind::Bmp, kW, kH, 3, pic(3)), stbi, "", FormatRGB8, pic(3)},
      {"TgaRgb", stbEncode(StbKind::Tga, kW, kH, 3, pic(3)), stbi, "", FormatRGB8, pic(3)},
      {"TgaRgba", stbEncode(StbKind::Tga, kW, kH, 4, pic(4)), stbi, "", FormatRGBA8, pic(4)},
      {"TgaGrey", stbEncode(StbKind::Tga, kW, kH, 1, pic(1)), stbi, unsupported, 0, {}},
      {"Psd8", psdFile(kW, kH, 3, 8, pic(3)), stbi, "", FormatRGBA8, withAlpha(pic(3))},
      {"Psd16", psdFile(kW, kH, 4, 16, opaque16), stbi, "", FormatRGBA16, opaque16Native},
      {"UnknownType", toBytes("GIF89a and more bytes"), stbi, unsupported, 0, {}},
      {"Empty", {}, stbi, unsupported, 0, {}},
      // A decoder failure gives its reason behind the code.
      {"PngCutTo40", cut(png(3), 40), stbi, "3: ", 0, {}},
      {"BmpSizeBomb", patched(cut(bmp, 54), 18, {0x80, 0x3E, 0, 0, 0x80, 0x3E}), stbi, incomplete, 0, {}},
      {"BmpCutTo40", cut(bmp, 40), stbi, incomplete, 0, {}},
      {"BmpCutTo200", cut(bmp, 200), stbi, incomplete, 0, {}},
      {"TgaCutTo40", cut(tga, 40), stbi, incomplete, 0, {}},
      {"TgaCutTo200", cut(tga, 200), stbi, incomplete, 0, {}},
      {"PsdCutTo40", cut(psd, 40), stbi, incomplete, 0, {}},
      {"PsdCutTo200", cut(psd, 200), stbi, incomplete, 0, {}},
      {"PngSizeBomb", patched(png8, 16, {0, 0, 0x3E, 0x80, 0, 0, 0x3E, 0x80}), stbi, incomplete, 0, {}},
      {"JpegSizeBomb", patched(jpg8, find(jpg8, "\xFF\xC0") + 5, {0x3E, 0x80, 0x3E, 0x80}), stbi, incomplete, 0, {}},
      {"BelowTheCallersLimit", png8, as<ImageHandlerSTBI>(kHandlerOptionsDefault, 63), "5: Invalid size", 0, {}},
  };
}

std::vector<ReadCase> exrAndNbnCases() {
  const auto exr = as<ImageHandlerEXR>();
  // Channel values that name their pixel, 100 * row + 10 * column + channel, in a data window
  // away from the origin.
  std::vector<float> numbered;
  Bytes halves;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 3; ++x)
      for (int c = 0; c < 4; ++c) {
        numbered.push_back(static_cast<float>(100 * y + 10 * x + c));
        const half h(numbered.back());
        halves.insert(halves.end(), reinterpret_cast<const uint8_t*>(&h), reinterpret_cast<const uint8_t*>(&h) + 2);
      }
  const Bytes file = exrFile(8, 8, std::vector<float>(8 * 8 * 4, 0.5f));
  const size_t window = find(file, "dataWindow") + 29;  // name, type, size, minimum x and y
  Bytes version99 = file;
  version99[4] = 99;
  return {
      {"ExrWindowAwayFromTheOrigin", exrFile(3, 4, numbered, 5, -3), exr, "", FormatRGBA16F, halves},
      {"ExrSizeBomb", patched(file, window, {0x7F, 0x3E, 0, 0, 0x7F, 0x3E, 0, 0}), exr, "3: File is not complete", 0, {}},
      {"ExrUnfinished", exrFile(2, 64, std::vector<float>(512, 0.5f), 0, 0, 32), exr, "3: File is not complete", 0, {}},
      {"ExrVersion99", version99, exr, "3: Cannot read image file ", 0, {}},  // the library's own refusal
      {"NbnSizeBomb", nbnOfSize(16000, 16000), as<ImageHandlerNBN>(), "2: File could not be read", 0, {}},
      {"NbnAboveTheCap", nbnOfSize(20000, 20000), as<ImageHandlerNBN>(), "5: Invalid size", 0, {}},
  };
}

class Read : public testing::TestWithParam<ReadCase> {};

TEST_P(Read, GivesTheWordAndRowsBottomFirstOrRefuses) {
  const ReadCase& c = GetParam();
  std::shared_ptr<IImage> image;
  testing::internal::CaptureStderr();
  std::string failure = failureOf([&] { image = c.load(c.file); });
  const std::string errors = testing::internal::GetCapturedStderr();
  const std::string expected = c.failure;
  if (!expected.empty() && expected.back() == ' ') failure = failure.substr(0, expected.size());
  EXPECT_EQ(failure, expected);
  EXPECT_NE(errors.find(c.stderrText), std::string::npos) << errors;
  if (!expected.empty()) return;
  ASSERT_EQ(image->format(), c.word);
  if (c.fileOrder.empty()) return;
  const size_t rowBytes = c.fileOrder.size() / image->height();
  Bytes bottomFirst;
  for (size_t end = c.fileOrder.size(); end >= rowBytes; end -= rowBytes)
    bottomFirst.insert(bottomFirst.end(), c.fileOrder.begin() + static_cast<long>(end - rowBytes),
                       c.fileOrder.begin() + static_cast<long>(end));
  const auto* data = static_cast<const uint8_t*>(image->data());
  EXPECT_EQ(Bytes(data, data + c.fileOrder.size()), bottomFirst);
}

INSTANTIATE_TEST_SUITE_P(Hdr, Read, testing::ValuesIn(hdrCases()), [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(Stbi, Read, testing::ValuesIn(stbiCases()), [](const auto& info) { return std::string(info.param.name); });
INSTANTIATE_TEST_SUITE_P(ExrNbn, Read, testing::ValuesIn(exrAndNbnCases()),
                         [](const auto& info) { return std::string(info.param.name); });

struct TurnCase {
  int orientation;
  uint16_t options;
  unsigned width, height;
  Rgb topLeft, topRight, bottomLeft, bottomRight;
};

void PrintTo(const TurnCase& c, std::ostream* os) { *os << "orientation " << c.orientation; }

class StbiOrientation : public testing::TestWithParam<TurnCase> {};

// A JPEG of 32x16 whose four quadrants differ, with an EXIF orientation when it is not 0.
TEST_P(StbiOrientation, TurnsByExifBeforeTheFlip) {
  const TurnCase& c = GetParam();
  Bytes jpeg = stbEncode(StbKind::Jpg, 32, 16, 3, quadrantPicture(32, 16, 3));
  if (c.orientation != 0)
    jpeg = nox::test::exif::spliceAfterSoi(jpeg, ExifBuilder(false).orientation(static_cast<uint16_t>(c.orientation)).segment());
  const auto image = ImageHandlerSTBI(jpeg.data(), static_cast<int32_t>(jpeg.size()), c.options).load();
  ASSERT_EQ(image->width(), c.width);
  ASSERT_EQ(image->height(), c.height);
  const auto near = [](Rgb a, Rgb b) { return std::abs(a.r - b.r) <= 12 && std::abs(a.g - b.g) <= 12 && std::abs(a.b - b.b) <= 12; };
  EXPECT_TRUE(near(shownAt(*image, 2, 2), c.topLeft));
  EXPECT_TRUE(near(shownAt(*image, c.width - 3, 2), c.topRight));
  EXPECT_TRUE(near(shownAt(*image, 2, c.height - 3), c.bottomLeft));
  EXPECT_TRUE(near(shownAt(*image, c.width - 3, c.height - 3), c.bottomRight));
}

constexpr uint16_t kOn = kHandlerOptionsDefault;
const Rgb TL = kTopLeft, TR = kTopRight, BL = kBottomLeft, BR = kBottomRight;

INSTANTIATE_TEST_SUITE_P(
    Orientations, StbiOrientation,
    testing::Values(TurnCase{0, kOn, 32, 16, TL, TR, BL, BR}, TurnCase{1, kOn, 32, 16, TL, TR, BL, BR},
                    TurnCase{3, kOn, 32, 16, BR, BL, TR, TL}, TurnCase{6, kOn, 16, 32, BL, TL, BR, TR},
                    TurnCase{8, kOn, 16, 32, TR, BR, TL, BL}, TurnCase{2, kOn, 32, 16, TL, TR, BL, BR},
                    TurnCase{5, kOn, 32, 16, TL, TR, BL, BR}, TurnCase{6, 0, 32, 16, TL, TR, BL, BR}),
    [](const auto& info) { return "Orientation" + std::to_string(info.param.orientation) + (info.param.options ? "" : "Ignored"); });

}  // namespace
