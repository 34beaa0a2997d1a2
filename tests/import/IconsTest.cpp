// Icons: the printed geometry and where the picture and its alpha lie on the canvas.

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

using IconsTest = ImportDbTest;
constexpr Rgb kAlphaHalf{127, 127, 127};

// A red picture with alpha whose left half is opaque and whose right half has `opacity`
// (Magick's sense: 0 opaque, MaxRGB transparent).
Magick::Image HalfTransparent(int width, int height, int opacity = TransparentOpacity) {
  Magick::Image image(Magick::Geometry(width, height), Magick::Color("red"));
  image.matte(true);
  image.modifyImage();
  for (int y = 0; y < height; ++y) {
    for (int x = width / 2; x < width; ++x) image.pixelColor(x, y, Magick::Color(MaxRGB, 0, 0, opacity));
  }
  return image;
}

struct Probe {
  int x, y;
  Rgb colour;
};

enum Kind { Plain, Dual, Large };

TEST_F(IconsTest, IconsPlaceThePicture) {
  // Pictures are red on top and blue below; the icon shows them turned, so blue on top.
  // Dual pictures are red with a half transparent right half: the colour half shows it
  // red, its alpha half gray. Large icons keep low pictures at their size, whatever their
  // width, and the aspect of others, on a white canvas.
  const struct {
    Magick::Image picture;
    int boxWidth, boxHeight;
    Kind kind;
    std::string printed;  // the icon's size is the box's, handed back
    std::vector<Probe> probes;
  } cases[] = {
      {TwoBands(100, 100, "red", "blue"), 64, 64, Plain, "scale to 64x64\n=> save to image (0,0,64,64) to icon (64, 64)\n",
       {{32, 10, kBlue}, {32, 54, kRed}}},
      {TwoBands(200, 100, "red", "blue"), 64, 64, Plain, "scale to 64x32\n=> save to image (0,16,64,32) to icon (64, 64)\n",
       {{32, 8, kIconGray}, {32, 20, kBlue}, {32, 43, kRed}, {32, 56, kIconGray}}},
      {TwoBands(100, 200, "red", "blue"), 64, 64, Plain, "scale to 32x64\n=> save to image (16,0,32,64) to icon (64, 64)\n",
       {{8, 10, kIconGray}, {32, 10, kBlue}, {32, 54, kRed}, {56, 54, kIconGray}}},
      // A landscape picture fitted by height.
      {TwoBands(100, 90, "red", "blue"), 153, 115, Plain,
       "scale to 128x115\n=> save to image (12,0,128,115) to icon (153, 115)\n",
       {{5, 50, kIconGray}, {76, 20, kBlue}, {76, 100, kRed}, {147, 50, kIconGray}}},
      {HalfTransparent(100, 100, 128), 64, 64, Dual,
       "scale to 32x32\n=> save to image (16,0,32,32) to icon (64, 64)\n"
       "+> add alpha layer to image (16,32,32,32) to icon (64, 64)\n",
       {{8, 16, kIconGray}, {16, 0, kRed}, {20, 16, kRed}, {44, 16, kRed}, {56, 16, kIconGray},
        {20, 48, kWhite}, {44, 48, kAlphaHalf}, {56, 48, kIconGray}}},
      {HalfTransparent(400, 100, 128), 64, 64, Dual,
       "scale to 64x16\n=> save to image (0,7,64,16) to icon (64, 64)\n"
       "+> add alpha layer to image (0,39,64,16) to icon (64, 64)\n",
       {{10, 3, kIconGray}, {10, 15, kRed}, {50, 15, kRed}, {10, 30, kIconGray},
        {10, 46, kWhite}, {50, 46, kAlphaHalf}, {10, 60, kIconGray}}},
      {HalfTransparent(100, 400, 128), 64, 64, Dual,
       "scale to 16x64\n=> save to image (7,0,16,64) to icon (64, 64)\n"
       "+> add alpha layer to image (39,0,16,64) to icon (64, 64)\n",
       {{3, 30, kIconGray}, {9, 30, kRed}, {20, 30, kRed}, {30, 30, kIconGray},
        {41, 30, kWhite}, {52, 30, kAlphaHalf}, {60, 30, kIconGray}}},
      // Fitted by height, a landscape picture keeps its alpha below.
      {HalfTransparent(100, 90, 128), 153, 115, Dual,
       "scale to 76x69\n=> save to image (0,23,76,69) to icon (153, 115)\n"
       "+> add alpha layer to image (0,80,76,69) to icon (153, 115)\n",
       {{10, 10, kIconGray}, {10, 50, kRed}, {100, 50, kIconGray}, {10, 100, kWhite}, {60, 100, kAlphaHalf}}},
      {TwoBands(640, 360, "red", "blue"), 640, 360, Large, "=> save to image (0,0,640,360) to icon (640, 360)\n",
       {{2, 2, kBlue}, {2, 357, kRed}}},
      {TwoBands(2000, 100, "red", "blue"), 640, 360, Large, "=> save to image (0,0,2000,100) to icon (2000, 100)\n",
       {{2, 2, kBlue}, {2, 97, kRed}}},
      {TwoBands(1000, 720, "red", "blue"), 640, 360, Large,
       "scale to 640x360\n=> save to image (0,0,500,360) to icon (640, 360)\n",
       {{2, 2, kBlue}, {2, 357, kRed}, {600, 100, kWhite}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.printed);
    TestImporter importer;
    importer.dual = importer.alpha = c.kind == Dual;
    const Magick::Image before = c.picture;
    Magick::Geometry size(c.boxWidth, c.boxHeight);
    Magick::Image icon;
    EXPECT_EQ(Printed([&] {
                EXPECT_TRUE(c.kind == Large ? importer.makeIconLarge(c.picture, size, icon)
                                            : importer.makeIcon(c.picture, size, icon));
              }),
              c.printed);
    const std::string printedSize = std::to_string(icon.columns()) + ", " + std::to_string(icon.rows());
    EXPECT_NE(c.printed.find("to icon (" + printedSize + ")"), std::string::npos) << printedSize;
    EXPECT_EQ(size.width() * 10000 + size.height(), icon.columns() * 10000 + icon.rows());
    for (const Probe& p : c.probes) EXPECT_EQ(PixelAt(icon, p.x, p.y), p.colour) << "at " << p.x << "," << p.y;
    EXPECT_EQ(PixelAt(c.picture, 1, 1), PixelAt(before, 1, 1)) << "the source is untouched";
  }
}

TEST_F(IconsTest, AlphaHandling) {
  const struct {
    unsigned int format;
    bool alpha, large;
    Rgb opaqueSide, transparentSide;
  } cases[] = {
      {6408, false, false, kRed, kRed},         // alpha ignored
      {6408, true, false, kRed, kIconGray},     // alpha kept shows the canvas
      {6406, false, false, kWhite, kBlack},     // an alpha-only picture shows its alpha,
      {6406, false, true, kBlack, kWhite},      // inverse in the large icon
      {6408, false, true, kRed, kRed},
  };
  for (const auto& c : cases) {
    TestImporter importer;
    importer.glFormat = c.format;
    importer.alpha = c.alpha;
    Magick::Image icon;
    Magick::Geometry size(64, 64);
    Printed([&] { c.large ? importer.makeIconLarge(HalfTransparent(64, 64), size, icon)
                          : importer.makeIcon(HalfTransparent(64, 64), size, icon); });
    EXPECT_EQ(PixelAt(icon, 10, 32), c.opaqueSide) << c.format << c.alpha;
    EXPECT_EQ(PixelAt(icon, 54, 32), c.transparentSide) << c.format << c.alpha;
  }
}

}  // namespace
}  // namespace nox::test
