// Compressed images: the data record and level units of each mode and option, the encoder's
// bytes, and Compress of a stored file, atomically.

#include <filesystem>

#include "db/storage/FaultStore.h"
#include "import/ImageImporter.h"
#include "tests/support/ImportFixtures.h"
#include "texture/DDS.h"
#include "texture/MipChain.h"

namespace nox::test {
namespace {

using I = CImageImporter;
std::string N(int n) { return std::to_string(n); }

class ImageCompressionTest : public ImportDbTest {
 protected:
  CUUID Import(const Magick::Image& picture, uint32_t settings, const std::string& name = "p") {
    Magick::Image(picture).write(dir_.File(name + ".png"));
    return ImportPicture(dir_.File(name + ".png"), settings);
  }

  I::ECompressError Compress(CNoxDbI& session, const CUUID& id, int mode, uint32_t settings = 0) {
    I importer(session, settings, 0);
    CNDBFile file(&session);
    EXPECT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
    I::ECompressError result = I::CompressOk;
    printed_ = Printed([&] { result = importer.Compress(file, mode); });
    return result;
  }
};

// " MMLevel.00" and on, `count` level unit names.
std::string Levels(int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += " " + I::levelName(i);
  return out;
}

// The data record of a `w` by `h` picture "p" of `format`, with `pixels` bytes kept (0:
// none) and a DXT part of `mode` and `size` bytes: in the record, or in `levels` level units.
std::string Record(int w, int h, int format, int pixels, int size = -1, int mode = 0, int levels = 0) {
  std::string s = "1424 1433 \"p\" 64102 1426 1425 1428 (" + N(w) + " " + N(h) + ") 64107 1431 =" + N(format) + " 64104 ";
  if (pixels > 0) s += "1427 [" + N(pixels) + "] 64108 ";
  s += "64110 64109";
  if (size >= 0) s += " 2907 =" + N(size) + " 62628 2908 =" + N(mode) + " 62627 ";
  if (size >= 0 && levels == 0) s += "2909 [" + N(size) + "] 62626";
  if (levels > 0) s += "2912 =" + N(levels) + " 62623 2911";
  for (int i = 0; i < levels; ++i, w = std::max(1, w / 2), h = std::max(1, h / 2)) {
    s += " 2913 2915 (" + N(w) + " " + N(h) + ") 62620 2916 \"" + I::levelName(i) + "\" 62619 62622";
  }
  return s + (levels > 0 ? " 62624" : "") + " 64111";
}

TEST_F(ImageCompressionTest, EachModeAndOptionWritesItsRecord) {
  const struct {
    const char* what;
    Magick::Image picture;
    uint32_t settings;
    std::string data;
    std::string units = "";   // between Data and Version
    std::string scaled = "";  // the line printed when the data is scaled down
  } cases[] = {
      {"DXT1", Photo(64, 32), I::CompressionDXT1, Record(64, 32, 6408, 0, 1024, 1)},
      {"DXT1 keeping its pixels", Photo(64, 32), I::CompressionDXT1 | I::KeepOriginalBit,
       Record(64, 32, 6408, 8192, 1024, 1)},
      {"auto with alpha is DXT5", Photo(64, 32, "RGBA"), I::CompressionAuto, Record(64, 32, 6408, 0, 2048, 3)},
      {"DXT5 with levels and an original", Photo(256, 128),
       I::CompressionDXT5 | I::MipmapsBit | I::StoreOriginalIfCompressedBit, Record(256, 128, 6408, 0, 32768, 3, 9),
       " Original" + Levels(9)},
      {"a scaled-down copy", Photo(1000, 500), I::CompressionDXT1 | I::ScaleDownDataBit,
       Record(100, 50, 6407, 15000, 250000, 1), "", "scale down from 1000x500 to 100x50\n"},
      {"a strip reduced along one side only", Photo(101, 1), I::CompressionDXT1 | I::ScaleDownDataBit,
       Record(100, 1, 6407, 300, 200, 1), "", "scale down from 101x1 to 100x1\n"},
      {"levels and an original are made only for a compressed picture", Photo(64, 32),
       I::MipmapsBit | I::StoreOriginalIfCompressedBit, Record(64, 32, 6407, 6144)},
      {"small enough to keep whole", Photo(100, 100), I::CompressionDXT1 | I::ScaleDownDataBit,
       Record(100, 100, 6407, 30000, 5000, 1)},
      // Modes other than 1, 3 and 5 encode into levels of size 0 when the size allows...
      {"mode 2", Photo(64, 32), 2, Record(64, 32, 6408, 0, 0, 2)},
      // ...and else fail, leaving a plain file that still keeps its original.
      {"failed encoder", Photo(30, 30), 4 | I::StoreOriginalIfCompressedBit, Record(30, 30, 6408, 3600), " Original"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const CUUID id = Import(c.picture, c.settings);
    ASSERT_FALSE(id.IsNull());
    EXPECT_EQ(Stream(id), c.data);
    EXPECT_EQ(Layout(id, false), "IconSmall IconDefault IconLarge Data" + c.units + " Version");
    const size_t at = printed_.find("scale down");
    EXPECT_EQ(at == std::string::npos ? "" : printed_.substr(at, printed_.find('\n', at) + 1 - at), c.scaled);
  }
}

TEST_F(ImageCompressionTest, LevelUnitsHoldTheEncodersBlocks) {
  const Magick::Image photo = Photo(256, 128, "RGBA");
  const CUUID id = Import(photo, I::CompressionDXT5 | I::MipmapsCompressedBit);
  // What the encoder makes of the same pixels, stored bottom row first.
  std::string rgba = BottomUp(photo, "RGBA");
  CDDS dds;
  const int count = nox::texture::mipLevelCount(256, 128);
  // The levels own the block buffer from here on.
  void* blocks = std::malloc(nox::texture::mipChainSize(256, 128, 4, 0, count, 3));
  ASSERT_EQ(dds.compress(blocks, rgba.data(), 3, 256, 128, 4, count), 1);
  ASSERT_EQ(dds.levels.size(), 9u);
  for (size_t i = 0; i < dds.levels.size(); ++i) {
    const std::string unit = I::levelName(static_cast<int>(i));
    const auto& level = dds.levels[i];
    EXPECT_EQ(Stream(id, unit), "2913 2915 (" + N(level.dimensions.cx) + " " + N(level.dimensions.cy) +
                                    ") 62620 2916 =" + N(level.size) + " [" + N(level.size) + "] 62619 62622");
    EXPECT_EQ(ValueAfter(id, unit, 2916), std::string(reinterpret_cast<char*>(level.data), level.size));
  }
}

TEST_F(ImageCompressionTest, CompressRewritesAStoredImageInPlace) {
  const CUUID id = Import(Photo(64, 32), 0);
  const std::string pixels = ValueAfter(id, CNDBFile::UNIT_DATA, 1427);
  int levels = -1;
  I reader(*session_, 0, 0);
  EXPECT_EQ(reader.IsCompressedImage(id, &levels), 0);
  EXPECT_EQ(levels, 0);
  EXPECT_EQ(reader.IsCompressedImage(MakeFile("no data", kImageType), &levels), 0);

  ASSERT_EQ(Compress(*session_, id, I::CompressionDXT1), I::CompressOk);
  EXPECT_EQ(Layout(id, false), "IconSmall IconDefault IconLarge Data Original" + Levels(7) + " Version");
  EXPECT_EQ(Stream(id), Record(64, 32, 6407, 6144, 1024, 1, 7));
  EXPECT_EQ(ValueAfter(id, CNDBFile::UNIT_DATA, 1427), pixels);
  EXPECT_EQ(ValueAfter(id, I::UNIT_ORIGINAL, 1427), pixels);
  EXPECT_EQ(reader.IsCompressedImage(id, &levels), 1);
  EXPECT_EQ(levels, 7);
  EXPECT_EQ(Compress(*session_, id, I::CompressionDXT1), I::CompressAlreadyCompressed);
}

TEST_F(ImageCompressionTest, CompressScalesDownAndIgnoresAModeWithoutLevels) {
  const CUUID big = Import(Photo(1000, 500), 0);
  ASSERT_EQ(Compress(*session_, big, I::CompressionDXT1, I::ScaleDownDataBit), I::CompressOk);
  EXPECT_NE(Stream(big).find("1428 (100 50) 64107 1431 =6407 64104 1427 [15000]"), std::string::npos);
  EXPECT_NE(Stream(big, I::UNIT_ORIGINAL).find("1428 (1000 500)"), std::string::npos);

  // Token 2908 without a first level unit goes unnoticed: the file is compressed anew.
  const CUUID once = Import(Photo(64, 32), I::CompressionDXT1 | I::KeepOriginalBit, "once");
  EXPECT_EQ(Compress(*session_, once, I::CompressionDXT5), I::CompressOk);
  EXPECT_NE(Layout(once, false).find("MMLevel.00"), std::string::npos);

  // Level units beside a record whose compression tokens hold 0 count as no levels.
  const auto t = [](int token) { return TOK::FileToken(token); };
  const auto zero = NewFile("zero", {"Data", "MMLevel.00"});
  zero->SelectUnit("Data", 0, false);
  *zero << t(1424) << t(1426) << t(1425) << t(1428) << tagSIZE{8, 4} << t(64107) << t(1431) << 6407u << t(64104) << t(1427);
  zero->WriteBinary(std::string(8 * 4 * 3, '\x40').data(), 8 * 4 * 3);
  *zero << t(64108) << t(64110) << t(64109) << t(2907) << 0u << t(62628) << t(2908) << 0 << t(62627) << t(2912)
       << short{0} << t(62623) << t(64111);
  const CUUID id = zero->GetUuid();
  zero->Close(nullptr, true);
  EXPECT_EQ(Compress(*session_, id, I::CompressionDXT1), I::CompressOk);
  EXPECT_EQ(I(*session_, 0, 0).IsCompressedImage(id, nullptr), 1);
}

TEST_F(ImageCompressionTest, CompressIsAtomicUnderEveryStorageFailure) {
  const std::string path = dir_.File("fault.noxdb");
  session_ = std::make_unique<CNoxDbI>(path.c_str());
  const CUUID id = Import(Photo(32, 16), 0);
  const std::string before = Stream(id);
  session_.reset();
  const std::string pristine = ReadFile(path);
  // Compresses on a fresh copy of the database whose storage fails from change `failFrom`
  // on; the number of changes made.
  const auto compress = [&](int failFrom) {
    for (const char* suffix : {"-journal", "-wal", "-shm"}) std::filesystem::remove(path + suffix);
    WriteFile(path, pristine);
    noxdb::Status st;
    auto store = std::make_unique<noxdb::FaultStore>(noxdb::OpenSqliteStore(path, &st));
    noxdb::FaultStore* fault = store.get();
    if (failFrom > 0) fault->FailFrom(failFrom);
    CNoxDbI session(std::move(store));
    Compress(session, id, I::CompressionDXT1);
    return fault->Changes();
  };
  const int changes = compress(0);
  ASSERT_GT(changes, 5);
  session_ = std::make_unique<CNoxDbI>(path.c_str());
  const std::string compressed = Stream(id), units = Layout(id);
  for (int n = 1; n <= changes; ++n) {
    SCOPED_TRACE(n);
    session_.reset();
    compress(n);
    session_ = std::make_unique<CNoxDbI>(path.c_str());
    // Either the old file, untouched, or the new one whole.
    const std::string after = Stream(id);
    EXPECT_TRUE(after == before || (after == compressed && Layout(id) == units)) << after;
  }
}

}  // namespace
}  // namespace nox::test
