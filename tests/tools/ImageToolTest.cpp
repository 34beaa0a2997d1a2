// noxdb on stored images: compress in place, the details info shows, and exports that other
// programs open (PNG, and .dds with its level count).

#include <cstring>

#include "import/ImageImporter.h"
#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

class ImageToolTest : public ImportDbTest {
 protected:
  void SetUp() override {
    ImportDbTest::SetUp();
    // Red on top, blue below, 64 by 32: an export that is upside down shows.
    const std::string file = dir_.File("pic.png");
    TwoBands(64, 32, "red", "blue").write(file);
    CImageImporter importer(*session_, 0, 0);
    CUUID id;
    Printed([&] { ASSERT_TRUE(importer.Import(file.c_str(), false, nullptr, CUUID(), &id)); });
    session_.reset();
  }
  ToolRun Run(const std::string& args) const { return Noxdb(NOXDB_PATH, args); }
};

bool IsRed(const Magick::Image& image, int x, int y) { return PixelAt(image, x, y).r > 200 && PixelAt(image, x, y).b < 60; }

TEST_F(ImageToolTest, CompressesInPlaceAndExportsWhatViewersOpen) {
  EXPECT_NE(Run("info pic").out.find("compressed: none"), std::string::npos);
  EXPECT_EQ(Run("compress pic --dxt5 --mipmaps").status, 0);
  const ToolRun info = Run("info pic");
  for (const char* part : {"layout:     GL_RGB (6407), 64x32", "compressed: DXT5", "level  6      1x1"}) {
    EXPECT_NE(info.out.find(part), std::string::npos) << part << "\n" << info.out;
  }
  const ToolRun again = Run("compress pic --dxt1");
  EXPECT_EQ(again.status, 1);
  EXPECT_NE(again.err.find("compressed already"), std::string::npos);

  const std::string dds = dir_.File("pic.dds");
  ASSERT_EQ(Run("export pic MMLevel.00 " + dds).status, 0);
  const std::string bytes = ReadFile(dds);
  ASSERT_GE(bytes.size(), 128u);
  uint32_t levels = 0;
  std::memcpy(&levels, bytes.data() + 28, 4);
  EXPECT_EQ(levels, 7u);
  EXPECT_EQ(bytes.substr(84, 4), "DXT5");
  // Read back by an independent reader: Pillow's DDS plugin (Debian's python3-pil).
  const ToolRun viewer = RunCommand(
      "/usr/bin/python3 -c \"from PIL import Image; im = Image.open('" + dds +
          "').convert('RGB'); print(im.size, im.getpixel((5, 2)), im.getpixel((5, 30)))\"",
      dir_);
  EXPECT_EQ(viewer.out, "(64, 32) (255, 0, 0) (0, 0, 255)\n") << viewer.err;  // upright

  for (const char* unit : {"IconLarge", "Data", "Original"}) {
    const std::string png = dir_.File(std::string(unit) + ".png");
    ASSERT_EQ(Run(std::string("export pic ") + unit + " " + png).status, 0) << unit;
    const Magick::Image exported(png);
    EXPECT_EQ(exported.columns(), 64u) << unit;
    EXPECT_TRUE(IsRed(exported, 5, 2)) << unit;
    EXPECT_FALSE(IsRed(exported, 5, 30)) << unit;
  }
  EXPECT_EQ(Run("export pic Nothing " + dir_.File("x.png")).status, 1);
}

}  // namespace
}  // namespace nox::test
