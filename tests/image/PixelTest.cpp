#include "image/image/PixelTypes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace nox::image;

static_assert(sizeof(PixelRGB8) == 3 && sizeof(PixelRGB16) == 6 && sizeof(PixelRGBA16F) == 8);
static_assert(sizeof(PixelRGB32F) == 12 && sizeof(PixelDXT1) == 8 && sizeof(PixelDXT3DXT5) == 16);

TEST(ImagePixel, ProductTruncatesTowardZeroAndKeepsTheLowBits) {
  struct Case { unsigned char in; double s; unsigned char out; };
  const Case cases[] = {
      {255, 0.75, 191},  // 191.25
      {255, 0.25, 63},   // 63.75
      {255, 0.5, 127},   // 127.5
      {200, 2.0, 144},   // 400 keeps its low byte
      {5, -1.0, 251},    // -5 keeps its low byte
  };
  for (const auto& c : cases) EXPECT_EQ((PixelL8{{c.in}} * c.s).c[0], c.out) << int(c.in) << " * " << c.s;

  EXPECT_EQ((PixelL16{{40000}} * 2.0).c[0], 14464);
  EXPECT_EQ((PixelDXT1{{1ull << 63}} * 1.0).c[0], 1ull << 63);
  EXPECT_EQ((PixelL8{{7}} * std::numeric_limits<double>::quiet_NaN()).c[0], 0);
}

TEST(ImagePixel, FloatProductsRound) {
  EXPECT_EQ((PixelRGB32F{{1.5f, -2.0f, 0.0f}} * 2.0).c[1], -4.0f);
  // Truncation would give the half just below 1.
  EXPECT_EQ(float((PixelRGBA16F{{half(1.0f), half(0.0f), half(0.0f), half(0.0f)}} * 0.99999).c[0]), 1.0f);
}

TEST(ImagePixel, SumsWrapOrRoundInTheComponentType) {
  EXPECT_EQ((PixelL8{{200}} + PixelL8{{100}}).c[0], 44);
  EXPECT_EQ((PixelL16{{65535}} + PixelL16{{2}}).c[0], 1);
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
  EXPECT_NE(PixelL16{{1}}, PixelL16{{2}});
  EXPECT_EQ((PixelRGB8{{1, 2, 3}}), (PixelRGB8{{1, 2, 3}}));
}

}  // namespace
