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

TEST(ImageEditTranspose, MatchesTheDefinitionOnALargerShape) {
  Gray image = counting(13, 17);
  transpose(image);
  ASSERT_EQ(image.width, 17u);
  for (unsigned r = 0; r < 13; ++r) {
    for (unsigned c = 0; c < 17; ++c) ASSERT_EQ(image.pixels[r * 17 + c].c[0], c * 13 + r) << r << "," << c;
  }
}

TEST(ImageEditRotateFlipAndTranspose, TurnClockwiseAndMirrorStoredRows) {
  // A B as a 2x1 image; 0 1 2 / 3 4 5 as a 3x2 image, first row on top. Unknown values of
  // the turn act as 90 degrees, of the flip as no flip.
  struct Case { unsigned width, height; char edit; int value; unsigned outWidth; std::vector<unsigned short> out; };
  const Case cases[] = {
      {2, 1, 'R', Clockwise90, 1, {0, 1}},     {2, 1, 'R', Clockwise270, 1, {1, 0}},
      {2, 1, 'R', Clockwise180, 2, {1, 0}},    {3, 2, 'R', Clockwise90, 2, {3, 0, 4, 1, 5, 2}},
      {3, 2, 'R', Clockwise270, 2, {2, 5, 1, 4, 0, 3}}, {3, 2, 'R', 7, 2, {3, 0, 4, 1, 5, 2}},
      {3, 2, 'F', Horizontal, 3, {2, 1, 0, 5, 4, 3}},   {2, 4, 'F', Vertical, 2, {6, 7, 4, 5, 2, 3, 0, 1}},
      {3, 2, 'F', 5, 3, {0, 1, 2, 3, 4, 5}},            {2, 3, 'T', 0, 3, {0, 2, 4, 1, 3, 5}},
      {1, 5, 'T', 0, 5, {0, 1, 2, 3, 4}},
  };
  for (const auto& c : cases) {
    Gray image = counting(c.width, c.height);
    if (c.edit == 'R') rotate(static_cast<Rotation>(c.value), image);
    if (c.edit == 'F') flip(static_cast<Direction>(c.value), image);
    if (c.edit == 'T') transpose(image);
    const auto what = ::testing::Message() << c.width << "x" << c.height << " " << c.edit << c.value;
    EXPECT_EQ(image.width, c.outWidth) << what;
    EXPECT_EQ(image.height, c.out.size() / c.outWidth) << what;
    EXPECT_EQ(values(image), c.out) << what;
  }
}

// Pixels the vector lacks are left out of the swaps.
TEST(ImageEditFlip, TouchesNothingBeyondTheStorage) {
  Gray image = gray(3, 2, {5, 6, 7, 8});
  flip(Horizontal, image);
  EXPECT_EQ(values(image), (std::vector<unsigned short>{7, 6, 5, 8}));
  image = gray(2, 3, {5, 6, 7, 8});
  flip(Vertical, image);
  EXPECT_EQ(values(image), (std::vector<unsigned short>{5, 6, 7, 8}));
}

TEST(ImageEditResize, ReadsNothingBeyondTheStorage) {
  ImageData<PixelRGB32F> image;
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
      {2, 2, {0, 400, 800, 1200}, 4, 4, {0, 100, 200, 300, 200, 300, 400, 500, 400, 500, 600, 700, 600, 700, 800, 900},
       "samples at x / width of the span, not at pixel centres: the last column at 0.75"},
      {2, 1, {255, 255}, 4, 1, {255, 254, 254, 254}, "constant 255 loses one where weights are fractional"},
      {1, 2, {10, 200}, 1, 4, {10, 57, 105, 152}, "one column: the right neighbour has weight 0"},
      {4, 1, {0, 100, 200, 250}, 2, 1, {0, 150}, "shrinking samples at x / width of the span"},
      {2, 3, {0, 10, 20, 30, 40, 50}, 1, 2, {0, 20}, "a lower row starts a whole row further"},
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
