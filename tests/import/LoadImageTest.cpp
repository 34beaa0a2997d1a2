// Loading pictures through Magick, and the fixed table of caught Magick exceptions.

#include <filesystem>
#include <memory>

#include "import/MagickErrorTable.h"
#include "tests/import/ImportTestSupport.h"

namespace nox::test {
namespace {

using LoadImageTest = MagickTest;

bool StartsWith(const char* text, const std::string& prefix) {
  return text != nullptr && std::string(text).compare(0, prefix.size(), prefix) == 0;
}

TEST_F(LoadImageTest, ReadsAndTurnsThePicture) {
  const std::string path = dir_.File("bands.png");
  TwoBands(20, 10, "red", "blue").write(path);
  for (const bool flip : {true, false}) {
    TestImporter importer;
    Magick::Image image;
    EXPECT_TRUE(importer.loadImage(image, path.c_str(), flip));
    EXPECT_EQ(image.columns() * 100 + image.rows(), 2010u);
    EXPECT_EQ(PixelAt(image, 5, 1), flip ? kBlue : kRed);
    EXPECT_EQ(importer.GetLastError(), nullptr);
  }
}

TEST_F(LoadImageTest, MissingFilesAreNotRead) {
  TestImporter importer;
  Magick::Image image(Magick::Geometry(3, 3), Magick::Color("green"));
  EXPECT_FALSE(importer.loadImage(image, nullptr, true));
  EXPECT_EQ(importer.GetLastErrorCode(), 9);
  EXPECT_STREQ(importer.GetLastError(), "File (null) does not exist\n");
  EXPECT_EQ(image.columns(), 3u);
}

struct LoadCase {
  const char* what;
  std::string file;  // written into the folder; "/" makes a folder
  std::string bytes;
  // The image carries a size of its own: a failed read then leaves a blank picture of that
  // size, so the caught exception's message stands.
  bool sized;
  bool ok;
  int code;
  std::string prefix;
};

TEST_F(LoadImageTest, ReadFailuresAndWarnings) {
  Magick::Image jpeg = TwoBands(64, 64, "red", "blue");
  jpeg.magick("JPEG");
  Magick::Blob blob;
  jpeg.write(&blob);
  const std::string jpegBytes(static_cast<const char*>(blob.data()), blob.length());
  const std::string noEnd = jpegBytes.substr(0, jpegBytes.size() - 2);  // no end marker
  TwoBands(20, 10, "red", "blue").write(dir_.File("good.png"));
  const std::string png = ReadFile(dir_.File("good.png"));
  const std::string junk = "this is not a picture of any kind at all";

  const LoadCase cases[] = {
      {"warning of corruption still loads", "cut.jpg", noEnd, false, true, 1,
       "Caught WarningCorruptImage: "},
      {"unknown format", "junk.xyz", junk, true, false, 4, "Caught ErrorMissingDelegate: "},
      {"unknown format, nothing read", "junk.xyz", junk, false, false, 8, "Invalid image size: \n"},
      {"damaged header", "junk.png", junk, true, false, 5, "Caught ErrorCorruptImage: "},
      {"folder", "folder/", "", true, false, 6, "Caught ErrorFileOpen: "},
      {"error the table does not name", "cut.png", png.substr(0, png.size() - 20), true, false, 8,
       "Caught Error: "},
  };
  for (const LoadCase& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = dir_.File(c.file);
    if (c.file.back() == '/') {
      std::filesystem::create_directory(path);
    } else {
      WriteFile(path, c.bytes);
    }
    Magick::Image image;
    if (c.sized) image.size(Magick::Geometry(5, 5));
    TestImporter importer;
    EXPECT_EQ(importer.loadImage(image, path.c_str(), true), c.ok);
    EXPECT_EQ(importer.GetLastErrorCode(), c.code);
    EXPECT_TRUE(StartsWith(importer.GetLastError(), c.prefix)) << importer.GetLastError();
    if (c.ok) {
      EXPECT_EQ(image.columns(), 64u);
      const Rgb top = PixelAt(image, 32, 2);
      EXPECT_TRUE(top.b > 200 && top.r < 60) << "turned: blue on top";
    }
  }
}

TEST(MagickErrorTable, FirstFittingClauseWins) {
  struct Case {
    std::shared_ptr<Magick::Exception> exception;
    int order, code;
    const char* format;
  };
  using namespace Magick;
  const Case cases[] = {
      {std::make_shared<WarningCorruptImage>("w"), 1, 1, "Caught WarningCorruptImage: %s\n"},
      {std::make_shared<WarningFileOpen>("w"), 2, 2, " Caught WarningFileOpen: %s\n"},
      {std::make_shared<ErrorMissingDelegate>("e"), 3, 4, "Caught ErrorMissingDelegate: %s\n"},
      {std::make_shared<WarningMissingDelegate>("w"), 4, 4, "Caught WarningMissingDelegate: %s\n"},
      {std::make_shared<WarningResourceLimit>("w"), 10, 3, "Caught WarningResourceLimit: %s\n"},
      {std::make_shared<Warning>("w"), 12, 4, "Caught Warning: %s\n"},
      {std::make_shared<WarningCoder>("w"), 12, 4, "Caught Warning: %s\n"},
      {std::make_shared<ErrorCorruptImage>("e"), 13, 5, "Caught ErrorCorruptImage: %s\n"},
      {std::make_shared<ErrorFileOpen>("e"), 14, 6, "Caught ErrorFileOpen: %s\n"},
      {std::make_shared<ErrorResourceLimit>("e"), 20, 7, "Caught ErrorResourceLimit: %s\n"},
      {std::make_shared<Error>("e"), 22, 8, "Caught Error: %s\n"},
      {std::make_shared<ErrorCoder>("e"), 22, 8, "Caught Error: %s\n"},
      {std::make_shared<Exception>("x"), 23, 8, "Caught Exception: %s\n"},
  };
  for (const Case& c : cases) {
    const nox::import::MagickClause& clause = nox::import::FindMagickClause(*c.exception);
    EXPECT_EQ(clause.order, c.order) << c.format;
    EXPECT_EQ(clause.code, c.code) << c.format;
    EXPECT_STREQ(clause.format, c.format);
  }
}

}  // namespace
}  // namespace nox::test
