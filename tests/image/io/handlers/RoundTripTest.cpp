// Every handler that can write: save, load again, and compare pixels and format words.

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <random>

#include "image/io/ImageFileType.h"
#include "image/io/ImageHandlerEXR.h"
#include "image/io/ImageHandlerFactory.h"
#include "image/io/ImageHandlerHDR.h"
#include "image/io/ImageHandlerSTBI.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::io;

constexpr unsigned kWidth = 13;  // odd, so that a row padding or stride mistake shows
constexpr unsigned kHeight = 7;

// A picture of pixel type P whose values are all different and survive the format exactly.
template <class P>
std::shared_ptr<IImage> picture(ImageFormat word) {
  std::mt19937 random(word);
  std::vector<P> pixels(kWidth * kHeight);
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

struct RoundTrip {
  const char* name;
  std::function<std::shared_ptr<ImageHandlerImpl>()> writer;
  const char* extension;
  std::string magic;   // how the saved file begins
  int32_t memoryType;  // -1: saveToMemory gives nothing back to load
  std::function<std::shared_ptr<IImage>()> image;
  bool upsideDown;  // EXR writes the rows as they stand and reverses them when it reads
};

void PrintTo(const RoundTrip& c, std::ostream* os) { *os << c.name; }

template <class H>
std::function<std::shared_ptr<ImageHandlerImpl>()> writer() {
  return [] { return std::make_shared<H>(nullptr, 0, kHandlerOptionsDefault); };
}

std::vector<RoundTrip> roundTrips() {
  return {
      {"ExrRgba16F", writer<ImageHandlerEXR>(), "exr", "\x76\x2F\x31\x01", EXR, [] { return picture<PixelRGBA16F>(FormatRGBA16F); }, true},
      {"HdrRgb32F", writer<ImageHandlerHDR>(), "hdr", "#?RGBE\n", -1, [] { return picture<PixelRGB32F>(FormatRGB32F); }, false},
      {"PngRgb8", writer<ImageHandlerSTBI>(), "png", "\x89PNG", PNG, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"PngRgba8", writer<ImageHandlerSTBI>(), "png", "\x89PNG", PNG, [] { return picture<PixelRGBA8>(FormatRGBA8); }, false},
      {"PngL8", writer<ImageHandlerSTBI>(), "PNG", "\x89PNG", PNG, [] { return picture<PixelL8>(FormatL8); }, false},
      {"PngLA8", writer<ImageHandlerSTBI>(), "png", "\x89PNG", PNG, [] { return picture<PixelLA8>(FormatLA8); }, false},
      {"BmpRgb8", writer<ImageHandlerSTBI>(), "bmp", "BM", -1, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"TgaRgb8", writer<ImageHandlerSTBI>(), "tga", std::string("\0\0\x0A", 3), -1, [] { return picture<PixelRGB8>(FormatRGB8); }, false},
      {"TgaRgba8", writer<ImageHandlerSTBI>(), "tga", std::string("\0\0\x0A", 3), -1, [] { return picture<PixelRGBA8>(FormatRGBA8); }, false},
  };
}

void expectSame(const IImage& loaded, const IImage& expected) {
  EXPECT_EQ(loaded.format(), expected.format());
  EXPECT_EQ(loaded.width(), expected.width());
  EXPECT_EQ(loaded.height(), expected.height());
  EXPECT_EQ(loaded.pixelCount(), expected.pixelCount());
  EXPECT_TRUE(loaded.equals(expected));
}

class HandlerRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(HandlerRoundTrip, LoadsWhatItSaved) {
  const RoundTrip& c = GetParam();
  const auto original = c.image();
  const auto expected = c.image();
  if (c.upsideDown) expected->flip(edit::Vertical);

  nox::test::TempDir dir;
  const std::string path = dir.File(std::string("picture.") + c.extension);
  c.writer()->save(path, original.get());
  EXPECT_EQ(nox::test::ReadFile(path).substr(0, c.magic.size()), c.magic);
  expectSame(*createFromPath(path, kHandlerOptionsDefault)->load(), *expected);

  if (c.memoryType < 0) return;
  Bytes buffer(64 * 1024);
  const uint32_t length =
      c.writer()->saveToMemory(buffer.data(), static_cast<int32_t>(buffer.size()), original.get(), c.memoryType);
  ASSERT_GT(length, 0u);
  expectSame(*createFromMemory(buffer.data(), static_cast<int32_t>(length), kHandlerOptionsDefault)->load(), *expected);
}

INSTANTIATE_TEST_SUITE_P(Formats, HandlerRoundTrip, testing::ValuesIn(roundTrips()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
