// Still images from file or blob to a database file: the units, their token streams, the
// icons, the stored layout, and what bad input leaves behind.

#include <squish.h>

#include <fstream>

#include "import/ImageImporter.h"
#include "import/MagickInit.h"
#include "tests/import/ImportTestSupport.h"
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

class ImageImportTest : public ImportDbTest {
 protected:
  void SetUp() override {
    ImportDbTest::SetUp();
    nox::import::EnsureMagickInitialized();
  }

  // Imports `path` with `settings`; the new file's identifier, or a null one on failure.
  CUUID Import(const std::string& path, uint32_t settings = 0) {
    Importer importer(*session_, settings, 0);
    CUUID id;
    Printed([&] { ok_ = importer.Import(path.c_str(), false, nullptr, CUUID(), &id); });
    error_ = importer.GetLastError() ? importer.GetLastError() : "";
    code_ = importer.GetLastErrorCode();
    return ok_ ? id : CUUID();
  }

  std::string Write(const Magick::Image& picture, const std::string& name) {
    Magick::Image copy(picture);
    const std::string path = dir_.File(name);
    copy.write(path);
    return path;
  }

  // "name WxH" of each unit of a stored file, in order.
  std::string Units(const CUUID& id) {
    std::string out;
    for (const auto& unit : Info(id).units) {
      out += (out.empty() ? "" : ", ") + unit.name;
      if (unit.hasSize) out += " " + std::to_string(unit.width) + "x" + std::to_string(unit.height);
    }
    return out;
  }

  std::string Data(const CUUID& id) { return StreamText(*session_, id, CNDBFile::UNIT_DATA); }

  size_t StoredFiles() {
    std::vector<CNoxDbI::FolderInfo> folders;
    std::vector<CNoxDbI::FileInfo> files;
    session_->ListFolder(session_->GetRootFolder(), &folders, &files);
    return files.size();
  }

  bool ok_ = false;
  std::string error_;
  int code_ = 0;
};

// The stream of an uncompressed data unit.
std::string PlainData(const std::string& name, int w, int h, int format, int bytes) {
  return "1424 1433 \"" + name + "\" 64102 1426 1425 1428 (" + std::to_string(w) + " " +
         std::to_string(h) + ") 64107 1431 =" + std::to_string(format) + " 64104 1427 [" +
         std::to_string(bytes) + "] 64108 64110 64109 64111";
}

// A high dynamic range file of the format `exr` names; the EXR has a data window off the
// origin, which the importer must not mistake for the picture's size.
std::string SaveHdr(const std::string& path, bool exr, int w, int h) {
  std::vector<float> values(static_cast<size_t>(w) * h * (exr ? 4 : 3));
  for (size_t i = 0; i < values.size(); ++i) values[i] = float(i % 7) / 3;
  WriteFile(path, io::toString(exr ? io::exrFile(w, h, values, 3, 5) : io::hdrFile(w, h, values, true)));
  return path;
}

struct FileCase {
  const char* file;
  std::function<Magick::Image()> picture;  // null: the file is written by a handler
  int format, bytesPerPixel;
};

TEST_F(ImageImportTest, EachFormatBecomesIconsAndOneImageRecord) {
  const auto grey = [](Magick::ImageType type) {
    return [type] {
      Magick::Image p = Photo(40, 30, type == Magick::GrayscaleMatteType ? "RGBA" : "RGB");
      p.type(type);
      return p;
    };
  };
  const FileCase cases[] = {
      {"rgb.png", [] { return Photo(40, 30); }, 6407, 3},
      {"rgba.png", [] { return Photo(40, 30, "RGBA"); }, 6408, 4},
      {"deep.png", [] { Magick::Image p = Photo(40, 30); p.depth(16); return p; }, 6407, 3},
      {"grey.png", grey(Magick::GrayscaleType), 6409, 1},
      {"greyalpha.png", grey(Magick::GrayscaleMatteType), 6410, 2},
      {"palette.png", [] { Magick::Image p = TwoBands(40, 30, "red", "blue"); p.type(Magick::PaletteType); return p; }, 6407, 3},
      {"photo.jpg", [] { return Photo(40, 30); }, 6407, 3},
      {"photo.bmp", [] { return Photo(40, 30); }, 6407, 3},
      {"photo.tga", [] { return Photo(40, 30, "RGBA"); }, 6408, 4},
      {"photo.psd", [] { return Photo(40, 30); }, 6407, 3},
      {"hdr.exr", nullptr, 34842, 8},
      {"hdr.hdr", nullptr, 34837, 12},
  };
  for (const FileCase& c : cases) {
    SCOPED_TRACE(c.file);
    const std::string path =
        c.picture ? Write(c.picture(), c.file)
                  : SaveHdr(dir_.File(c.file), std::string(c.file) == "hdr.exr", 40, 30);
    const CUUID id = Import(path);
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string stem = std::string(c.file).substr(0, std::string(c.file).find('.'));
    EXPECT_EQ(Data(id), PlainData(stem, 40, 30, c.format, 40 * 30 * c.bytesPerPixel));
    EXPECT_EQ(Units(id), "IconSmall 64x64, IconDefault 64x64, IconLarge 40x30, Data 40x30, Version");
    for (const char* icon : {"IconSmall", "IconDefault"}) {
      EXPECT_EQ(StreamText(*session_, id, icon), "3 icon 64x64 65532");
    }
    EXPECT_EQ(StreamText(*session_, id, "IconLarge"), "3 icon 40x30 65532");
    // Files on the handler road are digested by the caller or not at all.
    EXPECT_EQ(Info(id).checksum.empty(), c.picture == nullptr);
  }
}

