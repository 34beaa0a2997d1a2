#include "image/edit/ImageEdit.h"
#include "image/edit/RawEdit.h"
#include "image/image/PixelTypes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace nox::image;
using namespace nox::image::edit;

using Bytes = std::vector<unsigned char>;

Bytes counting(size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  return bytes;
}

// Runs `call` and returns the text of the runtime_error it raises, or "" if none.
template <class Call>
std::string failureOf(Call call) {
  try { call(); } catch (const std::runtime_error& e) { return e.what(); }
  return "";
}

// The raw turn of a buffer must match the typed turn of the same bytes as pixels of P.
template <class P>
void expectRawRotateMatchesTyped(ImageFormat word) {
  const Bytes bytes = counting(3 * 2 * sizeof(P));
  for (Rotation rotation : {Clockwise90, Clockwise180, Clockwise270}) {
    ImageData<P> typed;
    typed.pixels.resize(6);
    std::memcpy(typed.pixels.data(), bytes.data(), bytes.size());
    typed.width = 3;
    typed.height = 2;
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
  Bytes raw = counting(3 * 2 * 3);
  rotateRaw(raw.data(), 3, 2, FormatRGB8, static_cast<Rotation>(7));
  EXPECT_EQ(raw, counting(3 * 2 * 3)) << "an unknown turn leaves the buffer";
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
    Bytes raw = counting(c.out.size());
    c.flip(raw.data(), c.width, c.height, c.word);
    EXPECT_EQ(raw, c.out) << c.why;
  }
}

TEST(ImageRawEdit, ElementsBeyondTheBufferRaiseDataOverflow) {
  // 3x2 single bytes need 6; with 5 the first row is mirrored before the second fails.
  Bytes short5 = counting(5);
  EXPECT_EQ(failureOf([&] { mirrorRows<unsigned char>(short5, 3, 2, 1); }), "data overflow");
  EXPECT_EQ(short5, (Bytes{2, 1, 0, 3, 4}));

  Bytes odd = counting(5);
  EXPECT_NE(elementAt<unsigned short>(odd, 1), nullptr);
  EXPECT_EQ(failureOf([&] { elementAt<unsigned short>(odd, 2); }), "data overflow");  // would end past the buffer
  EXPECT_EQ(failureOf([&] { transposeBuffer<unsigned char>(odd, 3, 2, 1); }), "data overflow");
  EXPECT_EQ(failureOf([&] { rotateBuffer<unsigned short>(odd, 2, 2, 1, Clockwise180); }), "data overflow");
}

TEST(ImageRawEdit, AFailedEditLeavesThePixels) {
  // Float components of one byte each: the word's size is a quarter of what float elements need.
  constexpr ImageFormat kByteFloats = 2048 | 128 | 15;
  Bytes raw = counting(16);
  EXPECT_EQ(failureOf([&] { flipRawVertical(raw.data(), 2, 2, kByteFloats); }), "data overflow");
  EXPECT_EQ(failureOf([&] { rotateRaw(raw.data(), 2, 2, kByteFloats, Clockwise90); }), "data overflow");
  EXPECT_EQ(raw, counting(16));
}

}  // namespace
