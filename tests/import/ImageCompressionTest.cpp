// Compressed images: the data record and level units of each mode and option, the encoder's
// bytes, and Compress of a stored file, atomically.

#include <squish.h>

#include <filesystem>

#include "db/storage/FaultStore.h"
#include "import/ImageImporter.h"
#include "import/MagickInit.h"
#include "tests/import/ImportTestSupport.h"
#include "texture/DDS.h"
#include "texture/MipChain.h"

namespace nox::test {
namespace {

using I = CImageImporter;

class ImageCompressionTest : public ImportDbTest {
 protected:
  void SetUp() override {
    ImportDbTest::SetUp();
    nox::import::EnsureMagickInitialized();
  }

  CUUID Import(const Magick::Image& picture, uint32_t settings, const std::string& name = "p") {
    const std::string path = dir_.File(name + ".png");
    Magick::Image(picture).write(path);
    I importer(*session_, settings, 0);
    CUUID id;
    printed_ = Printed([&] { importer.Import(path.c_str(), false, nullptr, CUUID(), &id); });
    return id;
  }

  std::string Data(const CUUID& id) { return StreamText(*session_, id, CNDBFile::UNIT_DATA); }

  std::string UnitNames(const CUUID& id) {
    std::string out;
    for (const auto& unit : Info(id).units) out += (out.empty() ? "" : " ") + unit.name;
    return out;
  }

  I::ECompressError Compress(const CUUID& id, int mode, uint32_t settings = 0) {
    I importer(*session_, settings, 0);
    CNDBFile file(session_.get());
    EXPECT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
    I::ECompressError result = I::CompressOk;
    printed_ = Printed([&] { result = importer.Compress(file, mode); });
    return result;
  }

