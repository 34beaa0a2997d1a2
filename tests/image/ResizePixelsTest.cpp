#include "image/edit/ResizePixels.h"

#include <Imath/half.h>
#include <gtest/gtest.h>
#include <stb_image_resize.h>

#include <cstdint>
#include <vector>

namespace {

using namespace nox::image;

// Fills w x h pixels with one repeated pixel value.
template <class E>
std::vector<E> constant(unsigned w, unsigned h, const std::vector<E>& pixel) {
  std::vector<E> out;
  for (unsigned i = 0; i < w * h; ++i) out.insert(out.end(), pixel.begin(), pixel.end());
  return out;
}

// Resizes a constant picture and expects every output component within `tolerance` of the
// input; the output starts as a sentinel, so a wrong element size or channel count shows.
template <class E>
void expectConstantSurvives(ImageFormat word, const std::vector<E>& pixel, E sentinel, float tolerance = 0) {
  const auto input = constant(5, 3, pixel);
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

TEST(ImageResizePixels, EachAxisChoosesItsFilterByItsScale) {
  // 100x100 to 50x200: Mitchell across (scale 0.5), Catmull-Rom down (scale 2).
  std::vector<unsigned char> input(100 * 100 * 3);
  for (size_t i = 0; i < input.size(); ++i) input[i] = static_cast<unsigned char>((i * 37) ^ (i >> 5));
  std::vector<unsigned char> ours(50 * 200 * 3), expected(50 * 200 * 3);
  resizePixels(ours.data(), 50, 200, input.data(), 100, 100, FormatRGB8);
  ASSERT_TRUE(stbir_resize(input.data(), 100, 100, 0, expected.data(), 50, 200, 0, STBIR_TYPE_UINT8, 3,
                           STBIR_ALPHA_CHANNEL_NONE, 0, STBIR_EDGE_CLAMP, STBIR_EDGE_CLAMP, STBIR_FILTER_MITCHELL,
                           STBIR_FILTER_CATMULLROM, STBIR_COLORSPACE_LINEAR, nullptr));
  EXPECT_EQ(ours, expected);
}

}  // namespace
