// What every format handler shares: the choice by name and by content, the round trip of each
// writer and the refusals of the writers.

#include <gtest/gtest.h>
#include <OpenEXR/Iex.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <random>

#include "image/io/ExrMemStreams.h"
#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerDDS.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerFactory.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::ReadFile;
using nox::test::TempDir;
using nox::test::WriteFile;

constexpr const char* kEXR = "nox_image EXR Loader";
constexpr const char* kHDR = "nox_image HDR Loader";
constexpr const char* kSTBI = "nox_image STBI Loader";
constexpr const char* kRefused = "0: File format is unsupported";

// The loader name of the handler chosen, or the refusal.
std::string chosen(const std::function<std::shared_ptr<ImageHandlerImpl>()>& create) {
  std::string name;
  const std::string failure = failureOf([&] { name = create()->loaderName(); });
  return failure.empty() ? name : failure;
}

// `failure`, or as much of it as `expected` gives when that ends in a space: a library's own
// text follows there.
std::string startOf(const std::string& failure, const std::string& expected) {
  return !expected.empty() && expected.back() == ' ' ? failure.substr(0, expected.size()) : failure;
}

template <class Case>
std::string caseName(const testing::TestParamInfo<Case>& info) {
  std::string name = info.param.name;
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
}

struct PathCase {
  const char* name;  // made in a fresh folder as a file ('f'), a folder ('d') or not at all ('-')
  char kind;
  const char* expected;  // "unreadable": code 1 naming the path
};

void PrintTo(const PathCase& c, std::ostream* os) { *os << c.name; }

class ChoiceByPath : public testing::TestWithParam<PathCase> {};

