// The format handlers: the choice by name and by content; one table of files for the readers
// (the format word and the pixels each gives, or its refusal) and the EXIF turn of JPEGs; the
// round trip of each writer and one table of the writers' refusals. Then the RGBE reader and
// writer beneath the HDR handler, and the memory streams.

#include <gtest/gtest.h>
#include <OpenEXR/Iex.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <random>
#include <tuple>

#include "image/io/ExrMemStreams.h"
#include "image/io/FMemOpen.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerDDS.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerFactory.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/Rgbe.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/NbnLayout.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using namespace nox::test::exif;
using nox::test::TempDir;

constexpr const char* kEXR = "nox_image EXR Loader";
constexpr const char* kHDR = "nox_image HDR Loader";
constexpr const char* kSTBI = "nox_image STBI Loader";
constexpr const char* kRefused = "0: File format is unsupported";

// The "<code>: <message>" of what `call` throws, cut to the length of `expected` when that
// ends in a space: a library's own text follows there.
std::string failureLike(const std::string& expected, const std::function<void()>& call) {
  const std::string failure = failureOf(call);
  return !expected.empty() && expected.back() == ' ' ? failure.substr(0, expected.size()) : failure;
}

template <class T>
Bytes bytesOf(const std::vector<T>& values) {
  const auto* begin = reinterpret_cast<const uint8_t*>(values.data());
  return Bytes(begin, begin + values.size() * sizeof(T));
}

// The loader name of the handler chosen, or the refusal.
std::string chosen(const std::function<std::shared_ptr<ImageHandlerImpl>()>& create) {
  std::string name;
  const std::string failure = failureOf([&] { name = create()->loaderName(); });
  return failure.empty() ? name : failure;
}

using Load = std::function<std::shared_ptr<IImage>(const Bytes&)>;

template <class H>
Load as(uint16_t options = kHandlerOptionsDefault, uint64_t maxPixels = kMaxImagePixels) {
  return [=](const Bytes& b) {
    H handler(b.data(), static_cast<int32_t>(b.size()), options);
    handler.setMaxPixels(maxPixels);
    return handler.load();
  };
}

