// Every decoder of untrusted bytes, fed one valid file of its format cut at every length and
// with bytes changed at random places: it gives an image or throws its own exception, and
// never anything else. Meant to run under AddressSanitizer as well.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <ostream>
#include <random>

#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerException.h"
#include "image/io/ImageHandlerFactory.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "image/io/Rgbe.h"
#include "image/io/exif/ExifParser.h"
#include "image/io/exif/ExifParserException.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/MemNoxImage.h"
#include "image/io/nbn/NbnLayout.h"
#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaExif.h"
#include "tests/support/MediaFiles.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;
using nox::test::exif::ExifBuilder;

// Runs one decoder on a block; the decoder's own exception is the only one allowed out.
using Decoder = std::function<void(const Bytes&)>;

template <class H>
Decoder handler() {
  return [](const Bytes& b) {
    try {
      H(b.data(), static_cast<int32_t>(b.size()), kHandlerOptionsDefault).load();
    } catch (const ImageHandlerException&) {
    }
  };
}

void throughTheChain(const Bytes& b) {
  try {
    if (auto h = createFromMemory(b.data(), static_cast<int32_t>(b.size()), kHandlerOptionsDefault)) h->load();
  } catch (const ImageHandlerException&) {
  }
}

// The NBN handler, then the container's readers the handler does not use, over an exact-size
// copy so that AddressSanitizer sees any access outside it.
void nbnReaders(const Bytes& b) {
  handler<ImageHandlerNBN>()(b);
  if (b.empty()) return;
  auto copy = std::make_unique<uint8_t[]>(b.size());
  std::copy(b.begin(), b.end(), copy.get());
  CMemNoxImage image;
  image.load_from_memory(copy.get(), static_cast<uint32_t>(b.size()), false);
  image.load_level(nullptr, 1);
  image.load_decoded(nullptr);
}

void exifParser(const Bytes& b) {
  try {
    ExifParser().parse(b.data(), static_cast<uint32_t>(b.size()));
  } catch (const ExifParserException&) {
  }
}

Bytes hdrRunLength() {
  std::vector<float> pixels;
  for (int i = 0; i < 16 * 4; ++i) pixels.insert(pixels.end(), {float(i % 5), 0.5f, float(i / 16)});
  return hdrFile(16, 4, pixels, true);
}

Bytes exifJpeg() {
  ExifBuilder b(true);
  b.main(271, 2, 6, ExifBuilder::ascii("Maker"))
      .orientation(6)
      .exif(33434, 5, 1, b.rationals({{1, 60}}))
      .exif(42034, 5, 4, b.rationals({{18, 1}, {55, 1}, {35, 10}, {56, 10}}))
      .exif(42036, 2, 8, ExifBuilder::ascii("A lens"))
      .gps(1, 2, 2, ExifBuilder::ascii("N"))
      .gps(2, 5, 3, b.rationals({{48, 1}, {30, 1}, {36, 1}}))
      .gps(6, 5, 1, b.rationals({{1234, 10}}));
  return nox::test::exif::spliceAfterSoi(stbEncode(StbKind::Jpg, 16, 8, 3, quadrantPicture(16, 8, 3)), b.segment());
}

struct Sample {
  const char* name;
  Bytes file;
  Decoder decode;
};

void PrintTo(const Sample& c, std::ostream* os) { *os << c.name; }

std::vector<Sample> samples() {
  std::vector<float> rgba(8 * 8 * 4);
  for (size_t i = 0; i < rgba.size(); ++i) rgba[i] = float(i % 17) / 4.0f;
  const Bytes rgb = quadrantPicture(8, 8, 3);
  const Bytes rgba8 = quadrantPicture(8, 8, 4);
  // Pictures of some size, so that most changes land in pixels: a damaged size field lets
  // stb_image decode a huge picture from a few bytes, which is correct but slow.
  const Bytes rgb16 = quadrantPicture(16, 16, 3);
  return {
      {"Exr", exrFile(8, 8, rgba), handler<ImageHandlerEXR>()},
      {"HdrFlat", hdrRunLength(), handler<ImageHandlerHDR>()},
      {"Png", stbEncode(StbKind::Png, 8, 8, 4, rgba8), handler<ImageHandlerSTBI>()},
      {"JpegWithExif", exifJpeg(), handler<ImageHandlerSTBI>()},
      {"Bmp", stbEncode(StbKind::Bmp, 16, 16, 3, rgb16), handler<ImageHandlerSTBI>()},
      {"Tga", stbEncode(StbKind::Tga, 8, 8, 4, rgba8), handler<ImageHandlerSTBI>()},
      {"Psd", psdFile(16, 16, 3, 8, rgb16), handler<ImageHandlerSTBI>()},
      {"NbnRawChain", nbnFile(8, 8, kNbnRgba, kNbnRaw, kNbnMipChain, rgba8), nbnReaders},
      {"NbnDxt5", nbnFile(8, 8, kNbnRgba, kNbnDxt5, 0, rgba8), nbnReaders},
      {"NbnLzDxt1", nbnFile(16, 16, kNbnRgba, kNbnLzDxt1, kNbnMipChain | kNbnFullCopy, {}), nbnReaders},
      {"ExifParser", exifJpeg(), exifParser},
  };
}

class DamagedInput : public testing::TestWithParam<Sample> {};