TEST_F(ImageImportTest, OriginalHoldsTheSourceLayoutWithAZeroSecondSize) {
  const auto original = [](int w, int h, int format, int bytes) {
    return "1424 2910 1425 1428 (" + std::to_string(w) + " " + std::to_string(h) +
           ") 64107 1431 =" + std::to_string(format) + " 64104 1427 [" + std::to_string(bytes) +
           "] 64108 1434 (0 0) 64101 64110 62625 64111";
  };
  const CUUID rgba = Import(Write(Photo(40, 30, "RGBA"), "a.png"), CImageImporter::StoreOriginalBit);
  EXPECT_EQ(StreamText(*session_, rgba, CImageImporter::UNIT_ORIGINAL), original(40, 30, 6408, 4800));
  const CUUID exr = Import(SaveHdr(dir_.File("b.exr"), true, 20, 10), CImageImporter::StoreOriginalBit);
  EXPECT_EQ(StreamText(*session_, exr, CImageImporter::UNIT_ORIGINAL), original(20, 10, 34842, 1600));
  // Stored only when compressed: a plain import has no such unit.
  const CUUID plain =
      Import(Write(Photo(40, 30), "c.png"), CImageImporter::StoreOriginalIfCompressedBit);
  EXPECT_EQ(Units(plain).find("Original"), std::string::npos);
}

TEST_F(ImageImportTest, StoredPixelsAreThePictureBottomRowFirst) {
  const Magick::Image photo = Photo(16, 8);
  const CUUID id = Import(Write(photo, "p.png"));
  std::string expected(16 * 8 * 3, '\0');
  Magick::Image flipped(photo);
  flipped.flip();
  flipped.write(0, 0, 16, 8, "RGB", Magick::CharPixel, expected.data());
  EXPECT_EQ(BinaryAfter(*session_, id, CNDBFile::UNIT_DATA, 1427), expected);
}

TEST_F(ImageImportTest, LargeIconMatchesGraphicsMagicksOwnScaling) {
  const Magick::Image photo = Photo(400, 720);
  const CUUID id = Import(Write(photo, "tall.png"));
  ASSERT_EQ(Units(id), "IconSmall 64x64, IconDefault 64x64, IconLarge 200x360, Data 400x720, Version");
  CNDBFile file(session_.get());
  file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0);
  file.SelectUnit("IconLarge", 0, false);
  file.ReadNextTokenEx();
  CNPBM icon;
  file >> icon;
  Magick::Image large(photo);
  large.scale(Magick::Geometry(200, 360));
  std::string want(200 * 360 * 3, '\0');
  large.write(0, 0, 200, 360, "RGB", Magick::CharPixel, want.data());
  int worst = 0;
  for (size_t i = 0; i < want.size(); ++i) worst = std::max(worst, std::abs(icon.GetPixels()[i] - uint8_t(want[i])));
  EXPECT_LE(worst, 2);
}

TEST_F(ImageImportTest, BlobsTakeTheRoadTheirCaseSensitiveExtensionNames) {
  const std::string exr = SaveHdr(dir_.File("a.exr"), true, 8, 4);
  const std::string upper = dir_.File("a.EXR");
  std::filesystem::copy_file(exr, upper);
  std::string bytes = ReadFile(exr);
  const Magick::Blob exrBlob(bytes.data(), bytes.size());
  Magick::Blob pngBlob;
  Magick::Image(Photo(8, 4)).write(&pngBlob, "PNG");

  // A file is looked at lower-cased, a blob as it is: a.EXR by blob goes to GraphicsMagick.
  EXPECT_EQ(Data(Import(upper)), PlainData("a", 8, 4, 34842, 256));
  const auto blobImport = [&](const Magick::Blob& blob, const char* name, const char* ext) {
    Importer importer(*session_, 0, 0);
    CUUID id;
    Printed([&] { importer.Import(&blob, name, ext, true, nullptr, CUUID(), &id, false, ""); });
    return Data(id);
  };
  EXPECT_EQ(blobImport(exrBlob, "a.exr", "exr"), PlainData("a", 8, 4, 34842, 256));
  Importer magick(*session_, 0, 0);
  CUUID id;
  Printed([&] { magick.Import(&exrBlob, "a.EXR", "EXR", true, nullptr, CUUID(), &id, false, ""); });
  // GraphicsMagick has no signature test for EXR, so the blob fails on its road.
  EXPECT_EQ(std::string(magick.GetLastError()).rfind("Caught ErrorBlob", 0), 0u);
  EXPECT_EQ(blobImport(pngBlob, "b.png", "png"), PlainData("b", 8, 4, 6407, 96));
}

