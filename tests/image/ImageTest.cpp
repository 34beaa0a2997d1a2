// The image model: format words, pixel arithmetic, the image classes and the data sources.

#include "image/image/Image.h"
#include "image/source/ImageDataSourceMem.h"
#include "image/source/ImageDataSourceView.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

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
      {128 | 1024 | 15, 4, 4, "first size bit wins"}, {1024 | 15, 4, 16, "four-byte components"}, {39, 3, 0, "no size bit"},
      {160 | 7 | 65536, 3, 6, "bit 16 adds a byte per component"},
      {128 | kExtra, 3, 3, "second rule, bit 24 clear"},
      {128 | kExtra | 65536, 3, 3, "bit 16 no longer counts"},
      {128 | kExtra | 16777216, 3, 0, "bit 24 without bit 25"},
      {256 | kExtra | 16777216 | 33554432, 3, 4, "bits 24 and 25, bit 3 clear: 2 * c"},
      {256 | 8 | kExtra | 16777216 | 33554432, 4, 6, "bits 24 and 25, bit 3 set: 3 * c"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(std::pair(formatChannels(c.word), formatPixelSize(c.word)), std::pair(c.channels, c.bytes)) << c.why;
  }
}

TEST(ImageFormat, ImageSizeCountsBlocksAndWrapsAt32Bits) {
  struct Case { int width; int height; ImageFormat word; uint64_t bytes; };
  const Case cases[] = {
      {5, 3, FormatDXT1, 16}, {5, 5, FormatDXT3, 64}, {1, 4, FormatDXT1, 8}, {0, 4, FormatDXT1, 0}, {-3, 4, FormatDXT1, 0},
      {64, 64, 274447, 0}, {64, 64, FormatRGBA8 | 262144, 0}, {3, 2, FormatRGB32F, 72}, {65537, 65536, FormatRGBA8, 262144},
      {65536, 16384, FormatRGB8, 3221225472u}, {-1, 1, FormatRGBA8, 4294967292u},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(formatImageSize(c.width, c.height, c.word), c.bytes) << c.width << "x" << c.height << " " << c.word;
  }
}

TEST(ImagePixel, ProductsTruncateOrRoundSumsWrapAndNanEqualsAll) {
  EXPECT_EQ((PixelL8{{255}} * 0.75).c[0], 191);  // 191.25 truncated
  EXPECT_EQ((PixelL8{{200}} * 2.0).c[0], 144);   // 400 keeps its low byte
  EXPECT_EQ((PixelL8{{5}} * -1.0).c[0], 251);    // so does -5
  EXPECT_EQ((PixelDXT1{{1ull << 63}} * 1.0).c[0], 1ull << 63);
  EXPECT_EQ((PixelL8{{7}} * std::numeric_limits<double>::quiet_NaN()).c[0], 0);
  // Truncation would give the half just below 1.
  EXPECT_EQ(float((PixelRGBA16F{{half(1.0f), half(0.0f), half(0.0f), half(0.0f)}} * 0.99999).c[0]), 1.0f);
  EXPECT_EQ((PixelL8{{200}} + PixelL8{{100}}).c[0], 44);
  // 2049 is no half: it rounds to the even neighbour.
  const PixelRGBA16F a{{half(1.0f), half(0.5f), half(0.0f), half(0.0f)}};
  const PixelRGBA16F b{{half(2048.0f), half(0.25f), half(0.0f), half(0.0f)}};
  EXPECT_EQ(a + b, (PixelRGBA16F{{half(2048.0f), half(0.75f), half(0.0f), half(0.0f)}}));
  // NaN compares equal to anything, in halves as in floats (see Image.Equals).
  EXPECT_EQ((PixelRGBA16F{{std::numeric_limits<half>::quiet_NaN(), half(0.5f), half(0.0f), half(0.0f)}}), a);
}

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
}

