// The picture operations of CNoxImage, checked against values worked out by hand.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>

#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using nox::test::nbn::Bytes;

Bytes plain(const CNoxImage& image) {
  if (!image.pixels()) return {};
  return Bytes(image.pixels(), image.pixels() + size_t(image.width()) * image.height() * image.bytes_per_pixel());
}

Bytes ramp(int size) {
  Bytes out(size);
  for (int i = 0; i < size; ++i) out[i] = uint8_t(i);
  return out;
}

enum Op { Half, ScaleTo, Fit, Convert, Expand, SetPixel };

// Runs an operation with its arguments. Halving goes into a buffer with room to spare,
// which must stay untouched, and makes the result the picture.
bool run(CNoxImage& image, Op op, const std::array<int, 3>& a) {
  switch (op) {
    case Half: {
      const int width = std::max(image.width() / 2, 1);
      const int height = std::max(image.height() / 2, 1);
      const Bytes source = plain(image);
      Bytes out(size_t(width) * height * image.bytes_per_pixel() + 8, 0xEE);
      const bool ok = image.scale_by_half(image.width(), image.height(), source.data(), out.data());
      EXPECT_EQ(Bytes(out.end() - 8, out.end()), Bytes(8, 0xEE));
      image.set_geometry(width, height, image.picture_format());
      std::memcpy(image.pixels(), out.data(), out.size() - 8);
      return ok;
    }
    case ScaleTo:
      return image.scale_to(a[0], a[1]);
    case Fit:
      return image.fit_to_multiple(a[0], unsigned(a[1]));
    case Convert:
      return image.convert_to_rgba(unsigned(a[0]));
    case Expand:
      // Once: the transparent index clear, the palette gone.
      image.set_transparent_index(a[0]);
      return image.expand_palette() && !image.has_palette() && image.transparent_index() == -1 &&
             !image.expand_palette();
    case SetPixel:
      return image.set_pixel(a[0], a[1], uint32_t(a[2])) && !image.set_pixel(image.width(), 0, 0) &&
             !image.set_pixel(0, image.height(), 0);
  }
  return false;
}