TEST_F(ImageImportTest, AWideStripKeepsItsOwnSizeAsLargeIcon) {
  const CUUID id = Import(Write(Photo(800, 1), "strip.png"));
  EXPECT_EQ(Units(id), "IconSmall 64x64, IconDefault 64x64, IconLarge 800x1, Data 800x1, Version");
}

TEST_F(ImageImportTest, GreyWithMatteIsAlphaOnlyWhenItsLastColumnIsWhite) {
  // Only the last column decides, however dark or white the rest is.
  const struct {
    const char* rest;
    const char* last;
    unsigned expected;
  } cases[] = {{"black", "white", CImporterBase::GL_ALPHA},
               {"white", "gray50", CImporterBase::GL_LUMINANCE_ALPHA}};
  for (const auto& c : cases) {
    Magick::Image p(Magick::Geometry(8, 8), Magick::Color(c.rest));
    p.matte(true);
    for (int y = 0; y < 8; ++y) p.pixelColor(7, y, Magick::Color(c.last));
    Importer importer(*session_, 0, 0);
    importer.picture.set(p);
    importer.picture.magickImage.type(Magick::GrayscaleType);
    EXPECT_EQ(importer.getTypeSafeImageFormat(), c.expected) << c.rest;
  }
}

// Level 0 of a DXT1 import decoded back: the cut or stretch that aligned it to 4 by 4 blocks.
TEST_F(ImageImportTest, BlockAlignmentCropsCentredOrStretches) {
  const struct {
    int w, h;
    int levelW, levelH;
    bool redColumnKept;  // column 0 is red, the rest blue
  } cases[] = {{101, 100, 100, 100, true}, {103, 100, 100, 100, false}, {3, 100, 4, 100, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.w);
    Magick::Image p(Magick::Geometry(c.w, c.h), Magick::Color("blue"));
    for (int y = 0; y < c.h; ++y) p.pixelColor(0, y, Magick::Color("red"));
    const CUUID id = Import(Write(p, "odd.png"), CImageImporter::CompressionDXT1);
    ASSERT_FALSE(id.IsNull()) << error_;
    const std::string blocks = BinaryAfter(*session_, id, CNDBFile::UNIT_DATA, 2909);
    ASSERT_EQ(blocks.size(), size_t(c.levelW / 4) * (c.levelH / 4) * 8);
    std::vector<unsigned char> rgba(size_t(c.levelW) * c.levelH * 4);
    squish::DecompressImage(rgba.data(), c.levelW, c.levelH, blocks.data(), squish::kDxt1);
    EXPECT_EQ(rgba[0] > 200 && rgba[2] < 50, c.redColumnKept);
  }
}

// A PNG whose header declares `w` by `h` pixels and whose data is missing.
std::string PngHeaderOnly(uint32_t w, uint32_t h) {
  Magick::Blob blob;
  Magick::Image(Photo(4, 4)).write(&blob, "PNG");
  std::string bytes(static_cast<const char*>(blob.data()), blob.length());
  const auto put = [&](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(v >> (24 - 8 * i));
  };
  put(16, w);
  put(20, h);
  return bytes.substr(0, 33);  // signature and IHDR; its CRC no longer matches
}

TEST_F(ImageImportTest, BadInputFailsWithACodeAndLeavesNothingBehind) {
  const std::string png = ReadFile(Write(Photo(64, 64), "good.png"));
  const std::string jpg = ReadFile(Write(Photo(64, 64), "good.jpg"));
  const std::string exr = ReadFile(SaveHdr(dir_.File("good.exr"), true, 64, 64));
  std::string flipped = png;
  for (size_t i = 60; i < flipped.size(); i += 97) flipped[i] = static_cast<char>(~flipped[i]);
  const struct {
    const char* file;
    std::string bytes;
  } cases[] = {
      {"cut.png", png.substr(0, png.size() / 2)},
      {"cut.jpg", jpg.substr(0, 300)},
      {"flipped.png", flipped},
      {"bomb.png", PngHeaderOnly(100000, 100000)},
      {"bomb.hdr", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 100000 +X 100000\n"},
      {"cut.exr", exr.substr(0, exr.size() / 2)},
      {"empty.png", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    WriteFile(dir_.File(c.file), c.bytes);
    try {
      EXPECT_TRUE(Import(dir_.File(c.file)).IsNull());
      EXPECT_NE(code_, 0);
    } catch (const Magick::Exception& e) {
      // The ping that classifies a file lets its exceptions through to the caller.
      SUCCEED() << e.what();
    }
    EXPECT_EQ(StoredFiles(), 0u);
  }
}

}  // namespace
}  // namespace nox::test
