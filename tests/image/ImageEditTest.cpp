// The edits of image/edit: typed turns, flips and resizes, their raw counterparts on bytes,
// and the filtered resize of pixel buffers.

#include "image/edit/ImageEdit.h"
#include "image/edit/RawEdit.h"
#include "image/edit/ResizePixels.h"
#include "image/image/PixelTypes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace nox::image;
using namespace nox::image::edit;

using Gray = ImageData<PixelL16>;

Gray gray(unsigned width, unsigned height, std::vector<unsigned short> values) {
  Gray image{{}, width, height, FormatL16};
  for (unsigned short v : values) image.pixels.push_back(PixelL16{{v}});
  return image;
}

template <class T>
std::vector<T> counting(size_t count) {
  std::vector<T> values(count);
  std::iota(values.begin(), values.end(), T{0});
  return values;
}

std::vector<unsigned short> values(const Gray& image) {
  std::vector<unsigned short> out;
  for (const auto& p : image.pixels) out.push_back(p.c[0]);
  return out;
}

TEST(ImageEditTranspose, MatchesTheDefinitionOnALargerShape) {
  Gray image = gray(13, 17, counting<unsigned short>(13 * 17));
  transpose(image);
  std::vector<unsigned short> expected;
  for (unsigned i = 0; i < 13 * 17; ++i) expected.push_back(static_cast<unsigned short>(i % 17 * 13 + i / 17));
  EXPECT_EQ(std::pair(image.width, values(image)), std::pair(17u, expected));
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
    Gray image = gray(c.width, c.height, counting<unsigned short>(c.width * c.height));
    if (c.edit == 'R') rotate(static_cast<Rotation>(c.value), image);
    if (c.edit == 'F') flip(static_cast<Direction>(c.value), image);
    if (c.edit == 'T') transpose(image);
    EXPECT_EQ(std::tuple(image.width, image.height, values(image)), std::tuple(c.outWidth, c.out.size() / c.outWidth, c.out))
        << c.width << "x" << c.height << " " << c.edit << c.value;
  }
}

TEST(ImageEdit, TouchesNothingBeyondTheStorage) {
  // Pixels the vector lacks are left out of the swaps.
  Gray image = gray(3, 2, {5, 6, 7, 8});
  flip(Horizontal, image);
  EXPECT_EQ(values(image), (std::vector<unsigned short>{7, 6, 5, 8}));
  image = gray(2, 3, {5, 6, 7, 8});
  flip(Vertical, image);
  EXPECT_EQ(values(image), (std::vector<unsigned short>{5, 6, 7, 8}));
  // Neighbours beyond the storage read as zero: with weight 0 an infinite pixel stays
  // infinite, where a clamped read would give inf * 0 = NaN.
  const float inf = std::numeric_limits<float>::infinity();
  ImageData<PixelRGB32F> floats{{{{inf, 1, 2}}}, 1, 1, FormatRGB32F};
  resize(2, 2, floats);
  for (const auto& p : floats.pixels) EXPECT_EQ(p.c[0], inf);
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
    EXPECT_EQ(std::tuple(values(image), image.width, image.height), std::tuple(c.out, c.outWidth, c.outHeight)) << c.why;
  }
}

using Bytes = std::vector<unsigned char>;

// Runs `call` and returns the text of the runtime_error it raises, or "" if none.
template <class Call>
std::string failureOf(Call call) {
  try { call(); } catch (const std::runtime_error& e) { return e.what(); }
  return "";
}

// The raw turn of a buffer must match the typed turn of the same bytes as pixels of P.
template <class P>
void expectRawRotateMatchesTyped(ImageFormat word) {
  const Bytes bytes = counting<unsigned char>(3 * 2 * sizeof(P));
  for (Rotation rotation : {Clockwise90, Clockwise180, Clockwise270}) {
    ImageData<P> typed{std::vector<P>(6), 3, 2, word};
    std::memcpy(typed.pixels.data(), bytes.data(), bytes.size());
    rotate(rotation, typed);
    Bytes raw = bytes;
    rotateRaw(raw.data(), 3, 2, word, rotation);
    EXPECT_EQ(std::memcmp(raw.data(), typed.pixels.data(), raw.size()), 0) << word << " by " << rotation;
  }
}

TEST(ImageRawEdit, RotateMatchesTheTypedTurnForEachComponentType) {
  expectRawRotateMatchesTyped<PixelRGB8>(FormatRGB8);
  expectRawRotateMatchesTyped<PixelRGB32F>(FormatRGB32F);
  expectRawRotateMatchesTyped<PixelRGBA16F>(FormatRGBA16F);
  Bytes raw = counting<unsigned char>(3 * 2 * 3);
  rotateRaw(raw.data(), 3, 2, FormatRGB8, static_cast<Rotation>(7));
  EXPECT_EQ(raw, counting<unsigned char>(3 * 2 * 3)) << "an unknown turn leaves the buffer";
}

