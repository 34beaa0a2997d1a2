// Loading pictures through Magick: turned rows, and the caught exceptions' codes and texts.

#include <cstdlib>
#include <filesystem>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

using LoadImageTest = ImportDbTest;

TEST_F(LoadImageTest, ReadsTurnsOrFailsWithTheTablesText) {
  Magick::Image jpeg = TwoBands(64, 64, "red", "blue");
  jpeg.magick("JPEG");
  Magick::Blob blob;
  jpeg.write(&blob);
  const std::string jpegBytes(static_cast<const char*>(blob.data()), blob.length());
  TwoBands(20, 10, "red", "blue").write(dir_.File("good.png"));
  TwoBands(1, 10, "red", "blue").write(dir_.File("thin.png"));
  const std::string png = ReadFile(dir_.File("good.png"));
  const std::string junk = "this is not a picture of any kind at all";
  std::filesystem::create_directory(dir_.File("folder"));
  // A picture that carries a size of its own is left blank by a failed read, so the caught
  // exception's text stands; one without a size fails as empty.
  const struct {
    const char* file;  // written unless null; "folder" is a folder
    std::string bytes;
    bool sized, flip, ok;
    int code;
    std::string text;  // the start of the error text
    Rgb top = kBlack;  // the colour at the top of a loaded picture
  } cases[] = {
      {"good.png", png, false, true, true, 0, "", kBlue},
      {"thin.png", "", false, true, true, 0, "", kBlue},
      {"good.png", png, false, false, true, 0, "", kRed},
      {"cut.jpg", jpegBytes.substr(0, jpegBytes.size() - 2), false, true, true, 1, "Caught WarningCorruptImage: ", kBlue},
      {"junk.xyz", junk, true, true, false, 4, "Caught ErrorMissingDelegate: "},
      {"junk.xyz", junk, false, true, false, 8, "Invalid image size: \n"},
      {"junk.png", junk, true, true, false, 5, "Caught ErrorCorruptImage: "},
      {"folder", "", true, true, false, 6, "Caught ErrorFileOpen: "},
      {"cut.png", png.substr(0, png.size() - 20), true, true, false, 8, "Caught Error: "},
      {"absent.png", "", true, true, false, 9, "File " + dir_.File("absent.png") + " does not exist\n"},
      {nullptr, "", true, true, false, 9, "File (null) does not exist\n"},
  };
  for (const auto& c : cases) {
    const std::string path = c.file ? dir_.File(c.file) : "";
    SCOPED_TRACE(path);
    if (c.file && !c.bytes.empty()) WriteFile(path, c.bytes);
    Magick::Image image;
    if (c.sized) image.size(Magick::Geometry(5, 5));
    TestImporter importer;
    EXPECT_EQ(importer.loadImage(image, c.file ? path.c_str() : nullptr, c.flip), c.ok);
    EXPECT_EQ(importer.GetLastErrorCode(), c.code);
    EXPECT_EQ(std::string(importer.GetLastError() ? importer.GetLastError() : "").substr(0, c.text.size()), c.text);
    if (c.ok) {
      const Rgb top = PixelAt(image, 0, 1);
      EXPECT_TRUE(std::abs(top.r - c.top.r) < 60 && std::abs(top.b - c.top.b) < 60) << top.r << "," << top.b;
    } else if (c.code == 9) {
      EXPECT_EQ(image.columns(), 5u) << "a missing file is not read";
    }
  }
}

}  // namespace
}  // namespace nox::test