// A foreign exception escapes the decoder and fails the test through gtest's own handler; a
// buffer overrun is reported by AddressSanitizer.
TEST_P(DamagedInput, TruncatedAtEveryLength) {
  const Sample& s = GetParam();
  ASSERT_GT(s.file.size(), 20u);
  s.decode(s.file);
  for (size_t length = 0; length < s.file.size(); ++length) {
    const Bytes cut(s.file.begin(), s.file.begin() + static_cast<long>(length));
    s.decode(cut);
    throughTheChain(cut);
  }
}

TEST_P(DamagedInput, BytesChangedAtRandom) {
  const Sample& s = GetParam();
  std::mt19937 random(static_cast<unsigned>(s.file.size()));
  for (int trial = 0; trial < 100; ++trial) {
    Bytes damaged = s.file;
    const int changes = 1 + trial % 4;
    for (int i = 0; i < changes; ++i) damaged[random() % damaged.size()] ^= static_cast<uint8_t>(1 + random() % 255);
    s.decode(damaged);
    throughTheChain(damaged);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, DamagedInput, testing::ValuesIn(samples()),
                         [](const auto& info) { return std::string(info.param.name); });

// Files that declare more than they hold: refused from the header, before anything is
// allocated for the picture, with the handler's code and message.
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

struct Refusal {
  const char* name;
  Bytes file;
  std::function<std::string(const Bytes&)> load;
  const char* expected;
};

void PrintTo(const Refusal& c, std::ostream* os) { *os << c.name; }

template <class H>
std::function<std::string(const Bytes&)> loadAs(uint64_t maxPixels = kMaxImagePixels) {
  return [maxPixels](const Bytes& b) {
    return failureOf([&] {
      H handler(b.data(), static_cast<int32_t>(b.size()), kHandlerOptionsDefault);
      handler.setMaxPixels(maxPixels);
      handler.load();
    });
  };
}

std::vector<Refusal> refusals() {
  const std::string hdrHead = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n";
  const Bytes bmp = stbEncode(StbKind::Bmp, 16, 16, 3, quadrantPicture(16, 16, 3));
  const Bytes tga = stbEncode(StbKind::Tga, 16, 16, 4, quadrantPicture(16, 16, 4));
  const Bytes psd = psdFile(16, 16, 3, 8, quadrantPicture(16, 16, 3));
  const Bytes png = stbEncode(StbKind::Png, 8, 8, 3, quadrantPicture(8, 8, 3));
  const Bytes jpg = stbEncode(StbKind::Jpg, 8, 8, 3, quadrantPicture(8, 8, 3));
  const Bytes exr = exrFile(8, 8, std::vector<float>(8 * 8 * 4, 0.5f));
  const size_t sof = find(jpg, "\xFF\xC0") + 5;
  const size_t window = find(exr, "dataWindow") + 29;  // name, type, size, minimum x and y
  const char* incomplete = "3: File is not complete";
  return {
      {"HdrSizeBomb", toBytes(hdrHead + "-Y 16384 +X 16384\n"), loadAs<ImageHandlerHDR>(), incomplete},
      {"HdrAboveTheCap", toBytes(hdrHead + "-Y 32768 +X 16384\n"), loadAs<ImageHandlerHDR>(), "5: Invalid size"},
      {"NbnSizeBomb", nbnOfSize(16000, 16000), loadAs<ImageHandlerNBN>(), "2: File could not be read"},
      {"NbnAboveTheCap", nbnOfSize(20000, 20000), loadAs<ImageHandlerNBN>(), "5: Invalid size"},
      {"BmpSizeBomb", patched(cut(bmp, 54), 18, {0x80, 0x3E, 0, 0, 0x80, 0x3E}), loadAs<ImageHandlerSTBI>(), incomplete},
      {"BmpCutTo40", cut(bmp, 40), loadAs<ImageHandlerSTBI>(), incomplete},
      {"BmpCutTo200", cut(bmp, 200), loadAs<ImageHandlerSTBI>(), incomplete},
      {"TgaCutTo40", cut(tga, 40), loadAs<ImageHandlerSTBI>(), incomplete},
      {"TgaCutTo200", cut(tga, 200), loadAs<ImageHandlerSTBI>(), incomplete},
      {"PsdCutTo40", cut(psd, 40), loadAs<ImageHandlerSTBI>(), incomplete},
      {"PsdCutTo200", cut(psd, 200), loadAs<ImageHandlerSTBI>(), incomplete},
      {"PngSizeBomb", patched(png, 16, {0, 0, 0x3E, 0x80, 0, 0, 0x3E, 0x80}), loadAs<ImageHandlerSTBI>(), incomplete},
      {"JpegSizeBomb", patched(jpg, sof, {0x3E, 0x80, 0x3E, 0x80}), loadAs<ImageHandlerSTBI>(), incomplete},
      {"ExrSizeBomb", patched(exr, window, {0x7F, 0x3E, 0, 0, 0x7F, 0x3E, 0, 0}), loadAs<ImageHandlerEXR>(), incomplete},
      {"BelowTheCallersLimit", png, loadAs<ImageHandlerSTBI>(63), "5: Invalid size"},
  };
}

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, BeforeDecoding) { EXPECT_EQ(GetParam().load(GetParam().file), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(Files, Refused, testing::ValuesIn(refusals()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