  std::string printed_;
};

// The level list of a data record for a chain from w by h down to 1 by 1.
std::string LevelList(int w, int h, int count) {
  std::string out = "2912 =" + std::to_string(count) + " 62623 2911";
  for (int i = 0; i < count; ++i, w = std::max(1, w / 2), h = std::max(1, h / 2)) {
    out += " 2913 2915 (" + std::to_string(w) + " " + std::to_string(h) + ") 62620 2916 \"" +
           I::levelName(i) + "\" 62619 62622";
  }
  return out + " 62624";
}

TEST_F(ImageCompressionTest, EachModeAndOptionWritesItsRecord) {
  const std::string head = "1424 1433 \"p\" 64102 1426 1425 1428 ";
  const std::string plainEnd = "64110 64109";
  const struct {
    const char* what;
    Magick::Image picture;
    uint32_t settings;
    std::string data;
    std::string units;
  } cases[] = {
      {"DXT1", Photo(64, 32), I::CompressionDXT1,
       head + "(64 32) 64107 1431 =6408 64104 " + plainEnd +
           " 2907 =1024 62628 2908 =1 62627 2909 [1024] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      {"DXT1 keeping its pixels", Photo(64, 32), I::CompressionDXT1 | I::KeepOriginalBit,
       head + "(64 32) 64107 1431 =6408 64104 1427 [8192] 64108 " + plainEnd +
           " 2907 =1024 62628 2908 =1 62627 2909 [1024] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      {"auto with alpha is DXT5", Photo(64, 32, "RGBA"), I::CompressionAuto,
       head + "(64 32) 64107 1431 =6408 64104 " + plainEnd +
           " 2907 =2048 62628 2908 =3 62627 2909 [2048] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      {"DXT5 with levels and an original", Photo(256, 128),
       I::CompressionDXT5 | I::MipmapsBit | I::StoreOriginalIfCompressedBit,
       head + "(256 128) 64107 1431 =6408 64104 " + plainEnd + " 2907 =32768 62628 2908 =3 62627 " +
           LevelList(256, 128, 9) + " 64111",
       "IconSmall IconDefault IconLarge Data Original MMLevel.00 MMLevel.01 MMLevel.02 "
       "MMLevel.03 MMLevel.04 MMLevel.05 MMLevel.06 MMLevel.07 MMLevel.08 Version"},
      {"a scaled-down copy", Photo(1000, 500), I::CompressionDXT1 | I::ScaleDownDataBit,
       head + "(100 50) 64107 1431 =6407 64104 1427 [15000] 64108 " + plainEnd +
           " 2907 =250000 62628 2908 =1 62627 2909 [250000] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      {"a strip reduced along one side only", Photo(101, 1), I::CompressionDXT1 | I::ScaleDownDataBit,
       head + "(100 1) 64107 1431 =6407 64104 1427 [300] 64108 " + plainEnd +
           " 2907 =200 62628 2908 =1 62627 2909 [200] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      {"small enough to keep whole", Photo(100, 100), I::CompressionDXT1 | I::ScaleDownDataBit,
       head + "(100 100) 64107 1431 =6407 64104 1427 [30000] 64108 " + plainEnd +
           " 2907 =5000 62628 2908 =1 62627 2909 [5000] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      // Modes other than 1, 3 and 5 encode into levels of size 0 when the size allows...
      {"mode 2", Photo(64, 32), 2,
       head + "(64 32) 64107 1431 =6408 64104 " + plainEnd +
           " 2907 =0 62628 2908 =2 62627 2909 [0] 62626 64111",
       "IconSmall IconDefault IconLarge Data Version"},
      // ...and else fail, leaving a plain file that still keeps its original.
      {"failed encoder", Photo(30, 30), 4 | I::StoreOriginalIfCompressedBit,
       head + "(30 30) 64107 1431 =6408 64104 1427 [3600] 64108 " + plainEnd + " 64111",
       "IconSmall IconDefault IconLarge Data Original Version"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const CUUID id = Import(c.picture, c.settings);
    ASSERT_FALSE(id.IsNull());
    EXPECT_EQ(Data(id), c.data);
    EXPECT_EQ(UnitNames(id), c.units);
  }
}

TEST_F(ImageCompressionTest, TheScaleDownLineIsPrintedOnlyWhenReduced) {
  const struct {
    int w, h;
    const char* line;  // null: none
  } cases[] = {{1000, 500, "scale down from 1000x500 to 100x50\n"},
               {101, 1, "scale down from 101x1 to 100x1\n"},
               {100, 100, nullptr}};
  for (const auto& c : cases) {
    Import(Photo(c.w, c.h), I::CompressionDXT1 | I::ScaleDownDataBit, "s" + std::to_string(c.w));
    EXPECT_EQ(printed_.find(c.line ? c.line : "scale down") != std::string::npos, c.line != nullptr)
        << c.w;
  }
}

TEST_F(ImageCompressionTest, LevelUnitsHoldTheEncodersBlocks) {
  const Magick::Image photo = Photo(256, 128, "RGBA");
  const CUUID id = Import(photo, I::CompressionDXT5 | I::MipmapsCompressedBit);
  // What the encoder makes of the same pixels, stored bottom row first.
  std::vector<unsigned char> rgba(256 * 128 * 4);
  Magick::Image flipped(photo);
  flipped.flip();
  flipped.write(0, 0, 256, 128, "RGBA", Magick::CharPixel, rgba.data());
  CDDS dds;
  const int count = nox::texture::mipLevelCount(256, 128);
  void* blocks = std::malloc(nox::texture::mipChainSize(256, 128, 4, 0, count, 3));
  ASSERT_EQ(dds.compress(blocks, rgba.data(), 3, 256, 128, 4, count), 1);
  ASSERT_EQ(dds.levels.size(), 9u);
  for (size_t i = 0; i < dds.levels.size(); ++i) {
    const std::string unit = I::levelName(static_cast<int>(i));
    const auto& level = dds.levels[i];
    EXPECT_EQ(StreamText(*session_, id, unit),
              "2913 2915 (" + std::to_string(level.dimensions.cx) + " " +
                  std::to_string(level.dimensions.cy) + ") 62620 2916 =" +
                  std::to_string(level.size) + " [" + std::to_string(level.size) + "] 62619 62622");
    EXPECT_EQ(BinaryAfter(*session_, id, unit, 2916),
              std::string(reinterpret_cast<char*>(level.data), level.size));
  }
  // Decoded, level 0 stays close to the picture.
  const std::string top = BinaryAfter(*session_, id, "MMLevel.00", 2916);
  std::vector<unsigned char> decoded(rgba.size());
  squish::DecompressImage(decoded.data(), 256, 128, top.data(), squish::kDxt5);
  double error = 0;
  for (size_t i = 0; i < decoded.size(); ++i) error += std::abs(decoded[i] - rgba[i]);
  EXPECT_LT(error / decoded.size(), 6.0);
}

TEST_F(ImageCompressionTest, CompressRewritesAStoredImageInPlace) {
  const CUUID id = Import(Photo(64, 32), 0);
  const std::string pixels = BinaryAfter(*session_, id, CNDBFile::UNIT_DATA, 1427);
  int levels = -1;
  I reader(*session_, 0, 0);
  EXPECT_EQ(reader.IsCompressedImage(id, &levels), 0);

  ASSERT_EQ(Compress(id, I::CompressionDXT1), I::CompressOk);
  EXPECT_EQ(UnitNames(id),
            "IconSmall IconDefault IconLarge Data Original MMLevel.00 MMLevel.01 MMLevel.02 "
            "MMLevel.03 MMLevel.04 MMLevel.05 MMLevel.06 Version");
  EXPECT_EQ(Data(id), "1424 1433 \"p\" 64102 1426 1425 1428 (64 32) 64107 1431 =6407 64104 1427 [6144] "
                      "64108 64110 64109 2907 =1024 62628 2908 =1 62627 " + LevelList(64, 32, 7) + " 64111");
  EXPECT_EQ(BinaryAfter(*session_, id, CNDBFile::UNIT_DATA, 1427), pixels);
  EXPECT_EQ(BinaryAfter(*session_, id, I::UNIT_ORIGINAL, 1427), pixels);
  EXPECT_EQ(reader.IsCompressedImage(id, &levels), 1);
  EXPECT_EQ(levels, 7);
  EXPECT_EQ(Compress(id, I::CompressionDXT1), I::CompressAlreadyCompressed);
}

TEST_F(ImageCompressionTest, CompressScalesDownAndIgnoresAModeWithoutLevels) {
  const CUUID big = Import(Photo(1000, 500), 0);
  ASSERT_EQ(Compress(big, I::CompressionDXT1, I::ScaleDownDataBit), I::CompressOk);
  EXPECT_NE(Data(big).find("1428 (100 50) 64107 1431 =6407 64104 1427 [15000]"), std::string::npos);
  EXPECT_NE(StreamText(*session_, big, I::UNIT_ORIGINAL).find("1428 (1000 500)"), std::string::npos);

  // Token 2908 without a first level unit goes unnoticed: the file is compressed anew.
  const CUUID once = Import(Photo(64, 32), I::CompressionDXT1 | I::KeepOriginalBit, "once");
  EXPECT_EQ(Compress(once, I::CompressionDXT5), I::CompressOk);
  EXPECT_NE(UnitNames(once).find("MMLevel.00"), std::string::npos);

  // Level units beside a record whose compression tokens hold 0 count as no levels.
  const auto t = [](int token) { return TOK::FileToken(token); };
  CNDBFile zero(session_.get());
  for (const char* unit : {"Data", "MMLevel.00"}) zero.AddAttribute(unit, nullptr);
  ASSERT_EQ(zero.Create("zero", 49, 2, 0xFFF, nullptr, 0), 0);
  zero.SelectUnit("Data", 0, false);
  zero << t(1424) << t(1426) << t(1425) << t(1428) << tagSIZE{8, 4} << t(64107) << t(1431) << 6407u
       << t(64104) << t(1427);
  zero.WriteBinary(std::string(8 * 4 * 3, '\x40').data(), 8 * 4 * 3);
  zero << t(64108) << t(64110) << t(64109) << t(2907) << 0u << t(62628) << t(2908) << 0 << t(62627) << t(2912) << short{0}
       << t(62623) << t(64111);
  const CUUID id = zero.GetUuid();
  zero.Close(nullptr, true);
  EXPECT_EQ(Compress(id, I::CompressionDXT1), I::CompressOk);
  EXPECT_EQ(I(*session_, 0, 0).IsCompressedImage(id, nullptr), 1);
}

TEST_F(ImageCompressionTest, CompressIsAtomicUnderEveryStorageFailure) {
  const std::string path = dir_.File("fault.noxdb");
  const auto open = [&](noxdb::FaultStore** fault) {
    noxdb::Status st;
    auto store = std::make_unique<noxdb::FaultStore>(noxdb::OpenSqliteStore(path, &st));
    *fault = store.get();
    return std::make_unique<CNoxDbI>(std::move(store));
  };
  session_ = std::make_unique<CNoxDbI>(path.c_str());
  const CUUID id = Import(Photo(32, 16), 0);
  const std::string before = Data(id);
  session_.reset();
  const std::string pristine = ReadFile(path);

  noxdb::FaultStore* fault = nullptr;
  int changes = 0;
  {
    auto session = open(&fault);
    I importer(*session, 0, 0);
    CNDBFile file(session.get());
    file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0);
    Printed([&] { importer.Compress(file, I::CompressionDXT1); });
    file.Close(nullptr, true);
    changes = fault->Changes();
  }
  ASSERT_GT(changes, 5);
  session_ = std::make_unique<CNoxDbI>(path.c_str());
  const std::string compressed = Data(id);
  const std::string units = UnitNames(id);
  session_.reset();
  for (int n = 1; n <= changes; ++n) {
    SCOPED_TRACE(n);
    for (const char* suffix : {"-journal", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
    WriteFile(path, pristine);
    {
      auto session = open(&fault);
      fault->FailFrom(n);
      I importer(*session, 0, 0);
      CNDBFile file(session.get());
      file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0);
      Printed([&] { importer.Compress(file, I::CompressionDXT1); });
    }
    session_ = std::make_unique<CNoxDbI>(path.c_str());
    // Either the old file, untouched, or the new one whole.
    const std::string after = Data(id);
    EXPECT_TRUE(after == before || (after == compressed && UnitNames(id) == units)) << after;
    session_.reset();
  }
}

}  // namespace
}  // namespace nox::test
