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

// Exposes the importer's protected helpers that tests reach directly.
class Importer : public CImageImporter {
 public:
  using CImageImporter::CImageImporter;
  using CImageImporter::getTypeSafeImageFormat;
  using CImageImporter::picture;
};

std::string Size(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

class ImageImportTest : public ImportDbTest {
 protected:
  // Imports `path` with `settings`; the new file's identifier, or a null one on failure.
  CUUID Import(const std::string& path, uint32_t settings = 0) {
    Importer importer(*session_, settings, 0);
    CUUID id;
    bool ok = false;
    Printed([&] { ok = importer.Import(path.c_str(), false, nullptr, CUUID(), &id); });
    error_ = importer.GetLastError() ? importer.GetLastError() : "";
    code_ = importer.GetLastErrorCode();
    return ok ? id : CUUID();
  }

  // Writes `picture`; for .exr and .hdr, float pixels of its size through our writers (the EXR
  // with a data window off the origin, which the importer must not take for the size).
  std::string Write(const Magick::Image& picture, const std::string& name) {
    const std::string path = dir_.File(name), ext = name.substr(name.rfind('.') + 1);
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

  std::string error_;
  int code_ = 0;
};

// The stream of an uncompressed data unit.
std::string PlainData(const std::string& name, int w, int h, int format, int bytes) {
  return "1424 1433 \"" + name + "\" 64102 1426 1425 1428 (" + std::to_string(w) + " " + std::to_string(h) +
         ") 64107 1431 =" + std::to_string(format) + " 64104 1427 [" + std::to_string(bytes) +
         "] 64108 64110 64109 64111";
}

Magick::Image As(Magick::Image picture, Magick::ImageType type, int depth = 8) {
  picture.type(type);
  picture.depth(depth);
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
      {"palette.png", As(TwoBands(40, 30, "red", "blue"), Magick::PaletteType), 6407, 3},
      {"photo.jpg", Photo(40, 30), 6407, 3},
      {"photo.bmp", Photo(40, 30), 6407, 3},
      {"photo.tga", Photo(40, 30, "RGBA"), 6408, 4},
      {"photo.psd", Photo(40, 30), 6407, 3},
      {"hdr.exr", Photo(40, 30), 34842, 8},
      {"hdr.hdr", Photo(40, 30), 34837, 12},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const CUUID id = Import(Write(c.picture, c.file));
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string stem = std::string(c.file).substr(0, std::string(c.file).find('.'));
    EXPECT_EQ(Stream(id), PlainData(stem, 40, 30, c.format, 40 * 30 * c.bytesPerPixel));
    EXPECT_EQ(Layout(id), "IconSmall 64x64, IconDefault 64x64, IconLarge 40x30, Data 40x30, Version empty");
    for (const char* icon : {"IconSmall", "IconDefault"}) EXPECT_EQ(Stream(id, icon), "3 icon 64x64 65532");
    EXPECT_EQ(Stream(id, "IconLarge"), "3 icon 40x30 65532");
    // Files on the handler road are digested by the caller or not at all.
    EXPECT_EQ(Info(id).checksum.empty(), c.format > 30000);
  }
}

TEST_F(ImageImportTest, OriginalHoldsTheSourceLayoutWithAZeroSecondSize) {
  for (const auto& [file, format, bytes] : {std::tuple{"a.png", 6408, 4800}, {"b.exr", 34842, 9600}}) {
    const CUUID id = Import(Write(Photo(40, 30, "RGBA"), file), CImageImporter::StoreOriginalBit);
    EXPECT_EQ(Stream(id, CImageImporter::UNIT_ORIGINAL),
              "1424 2910 1425 1428 (40 30) 64107 1431 =" + std::to_string(format) + " 64104 1427 [" +
                  std::to_string(bytes) + "] 64108 1434 (0 0) 64101 64110 62625 64111");
  }
  // Stored only when compressed: a plain import has no such unit.
  const CUUID plain = Import(Write(Photo(40, 30), "c.png"), CImageImporter::StoreOriginalIfCompressedBit);
  EXPECT_EQ(Layout(plain, false), "IconSmall IconDefault IconLarge Data Version");
}

TEST_F(ImageImportTest, StoredPixelsAreThePictureBottomRowFirst) {
  const Magick::Image photo = Photo(16, 8);
  EXPECT_EQ(BinaryAfter(*session_, Import(Write(photo, "p.png")), CNDBFile::UNIT_DATA, 1427), BottomUp(photo, "RGB"));
}

// Pictures above 360 rows are scaled to that height by GraphicsMagick; lower ones, however
// wide, keep their size.
TEST_F(ImageImportTest, LargeIconIsTheScaledPictureUpTo360Rows) {
  for (const auto& [w, h, iconW, iconH] : {std::array{400, 720, 200, 360}, {800, 1, 800, 1}}) {
    const Magick::Image photo = Photo(w, h);
    const CUUID id = Import(Write(photo, "p.png"));
    ASSERT_EQ(Layout(id), "IconSmall 64x64, IconDefault 64x64, IconLarge " + Size(iconW, iconH) + ", Data " +
                              Size(w, h) + ", Version empty");
    Magick::Image large(photo);
    large.scale(Magick::Geometry(iconW, iconH));
    std::string want(size_t(iconW) * iconH * 3, '\0');
    large.write(0, 0, iconW, iconH, "RGB", Magick::CharPixel, want.data());
    const CNPBM icon = Icons(id, "IconLarge").at(0);
    int worst = 0;
    for (size_t i = 0; i < want.size(); ++i) worst = std::max(worst, std::abs(icon.GetPixels()[i] - uint8_t(want[i])));
    EXPECT_LE(worst, 2);
  }
}

TEST_F(ImageImportTest, BlobsTakeTheRoadTheirCaseSensitiveExtensionNames) {
  const std::string exr = Write(Photo(8, 4), "a.exr"), bytes = ReadFile(exr), upper = dir_.File("a.EXR");
  std::filesystem::copy_file(exr, upper);
  Magick::Blob pngBlob, jpegBlob;
  Magick::Image(Photo(8, 1)).write(&pngBlob, "PNG");
  Magick::Image(TwoBands(64, 64, "red", "blue")).write(&jpegBlob, "JPEG");
  // The data stream, and the checksum that must be the blob's own.
  const auto blobImport = [&](const Magick::Blob& blob, const char* name, const char* ext) {
    Importer importer(*session_, 0, 0);
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
  EXPECT_EQ(Stream(Import(upper)), PlainData("a", 8, 4, 34842, 256));
  EXPECT_EQ(blobImport(Magick::Blob(bytes.data(), bytes.size()), "a.exr", "exr"), PlainData("a", 8, 4, 34842, 256));
  EXPECT_EQ(blobImport(Magick::Blob(bytes.data(), bytes.size()), "a.EXR", "EXR"), "");
  EXPECT_EQ(error_.rfind("Caught ErrorBlob", 0), 0u) << error_;
  EXPECT_EQ(blobImport(pngBlob, "b.png", "png"), PlainData("b", 8, 1, 6407, 24));
  // Unlike a file, a blob that warns of corruption (its end cut off) is refused.
  EXPECT_EQ(blobImport(Magick::Blob(jpegBlob.data(), jpegBlob.length() - 2), "c.jpg", "jpg"), "");
  EXPECT_EQ(error_.rfind("Caught WarningCorruptImage: ", 0), 0u) << error_;
}

TEST_F(ImageImportTest, GreyWithMatteIsAlphaOnlyWhenItsLastColumnIsWhite) {
  // Only the last column decides, however dark or white the rest is.
  for (const auto& [rest, last, expected] : {std::tuple{"black", "white", CImporterBase::GL_ALPHA},
                                             {"white", "gray50", CImporterBase::GL_LUMINANCE_ALPHA}}) {
    Magick::Image p(Magick::Geometry(8, 8), Magick::Color(rest));
    p.matte(true);
    for (int y = 0; y < 8; ++y) p.pixelColor(7, y, Magick::Color(last));
    Importer importer(*session_, 0, 0);
    importer.picture.set(p);
    importer.picture.magickImage.type(Magick::GrayscaleType);
    EXPECT_EQ(importer.getTypeSafeImageFormat(), unsigned(expected)) << rest;
  }
}

// Level 0 of a DXT1 import decoded back: the cut or stretch that aligned it to 4 by 4 blocks.
TEST_F(ImageImportTest, BlockAlignmentCropsCentredOrStretches) {
  const struct {
    int w, levelW;
    bool redColumnKept;  // column 0 is red, the rest blue
  } cases[] = {{101, 100, true}, {103, 100, false}, {3, 4, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.w);
    Magick::Image p(Magick::Geometry(c.w, 100), Magick::Color("blue"));
    for (int y = 0; y < 100; ++y) p.pixelColor(0, y, Magick::Color("red"));
    const CUUID id = Import(Write(p, "odd.png"), CImageImporter::CompressionDXT1);
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string blocks = BinaryAfter(*session_, id, CNDBFile::UNIT_DATA, 2909);
    ASSERT_EQ(blocks.size(), size_t(c.levelW / 4) * 25 * 8);
    std::vector<unsigned char> rgba(size_t(c.levelW) * 100 * 4);
    squish::DecompressImage(rgba.data(), c.levelW, 100, blocks.data(), squish::kDxt1);
    EXPECT_EQ(rgba[0] > 200 && rgba[2] < 50, c.redColumnKept);
  }
}

TEST_F(ImageImportTest, BadInputFailsWithACodeAndLeavesNothingBehind) {
  const std::string png = ReadFile(Write(Photo(64, 64), "good.png")), jpg = ReadFile(Write(Photo(64, 64), "good.jpg"));
  const std::string exr = ReadFile(Write(Photo(64, 64), "good.exr"));
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
      EXPECT_TRUE(Import(dir_.File(file)).IsNull());
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
