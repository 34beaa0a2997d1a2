#include "image/edit/ImageEdit.h"
#include "image/image/PixelTypes.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using namespace nox::image;
using namespace nox::image::edit;

using Gray = ImageData<PixelL16>;

Gray gray(unsigned width, unsigned height, std::vector<unsigned short> values) {
  Gray image;
  for (unsigned short v : values) image.pixels.push_back(PixelL16{{v}});
  image.width = width;
  image.height = height;
  image.format = FormatL16;
  return image;
}

Gray counting(unsigned width, unsigned height) {
  std::vector<unsigned short> values(width * height);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<unsigned short>(i);
  return gray(width, height, values);
}

std::vector<unsigned short> values(const Gray& image) {
  std::vector<unsigned short> out;
  for (const auto& p : image.pixels) out.push_back(p.c[0]);
  return out;
}

TEST(ImageEditTranspose, MatchesTheDefinitionForManyShapes) {
  // Among them 2x3 with pixels 0..5 becomes 3x2 with rows 0 2 4 and 1 3 5.
  const unsigned shapes[][2] = {{1, 5}, {2, 3}, {13, 17}};
  for (const auto& shape : shapes) {
    const unsigned w = shape[0], h = shape[1];
    Gray image = counting(w, h);
    transpose(image);
    ASSERT_EQ(image.width, h);
    ASSERT_EQ(image.height, w);
    for (unsigned r = 0; r < w; ++r) {
      for (unsigned c = 0; c < h; ++c) {
        ASSERT_EQ(image.pixels[r * h + c].c[0], c * w + r) << w << "x" << h << " at " << r << "," << c;
      }
    }
  }
}

TEST(ImageEditRotateAndFlip, TurnClockwiseAndMirrorStoredRows) {
  // A B as a 2x1 image; 0 1 2 / 3 4 5 as a 3x2 image, first row on top. Unknown values of
  // the turn act as 90 degrees, of the flip as no flip.
  struct Case { unsigned width, height; int rotation, direction; unsigned outWidth; std::vector<unsigned short> out; };
  const Case cases[] = {
      {2, 1, Clockwise90, -1, 1, {0, 1}},     {2, 1, Clockwise270, -1, 1, {1, 0}},
      {2, 1, Clockwise180, -1, 2, {1, 0}},    {3, 2, Clockwise90, -1, 2, {3, 0, 4, 1, 5, 2}},
      {3, 2, Clockwise270, -1, 2, {2, 5, 1, 4, 0, 3}}, {3, 2, 7, -1, 2, {3, 0, 4, 1, 5, 2}},
      {3, 2, -1, Horizontal, 3, {2, 1, 0, 5, 4, 3}},   {2, 4, -1, Vertical, 2, {6, 7, 4, 5, 2, 3, 0, 1}},
      {3, 2, -1, 5, 3, {0, 1, 2, 3, 4, 5}},
  };
  for (const auto& c : cases) {
    Gray image = counting(c.width, c.height);
    if (c.rotation >= 0) rotate(static_cast<Rotation>(c.rotation), image);
    else flip(static_cast<Direction>(c.direction), image);
    const auto what = ::testing::Message() << c.width << "x" << c.height << " " << c.rotation << "/" << c.direction;
    EXPECT_EQ(image.width, c.outWidth) << what;
    EXPECT_EQ(image.height, c.out.size() / c.outWidth) << what;
    EXPECT_EQ(values(image), c.out) << what;
  }
}

TEST(ImageEditResize, SamplesAtXOverWidthNotAtPixelCentres) {
  ImageData<PixelRGB32F> image;
  image.pixels = {{{0, 0, 0}}, {{1, -1, 0}}, {{2, -2, 0}}, {{3, -3, 0}}};
  image.width = image.height = 2;
  resize(4, 4, image);
  ASSERT_EQ(image.pixels.size(), 16u);
  for (unsigned y = 0; y < 4; ++y) {
    for (unsigned x = 0; x < 4; ++x) {
      // sx = x / 4 and sy = y / 4 of the source span: the last column is sampled at 0.75.
      const float expected = x / 4.0f + 2 * (y / 4.0f);
      EXPECT_EQ(image.pixels[y * 4 + x], (PixelRGB32F{{expected, -expected, 0}})) << x << "," << y;
    }
  }
  // Neighbours beyond the storage read as zero: with weight 0 an infinite pixel stays
  // infinite, where a clamped read would give inf * 0 = NaN.
  const float inf = std::numeric_limits<float>::infinity();
  image.pixels = {{{inf, 1, 2}}};
  image.width = image.height = 1;
  resize(2, 2, image);
  for (const auto& p : image.pixels) EXPECT_EQ(p.c[0], inf);
}

TEST(ImageEditResize, TruncatingArithmeticAndEdges) {
  struct Case { unsigned width, height; std::vector<unsigned short> in; unsigned outWidth, outHeight;
                std::vector<unsigned short> out; const char* why; };
  const Case cases[] = {
      {2, 1, {255, 255}, 4, 1, {255, 254, 254, 254}, "constant 255 loses one where weights are fractional"},
      {1, 2, {10, 200}, 1, 4, {10, 57, 105, 152}, "one column: the right neighbour has weight 0"},
      {4, 1, {0, 100, 200, 250}, 2, 1, {0, 150}, "shrinking samples at x / width of the span"},
      {3, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9}, 0, 5, {}, "zero width empties the pixels"},
  };
  for (const auto& c : cases) {
    Gray image = gray(c.width, c.height, c.in);
    resize(c.outWidth, c.outHeight, image);
    EXPECT_EQ(values(image), c.out) << c.why;
    EXPECT_EQ(image.width, c.outWidth) << c.why;
    EXPECT_EQ(image.height, c.outHeight) << c.why;
  }
}

}  // namespace