Bytes join(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

Bytes join(const std::string& header, const Bytes& pixels) { return join(toBytes(header), pixels); }

// RGBE quadruples as the float triples they stand for, in bytes.
Bytes rgbeFloats(const Bytes& quadruples) {
  std::vector<float> out;
  for (size_t i = 0; i + 3 < quadruples.size(); i += 4) {
    for (int c = 0; c < 3; ++c)
      out.push_back(quadruples[i + 3] == 0 ? 0.0f : std::ldexp(float(quadruples[i + c]), quadruples[i + 3] - 136));
  }
  return bytesOf(out);
}

Bytes ramp(int pixels) {
  Bytes out;
  for (int i = 0; i < pixels; ++i)
    out.insert(out.end(), {static_cast<uint8_t>(10 + i), static_cast<uint8_t>(100 + i), static_cast<uint8_t>(200 - i), 136});
  return out;
}

// 16-bit samples big-endian as a PNG or PSD holds them, and in this machine's order as an
// image does; `opaque`: every fourth is 65535.
std::pair<Bytes, Bytes> ramp16(size_t count, bool opaque = false) {
  std::vector<uint16_t> values;
  Bytes big;
  for (size_t i = 0; i < count; ++i) {
    values.push_back(opaque && i % 4 == 3 ? 65535 : static_cast<uint16_t>(1000 * i + 7));
    big.insert(big.end(), {static_cast<uint8_t>(values.back() >> 8), static_cast<uint8_t>(values.back())});
  }
  return {big, bytesOf(values)};
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

// An EXR whose data window declares 16000 x 16000 pixels.
Bytes exrBomb() {
  const Bytes file = exrFile(8, 8, std::vector<float>(8 * 8 * 4, 0.5f));
  return patched(file, find(file, "dataWindow") + 29, {0x7F, 0x3E, 0, 0, 0x7F, 0x3E, 0, 0});  // past name, type, size, minimum
}

TEST(ChoiceByPath, TakesTheLastExtensionWhole) {
  // Made in a fresh folder as a file ('f'), a folder ('d') or not at all ('-'); "unreadable":
  // code 1 naming the path.
  struct Case { const char* name; char kind; const char* expected; };
  const Case cases[] = {
      {"a.exr", 'f', kEXR}, {"b.tar.exr", 'f', kEXR}, {"c.hdr", 'f', kHDR}, {"d.png", 'f', kSTBI}, {"e.JPG", 'f', kSTBI},
      {"f.jPeG", 'f', kSTBI}, {"g.bmp", 'f', kSTBI}, {"h.psd", 'f', kSTBI}, {"i.TGA", 'f', kSTBI},
      {"j.nbn", 'f', "nox_image NBN Loader"}, {"k.dds", 'f', kRefused}, {"l.gif", 'f', kRefused}, {"m.", 'f', kRefused},
      {"dir.png/noext", 'f', kRefused}, {"n.\xC3\x89XR", 'f', kRefused}, {"missing.png", '-', "unreadable"},
      {"missing.nbn", '-', "unreadable"}, {"missing.xyz", '-', kRefused}, {"folder.png", 'd', "unreadable"}};
  TempDir dir;
  for (const Case& c : cases) {
    const std::string path = dir.File(c.name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (c.kind == 'f') nox::test::WriteFile(path, "not a picture");
    if (c.kind == 'd') std::filesystem::create_directory(path);
    const std::string expected =
        c.expected == std::string("unreadable") ? "1: File '" + path + "' could not be read" : c.expected;
    EXPECT_EQ(chosen([&] { return createFromPath(path, kHandlerOptionsDefault); }), expected) << c.name;
  }
}

TEST(ChoiceByContent, FollowsTheChainOrder) {
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes exr = exrFile(2, 2, std::vector<float>(16, 0.5f));
  // An RGBE header and a TGA header at once: the HDR family comes first.
  const Bytes hdrLikeTga = toBytes(std::string("X\1\1aaaa\baaaa\5\0\5\0\b\n", 18) + "FORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81");
  const std::tuple<const char*, Bytes, const char*> cases[] = {
      {"UnfinishedExr", exrFile(2, 64, std::vector<float>(512, 0.5f), 0, 0, 32), kRefused},
      {"ExrCutShort", Bytes(exr.begin(), exr.end() - 10), kEXR},
      {"ExrSizeBomb", exrBomb(), kRefused},
      {"HdrBeforeTga", hdrLikeTga, kHDR},
      {"Png", stbEncode(StbKind::Png, 8, 8, 3, rgb), kSTBI},
      {"Tga", stbEncode(StbKind::Tga, 8, 8, 3, rgb), kSTBI},
      {"Psd", psdFile(2, 2, 3, 8, Bytes(12, 7)), kSTBI},
      {"Nbn", nbnFile(8, 8, 5, 0, 0, quadrantPicture(8, 8, 4)), kRefused},
      {"Text", toBytes("just some text"), kRefused},
      {"Empty", {}, kRefused},
  };
  for (const auto& [name, block, expected] : cases) {
    const auto create = [&, &block = block] {
      return createFromMemory(block.data(), static_cast<int32_t>(block.size()), kHandlerOptionsDefault);
    };
    EXPECT_EQ(chosen(create), expected) << name;
  }
  const uint8_t byte = 0;
  EXPECT_EQ(chosen([] { return createFromMemory(nullptr, 100, kHandlerOptionsDefault); }), kRefused);
  EXPECT_EQ(chosen([&] { return createFromMemory(&byte, -5, kHandlerOptionsDefault); }), kRefused);
  EXPECT_FALSE(ImageHandlerEXR::canLoadMemory(nullptr, 100) || ImageHandlerHDR::canLoadMemory(nullptr, 100));
  EXPECT_FALSE(ImageHandlerDDS::canLoadExtension("dds") || ImageHandlerDDS::canLoadMemory("DDS ", 4));
  EXPECT_EQ(ImageHandlerDDS(nullptr, 0, kHandlerOptionsDefault).load(), nullptr);
}

struct ReadCase {
  const char* name;
  Bytes file;
  Load load;
  const char* failure;  // "" when it loads; ending in a space: the start of the library's text
  ImageFormat word;
  Bytes fileOrder;  // the pixels' bytes, rows top first as in the file; empty: not compared
};

std::vector<ReadCase> hdrCases() {
  const auto hdr = as<ImageHandlerHDR>();
  const std::string format = "FORMAT=32-bit_rle_rgbe\n";
  const std::string size1x2 = "\n-Y 1 +X 2\n";
  const std::string head8x2 = "#?RADIANCE\n" + format + "\n-Y 2 +X 8\n";
  // A run-length scanline of width 8 (red a run, green a literal, blue a run of 4 and a
  // literal of 4, exponents a run), then a flat one.
  const Bytes flatRow = ramp(8);
  const Bytes rleThenFlat = join(Bytes{2, 2, 0, 8, 136, 40, 8, 1, 2, 3, 4, 5, 6, 7, 8, 132, 90, 4, 91, 92, 93, 94, 136, 137}, flatRow);
  const Bytes bothRows = join(Bytes{40, 1, 90, 137, 40, 2, 90, 137, 40, 3, 90, 137, 40, 4, 90, 137,
                                    40, 5, 91, 137, 40, 6, 92, 137, 40, 7, 93, 137, 40, 8, 94, 137},
                              flatRow);
  // A flat first pixel whose second byte is 2, as a marker's is.
  const Bytes secondByteTwo = patched(ramp(16), 0, {1, 2});
  // Runs of one and of seven in every plane.
  const Bytes runOfOne = {2, 2, 0, 8, 129, 200, 135, 100, 129, 10, 135, 20, 129, 30, 135, 40, 129, 136, 135, 136};
  Bytes runsDecoded = {200, 10, 30, 136};
  for (int x = 1; x < 8; ++x) runsDecoded.insert(runsDecoded.end(), {100, 20, 40, 136});
  const char* header = "2: Failed to read header";
  const char* pixels = "2: Failed to read pixel data";
  const ImageFormat f = FormatRGB32F;
  return {
      {"HdrFlatWithMarkerLikeSecondByte", join(head8x2, secondByteTwo), hdr, "", f, rgbeFloats(secondByteTwo)},
      {"HdrRunsOfOne", join(head8x2, join(runOfOne, runOfOne)), hdr, "", f,
       rgbeFloats(join(runsDecoded, runsDecoded))},
      {"HdrLineBehindFormat", join("#?RADIANCE\nGAMMA=2.2\n" + format + "EXPOSURE=2\nSOFTWARE=nox\n" + size1x2, ramp(2)), hdr, "",
       f, rgbeFloats(ramp(2))},
      {"HdrWidth7IsFlat", join(format + "\n-Y 2 +X 7\n", ramp(14)), hdr, "", f, rgbeFloats(ramp(14))},
      {"HdrRunLengthThenFlat", join(head8x2, rleThenFlat), hdr, "", f, rgbeFloats(bothRows)},
      {"HdrExponentZeroIsBlack", join(format + size1x2, {200, 100, 50, 0, 1, 2, 3, 0}), hdr, "", f, Bytes(24, 0)},
      {"HdrBlankFirstLine", join("\n" + format + size1x2, ramp(2)), hdr, header, 0, {}},
      {"HdrNulFirstLine", join(std::string(1, '\0') + "\n" + format + size1x2, ramp(2)), hdr, header, 0, {}},
      {"HdrEmpty", {}, hdr, header, 0, {}},
      {"HdrNoFormatLine", join("#?RADIANCE\nGAMMA=1\n" + size1x2, ramp(2)), hdr, header, 0, {}},
      {"HdrXBeforeY", join(format + "\n+X 2 -Y 1\n", ramp(2)), hdr, header, 0, {}},
      {"HdrHugeSize", join(format + "\n-Y 100000 +X 100000\n", ramp(2)), hdr, "5: Invalid size", 0, {}},
      {"HdrNegativeSize", join(format + "\n-Y -1 +X 2\n", ramp(2)), hdr, "5: Invalid size", 0, {}},
      {"HdrMissingPixels", join(format + size1x2, ramp(1)), hdr, pixels, 0, {}},
      {"HdrMarkerWithWrongWidth", join(head8x2, {2, 2, 0, 9, 136, 40}), hdr, pixels, 0, {}},
      {"HdrRunLongerThanPlane", join(head8x2, {2, 2, 0, 8, 137, 40}), hdr, pixels, 0, {}},
      {"HdrZeroCountPacket", join(head8x2, {2, 2, 0, 8, 0, 40}), hdr, pixels, 0, {}},
      {"HdrTruncatedPlane", join(head8x2, {2, 2, 0, 8, 136, 40, 8, 1, 2}), hdr, pixels, 0, {}},
      // Files that declare more than they hold are refused before anything is allocated.
      {"HdrSizeBomb", toBytes("#?RADIANCE\n" + format + "\n-Y 16384 +X 16384\n"), hdr, "3: File is not complete", 0, {}},
      {"HdrFlatOnePixelShort", join(format + "\n-Y 10000 +X 7\n", Bytes(4 * 69999)), hdr, "3: File is not complete", 0, {}},
      // Up to 65536 pixels the pixel reader is left to name the damage.
      {"HdrSmallWithoutPixels", toBytes(format + "\n-Y 256 +X 256\n"), hdr, pixels, 0, {}},
  };
}

constexpr int kW = 6;
constexpr int kH = 4;

std::vector<ReadCase> stbiCases() {
  const auto stbi = as<ImageHandlerSTBI>();
  const auto pic = [](int channels) { return quadrantPicture(kW, kH, channels); };
  // 8-bit files of the other kinds and layouts come back in the writers' round trip.
  const Bytes png = stbEncode(StbKind::Png, kW, kH, 3, pic(3));
  // stb_image takes a white matte out of PSD colours with partial alpha; opaque ones stay.
  const auto opaque16 = ramp16(kW * kH * 4, true);
  // 1-bit indices, 8 pixels a row: 1,0,1,1,0,0,0,0 and 0,1,0,...
  const Bytes dark = {10, 20, 30}, light = {200, 150, 100};
  Bytes indexed;
  for (int bit : {1, 0, 1, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}) indexed = join(indexed, bit ? light : dark);
  const Bytes jpeg = stbEncode(StbKind::Jpg, 16, 16, 3, quadrantPicture(16, 16, 3));
  const Bytes damagedExif = spliceAfterSoi(jpeg, app1({'E', 'x', 'i', 'f', 0, 0, 'X', 'X', 42, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  const Bytes bmp = stbEncode(StbKind::Bmp, 16, 16, 3, quadrantPicture(16, 16, 3));
  const Bytes tga = stbEncode(StbKind::Tga, 16, 16, 4, quadrantPicture(16, 16, 4));
  const Bytes psd = psdFile(16, 16, 3, 8, quadrantPicture(16, 16, 3));
  const char* unsupported = "4: Unsupported format";
  const char* incomplete = "3: File is not complete";
  return {
      {"PngRgb8", png, stbi, "", FormatRGB8, pic(3)},
      {"PngRgb16", pngFile(kW, kH, 2, 16, ramp16(kW * kH * 3).first), stbi, "", FormatRGB16, ramp16(kW * kH * 3).second},
      {"PngRgba16", pngFile(kW, kH, 6, 16, ramp16(kW * kH * 4).first), stbi, "", FormatRGBA16, ramp16(kW * kH * 4).second},
      {"PngGrey16", pngFile(kW, kH, 0, 16, ramp16(kW * kH * 1).first), stbi, "", FormatL16, ramp16(kW * kH * 1).second},
      {"PngGreyAlpha16", pngFile(kW, kH, 4, 16, ramp16(kW * kH * 2).first), stbi, "", FormatLA16, ramp16(kW * kH * 2).second},
      {"PngPalette1Bit", pngFile(8, 2, 3, 1, {0xB0, 0x40}, join(dark, light)), stbi, "", FormatRGB8, indexed},
      {"PngForcedToRgba", png, as<ImageHandlerSTBI>(kOptionForceRgba), "", FormatRGBA8, withAlpha(pic(3))},
      {"JpegForcedToRgba", jpeg, as<ImageHandlerSTBI>(kOptionForceRgba), unsupported, 0, {}},
      // A damaged EXIF block fails the load only when the orientation is wanted.
      {"JpegDamagedExif", damagedExif, stbi, "2: Failed to read EXIF information", 0, {}},
      {"JpegDamagedExifUnread", damagedExif, as<ImageHandlerSTBI>(0), "", FormatRGB8, {}},
      {"TgaGrey", stbEncode(StbKind::Tga, kW, kH, 1, pic(1)), stbi, unsupported, 0, {}},
      {"Psd8", psdFile(kW, kH, 3, 8, pic(3)), stbi, "", FormatRGBA8, withAlpha(pic(3))},
      {"Psd16", psdFile(kW, kH, 4, 16, opaque16.first), stbi, "", FormatRGBA16, opaque16.second},
      {"UnknownType", toBytes("GIF89a and more bytes"), stbi, unsupported, 0, {}},
      // A decoder failure gives its reason behind the code.
      {"PngCutTo40", cut(png, 40), stbi, "3: ", 0, {}},
      {"BmpSizeBomb", patched(cut(bmp, 54), 18, {0x80, 0x3E, 0, 0, 0x80, 0x3E}), stbi, incomplete, 0, {}},
      {"BmpCutTo40", cut(bmp, 40), stbi, incomplete, 0, {}},
      {"BmpCutTo200", cut(bmp, 200), stbi, incomplete, 0, {}},
      {"TgaCutTo40", cut(tga, 40), stbi, incomplete, 0, {}},
      {"TgaCutTo200", cut(tga, 200), stbi, incomplete, 0, {}},
      {"PsdCutTo40", cut(psd, 40), stbi, incomplete, 0, {}},
      {"PsdCutTo200", cut(psd, 200), stbi, incomplete, 0, {}},
      {"PngSizeBomb", patched(png, 16, {0, 0, 0x3E, 0x80, 0, 0, 0x3E, 0x80}), stbi, incomplete, 0, {}},
      {"JpegSizeBomb", patched(jpeg, find(jpeg, "\xFF\xC0") + 5, {0x3E, 0x80, 0x3E, 0x80}), stbi, incomplete, 0, {}},
      {"BelowTheCallersLimit", png, as<ImageHandlerSTBI>(kHandlerOptionsDefault, kW * kH - 1), "5: Invalid size", 0, {}},
  };
}

std::vector<ReadCase> exrAndNbnCases() {
  const auto exr = as<ImageHandlerEXR>();
  // Channel values that name their pixel, 100 * row + 10 * column + channel, in a data window
  // away from the origin.
  std::vector<float> numbered;
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 3; ++x)
      for (int c = 0; c < 4; ++c) numbered.push_back(static_cast<float>(100 * y + 10 * x + c));
  const std::vector<half> halves(numbered.begin(), numbered.end());
  // Width and height at 12 and 16 declared 16000 (0x3E80) and 20000 (0x4E20) square.
  const Bytes nbn = nbnFile(8, 8, kNbnRgba, kNbnRaw, 0, quadrantPicture(8, 8, 4));
  const auto nbnRead = as<ImageHandlerNBN>();
  return {
      {"ExrWindowAwayFromTheOrigin", exrFile(3, 4, numbered, 5, -3), exr, "", FormatRGBA16F, bytesOf(halves)},
      {"ExrOnePixel", exrFile(1, 1, {1, 2, 3, 4}), exr, "", FormatRGBA16F, bytesOf(std::vector<half>{1, 2, 3, 4})},
      {"ExrSizeBomb", exrBomb(), exr, "3: File is not complete", 0, {}},
      {"ExrAboveTheCap", exrFile(3, 4, numbered), as<ImageHandlerEXR>(kHandlerOptionsDefault, 11), "5: Invalid size", 0, {}},
      {"ExrUnfinished", exrFile(2, 64, std::vector<float>(512, 0.5f), 0, 0, 32), exr, "3: File is not complete", 0, {}},
      // The library's own refusal.
      {"ExrVersion99", patched(exrFile(2, 2, std::vector<float>(16, 0.5f)), 4, {99}), exr, "3: Cannot read image file ", 0, {}},
      {"NbnSizeBomb", patched(nbn, 12, {0x80, 0x3E, 0, 0, 0x80, 0x3E}), nbnRead, "2: File could not be read", 0, {}},
      {"NbnAboveTheCap", patched(nbn, 12, {0x20, 0x4E, 0, 0, 0x20, 0x4E}), nbnRead, "5: Invalid size", 0, {}},
  };
}

TEST(Read, GivesTheWordAndRowsBottomFirstOrRefuses) {
  for (const auto& cases : {hdrCases(), stbiCases(), exrAndNbnCases()}) {
    for (const ReadCase& c : cases) {
      std::shared_ptr<IImage> image;
      EXPECT_EQ(failureLike(c.failure, [&] { image = c.load(c.file); }), c.failure) << c.name;
      if (!image) continue;
      ASSERT_EQ(image->format(), c.word) << c.name;
      image->flip(edit::Vertical);  // rows bottom first
      const auto* data = static_cast<const uint8_t*>(image->data());
      EXPECT_EQ(Bytes(data, data + c.fileOrder.size()), c.fileOrder) << c.name;
    }
  }
}

// A JPEG of 32x16 whose quadrants are red, green, blue and white (R G over B W), with an EXIF
// orientation when it is not 0: the size and the corners (top left, top right, bottom left,
// bottom right) it is shown with.
TEST(StbiOrientation, TurnsByExifBeforeTheFlip) {
  struct Case { uint16_t orientation, options; const char* shown; };
  const uint16_t turn = kHandlerOptionsDefault;
  const Case cases[] = {{0, turn, "32x16 RGBW"}, {1, turn, "32x16 RGBW"}, {3, turn, "32x16 WBGR"}, {6, turn, "16x32 BRWG"},
                        {8, turn, "16x32 GWRB"}, {2, turn, "32x16 RGBW"}, {5, turn, "32x16 RGBW"}, {6, 0, "32x16 RGBW"}};
  const Bytes plain = stbEncode(StbKind::Jpg, 32, 16, 3, quadrantPicture(32, 16, 3));
  for (const Case& c : cases) {
    const Bytes jpeg = c.orientation == 0 ? plain : spliceAfterSoi(plain, exifSegment(tiff(false, {orientation(c.orientation)})));
    const auto image = ImageHandlerSTBI(jpeg.data(), static_cast<int32_t>(jpeg.size()), c.options).load();
    const unsigned w = image->width(), h = image->height();
    std::string shown = std::to_string(w) + "x" + std::to_string(h) + " ";
    const std::pair<unsigned, unsigned> corners[] = {{2, 2}, {w - 3, 2}, {2, h - 3}, {w - 3, h - 3}};
    for (const auto& [x, y] : corners) {
      const Rgb p = shownAt(*image, x, y);
      shown += p.b > 128 ? (p.r > 128 ? 'W' : 'B') : (p.r > 128 ? 'R' : 'G');
    }
    EXPECT_EQ(shown, c.shown) << "orientation " << c.orientation;
  }
}

constexpr unsigned kWidth = 13;  // odd, so that a row padding or stride mistake shows
constexpr unsigned kHeight = 7;

// A picture of pixel type P whose values vary and survive every format exactly: whole numbers
// below 256 with the first channel 128 or more, which RGBE holds at exponent 136.
template <class P>
std::shared_ptr<IImage> picture(ImageFormat word) {
  std::vector<P> pixels(kWidth * kHeight);
  unsigned k = word;
  for (P& p : pixels) {
    for (auto& c : p.c) c = static_cast<typename P::Component>(k++ % 128);
    p.c[0] = static_cast<typename P::Component>(128 + k % 128);
  }
  if constexpr (kPixelsMovedIn<P>) {
    return makeImage<P>(std::move(pixels), kWidth, kHeight, word);
  } else {
    return makeImage<P>(reinterpret_cast<const unsigned char*>(pixels.data()), kWidth, kHeight, word);
  }
}

template <class H>
std::shared_ptr<ImageHandlerImpl> writer() {
  return std::make_shared<H>(nullptr, 0, kHandlerOptionsDefault);
}

// EXR writes the rows as they stand and reverses them when it reads. saveToMemory gives the
// file's bytes in exactly the room they need; the BMP, TGA and HDR writers do not serve it.
TEST(HandlerRoundTrip, LoadsWhatItSaved) {
  struct Case { std::shared_ptr<ImageHandlerImpl> writer; const char* extension; std::string magic; int32_t memoryType;
                std::shared_ptr<IImage> image; bool upsideDown; };
  const auto exr = writer<ImageHandlerEXR>(), hdr = writer<ImageHandlerHDR>(), stbi = writer<ImageHandlerSTBI>();
  const Case cases[] = {
      {exr, "exr", "\x76\x2F\x31\x01", EXR, picture<PixelRGBA16F>(FormatRGBA16F), true},
      {hdr, "hdr", "#?RGBE\n", -1, picture<PixelRGB32F>(FormatRGB32F), false},
      {stbi, "png", "\x89PNG", PNG, picture<PixelRGB8>(FormatRGB8), false},
      {stbi, "PNG", "\x89PNG", PNG, picture<PixelL8>(FormatL8), false},
      {stbi, "png", "\x89PNG", PNG, picture<PixelLA8>(FormatLA8), false},
      {stbi, "bmp", "BM", -1, picture<PixelRGB8>(FormatRGB8), false},
      {stbi, "tga", std::string("\0\0\x0A", 3), -1, picture<PixelRGBA8>(FormatRGBA8), false},
  };
  TempDir dir;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.extension) + " " + std::to_string(c.image->format()));
    const std::string path = dir.File(std::string("picture.") + c.extension);
    c.writer->save(path, c.image.get());
    const std::string file = nox::test::ReadFile(path);
    EXPECT_EQ(file.substr(0, c.magic.size()), c.magic);
    const auto loaded = createFromPath(path, kHandlerOptionsDefault)->load();
    if (c.upsideDown) loaded->flip(edit::Vertical);
    EXPECT_EQ(std::tuple(loaded->format(), loaded->width(), loaded->height(), loaded->pixelCount()),
              std::tuple(c.image->format(), c.image->width(), c.image->height(), c.image->pixelCount()));
    EXPECT_TRUE(loaded->equals(*c.image));
    if (c.memoryType < 0) continue;
    Bytes buffer(file.size());
    const uint32_t size = c.writer->saveToMemory(buffer.data(), static_cast<int32_t>(buffer.size()), c.image.get(), c.memoryType);
    EXPECT_EQ(toString(Bytes(buffer.begin(), buffer.begin() + size)), file);
  }
}

// Each case is saved under its file name in a fresh folder, or with saveToMemory into a
// buffer of `size` as `type` when it has none. A refusal gives its code and message; ""
// nothing thrown and nothing written.
TEST(SaveRefusal, GivesItsCodeAndMessage) {
  struct Case { const char* name; std::shared_ptr<ImageHandlerImpl> handler; std::shared_ptr<IImage> image; const char* file;
                int32_t type; int32_t size; const char* expected; };
  const auto exr = writer<ImageHandlerEXR>(), hdr = writer<ImageHandlerHDR>(), stbi = writer<ImageHandlerSTBI>();
  const auto nbn = writer<ImageHandlerNBN>(), dds = writer<ImageHandlerDDS>();
  const auto rgb8 = makeImage<PixelRGB8>(Bytes(12).data(), 2, 2, FormatRGB8);
  const auto rgba8 = makeImage<PixelRGBA8>(Bytes(16).data(), 2, 2, FormatRGBA8);
  const auto floats = makeImage<PixelRGB32F>(std::vector<PixelRGB32F>(4), 2, 2, FormatRGB32F);
  const auto fewFloats = makeImage<PixelRGB32F>(std::vector<PixelRGB32F>(3), 2, 2, FormatRGB32F);
  const auto halves = makeImage<PixelRGBA16F>(std::vector<PixelRGBA16F>(4), 2, 2, FormatRGBA16F);
  const auto fewHalves = makeImage<PixelRGBA16F>(std::vector<PixelRGBA16F>(3), 2, 2, FormatRGBA16F);
  const auto fiveChannels = makeImage<PixelRGBA8>(Bytes(20).data(), 2, 2, FormatRGBA8 | 0x00200000);
  const char* small = "6: Insuffient memory allocated to write to memory";
  const Case cases[] = {
      {"HdrShorts", hdr, makeImage<PixelRGB16>(Bytes(24).data(), 2, 2, FormatRGB16), "a.hdr", 0, 0, "4: Unsupported format"},
      {"HdrFewerPixels", hdr, fewFloats, "a.hdr", 0, 0, "3: Unexpected data size"},
      {"HdrMissingFolder", hdr, floats, "missing/a.hdr", 0, 0, "2: Could not open file for writing"},
      {"HdrNoImage", hdr, nullptr, "a.hdr", 0, 0, ""},
      {"HdrMemoryOtherType", hdr, floats, nullptr, EXR, 100, "4: Unsupported format"},
      {"HdrMemoryNoImage", hdr, nullptr, nullptr, EXR, 100, ""},
      {"HdrMemoryNegativeSize", hdr, floats, nullptr, HDR, -1, "2: Could not open file for writing"},
      {"StbiJpeg", stbi, rgb8, "x.jpg", 0, 0, "4: Unsupported format"},
      {"StbiMissingFolder", stbi, rgb8, "missing/x.bmp", 0, 0, "2: Failed to export PNG"},
      {"StbiBlocks", stbi, makeImage<PixelDXT1>(Bytes(8).data(), 4, 4, FormatDXT1), "x.png", 0, 0, "4: Unsupported format"},
      {"StbiFiveChannels", stbi, fiveChannels, "x.png", 0, 0, "4: Unsupported format"},
      {"StbiNoImage", stbi, nullptr, "x.tga", 0, 0, ""},
      {"StbiMemoryJpeg", stbi, rgb8, nullptr, JPEG, 4096, "4: Unsupported format"},
      {"StbiMemoryTooSmall", stbi, rgb8, nullptr, PNG, 10, small},
      {"StbiMemoryNoImage", stbi, nullptr, nullptr, JPEG, 4096, ""},
      {"ExrEightBit", exr, rgba8, "x.exr", 0, 0, "3: Only 16-bits RGBA half-float data support for EXR export"},
      {"ExrMissingFolder", exr, halves, "missing/x.exr", 0, 0, "2: "},
      {"ExrMemoryNoImage", exr, nullptr, nullptr, PNG, 4096, ""},
      {"ExrMemoryTypeBeforeFormat", exr, rgba8, nullptr, PNG, 4096, "4: Unsupported format"},
      {"ExrMemoryFewerPixels", exr, fewHalves, nullptr, EXR, 4096, "3: Unexpected data size"},
      {"ExrMemoryTooSmall", exr, halves, nullptr, EXR, 100, small},
      {"ExrMemoryNegativeSize", exr, halves, nullptr, EXR, -1, small},
      {"Nbn", nbn, rgb8, "x.nbn", 0, 0, "3: Unimplemented"},
      {"NbnMemory", nbn, rgb8, nullptr, 0, 100, "3: Unimplemented"},
      {"Dds", dds, rgb8, "x.dds", 0, 0, ""},
      {"DdsMemory", dds, rgb8, nullptr, 0, 100, "3: Unimplemented"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    Bytes buffer(static_cast<size_t>(std::max(c.size, 0)));
    uint32_t written = 0;
    EXPECT_EQ(failureLike(c.expected, [&] {
                if (c.file) c.handler->save(dir.File(c.file), c.image.get());
                else written = c.handler->saveToMemory(buffer.data(), c.size, c.image.get(), c.type);
              }),
              c.expected)
        << c.name;
    EXPECT_FALSE(!*c.expected && (written != 0 || (c.file && std::filesystem::exists(dir.File(c.file))))) << c.name;
  }
}

TEST(ExrMemStreams, ReadStopsAtTheEndOfTheBlock) {
  const char block[6] = {1, 2, 3, 4, 5, 6};
  MemIStream in(block, sizeof(block));
  char out[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_TRUE(in.read(out, 4) && in.read(out, 2));  // the last bytes of the block
  EXPECT_EQ(std::pair(out[1], in.tellg()), std::pair(char{6}, uint64_t{6}));
  EXPECT_THROW(in.read(out, 1), Iex::InputExc);
  in.seekg(3);
  EXPECT_THROW(in.read(out, 4), Iex::InputExc);
  EXPECT_EQ(std::pair(out[0], in.tellg()), std::pair(char{0}, uint64_t{3}));  // a failed read leaves zeros, never leftovers
  in.seekg(~uint64_t{0});
  EXPECT_THROW(in.read(out, 2), Iex::InputExc);
}


using Stream = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

Stream streamOver(const Bytes& bytes) {
  return Stream(nox_fmemopen(bytes.data(), static_cast<int64_t>(bytes.size())), &std::fclose);
}

Bytes streamContents(std::FILE* stream) {
  Bytes out;
  std::rewind(stream);
  for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) out.push_back(static_cast<uint8_t>(c));
  return out;
}

TEST(Rgbe, HeaderInfoTakesProgramTypeGammaAndExposure) {
  const Bytes file = toBytes("#?RADIANCE_IS_A_LONG_NAME\nGAMMA=2.2\nEXPOSURE=0.5\nFORMAT=32-bit_rle_rgbe\n\n-Y 3 +X 4\n");
  rgbeHeaderInfo info;
  int width = 0, height = 0;
  ASSERT_EQ(rgbe_read_header(streamOver(file).get(), &width, &height, &info), 0);
  EXPECT_EQ(std::tuple(width, height, info.valid, std::string(info.programtype), info.gamma, info.exposure),
            std::tuple(4, 3, RGBE_VALID_PROGRAMTYPE | RGBE_VALID_GAMMA | RGBE_VALID_EXPOSURE, "RADIANCE_IS_A_L", 2.2f, 0.5f));
}

// What the HDR handler compares a declared size with before it allocates.
TEST(Rgbe, FewestBytesAreLongestRunsOrFlatPixels) {
  const std::tuple<int, int, uint64_t> cases[] = {{7, 3, 84},       {8, 2, 24},        {127, 1, 12}, {128, 1, 20},
                                                  {32767, 1, 2076}, {32768, 1, 131072}, {0, 5, 0},   {5, -1, 0}};
  for (const auto& [width, height, bytes] : cases) EXPECT_EQ(rgbe_min_pixel_bytes(width, height), bytes) << width;
}

// Exact bytes: tiny values become zero quadruples, negative ones too; runs of three or more
// (and a single short run) become run packets, and a run ends with the plane even where the
// byte behind it is the same.
TEST(Rgbe, WriterBytes) {
  const float pixels[] = {1.0f, 0.5f, 0.25f, 1e-33f, 5e-33f, 0.0f, -1.0f, -2.0f, -3.0f, 300.0f, 0.0f, 1.5f};
  Stream stream = streamOver({});
  ASSERT_EQ(rgbe_write_pixels(stream.get(), pixels, 4), 0);
  EXPECT_EQ(streamContents(stream.get()), (Bytes{128, 64, 32, 129, 0, 0, 0, 0, 0, 0, 0, 0, 150, 0, 0, 137}));
  const std::pair<Bytes, Bytes> cases[] = {{{1, 1, 2, 3, 4, 4, 4, 4, 4}, {4, 1, 1, 2, 3, 133, 4}},
                                           {{7, 7, 9, 9, 9, 9}, {130, 7, 132, 9}},
                                           {{5, 6, 7}, {3, 5, 6, 7}}};
  for (const auto& [plane, packets] : cases) {
    Stream planes = streamOver({});
    Bytes planeAndMore = plane;
    planeAndMore.push_back(plane.back());
    ASSERT_EQ(rgbe_write_bytes_rle(planes.get(), planeAndMore.data(), static_cast<int>(plane.size())), 0);
    EXPECT_EQ(streamContents(planes.get()), packets);
  }
}

// Pixels whose largest channel lies in 128..255 at exponent 136 survive the float conversions
// exactly, so the run-length writer and reader can be compared value for value.
class RgbeRunLength : public testing::TestWithParam<int> {};

TEST_P(RgbeRunLength, WriterAndReaderAgree) {
  const int width = GetParam();
  const int height = 3;
  std::mt19937 random(static_cast<unsigned>(width));
  std::vector<float> pixels;
  for (int i = 0; i < width * height; ++i) {
    const bool repeat = !pixels.empty() && random() % 3 != 0;
    for (int c = 0; c < 3; ++c) {
      const float fresh = static_cast<float>(c == 0 ? 128 + random() % 128 : random() % 128);
      pixels.push_back(repeat ? pixels[pixels.size() - 3] : fresh);
    }
  }
  Stream stream = streamOver({});
  ASSERT_EQ(rgbe_write_pixels_rle(stream.get(), pixels.data(), width, height), 0);
  const Bytes written = streamContents(stream.get());
  const bool runLength = width >= 8 && width <= 32767;
  EXPECT_EQ(written[0] == 2 && written[1] == 2, runLength);
  EXPECT_TRUE(runLength || written.size() == static_cast<size_t>(4 * width * height));
  std::vector<float> read(pixels.size(), -1.0f);
  Stream in = streamOver(written);
  ASSERT_EQ(rgbe_read_pixels_rle(in.get(), read.data(), width, height), 0);
  EXPECT_EQ(read, pixels);
  EXPECT_EQ(std::fgetc(in.get()), EOF);
}

// 40000 is flat and longer than the writer's and reader's chunk of 4096 pixels.
INSTANTIATE_TEST_SUITE_P(Widths, RgbeRunLength, testing::Values(5, 8, 9, 127, 128, 129, 300, 1000, 40000));

// Flat pixels even where run-length scanlines would do (8 wide), in file order; RGBA8 images
// are taken as RGBE quadruples and written unchanged, but flipped. saveToMemory encodes into
// a copy of its own and gives the buffer nothing.
TEST(HdrHandler, SavesFlatPixelsInFileOrder) {
  TempDir dir;
  std::vector<PixelRGB32F> pixels(16, PixelRGB32F{{128.0f, 1.0f, 2.0f}});
  pixels[8].c[0] = 136.0f;  // model row 1, written first
  std::string floats = "#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 8\n" + toString({136, 1, 2, 136});
  for (int i = 1; i < 16; ++i) floats += toString({128, 1, 2, 136});
  const Bytes rows = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};  // 2x2, model row 0 first
  const std::string quadruples = "#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 2\n" + toString({9, 10, 11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8});
  ImageHandlerHDR handler(nullptr, 0, kHandlerOptionsDefault);
  const std::pair<std::shared_ptr<IImage>, std::string> cases[] = {
      {makeImage<PixelRGB32F>(std::move(pixels), 8, 2, FormatRGB32F), floats},
      {makeImage<PixelRGBA8>(rows.data(), 2, 2, FormatRGBA8), quadruples}};
  for (const auto& [image, file] : cases) {
    handler.save(dir.File("out.hdr"), image.get());
    EXPECT_EQ(nox::test::ReadFile(dir.File("out.hdr")), file);
    Bytes buffer(16, 0xAB);
    EXPECT_EQ(handler.saveToMemory(buffer.data(), 16, image.get(), HDR), file.size());
    EXPECT_EQ(buffer, Bytes(16, 0xAB));
  }
}

}  // namespace