TEST(Image, Equals) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const auto floats = [](std::vector<PixelRGB32F> pixels) {
    const auto width = static_cast<unsigned>(pixels.size());
    return std::shared_ptr<IImage>(makeImage(std::move(pixels), width, 1, FormatRGB32F));
  };
  const auto bytes = patternBytes(16);
  const std::shared_ptr<IImage> rgba = makeImage<PixelRGBA8>(bytes.data(), 2, 2, FormatRGBA8);
  auto withChild = floats({{{1, 2, 3}}});
  withChild->children.push_back(makeImage<PixelL8>(bytes.data(), 1, 1, FormatL8));

  struct Case { std::shared_ptr<IImage> a, b; bool equal; const char* why; };
  const Case cases[] = {
      {floats({{{1, 2, 3}}}), rgba, false, "other pixel type"},
      {floats({{{1, 2, 3}}, {{4, 5, 6}}}), floats({{{1, 2, 3}}, {{4, nan, 6}}}), true, "NaN matches"},
      {floats({{{1, 2, 3}}}), floats({{{1, 2, 4}}}), false, "a channel differs"},
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


// Hashes worked out by hand from FNV-1a and the combine step, in the order width, height,
// auxExtent, tag, format, data address, dataSize, primary count, secondary count.
constexpr uint32_t kAllZeroHash = 1310911293;  // every value 0

// A procedural source with width 1, height 2, auxExtent 3, tag 4 and format 5: fields no
// public setter reaches.
struct OneToFive : ImageDataSourceProcedural {
  OneToFive() {
    width_ = 1;
    height_ = 2;
    auxExtent_ = 3;
    tag_ = 4;
    format_ = 5;
  }
};

TEST(ImageDataSource, HashTakesTheFieldsInOrder) {
  ImageDataSourceMem fresh, withFresh, withNull;
  EXPECT_EQ(fresh.getHash(), 0u);
  fresh.updateHash();
  withFresh.addSecondaryChild(std::make_shared<ImageDataSourceMem>());
  withNull.addSecondaryChild(nullptr);
  // A fresh secondary child counts with kAllZeroHash, a null one with hash 0.
  EXPECT_EQ(std::vector({fresh.getHash(), OneToFive().computeHash(), withFresh.computeHash(), withNull.computeHash()}),
            std::vector<uint32_t>({kAllZeroHash, 409030055, 375264325, 2563121837}));
}

TEST(ImageDataSource, HashSeesTheAddressAndTheCountOfPrimariesOnly) {
  ImageDataSourceMem a, b, c, d;
  a.allocate(2, 2, FormatRGBA8);
  b.allocate(2, 2, FormatRGBA8);
  EXPECT_NE(a.computeHash(), b.computeHash()) << "equal bytes at different addresses";

  auto large = std::make_shared<ImageDataSourceMem>();
  large->describe(64, 64, FormatRGBA8);
  c.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  d.addPrimaryChild(large);
  EXPECT_EQ(c.computeHash(), d.computeHash());
}

TEST(ImageDataSource, AllocateDescribeResetAndClear) {
  ImageDataSourceMem source;
  source.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  source.addSecondaryChild(std::make_shared<ImageDataSourceMem>());
  unsigned char* blocks = source.allocate(4, 4, FormatDXT1);
  ASSERT_NE(blocks, nullptr);
  EXPECT_EQ(std::vector(blocks, blocks + source.dataSize()), std::vector<unsigned char>(8, 0));
  EXPECT_EQ(source.primaryChildCount() + source.secondaryChildCount(), 0) << "allocate clears the children";

  struct Case { unsigned width, height; ImageFormat word; };
  for (const Case& c : {Case{0, 16, FormatRGBA8}, Case{16, 0, FormatRGBA8}, Case{16, 16, 274447}, Case{16, 16, 39}}) {
    EXPECT_EQ(source.allocate(c.width, c.height, c.word), nullptr) << c.word;
    EXPECT_EQ(std::pair(source.data(), source.format()), std::pair(blocks, FormatDXT1))
        << "a refused allocation keeps the old contents";
  }

  source.describe(5, 6, FormatL8);
  EXPECT_EQ(source.data(), nullptr);
  source.addPrimaryChild(std::make_shared<ImageDataSourceMem>());
  unsigned char* bytes = source.reset(3, 2, FormatRGB8);
  EXPECT_EQ(std::pair(source.data(), std::vector(bytes, bytes + source.dataSize())),
            std::pair(bytes, std::vector<unsigned char>(18, 0)));
  EXPECT_EQ(source.primaryChildCount(), 1) << "reset keeps the children";
  source.clear();
  EXPECT_EQ(source.computeHash(), kAllZeroHash);
}

TEST(ImageDataSource, ViewSharesTheParentsBytesWhileItLives) {
  auto parent = std::make_shared<ImageDataSourceMem>();
  parent->allocate(4, 4, FormatRGBA8);
  ImageDataSourceView view(parent);
  EXPECT_EQ(view.data(), parent->data());
  EXPECT_EQ(view.dataSize(), 0u) << "a view takes no size from its parent";
  EXPECT_EQ(parent.use_count(), 1) << "a view does not keep its parent";
  parent.reset();
  EXPECT_EQ(view.data(), nullptr);
  EXPECT_EQ(view.computeHash(), kAllZeroHash);
}

}  // namespace
