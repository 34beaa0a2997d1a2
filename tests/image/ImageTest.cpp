#include "image/image/Image.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace {

using namespace nox::image;

std::vector<unsigned char> patternBytes(size_t count) {
  std::vector<unsigned char> bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 1);
  return bytes;
}

TEST(Image, ByteConstructorCopiesWholePixelsOnly) {
  const auto bytes = patternBytes(16);
  // A 2x2 RGBA8 word gives 16 bytes: two whole 6-byte pixels, the rest is left out.
  const auto wide = makeImage<PixelRGB16>(bytes.data(), 2, 2, FormatRGBA8);
  EXPECT_EQ(wide->pixelCount(), 2);
  EXPECT_EQ(std::memcmp(wide->data(), bytes.data(), 12), 0);
  // DXT words count blocks: 8x4 pixels are two DXT1 blocks.
  EXPECT_EQ(makeImage<PixelDXT1>(bytes.data(), 8, 4, FormatDXT1)->pixelCount(), 2);
}

TEST(Image, Equals) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const auto floats = [](std::vector<PixelRGB32F> pixels) {
    const auto width = static_cast<unsigned>(pixels.size());
    return std::shared_ptr<IImage>(makeImage(std::move(pixels), width, 1, FormatRGB32F));
  };
  const auto bytes = patternBytes(16);
  const std::shared_ptr<IImage> rgba = makeImage<PixelRGBA8>(bytes.data(), 2, 2, FormatRGBA8);
  const std::shared_ptr<IImage> child = makeImage<PixelL8>(bytes.data(), 1, 1, FormatL8);
  auto withChild = floats({{{1, 2, 3}}});
  withChild->children.push_back(child);

  struct Case { std::shared_ptr<IImage> a, b; bool equal; const char* why; };
  const Case cases[] = {
      {floats({{{1, 2, 3}}}), rgba, false, "other pixel type"},
      {floats({{{1, 2, 3}}, {{4, 5, 6}}}), floats({{{1, 2, 3}}, {{4, nan, 6}}}), true, "NaN matches"},
      {floats({{{1, 2, 3}}}), floats({{{1, 2, 3}}, {{9, 9, 9}}}), true, "only this image's pixels count"},
      {floats({{{1, 2, 3}}, {{9, 9, 9}}}), floats({{{1, 2, 3}}}), false, "pixels the other lacks"},
      {withChild, floats({{{1, 2, 3}}}), false, "children differ"},
      {floats({{{1, 2, 3}}}), withChild, true, "only this image's children count"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.a->equals(*c.b), c.equal) << c.why;
}

TEST(Image, EditsSkipTheDxtWordsOnly) {
  const auto bytes = patternBytes(32);
  const std::shared_ptr<IImage> images[] = {makeImage<PixelDXT1>(bytes.data(), 8, 4, FormatDXT1),
                                            makeImage<PixelDXT3DXT5>(bytes.data(), 8, 4, FormatDXT3),
                                            makeImage<PixelDXT3DXT5>(bytes.data(), 8, 4, FormatDXT5)};
  for (const auto& image : images) {
    image->resize(16, 16);
    image->rotate(nox::image::edit::Clockwise90);
    image->flip(nox::image::edit::Horizontal);
    image->transpose();
    EXPECT_EQ(image->width(), 8u) << image->format();
    EXPECT_EQ(image->pixelCount(), 2) << image->format();
    EXPECT_EQ(std::memcmp(image->data(), bytes.data(), formatImageSize(8, 4, image->format())), 0) << image->format();
  }
  // 274447 looks like a DXT word but is none: its size is 0 and its edits run.
  const auto excluded = makeImage<PixelDXT3DXT5>(nullptr, 8, 4, 274447);
  EXPECT_EQ(excluded->pixelCount(), 0);
  excluded->resize(2, 3);
  EXPECT_EQ(excluded->pixelCount(), 6);
}

}  // namespace
