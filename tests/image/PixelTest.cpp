#include "image/image/PixelTypes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace nox::image;

static_assert(sizeof(PixelRGB8) == 3 && sizeof(PixelRGB16) == 6 && sizeof(PixelRGBA16F) == 8);
static_assert(sizeof(PixelRGB32F) == 12 && sizeof(PixelDXT1) == 8 && sizeof(PixelDXT3DXT5) == 16);

TEST(ImagePixel, ProductsTruncateOrRoundAndSumsWrapInTheComponentType) {
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
  EXPECT_EQ(float((a + b).c[0]), 2048.0f);
  EXPECT_EQ(float((a + b).c[1]), 0.75f);
}

TEST(ImagePixel, NanComparesEqualToAnything) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ((PixelRGB32F{{nan, 1, 2}}), (PixelRGB32F{{5, 1, 2}}));
  EXPECT_NE((PixelRGB32F{{1, 1, 2}}), (PixelRGB32F{{1, 1, 3}}));
  const half hnan = std::numeric_limits<half>::quiet_NaN();
  EXPECT_EQ((PixelRGBA16F{{hnan, half(0.0f), half(0.0f), half(0.0f)}}),
            (PixelRGBA16F{{half(3.0f), half(0.0f), half(0.0f), half(0.0f)}}));
}

}  // namespace