TEST_P(ChoiceByPath, TakesTheLastExtensionWhole) {
  TempDir dir;
  const PathCase& c = GetParam();
  const std::string path = dir.File(c.name);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  if (c.kind == 'f') WriteFile(path, "not a picture");
  if (c.kind == 'd') std::filesystem::create_directory(path);
  const std::string expected = c.expected == std::string("unreadable") ? "1: File '" + path + "' could not be read" : c.expected;
  EXPECT_EQ(chosen([&] { return createFromPath(path, kHandlerOptionsDefault); }), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ChoiceByPath,
    testing::Values(PathCase{"a.exr", 'f', kEXR}, PathCase{"b.tar.exr", 'f', kEXR}, PathCase{"c.hdr", 'f', kHDR},
                    PathCase{"d.png", 'f', kSTBI}, PathCase{"e.JPG", 'f', kSTBI}, PathCase{"f.jPeG", 'f', kSTBI},
                    PathCase{"g.bmp", 'f', kSTBI}, PathCase{"h.psd", 'f', kSTBI}, PathCase{"i.TGA", 'f', kSTBI},
                    PathCase{"j.nbn", 'f', "nox_image NBN Loader"}, PathCase{"k.dds", 'f', kRefused},
                    PathCase{"l.gif", 'f', kRefused}, PathCase{"m.", 'f', kRefused},
                    PathCase{"dir.png/noext", 'f', kRefused}, PathCase{"n.\xC3\x89XR", 'f', kRefused},
                    PathCase{"missing.png", '-', "unreadable"}, PathCase{"missing.nbn", '-', "unreadable"},
                    PathCase{"missing.xyz", '-', kRefused}, PathCase{"folder.png", 'd', "unreadable"}),
    caseName<PathCase>);

// A block that is an RGBE header and a TGA header at once: the HDR family comes first.
Bytes hdrThatLooksLikeTga() {
  Bytes first = {'X', 1, 1, 'a', 'a', 'a', 'a', 8, 'a', 'a', 'a', 'a', 5, 0, 5, 0, 8, '\n'};
  const Bytes rest = toBytes("FORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81");
  first.insert(first.end(), rest.begin(), rest.end());
  return first;
}

struct MemoryCase {
  const char* name;
  Bytes block;
  const char* expected;
};

void PrintTo(const MemoryCase& c, std::ostream* os) { *os << c.name; }

std::vector<MemoryCase> memoryCases() {
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes exr = exrFile(2, 2, std::vector<float>(16, 0.5f));
  Bytes dds = toBytes("DDS ");
  dds.resize(128, 0);
  dds[4] = 124;
  return {
      {"Exr", exr, kEXR},
      {"UnfinishedExr", exrFile(2, 64, std::vector<float>(512, 0.5f), 0, 0, 32), kRefused},
      {"ExrCutShort", Bytes(exr.begin(), exr.end() - 10), kEXR},
      {"Hdr", toBytes("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 1\n\x80\x80\x80\x81"), kHDR},
      {"HdrBeforeTga", hdrThatLooksLikeTga(), kHDR},
      {"Png", stbEncode(StbKind::Png, 8, 8, 3, rgb), kSTBI},
      {"Jpeg", stbEncode(StbKind::Jpg, 8, 8, 3, rgb), kSTBI},
      {"Bmp", stbEncode(StbKind::Bmp, 8, 8, 3, rgb), kSTBI},
      {"Tga", stbEncode(StbKind::Tga, 8, 8, 3, rgb), kSTBI},
      {"Psd", psdFile(2, 2, 3, 8, Bytes(12, 7)), kSTBI},
      {"Nbn", nbnFile(8, 8, 5, 0, 0, quadrantPicture(8, 8, 4)), kRefused},
      {"Dds", dds, kRefused},
      {"Text", toBytes("just some text"), kRefused},
      {"Empty", {}, kRefused},
  };
}

class ChoiceByContent : public testing::TestWithParam<MemoryCase> {};

TEST_P(ChoiceByContent, FollowsTheChainOrder) {
  const Bytes& block = GetParam().block;
  EXPECT_EQ(chosen([&] { return createFromMemory(block.data(), static_cast<int32_t>(block.size()), kHandlerOptionsDefault); }),
            GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Blocks, ChoiceByContent, testing::ValuesIn(memoryCases()), caseName<MemoryCase>);

TEST(ChoiceByContent, NullOrNegativeBlockIsRefusedAndDdsIsNeverChosen) {
  const uint8_t byte = 0;
  EXPECT_EQ(chosen([] { return createFromMemory(nullptr, 100, kHandlerOptionsDefault); }), kRefused);
  EXPECT_EQ(chosen([&] { return createFromMemory(&byte, -5, kHandlerOptionsDefault); }), kRefused);
  EXPECT_FALSE(ImageHandlerDDS::canLoadExtension("dds") || ImageHandlerDDS::canLoadMemory("DDS ", 4));
  EXPECT_EQ(ImageHandlerDDS(nullptr, 0, kHandlerOptionsDefault).load(), nullptr);
}

constexpr unsigned kWidth = 13;  // odd, so that a row padding or stride mistake shows
constexpr unsigned kHeight = 7;

// A picture of pixel type P whose values are all different and survive the format exactly.
template <class P>
std::shared_ptr<IImage> picture(ImageFormat word, size_t count = kWidth * kHeight) {
  std::mt19937 random(word);
  std::vector<P> pixels(count);
  for (P& p : pixels) {
    for (auto& c : p.c) {
      using C = std::remove_reference_t<decltype(c)>;
      if constexpr (std::is_same_v<C, float>) {
        c = static_cast<float>(random() % 128);  // RGBE holds these exactly once one channel is 128 or more
      } else if constexpr (std::is_same_v<C, half>) {
        c = half(static_cast<float>(random() % 2048) / 64.0f);
      } else {
        c = static_cast<C>(random());
      }
    }
    if constexpr (std::is_same_v<typename P::Component, float>) p.c[random() % 3] += 128.0f;
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

struct RoundTrip {
  const char* name;
  std::function<std::shared_ptr<ImageHandlerImpl>()> writer;
  const char* extension;
  std::string magic;   // how the saved file begins
  int32_t memoryType;  // saveToMemory gives the file's bytes; -1: it does not serve
  std::function<std::shared_ptr<IImage>()> image;
  bool upsideDown;  // EXR writes the rows as they stand and reverses them when it reads
};

void PrintTo(const RoundTrip& c, std::ostream* os) { *os << c.name; }

std::vector<RoundTrip> roundTrips() {
  const std::string tga("\0\0\x0A", 3);
  return {
      {"ExrRgba16F", writer<ImageHandlerEXR>, "exr", "\x76\x2F\x31\x01", EXR, [] { return picture<PixelRGBA16F>(FormatRGBA16F); }, true},
      {"HdrRgb32F", writer<ImageHandlerHDR>, "hdr", "#?RGBE\n", -1, [] { return picture<PixelRGB32F>(FormatRGB32F); }, false},
      {"PngRgb8", writer<ImageHandlerSTBI>, "png", "\x89PNG", PNG, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"PngRgba8", writer<ImageHandlerSTBI>, "png", "\x89PNG", PNG, [] { return picture<PixelRGBA8>(FormatRGBA8); }, false},
      {"PngL8", writer<ImageHandlerSTBI>, "PNG", "\x89PNG", PNG, [] { return picture<PixelL8>(FormatL8); }, false},
      {"PngLA8", writer<ImageHandlerSTBI>, "png", "\x89PNG", PNG, [] { return picture<PixelLA8>(FormatLA8); }, false},
      {"BmpRgb8", writer<ImageHandlerSTBI>, "bmp", "BM", -1, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"TgaRgb8", writer<ImageHandlerSTBI>, "tga", tga, -1, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"TgaRgba8", writer<ImageHandlerSTBI>, "tga", tga, -1, [] { return picture<PixelRGBA8>(FormatRGBA8); }, false},
  };
}

class HandlerRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(HandlerRoundTrip, LoadsWhatItSaved) {
  const RoundTrip& c = GetParam();
  const auto original = c.image();
  const auto expected = c.image();
  if (c.upsideDown) expected->flip(edit::Vertical);
  TempDir dir;
  const std::string path = dir.File(std::string("picture.") + c.extension);
  c.writer()->save(path, original.get());
  const std::string file = ReadFile(path);
  EXPECT_EQ(file.substr(0, c.magic.size()), c.magic);
  const auto loaded = createFromPath(path, kHandlerOptionsDefault)->load();
  EXPECT_EQ(loaded->format(), expected->format());
  EXPECT_EQ(loaded->width(), expected->width());
  EXPECT_EQ(loaded->height(), expected->height());
  EXPECT_EQ(loaded->pixelCount(), expected->pixelCount());
  EXPECT_TRUE(loaded->equals(*expected));
  if (c.memoryType < 0) return;
  Bytes buffer(file.size());  // exactly the room it needs
  const uint32_t length = c.writer()->saveToMemory(buffer.data(), static_cast<int32_t>(buffer.size()), original.get(), c.memoryType);
  EXPECT_EQ(toString(Bytes(buffer.begin(), buffer.begin() + length)), file);
}

INSTANTIATE_TEST_SUITE_P(Formats, HandlerRoundTrip, testing::ValuesIn(roundTrips()), caseName<RoundTrip>);

struct SaveCase {
  const char* name;
  std::function<std::shared_ptr<ImageHandlerImpl>()> handler;
  std::shared_ptr<IImage> image;
  const char* file;  // saved under this name in a fresh folder; nullptr: saveToMemory
  int32_t type;
  int32_t size;
  const char* expected;  // "" nothing thrown and nothing written
};

void PrintTo(const SaveCase& c, std::ostream* os) { *os << c.name; }

std::vector<SaveCase> saveCases() {
  const auto rgb8 = makeImage<PixelRGB8>(Bytes(12).data(), 2, 2, FormatRGB8);
  const auto rgb16 = makeImage<PixelRGB16>(Bytes(24).data(), 2, 2, FormatRGB16);
  const auto rgba8 = makeImage<PixelRGBA8>(Bytes(16).data(), 2, 2, FormatRGBA8);
  const auto floats = makeImage<PixelRGB32F>(std::vector<PixelRGB32F>(4), 2, 2, FormatRGB32F);
  const auto fewFloats = makeImage<PixelRGB32F>(std::vector<PixelRGB32F>(3), 2, 2, FormatRGB32F);
  const auto halves = makeImage<PixelRGBA16F>(std::vector<PixelRGBA16F>(4), 2, 2, FormatRGBA16F);
  const auto fewHalves = makeImage<PixelRGBA16F>(std::vector<PixelRGBA16F>(3), 2, 2, FormatRGBA16F);
  const auto blocks = makeImage<PixelDXT1>(Bytes(8).data(), 4, 4, FormatDXT1);
  const auto hdr = writer<ImageHandlerHDR>;
  const auto stbi = writer<ImageHandlerSTBI>;
  const auto exr = writer<ImageHandlerEXR>;
  const auto nbn = writer<ImageHandlerNBN>;
  const char* small = "6: Insuffient memory allocated to write to memory";
  const char* onlyHalves = "3: Only 16-bits RGBA half-float data support for EXR export";
  return {
      {"HdrShorts", hdr, rgb16, "a.hdr", 0, 0, "4: Unsupported format"},
      {"HdrFewerPixels", hdr, fewFloats, "a.hdr", 0, 0, "3: Unexpected data size"},
      {"HdrMissingFolder", hdr, floats, "missing/a.hdr", 0, 0, "2: Could not open file for writing"},
      {"HdrNoImage", hdr, nullptr, "a.hdr", 0, 0, ""},
      {"HdrMemoryOtherType", hdr, floats, nullptr, EXR, 100, "4: Unsupported format"},
      {"HdrMemoryNoImage", hdr, nullptr, nullptr, EXR, 100, ""},
      {"HdrMemoryNegativeSize", hdr, floats, nullptr, HDR, -1, "2: Could not open file for writing"},
      {"StbiJpeg", stbi, rgb8, "x.jpg", 0, 0, "4: Unsupported format"},
      {"StbiMissingFolder", stbi, rgb8, "missing/x.bmp", 0, 0, "2: Failed to export PNG"},
      {"StbiBlocks", stbi, blocks, "x.png", 0, 0, "4: Unsupported format"},
      {"StbiNoImage", stbi, nullptr, "x.tga", 0, 0, ""},
      {"StbiMemoryJpeg", stbi, rgb8, nullptr, JPEG, 4096, "4: Unsupported format"},
      {"StbiMemoryTooSmall", stbi, rgb8, nullptr, PNG, 10, small},
      {"StbiMemoryNoImage", stbi, nullptr, nullptr, JPEG, 4096, ""},
      {"ExrEightBit", exr, rgba8, "x.exr", 0, 0, onlyHalves},
      {"ExrMissingFolder", exr, halves, "missing/x.exr", 0, 0, "2: "},
      {"ExrMemoryNoImage", exr, nullptr, nullptr, PNG, 4096, ""},
      {"ExrMemoryOtherType", exr, halves, nullptr, PNG, 4096, "4: Unsupported format"},
      {"ExrMemoryTypeBeforeFormat", exr, rgba8, nullptr, PNG, 4096, "4: Unsupported format"},
      {"ExrMemoryEightBit", exr, rgba8, nullptr, EXR, 4096, onlyHalves},
      {"ExrMemoryFewerPixels", exr, fewHalves, nullptr, EXR, 4096, "3: Unexpected data size"},
      {"ExrMemoryTooSmall", exr, halves, nullptr, EXR, 100, small},
      {"ExrMemoryNegativeSize", exr, halves, nullptr, EXR, -1, small},
      {"Nbn", nbn, rgb8, "x.nbn", 0, 0, "3: Unimplemented"},
      {"NbnMemory", nbn, rgb8, nullptr, 0, 100, "3: Unimplemented"},
      {"Dds", writer<ImageHandlerDDS>, rgb8, "x.dds", 0, 0, ""},
      {"DdsMemory", writer<ImageHandlerDDS>, rgb8, nullptr, 0, 100, "3: Unimplemented"},
  };
}

class SaveRefusal : public testing::TestWithParam<SaveCase> {};

TEST_P(SaveRefusal, GivesItsCodeAndMessage) {
  const SaveCase& c = GetParam();
  TempDir dir;
  Bytes buffer(static_cast<size_t>(std::max(c.size, 0)));
  uint32_t written = 0;
  const std::string failure = failureOf([&] {
    if (c.file) c.handler()->save(dir.File(c.file), c.image.get());
    else written = c.handler()->saveToMemory(buffer.data(), c.size, c.image.get(), c.type);
  });
  EXPECT_EQ(startOf(failure, c.expected), c.expected);
  if (*c.expected) return;
  EXPECT_EQ(written, 0u);
  EXPECT_FALSE(c.file && std::filesystem::exists(dir.File(c.file)));
}

INSTANTIATE_TEST_SUITE_P(Writers, SaveRefusal, testing::ValuesIn(saveCases()), caseName<SaveCase>);

TEST(ExrMemStreams, ReadStopsAtTheEndOfTheBlock) {
  const char block[6] = {1, 2, 3, 4, 5, 6};
  MemIStream in(block, sizeof(block));
  char out[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_TRUE(in.read(out, 4) && in.read(out, 2));  // the last bytes of the block
  EXPECT_EQ(out[1], 6);
  EXPECT_EQ(in.tellg(), 6u);
  EXPECT_THROW(in.read(out, 1), Iex::InputExc);
  in.seekg(3);
  EXPECT_THROW(in.read(out, 4), Iex::InputExc);
  EXPECT_EQ(out[0], 0);  // a failed read leaves zeros, never leftovers
  EXPECT_EQ(in.tellg(), 3u);
  in.seekg(~uint64_t{0});
  EXPECT_THROW(in.read(out, 2), Iex::InputExc);
}

}  // namespace