// A picture operation and what the picture holds afterwards: its size and its leading bytes.
// Pictures of palette indices have a palette whose entry 9 is zero.
TEST(NbnPicture, OperationsGiveWhatWasWorkedOut) {
  const struct {
    int width, height, format;
    Bytes source;
    Op op;
    std::array<int, 3> args;
    bool ok;
    int newWidth, newHeight;
    Bytes lead;
  } cases[] = {
      // The truncated mean of each 2x2 square, a single row or column serving twice.
      {2, 2, kNbnRgba, {0, 1, 2, 3, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 4}, Half, {}, true, 1, 1, {1, 1, 2, 2}},
      {3, 3, kNbnLuminance, {4, 8, 99, 12, 16, 99, 99, 99, 99}, Half, {}, true, 1, 1, {10}},
      {4, 1, kNbnLuminance, {10, 21, 30, 40}, Half, {}, true, 2, 1, {15, 35}},
      {1, 4, kNbnLuminance, {8, 16, 30, 2}, Half, {}, true, 1, 2, {12, 16}},
      // Palette indices by vote: 4 a pixel, 1 for an empty palette entry; the first of equals.
      {2, 2, kNbnIndexed, {1, 2, 2, 3}, Half, {}, true, 1, 1, {2}},
      {2, 2, kNbnIndexed, {1, 1, 2, 2}, Half, {}, true, 1, 1, {1}},
      {2, 2, kNbnIndexed, {9, 9, 5, 6}, Half, {}, true, 1, 1, {5}},
      {2, 2, kNbnIndexed, {5, 9, 9, 9}, Half, {}, true, 1, 1, {5}},
      // Box filter in 8.8: cells of 1.5 pixels give (256 * 0 + 128 * 90) / 384 and so on.
      {3, 1, kNbnLuminance, {0, 90, 255}, ScaleTo, {2, 1}, true, 2, 1, {30, 200}},
      {5, 1, kNbnLuminance, {0, 30, 60, 90, 120}, ScaleTo, {3, 1}, true, 3, 1, {11, 59, 107}},
      {2, 1, kNbnLuminance, {0, 200}, ScaleTo, {4, 1}, true, 4, 1, {0, 0, 200, 200}},
      {4, 1, kNbnLuminanceAlpha, {0, 10, 2, 20, 4, 30, 6, 41}, ScaleTo, {2, 1}, true, 2, 1, {1, 15, 5, 35}},
      {1, 4, kNbnRgb, {0, 0, 0, 30, 60, 90, 90, 90, 90, 3, 6, 9}, ScaleTo, {1, 2}, true, 1, 2, {15, 30, 45, 46, 48}},
      // The sign of each vote alternates from pixel to pixel: a majority of 2 loses to 3.
      {4, 1, kNbnIndexed, {1, 2, 2, 3}, ScaleTo, {1, 1}, true, 1, 1, {3}},
      // Fitting to what saving needs; the leading pixel tells where the picture was cut.
      {8, 8, kNbnLuminance, ramp(64), Fit, {kNbnDxt1, 0}, true, 8, 8, {0}},
      {10, 9, kNbnLuminance, ramp(90), Fit, {kNbnDxt1, kNbnFitCrop}, true, 8, 8, {1}},
      {10, 9, kNbnLuminance, ramp(90), Fit, {kNbnDxt5, kNbnFitScale}, true, 12, 12, {0}},
      {10, 9, kNbnLuminance, ramp(90), Fit, {kNbnDxt1, 0}, false, 10, 9, {0}},
      {10, 10, kNbnLuminance, ramp(100), Fit, {kNbnRaw, kNbnMipChain}, true, 10, 10, {0}},
      {11, 10, kNbnLuminance, ramp(110), Fit, {kNbnDxt5, kNbnMipChain | kNbnFitCrop}, true, 8, 8, {12}},
      // Four channels from fewer: grey to all four, grey and alpha, colour with 255 or its mean.
      {2, 1, kNbnLuminance, {7, 9}, Convert, {0}, true, 2, 1, {7, 7, 7, 7, 9, 9, 9, 9}},
      {2, 1, kNbnLuminanceAlpha, {7, 100, 9, 50}, Convert, {0}, true, 2, 1, {7, 7, 7, 100, 9, 9, 9, 50}},
      {2, 1, kNbnRgb, {30, 60, 91, 1, 2, 3}, Convert, {0}, true, 2, 1, {30, 60, 91, 255, 1, 2, 3, 255}},
      {2, 1, kNbnRgb, {30, 60, 91, 1, 2, 3}, Convert, {kNbnAlphaFromColour}, true, 2, 1, {30, 60, 91, 60, 1, 2, 3, 2}},
      {2, 1, kNbnRgba, {1, 2, 3, 4, 5, 6, 7, 8}, Convert, {0}, true, 2, 1, {1, 2, 3, 4, 5, 6, 7, 8}},
      {2, 1, kNbnIndexed, {1, 2}, Convert, {0}, false, 2, 1, {}},
      // Palette colours with the transparent index clear.
      {2, 1, kNbnIndexed, {3, 7}, Expand, {7}, true, 2, 1, {3, 0, 0x10, 255, 7, 0, 0x10, 0}},
      // The low bytes of a word, highest first; none outside the picture.
      {2, 2, kNbnRgba, {}, SetPixel, {0, 1, 0x11223344}, true, 2, 2, {0, 0, 0, 0, 0, 0, 0, 0, 17, 34, 51, 68}},
      {2, 2, kNbnRgb, {}, SetPixel, {0, 1, 0x11223344}, true, 2, 2, {0, 0, 0, 0, 0, 0, 34, 51, 68}},
      {2, 2, kNbnLuminanceAlpha, {}, SetPixel, {0, 1, 0x11223344}, true, 2, 2, {0, 0, 0, 0, 51, 68}},
      {2, 2, kNbnLuminance, {}, SetPixel, {0, 1, 0x11223344}, true, 2, 2, {0, 0, 68}}};
  uint32_t palette[kNbnPaletteEntries];
  for (uint32_t i = 0; i < kNbnPaletteEntries; ++i) palette[i] = i == 9 ? 0 : 0x00100000u + i;
  int row = 0;
  for (const auto& c : cases) {
    CNoxImage image;
    ASSERT_TRUE(image.set_geometry(c.width, c.height, c.format));
    std::copy(c.source.begin(), c.source.end(), image.pixels());
    if (c.format == kNbnIndexed) image.set_palette(palette);
    EXPECT_EQ(run(image, c.op, c.args), c.ok) << "row " << row;
    const Bytes got = plain(image);
    EXPECT_EQ(std::make_tuple(image.width(), image.height(),
                              Bytes(got.begin(), got.begin() + std::min(got.size(), c.lead.size()))),
              std::make_tuple(c.newWidth, c.newHeight, c.lead))
        << "row " << row++;
  }
}

TEST(NbnPicture, CropMovesTheBounds) {
  CNoxImage image;
  image.set_geometry(10, 10, kNbnLuminance);
  const Bytes pixels = ramp(100);
  std::copy(pixels.begin(), pixels.end(), image.pixels());
  image.set_geo_block(1, 0.0, 10.0, 0.0, 20.0);
  EXPECT_FALSE(image.crop(0, 0, 11, 5) || image.crop(0, 0, 5, 11));
  ASSERT_TRUE(image.crop(2, 3, 6, 8));
  EXPECT_EQ(std::make_tuple(image.width(), image.height(), image.pixels()[0], image.pixels()[19]),
            std::make_tuple(4, 5, uint8_t{32}, uint8_t{75}));
  EXPECT_EQ(std::vector<double>(image.geo_bounds(), image.geo_bounds() + 4), (std::vector<double>{2, 6, 6, 16}));
}

TEST(NbnPicture, ScaleByHalfRefusesPicturesWithoutPixelBytes) {
  CNoxImage image;
  image.set_geometry(2, 2, kNbnNoPixels);
  uint8_t bytes[4] = {};
  testing::internal::CaptureStdout();
  EXPECT_FALSE(image.scale_by_half(2, 2, bytes, bytes));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "PICTURE::scale_by_half: Illegal number of components: 0\n");
}

}  // namespace
