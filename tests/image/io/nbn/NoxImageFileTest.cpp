// NBN files written and read back through CNoxImage and CMemNoxImage.

#include <gtest/gtest.h>
#include <squish.h>

#include <cstdlib>
#include <cstring>
#include <tuple>

#include "image/io/nbn/FastDxt.h"
#include "image/io/nbn/MemNoxImage.h"
#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaSamples.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::nbn;
using nox::test::ReadFile;
using nox::test::TempDir;
using nox::test::WriteFile;

uint32_t le32(const Bytes& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24;
}

Bytes readBytes(const std::string& path) { return toBytes(ReadFile(path)); }

Bytes levelBytes(const CNoxImage& image, int level, int64_t size) {
  return Bytes(image.level_pixels(level), image.level_pixels(level) + size);
}

// A 32x32 picture of `format` (1, 3, 5 or 6) whose four-channel form is block-exact for DXT.
void fillPicture(CNoxImage& image, int format, int width = 32, int height = 32) {
  const Bytes rgba = blockExactRgba(width, height, 21);
  image.set_geometry(width, height, format);
  const int bpp = image.bytes_per_pixel();
  for (int i = 0; i < width * height; ++i)
    for (int ch = 0; ch < bpp; ++ch) image.pixels()[i * bpp + ch] = rgba[i * 4 + ch];
  if (format == kNbnIndexed) {
    uint32_t palette[256];
    for (uint32_t i = 0; i < 256; ++i) palette[i] = i * 0x010203u;
    image.set_palette(palette);
    image.set_transparent_index(7);
  }
  image.set_geo_block(12, 5.0, 6.0, 45.0, 46.0);
}

struct SaveCase {
  const char* name;
  int packWord;
  unsigned flags;
  int format;
};

class NbnRoundTrip : public testing::TestWithParam<SaveCase> {};