TEST(ImageRawEdit, FlipsChooseTheirComponentType) {
  struct Case { void (*flip)(unsigned char*, unsigned, unsigned, ImageFormat); ImageFormat word; unsigned width, height;
                Bytes out; const char* why; };
  const Case cases[] = {
      // Bit 8 without bit 11 is read as bytes: only the first half is mirrored, as byte groups.
      {flipRawHorizontal, FormatRGB16, 2, 1, {3, 4, 5, 0, 1, 2, 6, 7, 8, 9, 10, 11}, "16-bit taken as bytes"},
      {flipRawHorizontal, FormatRGB32F, 2, 1,
       {12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, "floats"},
      {flipRawHorizontal, FormatRGBA16F, 2, 1, {8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7}, "halves"},
      {flipRawVertical, FormatL8, 2, 3, {4, 5, 2, 3, 0, 1}, "odd height keeps the middle row"},
  };
  for (const auto& c : cases) {
    Bytes raw = counting<unsigned char>(c.out.size());
    c.flip(raw.data(), c.width, c.height, c.word);
    EXPECT_EQ(raw, c.out) << c.why;
  }
}

TEST(ImageRawEdit, ElementsBeyondTheBufferRaiseDataOverflow) {
  // 3x2 single bytes need 6; with 5 the first row is mirrored before the second fails.
  Bytes odd = counting<unsigned char>(5);
  EXPECT_EQ(failureOf([&] { mirrorRows<unsigned char>(odd, 3, 2, 1); }), "data overflow");
  EXPECT_EQ(odd, (Bytes{2, 1, 0, 3, 4}));
  EXPECT_NE(elementAt<unsigned short>(odd, 1), nullptr);
  EXPECT_EQ(failureOf([&] { elementAt<unsigned short>(odd, 2); }), "data overflow");  // would end past the buffer
  EXPECT_EQ(failureOf([&] { transposeBuffer<unsigned char>(odd, 3, 2, 1); }), "data overflow");
  EXPECT_EQ(failureOf([&] { rotateBuffer<unsigned short>(odd, 2, 2, 1, Clockwise180); }), "data overflow");
  // Float components of one byte each: the word's size is a quarter of what float elements
  // need. A raw edit that fails leaves the pixels.
  constexpr ImageFormat kByteFloats = 2048 | 128 | 15;
  Bytes raw = counting<unsigned char>(16);
  EXPECT_EQ(failureOf([&] { flipRawVertical(raw.data(), 2, 2, kByteFloats); }), "data overflow");
  EXPECT_EQ(failureOf([&] { rotateRaw(raw.data(), 2, 2, kByteFloats, Clockwise90); }), "data overflow");
  EXPECT_EQ(raw, counting<unsigned char>(16));
}

// Resizes a constant picture and expects every output component within `tolerance` of the
// input; the output starts as a sentinel, so a wrong element size or channel count shows.
template <class E>
void expectConstantSurvives(ImageFormat word, const std::vector<E>& pixel, E sentinel, float tolerance = 0) {
  std::vector<E> input;
  for (int i = 0; i < 5 * 3; ++i) input.insert(input.end(), pixel.begin(), pixel.end());
  std::vector<E> output(7 * 6 * pixel.size(), sentinel);
  resizePixels(output.data(), 7, 6, input.data(), 5, 3, word);
  for (size_t i = 0; i < output.size(); ++i) {
    ASSERT_NEAR(float(output[i]), float(pixel[i % pixel.size()]), tolerance) << word << " at " << i;
  }
}

TEST(ImageResizePixels, EachComponentPathKeepsAConstantPicture) {
  expectConstantSurvives<unsigned char>(FormatRGB8, {10, 128, 250}, 0);
  expectConstantSurvives<unsigned char>(FormatL8, {77}, 0);
  // Alpha is filtered like colour; 0 alpha must not zero the colour.
  expectConstantSurvives<uint16_t>(FormatRGBA16, {1000, 20000, 40000, 0}, 7);
  expectConstantSurvives<float>(FormatRGB32F, {0.25f, -3.0f, 1000.0f}, 9.0f, 1e-3f);
  expectConstantSurvives<half>(FormatRGBA16F, {half(0.5f), half(-2.0f), half(1000.0f), half(0.0f)}, half(9.0f));
}

}  // namespace
