// Still images from file or blob to a database file: the units, their token streams, the
// icons, the stored layout, and what bad input leaves behind.

#include <squish.h>

#include <array>
#include <tuple>

#include "import/ImageImporter.h"
#include "tests/support/ImportFixtures.h"
#include "tests/support/MediaFiles.h"

namespace nox::test {
namespace {

// Writes `picture`; for .exr and .hdr, float pixels of its size through our writers (the EXR
// with a data window off the origin, which the importer must not take for the size).
std::string Write(const TempDir& dir, const Magick::Image& picture, const std::string& name) {
  const std::string path = dir.File(name), ext = name.substr(name.rfind('.') + 1);
  const int w = static_cast<int>(picture.columns()), h = static_cast<int>(picture.rows());
  if (ext != "exr" && ext != "hdr") {
    Magick::Image(picture).write(path);
    return path;
  }
  std::vector<float> values(static_cast<size_t>(w) * h * (ext == "exr" ? 4 : 3));
  for (size_t i = 0; i < values.size(); ++i) values[i] = float(i % 7) / 3;
  WriteFile(path, io::toString(ext == "exr" ? io::exrFile(w, h, values, 3, 5) : io::hdrFile(w, h, values, true)));
  return path;
}

// The pixel record of a data unit "name", or of the original unit (its second size zero).
std::string Record(const std::string& name, int w, int h, int format, int bytes) {
  const std::string layout = "1425 1428 (" + std::to_string(w) + " " + std::to_string(h) + ") 64107 1431 =" +
                             std::to_string(format) + " 64104 1427 [" + std::to_string(bytes) + "] 64108 ";
  if (name.empty()) return "1424 2910 " + layout + "1434 (0 0) 64101 64110 62625 64111";
  return "1424 1433 \"" + name + "\" 64102 1426 " + layout + "64110 64109 64111";
}

using ImageImportTest = ImportDbTest;

Magick::Image As(Magick::Image picture, Magick::ImageType type, int depth = 8) {
  picture.type(type);
  picture.depth(depth);
  return picture;
}

// A `w` by `h` picture of colour `rest` whose column `x` is `colour`.
Magick::Image WithColumn(int w, int h, const char* rest, int x, const char* colour) {
  Magick::Image picture(Magick::Geometry(w, h), Magick::Color(rest));
  for (int y = 0; y < h; ++y) picture.pixelColor(x, y, Magick::Color(colour));
  return picture;
}

TEST_F(ImageImportTest, EachFormatBecomesIconsAndOneImageRecord) {
  const struct {
    const char* file;
    Magick::Image picture;
    int format, bytesPerPixel;
  } cases[] = {
      {"rgb.png", Photo(40, 30), 6407, 3},
      {"rgba.png", Photo(40, 30, "RGBA"), 6408, 4},
      {"deep.png", As(Photo(40, 30), Magick::TrueColorType, 16), 6407, 3},
      {"grey.png", As(Photo(40, 30), Magick::GrayscaleType), 6409, 1},
      {"greyalpha.png", As(Photo(40, 30, "RGBA"), Magick::GrayscaleMatteType), 6410, 2},
      // Grey with alpha is alpha alone when its last column is white, however dark the rest.
      {"alpha.png", As(WithColumn(40, 30, "black", 39, "white"), Magick::GrayscaleMatteType), 6406, 1},
      {"palette.png", As(TwoBands(40, 30, "red", "blue"), Magick::PaletteType), 6407, 3},
      {"photo.tga", Photo(40, 30, "RGBA"), 6408, 4},
      {"hdr.exr", Photo(40, 30), 34842, 8},
      {"hdr.hdr", Photo(40, 30), 34837, 12},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const CUUID id = ImportPicture(Write(dir_, c.picture, c.file), CImageImporter::StoreOriginalBit);
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string stem = std::string(c.file).substr(0, std::string(c.file).find('.'));
    EXPECT_EQ(Stream(id), Record(stem, 40, 30, c.format, 40 * 30 * c.bytesPerPixel));
    EXPECT_EQ(Stream(id, CImageImporter::UNIT_ORIGINAL), Record("", 40, 30, c.format, 40 * 30 * c.bytesPerPixel));
    EXPECT_EQ(Layout(id),
              "IconSmall 64x64, IconDefault 64x64, IconLarge 40x30, Data 40x30, Original 40x30, Version empty");
    for (const char* icon : {"IconSmall", "IconDefault"}) EXPECT_EQ(Stream(id, icon), "3 icon 64x64 65532");
    EXPECT_EQ(Stream(id, "IconLarge"), "3 icon 40x30 65532");
    // Files on the handler road are digested by the caller or not at all.
    EXPECT_EQ(Info(id).checksum.empty(), c.format > 30000);
  }
}

TEST_F(ImageImportTest, StoredPixelsAreThePictureBottomRowFirst) {
  const Magick::Image photo = Photo(16, 8);
  EXPECT_EQ(ValueAfter(ImportPicture(Write(dir_, photo, "p.png")), CNDBFile::UNIT_DATA, 1427), BottomUp(photo, "RGB"));
}

// Pictures above 360 rows are scaled to that height by GraphicsMagick; lower ones, however
// wide, keep their size.
TEST_F(ImageImportTest, LargeIconIsTheScaledPictureUpTo360Rows) {
  for (const auto& [w, h, iconW, iconH] : {std::array{400, 720, 200, 360}, {800, 1, 800, 1}}) {
    Magick::Image photo = Photo(w, h);
    const CUUID id = ImportPicture(Write(dir_, photo, "p.png"));
    photo.scale(Magick::Geometry(iconW, iconH));
    photo.flip();
    const std::string icon = ValueAfter(id, "IconLarge", 3);
    EXPECT_EQ(icon.substr(0, 4), std::string({char(iconW), char(iconW >> 8), char(iconH), char(iconH >> 8)}));
    EXPECT_TRUE(icon.substr(4) == BottomUp(photo, "RGB"));
  }
}

TEST_F(ImageImportTest, BlobsTakeTheRoadTheirCaseSensitiveExtensionNames) {
  const std::string exr = Write(dir_, Photo(8, 4), "a.exr"), bytes = ReadFile(exr), upper = dir_.File("a.EXR");
  std::filesystem::copy_file(exr, upper);
  Magick::Blob pngBlob, jpegBlob;
  Magick::Image(Photo(8, 1)).write(&pngBlob, "PNG");
  Magick::Image(TwoBands(64, 64, "red", "blue")).write(&jpegBlob, "JPEG");
  // The data stream, and the checksum that must be the blob's own.
  const auto blobImport = [&](const Magick::Blob& blob, const char* name, const char* ext) {
    CImageImporter importer(*session_, 0, 0);
    CUUID id;
    bool ok = false;
    Printed([&] { ok = importer.Import(&blob, name, ext, true, nullptr, CUUID(), &id, false, ""); });
    error_ = importer.GetLastError() ? importer.GetLastError() : "";
    if (!ok) return std::string();
    EXPECT_EQ(Info(id).checksum, Md5(std::string(static_cast<const char*>(blob.data()), blob.length())));
    return Stream(id);
  };
  // A file is looked at lower-cased, a blob as it is: a.EXR by blob goes to GraphicsMagick,
  // which has no signature test for EXR, so it fails there.
  EXPECT_EQ(Stream(ImportPicture(upper)), Record("a", 8, 4, 34842, 256));
  EXPECT_EQ(blobImport(Magick::Blob(bytes.data(), bytes.size()), "a.exr", "exr"), Record("a", 8, 4, 34842, 256));
  EXPECT_EQ(blobImport(Magick::Blob(bytes.data(), bytes.size()), "a.EXR", "EXR"), "");
  EXPECT_EQ(error_.rfind("Caught ErrorBlob", 0), 0u) << error_;
  EXPECT_EQ(blobImport(pngBlob, "b.png", "png"), Record("b", 8, 1, 6407, 24));
  // Unlike a file, a blob that warns of corruption (its end cut off) is refused.
  EXPECT_EQ(blobImport(Magick::Blob(jpegBlob.data(), jpegBlob.length() - 2), "c.jpg", "jpg"), "");
  EXPECT_EQ(error_.rfind("Caught WarningCorruptImage: ", 0), 0u) << error_;
}

// Level 0 of a DXT1 import decoded back: the cut or stretch that aligned it to 4 by 4 blocks.
TEST_F(ImageImportTest, BlockAlignmentCropsCentredOrStretches) {
  const struct {
    int w, levelW;
    bool redColumnKept;  // column 0 is red, the rest blue
  } cases[] = {{101, 100, true}, {103, 100, false}, {3, 4, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.w);
    const Magick::Image p = WithColumn(c.w, 100, "blue", 0, "red");
    const CUUID id = ImportPicture(Write(dir_, p, "odd.png"), CImageImporter::CompressionDXT1);
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string blocks = ValueAfter(id, CNDBFile::UNIT_DATA, 2909);
    ASSERT_EQ(blocks.size(), size_t(c.levelW / 4) * 25 * 8);
    std::vector<unsigned char> rgba(size_t(c.levelW) * 100 * 4);
    squish::DecompressImage(rgba.data(), c.levelW, 100, blocks.data(), squish::kDxt1);
    EXPECT_EQ(rgba[0] > 200 && rgba[2] < 50, c.redColumnKept);
  }
}

TEST_F(ImageImportTest, BadInputFailsWithACodeAndLeavesNothingBehind) {
  const std::string png = ReadFile(Write(dir_, Photo(64, 64), "good.png")), jpg = ReadFile(Write(dir_, Photo(64, 64), "good.jpg"));
  const std::string exr = ReadFile(Write(dir_, Photo(64, 64), "good.exr"));
  std::string flipped = png, bomb = png.substr(0, 33);  // signature and IHDR, no data
  for (size_t i = 60; i < flipped.size(); i += 97) flipped[i] = static_cast<char>(~flipped[i]);
  for (size_t at : {16, 20}) bomb.replace(at, 4, "\x00\x01\x86\xA0", 4);  // 100000 by 100000
  // File, bytes, and the error code, or -1 where the ping that classifies the file throws.
  const std::tuple<const char*, std::string, int> cases[] = {
      {"cut.png", png.substr(0, png.size() / 2), 8},
      {"cut.jpg", jpg.substr(0, 300), -1},
      {"flipped.png", flipped, 8},
      {"bomb.png", bomb, -1},
      {"bomb.hdr", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 100000 +X 100000\n", 12},
      {"cut.exr", exr.substr(0, exr.size() / 2), 12},
      {"empty.png", "", -1},
  };
  for (const auto& [file, bytes, code] : cases) {
    SCOPED_TRACE(file);
    WriteFile(dir_.File(file), bytes);
    try {
      EXPECT_TRUE(ImportPicture(dir_.File(file)).IsNull());
      EXPECT_EQ(code_, code) << error_;
    } catch (const Magick::Exception& e) {
      // The ping that classifies a file lets its exceptions through to the caller (-1).
      EXPECT_EQ(code, -1) << e.what();
    }
    EXPECT_TRUE(Files().empty());
  }
}

}  // namespace
}  // namespace nox::test
