// noxdb on stored images: compress in place, the details info shows, and exports that other
// programs open (PNG, and .dds with its level count).

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

using ImageToolTest = ImportDbTest;

TEST_F(ImageToolTest, CompressesInPlaceAndExportsWhatViewersOpen) {
  // Red on top, blue below, 64 by 32: an export that is upside down shows.
  TwoBands(64, 32, "red", "blue").write(dir_.File("pic.png"));
  ASSERT_FALSE(ImportPicture(dir_.File("pic.png")).IsNull());
  session_.reset();
  const auto run = [this](const std::string& args) { return Noxdb(NOXDB_PATH, args); };
  EXPECT_NE(run("info pic").out.find("compressed: none"), std::string::npos);
  EXPECT_EQ(run("compress pic --dxt5 --mipmaps").status, 0);
  const ToolRun info = run("info pic");
  for (const char* part : {"layout:     GL_RGB (6407), 64x32", "compressed: DXT5", "level  6      1x1"}) {
    EXPECT_NE(info.out.find(part), std::string::npos) << part << "\n" << info.out;
  }
  const ToolRun again = run("compress pic --dxt1");
  EXPECT_TRUE(again.status == 1 && again.err.find("compressed already") != std::string::npos) << again.err;

  // Read back by an independent reader, Pillow (Debian's python3-pil): upright, as are the PNGs.
  for (const char* unit : {"MMLevel.00", "IconLarge", "Data", "Original"}) {
    const std::string file = dir_.File(unit) + (unit[0] == 'M' ? ".dds" : ".png");
    ASSERT_EQ(run(std::string("export pic ") + unit + " " + file).status, 0) << unit;
    const ToolRun viewer = RunCommand("/usr/bin/python3 -c \"from PIL import Image; im = Image.open('" + file +
                                          "').convert('RGB'); print(im.size, im.getpixel((5, 2)), im.getpixel((5, 30)))\"",
                                      dir_);
    EXPECT_EQ(viewer.out, "(64, 32) (255, 0, 0) (0, 0, 255)\n") << unit << viewer.err;
  }
  // The level count and the codec's name in the header.
  const std::string dds = ReadFile(dir_.File("MMLevel.00.dds"));
  EXPECT_EQ(dds.substr(28, 4) + dds.substr(84, 4), std::string("\7\0\0\0DXT5", 8));
  EXPECT_EQ(run("export pic Nothing " + dir_.File("x.png")).status, 1);
}

}  // namespace
}  // namespace nox::test