TEST_P(NbnRoundTrip, ReadsBackWhatWasWritten) {
  const SaveCase sc = GetParam();
  TempDir dir;
  const std::string path = dir.File("picture.nbn");
  const int packLow = sc.packWord & 0xFF;
  const bool dxt = packLow == 2 || packLow == 3;
  const int savedPack = packLow == 1 ? 256 : sc.packWord;

  CNoxImage writer;
  fillPicture(writer, sc.format);
  ASSERT_TRUE(writer.save(path.c_str(), sc.packWord, sc.flags));
  const Bytes file = readBytes(path);

  // The writer converted in place when asked to and left the plain chain in its buffer.
  const bool converted = dxt || (sc.flags & kNbnToRgba);
  const int format = converted ? kNbnRgba : sc.format;
  const int bpp = nbnFormatBytes(format);
  EXPECT_EQ(writer.picture_format(), format);
  const int levels = writer.level_count() + 1;
  std::vector<Bytes> expected;
  const uint8_t* plain = writer.pixels();
  for (int i = 0; i < levels; ++i) {
    const int w = 32 >> i;
    const size_t size = size_t(w) * w * bpp;
    Bytes level(plain, plain + size);
    plain += size;
    if (dxt) {
      Bytes blocks(size / (packLow == 2 ? 8 : 4));
      if (sc.flags & kNbnSquish)
        squish::CompressImage(level.data(), w, w, blocks.data(), packLow == 2 ? squish::kDxt1 : squish::kDxt5);
      else if (sc.flags & kNbnFlip)
        (packLow == 2 ? encode_dxt1_flipped : encode_dxt5_flipped)(level.data(), blocks.data(), w, w);
      else
        (packLow == 2 ? encode_dxt1 : encode_dxt5)(level.data(), blocks.data(), w, w);
      level = blocks;
    }
    expected.push_back(level);
  }
  const Bytes plain0(writer.pixels(), writer.pixels() + 32 * 32 * bpp);

  // The same file comes out of the memory writer.
  CMemNoxImage memWriter;
  fillPicture(memWriter, sc.format);
  ASSERT_TRUE(memWriter.save_to_memory(sc.packWord, sc.flags));
  EXPECT_EQ(Bytes(memWriter.buffer(), memWriter.buffer() + memWriter.high_water()), file);

  CNoxImage reader;
  ASSERT_TRUE(reader.load(path.c_str(), true));
  EXPECT_EQ(std::make_tuple(reader.version(), reader.sub_version(), reader.width(), reader.height(), reader.picture_format(),
                            reader.bytes_per_pixel(), reader.pack_word(), reader.level_count(), reader.blank()),
            std::make_tuple(3, 4, 32, 32, format, bpp, savedPack, levels - 1, false));
  EXPECT_EQ(reader.has_palette(), format == kNbnIndexed && (sc.flags & kNbnWritePalette));
  EXPECT_EQ(reader.has_geo_block(), bool(sc.flags & kNbnWriteGeoBlock));
  const bool fullCopy = dxt && (sc.flags & kNbnFullCopy);
  EXPECT_EQ(reader.full_image_size() > 0, fullCopy);
  int64_t payload = 0;
  for (int i = 0; i < levels; ++i) {
    payload += reader.stored_size(i);
    EXPECT_EQ(reader.stored_size(i), le32(file, 64 + 4 * i));
    ASSERT_EQ(reader.decoded_size(i), int64_t(expected[i].size())) << i;
    EXPECT_EQ(levelBytes(reader, i, reader.decoded_size(i)), expected[i]) << "level " << i;
  }
  EXPECT_EQ(reader.payload_size(), payload);
  EXPECT_TRUE(!reader.has_palette() || (reader.palette()[255] == 255u * 0x010203u && reader.transparent_index() == 7));
  if (reader.has_geo_block()) {
    EXPECT_EQ(reader.geo_type(), 12);
    EXPECT_EQ(std::vector<double>(reader.geo_bounds(), reader.geo_bounds() + 4), (std::vector<double>{5, 6, 45, 46}));
  }

  // From memory the last byte of the block is never read: the end of the last part read
  // may come out as 0.
  // A last level of one byte thus reads as a count of 0, which fails the load.
  const bool lastIsOneByte = !fullCopy && reader.stored_size(levels - 1) == 1;
  CMemNoxImage memReader;
  ASSERT_EQ(memReader.load_from_memory(file.data(), uint32_t(file.size()), true), !lastIsOneByte);
  for (int i = 0; i < levels && !lastIsOneByte; ++i) {
    Bytes got = levelBytes(memReader, i, memReader.decoded_size(i));
    if (i == levels - 1 && !fullCopy && got.back() == 0) got.back() = expected[i].back();
    EXPECT_EQ(got, expected[i]) << "level " << i;
  }

  // Decoded: plain pixels of level 0, from the full-size copy, the raw level or libsquish.
  CNoxImage decoded;
  const bool loaded = decoded.load_decoded(path.c_str());
  EXPECT_EQ(decoded.storage_mode(), 2);
  const Bytes got(decoded.pixels(), decoded.pixels() + plain0.size());
  if (fullCopy && (reader.has_palette() || reader.has_geo_block())) {
    // The copy is sought as if neither lay before the levels, by design: it is missed.
    EXPECT_TRUE(!loaded || got != plain0);
    return;
  }
  ASSERT_TRUE(loaded);
  EXPECT_EQ(decoded.level_count() == 0, fullCopy || reader.level_count() == 0);
  const bool fromBlocks = dxt && !fullCopy;
  // Blocks of the flipping encoders decode upside down with red and blue swapped.
  const Bytes want = fromBlocks && (sc.flags & kNbnFlip) ? flipAndSwap(plain0, 32, 32) : plain0;
  // The fast encoders keep two-colour blocks exact; libsquish only comes close.
  const int tolerance = fromBlocks && (sc.flags & kNbnSquish) ? 8 : 0;
  for (size_t i = 0; i < want.size(); ++i) {
    if (fromBlocks && packLow == 2 && i % 4 == 3) continue;  // DXT1 keeps no alpha
    ASSERT_LE(std::abs(got[i] - want[i]), tolerance) << "byte " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Forms, NbnRoundTrip,
    testing::Values(
        SaveCase{"raw_rgba", 0, 0, kNbnRgba},
        SaveCase{"raw_rgb_chain", 0, kNbnMipChain, kNbnRgb},
        SaveCase{"raw_luminance_chain_geo", 0, kNbnMipChain | kNbnWriteGeoBlock, kNbnLuminance},
        SaveCase{"one_means_lz", 1, kNbnMipChain, kNbnRgba},
        SaveCase{"lz_rgba", 256, 0, kNbnRgba},
        SaveCase{"lz_palette_chain", 256, kNbnMipChain | kNbnWritePalette, kNbnIndexed},
        SaveCase{"raw_palette_not_written", 0, 0, kNbnIndexed},
        SaveCase{"raw_palette_geo", 0, kNbnWritePalette | kNbnWriteGeoBlock, kNbnIndexed},
        SaveCase{"rgb_to_rgba", 0, kNbnToRgba | kNbnAlphaFromColour, kNbnRgb},
        SaveCase{"dxt1", 2, 0, kNbnRgba},
        SaveCase{"dxt1_chain", 2, kNbnMipChain, kNbnRgba},
        SaveCase{"dxt1_chain_flip", 2, kNbnMipChain | kNbnFlip, kNbnRgba},
        SaveCase{"dxt1_squish", 2, kNbnSquish, kNbnRgba},
        SaveCase{"dxt1_chain_full_copy", 2, kNbnMipChain | kNbnFullCopy, kNbnRgba},
        SaveCase{"dxt5_from_rgb", 3, 0, kNbnRgb},
        SaveCase{"dxt5_chain_squish", 3, kNbnMipChain | kNbnSquish, kNbnRgba},
        SaveCase{"dxt5_full_copy_geo", 3, kNbnFullCopy | kNbnWriteGeoBlock, kNbnRgba},
        SaveCase{"lz_dxt1_chain_full_copy_flip", 258, kNbnMipChain | kNbnFullCopy | kNbnFlip, kNbnRgba},
        SaveCase{"lz_dxt5_chain", 259, kNbnMipChain, kNbnRgba},
        SaveCase{"lz_dxt5_full_copy_palette", 259, kNbnFullCopy | kNbnWritePalette, kNbnRgba}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(NbnFile, HeaderBytesLieWhereReadersLookForThem) {
  TempDir dir;
  const std::string path = dir.File("layout.nbn");
  CNoxImage image;
  fillPicture(image, kNbnIndexed, 8, 4);
  image.set_transparent_index(-2);
  ASSERT_TRUE(image.save(path.c_str(), 0, kNbnMipChain | kNbnWritePalette | kNbnWriteGeoBlock | kNbnBlank));
  const Bytes f = readBytes(path);
  const Bytes magic = {0x1E, 0xF1, 0x0D, 0x90};
  EXPECT_EQ(Bytes(f.begin(), f.begin() + 4), magic);
  const uint32_t fields[] = {3, 4, 8, 4, 1, 0, 6, 2, 32 + 8 + 2, 0};  // version .. fullImageSize
  for (int i = 0; i < 10; ++i) EXPECT_EQ(le32(f, 4 + 4 * i), fields[i]) << "field at " << 4 + 4 * i;
  EXPECT_EQ(f[44] | f[45] << 8, 1);       // hasPalette
  EXPECT_EQ(f[46] | f[47] << 8, 0xFFFE);  // transparentIndex, 16 bits
  EXPECT_EQ(f[48] | f[49] << 8, 1);       // hasGeoBlock
  EXPECT_EQ(f[50] | f[51] << 8, 1);       // blankFlag
  EXPECT_EQ(le32(f, 64), 32u);            // level 0: 8x4 indices
  EXPECT_EQ(le32(f, 68), 8u);             // level 1: 4x2
  EXPECT_EQ(le32(f, 72), 2u);             // level 2: 2x1, where the chain stops
  EXPECT_EQ(le32(f, 76), 0u);
  EXPECT_EQ(le32(f, 192 + 4 * 255), 255u * 0x010203u);  // palette entry 255
  EXPECT_EQ(le32(f, 1216), 12u);                        // geo type
  double maxY;
  std::memcpy(&maxY, &f[1216 + 32], 8);
  EXPECT_EQ(maxY, 46.0);
  EXPECT_EQ(f.size(), 1256u + 42);
}

struct ChainCase {
  int side;
  int packWord;
  int mipShift;
  bool saves;
  int levelCount;
  int lastSide;
};

class NbnMipChain : public testing::TestWithParam<ChainCase> {};

TEST_P(NbnMipChain, StopsWhereTheFormatSays) {
  const ChainCase cc = GetParam();
  TempDir dir;
  const std::string path = dir.File("chain.nbn");
  CNoxImage image;
  image.set_geometry(cc.side, cc.side, kNbnRgb);
  image.set_mip_shift(cc.mipShift);
  ASSERT_EQ(image.save(path.c_str(), cc.packWord, kNbnMipChain), cc.saves);
  if (!cc.saves) return;
  CNoxImage reader;
  ASSERT_TRUE(reader.load_header(path.c_str()));
  EXPECT_EQ(reader.level_count(), cc.levelCount);
  const int bpp = (cc.packWord & 0xFF) == 0 ? 3 : 4;
  const int divide = (cc.packWord & 0xFF) == 2 ? 8 : (cc.packWord & 0xFF) == 3 ? 4 : 1;
  EXPECT_EQ(reader.stored_size(cc.levelCount), uint32_t(cc.lastSide * cc.lastSide * bpp / divide));
  ASSERT_TRUE(reader.load_level(path.c_str(), cc.levelCount));
  EXPECT_EQ(reader.width(), cc.lastSide);
}

INSTANTIATE_TEST_SUITE_P(Ends, NbnMipChain,
                         testing::Values(ChainCase{6, 0, 2, false, 0, 0}, ChainCase{6, 0, 1, true, 1, 3},
                                         ChainCase{1024, 2, 1, true, 8, 4},
                                         ChainCase{1024, 3, 1, true, 8, 4},
                                         ChainCase{1024, 0, 1, true, 10, 1},
                                         ChainCase{8, 2, 2, false, 0, 0}));

TEST(NbnFile, BlankFlagFillsTheSingleLevel) {
  TempDir dir;
  const std::string path = dir.File("blank.nbn");
  CNoxImage writer;
  fillPicture(writer, kNbnRgb, 16, 8);
  const Bytes original(writer.pixels(), writer.pixels() + 16 * 8 * 3);
  ASSERT_TRUE(writer.save(path.c_str(), 256, kNbnMipChain | kNbnBlank));

  CNoxImage blank;
  ASSERT_TRUE(blank.load(path.c_str(), true));
  EXPECT_TRUE(blank.blank());
  EXPECT_EQ(blank.level_count(), 0);
  EXPECT_EQ(levelBytes(blank, 0, 16 * 8 * 3), Bytes(16 * 8 * 3, 204));

  CNoxImage plain;
  ASSERT_TRUE(plain.load_without_blank(path.c_str(), true));
  EXPECT_EQ(plain.level_count(), 3);
  EXPECT_EQ(levelBytes(plain, 0, 16 * 8 * 3), original);
}

// A file put together by hand, as older writers made them.
Bytes handMadeFile(NbnHeader head, const std::vector<uint32_t>& table, const Bytes& extra,
                   const Bytes& payload) {
  Bytes f(kNbnHeaderSize);
  head.magic = head.magic ? head.magic : kNbnMagic;
  encodeNbnHeader(head, f.data());
  if (head.version >= 3) {
    Bytes t(kNbnTableSize);
    for (size_t i = 0; i < table.size(); ++i)
      for (int b = 0; b < 4; ++b) t[4 * i + b] = uint8_t(table[i] >> (8 * b));
    f.insert(f.end(), t.begin(), t.end());
  }
  f.insert(f.end(), extra.begin(), extra.end());
  f.insert(f.end(), payload.begin(), payload.end());
  return f;
}

NbnHeader headerOf(int version, int subVersion, int bpp, int format, int levelCount, int payload) {
  NbnHeader h;
  h.version = version;
  h.subVersion = subVersion;
  h.width = 4;
  h.height = 2;
  h.bytesPerPixel = bpp;
  h.pictureFormat = format;
  h.levelCount = levelCount;
  h.payloadSize = payload;
  return h;
}

struct OldFileCase {
  const char* name;
  NbnHeader head;
  bool keepLevels;
  bool loads;
  int format;
};

class NbnOldFile : public testing::TestWithParam<OldFileCase> {};

TEST_P(NbnOldFile, LoadsAsTheLayoutOfItsVersion) {
  const OldFileCase oc = GetParam();
  TempDir dir;
  const std::string path = dir.File("old.nbn");
  const Bytes payload = sampleBytes(Kind::Image, 4 * 2 * 4);
  WriteFile(path, toString(handMadeFile(oc.head, {uint32_t(payload.size())}, {}, payload)));
  CNoxImage image;
  EXPECT_EQ(image.load(path.c_str(), oc.keepLevels), oc.loads);
  if (!oc.loads) return;
  EXPECT_EQ(image.picture_format(), oc.format);
  EXPECT_EQ(image.bytes_per_pixel(), nbnFormatBytes(oc.format));
  const int64_t size = image.decoded_size(0);
  EXPECT_EQ(levelBytes(image, 0, size), Bytes(payload.begin(), payload.begin() + size));
}

INSTANTIATE_TEST_SUITE_P(
    Versions, NbnOldFile,
    testing::Values(
        OldFileCase{"v2_rgba", headerOf(2, 4, 4, kNbnRgba, 0, 32), true, true, kNbnRgba},
        OldFileCase{"v2_with_levels", headerOf(2, 4, 4, kNbnRgba, 1, 32), true, false, 0},
        OldFileCase{"v2_with_levels_not_kept", headerOf(2, 4, 4, kNbnRgba, 1, 32), false, true, kNbnRgba},
        // The old layout takes its format from the bytes per pixel and its payload from the
        // file size; the header's fields for them are ignored.
        OldFileCase{"v2_old_bpp4", headerOf(2, 0, 4, kNbnLuminance, 0, 0), true, true, kNbnRgba},
        OldFileCase{"v2_old_bpp7", headerOf(2, 0, 7, kNbnLuminance, 0, 0), true, true, kNbnRgba},
        OldFileCase{"v2_old_bpp3", headerOf(2, 0, 3, kNbnRgba, 0, 0), true, true, kNbnRgb},
        OldFileCase{"v2_payload_zero", headerOf(2, 4, 4, kNbnRgba, 0, 0), true, false, 0},
        OldFileCase{"v1", headerOf(1, 4, 4, kNbnRgba, 0, 32), true, false, 0},
        OldFileCase{"v3_level_entry_zero", headerOf(3, 4, 4, kNbnRgba, 1, 32), true, false, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// A full-size copy is only sought behind DXT levels: a raw file's copy size is not held
// against the file's length.
TEST(NbnFile, RawFileIgnoresItsCopySize) {
  NbnHeader head = headerOf(3, 4, 4, kNbnRgba, 0, 32);
  head.fullImageSize = 0x7FFFFFFF;
  const Bytes file = handMadeFile(head, {32}, {}, sampleBytes(Kind::Image, 33));
  CMemNoxImage image;
  ASSERT_TRUE(image.load_from_memory(file.data(), uint32_t(file.size()), true));
  EXPECT_TRUE(image.load_decoded(nullptr));
}

struct GeoCase {
  uint32_t storedType;
  bool kept;
  int type;
};

class NbnGeoBlock : public testing::TestWithParam<GeoCase> {};

TEST_P(NbnGeoBlock, KeepsTypesOneAndTwelveOnly) {
  const GeoCase gc = GetParam();
  TempDir dir;
  const std::string path = dir.File("geo.nbn");
  CNoxImage writer;
  fillPicture(writer, kNbnIndexed, 8, 8);
  const Bytes indices(writer.pixels(), writer.pixels() + 64);
  ASSERT_TRUE(writer.save(path.c_str(), 256, kNbnWritePalette | kNbnWriteGeoBlock));
  Bytes file = readBytes(path);
  for (int b = 0; b < 4; ++b) file[1216 + b] = uint8_t(gc.storedType >> (8 * b));
  WriteFile(path, toString(file));

  CNoxImage reader;
  ASSERT_TRUE(reader.load(path.c_str(), true));
  EXPECT_EQ(reader.has_geo_block(), gc.kept);
  EXPECT_EQ(reader.geo_type(), gc.type);
  if (gc.kept) {
    EXPECT_EQ(reader.geo_bounds()[0], 5.0);
  }
  EXPECT_TRUE(reader.has_palette());
  EXPECT_EQ(reader.palette()[3], 3u * 0x010203u);
  EXPECT_EQ(levelBytes(reader, 0, 64), indices);
  // The header alone: no pixels are laid out for a picture that is not blank.
  CNoxImage geoOnly;
  EXPECT_EQ(geoOnly.load_geo_only(path.c_str()), gc.kept);
  EXPECT_EQ(geoOnly.pixels(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Types, NbnGeoBlock,
                         testing::Values(GeoCase{0, true, 1}, GeoCase{1, true, 1},
                                         GeoCase{12, true, 12}, GeoCase{5, false, -1}));

TEST(NbnFile, LoadLevelLeavesTheGeoBlockOutOfItsOffset) {
  TempDir dir;
  for (const unsigned extra : {0u, unsigned(kNbnWritePalette), unsigned(kNbnWriteGeoBlock)}) {
    const std::string path = dir.File("levels" + std::to_string(extra) + ".nbn");
    CNoxImage writer;
    fillPicture(writer, kNbnIndexed, 16, 16);
    ASSERT_TRUE(writer.save(path.c_str(), 0, kNbnMipChain | extra));
    const Bytes file = readBytes(path);
    const size_t levelsAt = 192 + ((extra & kNbnWritePalette) ? 1024 : 0) + ((extra & kNbnWriteGeoBlock) ? 40 : 0);
    const size_t level2At = levelsAt + 256 + 64;
    const size_t readAt = (extra & kNbnWriteGeoBlock) ? level2At - 40 : level2At;

    CNoxImage reader;
    ASSERT_TRUE(reader.load_level(path.c_str(), 2));
    EXPECT_EQ(reader.width(), 4);
    EXPECT_EQ(reader.height(), 4);
    EXPECT_EQ(reader.level_count(), 0);
    EXPECT_EQ(levelBytes(reader, 0, 16), Bytes(file.begin() + readAt, file.begin() + readAt + 16)) << extra;
    EXPECT_FALSE(reader.load_level(path.c_str(), 5));
  }
}

TEST(NbnFile, HeaderOnlyLoadsLeaveThePixelsAlone) {
  TempDir dir;
  const std::string path = dir.File("header.nbn");
  CNoxImage writer;
  fillPicture(writer, kNbnRgba, 16, 16);
  ASSERT_TRUE(writer.save(path.c_str(), 3, kNbnMipChain));

  CNoxImage image;
  ASSERT_TRUE(image.load_header(path.c_str()));
  EXPECT_EQ(image.storage_mode(), 0);
  EXPECT_EQ(image.pixels(), nullptr);
  EXPECT_EQ(image.level_count(), 2);
  EXPECT_EQ(image.decoded_size(0), 16 * 16 * 4 / 4);
  EXPECT_EQ(image.decoded_size(1), 8 * 8 * 4 / 4);
  EXPECT_FALSE(image.load_geo_only(path.c_str()));
  EXPECT_FALSE(image.load_header("a.nb"));
  for (const auto& load : {&CNoxImage::load_header, &CNoxImage::load_geo_only, &CNoxImage::load_decoded})
    EXPECT_FALSE((image.*load)(dir.File("missing.nbn").c_str()));
  EXPECT_FALSE(image.load_level(dir.File("missing.nbn").c_str(), 0));
}

TEST(NbnFile, CallersBufferHoldsTheLevel) {
  TempDir dir;
  const std::string path = dir.File("external.nbn");
  CNoxImage writer;
  fillPicture(writer, kNbnRgb, 8, 8);
  const Bytes original(writer.pixels(), writer.pixels() + 192);
  ASSERT_TRUE(writer.save(path.c_str(), 256, 0));

  CNoxImage header;
  ASSERT_TRUE(header.load_header(path.c_str()));
  EXPECT_FALSE(header.set_external_buffer(nullptr, 191));

  Bytes mine(192);
  CNoxImage image;
  ASSERT_TRUE(image.load_header(path.c_str()));
  ASSERT_TRUE(image.set_external_buffer(mine.data(), 192));
  ASSERT_TRUE(image.load(path.c_str(), false));
  EXPECT_EQ(image.storage_mode(), 3);
  EXPECT_EQ(mine, original);

  // Saving from the caller's buffer builds the chain in a private copy.
  const std::string again = dir.File("again.nbn");
  ASSERT_TRUE(image.save(again.c_str(), 0, kNbnMipChain));
  EXPECT_EQ(mine, original);
  CNoxImage reader;
  ASSERT_TRUE(reader.load(again.c_str(), true));
  EXPECT_EQ(reader.level_count(), 3);
  EXPECT_EQ(levelBytes(reader, 0, 192), original);
}

TEST(NbnFile, SizesGoThroughSinglePrecision) {
  // 4097 x 4097 = 16785409 bytes, which a 32-bit float holds as 16785408.
  TempDir dir;
  const std::string path = dir.File("big.nbn");
  CNoxImage image;
  image.set_geometry(4097, 4097, kNbnLuminance);
  ASSERT_TRUE(image.save(path.c_str(), 0, 0));
  const Bytes file = readBytes(path);
  EXPECT_EQ(le32(file, 64), 16785408u);
  EXPECT_EQ(file.size(), 192u + 16785408u);
  CNoxImage reader;
  ASSERT_TRUE(reader.load_header(path.c_str()));
  EXPECT_EQ(reader.decoded_size(0), 16785408);
}

}  // namespace
