// NBN files: the writer's exact bytes, every pixel kind and packing read back, what the
// readers make of files put together by hand, and the images of the handler.

#include <gtest/gtest.h>
#include <squish.h>

#include <cstring>
#include <tuple>

#include "image/image/Image.h"
#include "image/io/nbn/FastDxt.h"
#include "image/io/nbn/ImageHandlerNBN.h"
#include "image/io/nbn/MemNoxImage.h"
#include "image/io/nbn/NoxImage.h"
#include "tests/support/MediaSamples.h"
#include "tests/support/TempDir.h"

namespace {

using namespace nox::image;
using namespace nox::image::io;
using namespace nox::test::nbn;
using namespace nox::test;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Bytes le32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

Bytes levelOf(const CNoxImage& image, int level) {
  return Bytes(image.level_pixels(level), image.level_pixels(level) + image.decoded_size(level));
}

// Offsets of header fields and level table entries, for changes made to a file.
enum Field { Version = 4, Sub = 8, Width = 12, Height = 16, Bpp = 20, Pack = 24, Format = 28, Levels = 32 };
enum MoreFields { Payload = 36, Full = 40, Blank = 50, Table0 = 64, Table1 = 68 };
using Changes = std::vector<std::pair<int, uint32_t>>;

// An NBN file of version 3 put together from its levels, palette and bounds block, with
// `changes` of 32-bit little-endian values made to it; the level size table goes when the
// version drops below 3.
Bytes nbnBytes(int width, int height, int format, int packWord, const std::vector<Bytes>& levels,
               const Changes& changes = {}, const Bytes& paletteAndGeo = {}) {
  Bytes file(kNbnLeadSize), payload;
  NbnHeader head{kNbnMagic, 3, 4, width, height, nbnFormatBytes(format), packWord, format, int(levels.size()) - 1};
  for (size_t i = 0; i < levels.size(); ++i) {
    std::memcpy(&file[Table0 + 4 * i], le32(uint32_t(levels[i].size())).data(), 4);
    payload = payload + levels[i];
  }
  head.payloadSize = int(payload.size());
  head.transparentIndex = -1;
  head.hasPalette = head.hasGeoBlock = !paletteAndGeo.empty();
  encodeNbnHeader(head, file.data());
  for (const auto& [at, value] : changes) std::memcpy(&file[at], le32(value).data(), 4);
  if (file[Version] < 3) file.resize(kNbnHeaderSize);
  return file + paletteAndGeo + payload;
}

// Every part where the format puts it: header, table, palette, bounds block and levels.
TEST(NbnFile, WriterBytesAreExact) {
  CMemNoxImage indexed;
  indexed.set_geometry(8, 4, kNbnIndexed);
  std::memset(indexed.pixels(), 9, 32);
  const Bytes palette = sampleBytes(Kind::Random, kNbnPaletteSize, 3);
  indexed.set_palette(reinterpret_cast<const uint32_t*>(palette.data()));
  indexed.set_transparent_index(-2);
  indexed.set_geo_block(12, 5.0, 6.0, 45.0, 46.0);
  ASSERT_TRUE(indexed.save_to_memory(0, kNbnMipChain | kNbnWritePalette | kNbnWriteGeoBlock | kNbnBlank));
  const Bytes head = fromHex(
      "1EF10D90 03000000 04000000 08000000 04000000 01000000 00000000 06000000 02000000 2A000000 00000000 "
      "0100 FEFF 0100 0100 000000000000000000000000 20000000 08000000 02000000");
  const Bytes geo = fromHex("0C000000 00000000 0000000000001440 0000000000001840 0000000000804640 0000000000004740");
  EXPECT_EQ(Bytes(indexed.buffer(), indexed.buffer() + indexed.high_water()),
            head + Bytes(116, 0) + palette + geo + Bytes(42, 9));
}

// Level pixels as a file must hold them: DXT blocks from the encoder the flags choose.
Bytes encoded(Bytes level, int side, int packLow, unsigned flags) {
  if (packLow != kNbnDxt1 && packLow != kNbnDxt5) return level;
  const bool one = packLow == kNbnDxt1;
  Bytes blocks(level.size() / (one ? 8 : 4));
  if (flags & kNbnSquish)
    squish::CompressImage(level.data(), side, side, blocks.data(), one ? squish::kDxt1 : squish::kDxt5);
  else if (flags & kNbnFlip)
    (one ? encode_dxt1_flipped : encode_dxt5_flipped)(level.data(), blocks.data(), side, side);
  else
    (one ? encode_dxt1 : encode_dxt5)(level.data(), blocks.data(), side, side);
  return blocks;
}

auto stateOf(const CNoxImage& i) {
  return std::make_tuple(i.version(), i.sub_version(), i.width(), i.height(), i.picture_format(), i.bytes_per_pixel(),
                         i.pack_word(), i.level_count(), i.palette()[255], i.transparent_index(), i.geo_type(),
                         std::vector<double>(i.geo_bounds(), i.geo_bounds() + 4));
}

using Form = std::tuple<int, int, unsigned>;  // picture format, pack word, save flags

class NbnRoundTrip : public testing::TestWithParam<Form> {};

// A 32x32 picture with a palette and a bounds block, written and put on disk, read back whole,
// as its header alone and as level 0 in plain pixels.
TEST_P(NbnRoundTrip, ReadsBackWhatWasWritten) {
  const auto [format, packWord, flags] = GetParam();
  const int packLow = packWord & 0xFF;
  const bool dxt = packLow == kNbnDxt1 || packLow == kNbnDxt5;
  TempDir dir;
  const std::string path = dir.File("picture.nbn");
  const Bytes rgba = blockExactRgba(32, 32, 21);
  CMemNoxImage writer;
  writer.set_geometry(32, 32, format);
  int bpp = writer.bytes_per_pixel();
  for (int i = 0; i < 32 * 32 * bpp; ++i) writer.pixels()[i] = rgba[i / bpp * 4 + i % bpp];
  uint32_t colours[kNbnPaletteEntries];
  for (uint32_t i = 0; i < kNbnPaletteEntries; ++i) colours[i] = i * 0x010203u;
  writer.set_palette(colours);
  writer.set_transparent_index(7);
  writer.set_geo_block(12, 5.0, 6.0, 45.0, 46.0);
  // A palette has no four-channel form.
  const bool saves = format != kNbnIndexed || !(dxt || (flags & kNbnToRgba));
  ASSERT_EQ(writer.save_to_memory(packWord, flags), saves);
  if (!saves) return;
  const Bytes file(writer.buffer(), writer.buffer() + writer.high_water());
  WriteFile(path, toString(file));

  CNoxImage reader, header;
  ASSERT_TRUE(reader.load(path.c_str(), true));
  ASSERT_TRUE(header.load_header(path.c_str()));
  const bool palette = flags & kNbnWritePalette;
  const bool geo = flags & kNbnWriteGeoBlock;
  const int levelCount = (flags & kNbnMipChain) ? (dxt ? 3 : 5) : 0;
  bpp = writer.bytes_per_pixel();  // four once converted
  EXPECT_EQ(
      stateOf(reader),
      std::make_tuple(3, 4, 32, 32, dxt || (flags & kNbnToRgba) ? kNbnRgba : format, bpp,
                      packLow == 1 ? kNbnLz : packWord, levelCount, palette ? 255 * 0x010203u : 0u, palette ? 7 : -1,
                      geo ? 12 : 0, geo ? std::vector<double>{5, 6, 45, 46} : std::vector<double>{-180, 180, -90, 90}));
  EXPECT_EQ(stateOf(header), stateOf(reader));
  EXPECT_EQ(std::make_tuple(header.storage_mode(), header.pixels()),
            std::make_tuple(0, static_cast<uint8_t*>(nullptr)));
  const bool fullCopy = dxt && (flags & kNbnFullCopy);
  EXPECT_EQ(
      std::make_tuple(reader.full_image_size() > 0, file.size()),
      std::make_tuple(fullCopy, size_t(kNbnLeadSize + (palette ? kNbnPaletteSize : 0) + (geo ? kNbnGeoBlockSize : 0) +
                                       reader.payload_size() + reader.full_image_size())));
  // The writer made the chain behind level 0 in its buffer.
  std::vector<Bytes> levels;
  for (int i = 0, side = 32, at = 0; i <= levelCount; at += side * side * bpp, ++i, side /= 2) {
    levels.push_back(
        encoded(Bytes(writer.pixels() + at, writer.pixels() + at + side * side * bpp), side, packLow, flags));
    EXPECT_EQ(levelOf(reader, i), levels[i]) << "level " << i;
  }

  // The full-size copy is sought as if neither palette nor bounds block lay before the levels,
  // by design: then it is missed. DXT levels without a copy are decoded by libsquish.
  CNoxImage decoded;
  const bool loaded = decoded.load_decoded(path.c_str());
  Bytes want(writer.pixels(), writer.pixels() + 32 * 32 * bpp);
  if (dxt && !fullCopy)
    squish::DecompressImage(want.data(), 32, 32, levels[0].data(), packLow == 2 ? squish::kDxt1 : squish::kDxt5);
  EXPECT_EQ(loaded && Bytes(decoded.pixels(), decoded.pixels() + want.size()) == want, !(fullCopy && (palette || geo)));
  EXPECT_EQ(decoded.level_count(), fullCopy ? 0 : levelCount);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, NbnRoundTrip,
    testing::Combine(testing::Values(kNbnAlpha, kNbnLuminanceAlpha, kNbnRgb, kNbnRgba, kNbnIndexed),
                     testing::Values(kNbnRaw, 1, kNbnLz, kNbnDxt1, kNbnDxt5, kNbnLzDxt1, kNbnLzDxt5),
                     testing::Values(0u, kNbnMipChain | kNbnWritePalette | kNbnWriteGeoBlock | kNbnSquish,
                                     kNbnMipChain | kNbnFullCopy | kNbnFlip, kNbnFullCopy | kNbnWriteGeoBlock,
                                     kNbnToRgba | kNbnAlphaFromColour)));

// Where the mip chain ends, when a picture cannot be saved, and sizes that pass through a
// 32-bit float (4097 x 4097 = 16785409 bytes, which it holds as 16785408).
TEST(NbnFile, ChainEndsAndRefusals) {
  const struct {
    int side, format, packWord, mipShift;  // a shift below 0: no chain
    bool saves;
    int levelCount;
    uint32_t lastSize;
  } cases[] = {{6, kNbnRgb, kNbnRaw, 2, false, 0, 0},       {6, kNbnRgb, kNbnRaw, 1, true, 1, 27},
               {6, kNbnRgb, kNbnRaw, 0, true, 1, 27},       {8, kNbnRgb, kNbnDxt1, 2, false, 0, 0},
               {1024, kNbnRgb, kNbnDxt1, 1, true, 8, 8},    {1024, kNbnRgb, kNbnDxt5, 1, true, 8, 16},
               {1024, kNbnRgb, kNbnRaw, 1, true, 10, 3},    {2, kNbnNoPixels, kNbnRaw, 1, false, 0, 0},
               {1, kNbnLuminance, kNbnRaw, -1, true, 0, 1}, {4097, kNbnLuminance, kNbnRaw, -1, true, 0, 16785408}};
  TempDir dir;
  const std::string path = dir.File("chain.nbn");
  for (const auto& c : cases) {
    CNoxImage image;
    image.set_geometry(c.side, c.side, c.format);
    image.set_mip_shift(c.mipShift);
    ASSERT_EQ(image.save(path.c_str(), c.packWord, c.mipShift < 0 ? 0u : unsigned{kNbnMipChain}), c.saves) << c.side;
    if (!c.saves) continue;
    CNoxImage reader;
    ASSERT_TRUE(reader.load_header(path.c_str()));
    EXPECT_EQ(
        std::make_tuple(reader.level_count(), reader.stored_size(c.levelCount), reader.decoded_size(c.levelCount)),
        std::make_tuple(c.levelCount, c.lastSize, int64_t(c.lastSize)));
    ASSERT_TRUE(reader.load_level(path.c_str(), c.levelCount));
    EXPECT_EQ(reader.width(), c.side >> c.levelCount);
  }
}

enum Op { Load, LoadLevel0, Level2, Decoded, CallersBuffer };

// What the readers make of files put together by hand, from a 4x4 picture of three levels:
// older versions and layouts, bounds blocks of every type (0 read as 1; unknown ones dropped),
// the blank flag, single levels (whose offset leaves a bounds block out, by design, so that
// one is read 40 bytes early) and level 0 decoded.
TEST(NbnFile, ReadsFilesPutTogetherByHand) {
  const std::vector<Bytes> levels = {sampleBytes(Kind::Random, 64, 1), sampleBytes(Kind::Random, 16, 2),
                                     sampleBytes(Kind::Random, 4, 3)};
  const struct {
    Changes changes;
    int geo;  // type of a bounds block put in with a palette, or -1
    Op op;
    bool ok;
    int format, geoType;
  } cases[] = {{{}, -1, Load, true, kNbnRgba, 0},
               {{{Version, 2}}, -1, Load, false, 0, 0},
               {{{Version, 2}}, -1, LoadLevel0, true, kNbnRgba, 0},
               // The old layout takes the format from the bytes per pixel and the payload (84 bytes)
               // from the file's size.
               {{{Version, 2}, {Sub, 0}, {Format, kNbnLuminance}, {Payload, 0}}, -1, LoadLevel0, true, kNbnRgba, 0},
               {{{Version, 2}, {Sub, 0}, {Bpp, 7}, {Format, kNbnLuminance}}, -1, LoadLevel0, true, kNbnRgba, 0},
               {{{Version, 2}, {Sub, 0}, {Bpp, 3}, {Width, 7}}, -1, LoadLevel0, true, kNbnRgb, 0},
               {{{Version, 2}, {Payload, 0}}, -1, Load, false, 0, 0},
               {{{Version, 1}}, -1, Load, false, 0, 0},
               {{{Table1, 0}}, -1, Load, false, 0, 0},
               {{{Height, 1}, {Levels, 0}, {Table0, 16}}, -1, Load, true, kNbnRgba, 0},
               {{}, 0, Load, true, kNbnRgba, 1},
               {{}, 1, Load, true, kNbnRgba, 1},
               {{}, 12, Load, true, kNbnRgba, 12},
               {{}, 5, Load, true, kNbnRgba, -1},
               {{{Blank, 1}}, -1, Load, true, kNbnRgba, 0},
               // Level 0 into a buffer of the caller's, which must hold it.
               {{}, -1, CallersBuffer, true, kNbnRgba, 0},
               {{}, -1, Level2, true, kNbnRgba, 0},
               {{}, 1, Level2, true, kNbnRgba, 1},
               {{{Levels, 1}}, -1, Level2, false, 0, 0},
               // A full-size copy is only sought behind DXT levels; DXT blocks must fit the buffer.
               {{{Full, 0x7FFFFFFF}}, -1, Decoded, true, kNbnRgba, 0},
               {{{Pack, kNbnDxt1}, {Full, 1}}, -1, Decoded, false, 0, 0},
               {{{Version, 1}}, -1, Decoded, false, 0, 0},
               {{{Pack, kNbnDxt5}, {Width, 1}, {Height, 2}, {Table0, 12}}, -1, Decoded, false, 0, 0}};
  TempDir dir;
  const std::string path = dir.File("by-hand.nbn");
  for (size_t row = 0; row < std::size(cases); ++row) {
    const auto& c = cases[row];
    const Bytes palette = c.geo < 0 ? Bytes() : sampleBytes(Kind::Random, kNbnPaletteSize, 3);
    const Bytes geo = c.geo < 0 ? Bytes() : le32(uint32_t(c.geo)) + Bytes(36, 0);
    const Bytes file = nbnBytes(4, 4, kNbnRgba, kNbnRaw, levels, c.changes, palette + geo);
    WriteFile(path, toString(file));
    CNoxImage image;
    Bytes mine(64);
    const bool ok = c.op == Level2    ? image.load_level(path.c_str(), 2)
                    : c.op == Decoded ? image.load_decoded(path.c_str())
                    : c.op == CallersBuffer
                        ? image.load_header(path.c_str()) && !image.set_external_buffer(mine.data(), 63) &&
                              image.set_external_buffer(mine.data(), 64) && image.load(path.c_str(), false) &&
                              image.pixels() == mine.data()
                        : image.load(path.c_str(), c.op == Load);
    ASSERT_EQ(ok, c.ok) << "row " << row;
    // The header alone, pixels laid out only to be made blank.
    CNoxImage geoOnly;
    const bool geoKept = geoOnly.load_geo_only(path.c_str());
    EXPECT_EQ(std::make_tuple(geoKept, geoOnly.pixels() != nullptr), std::make_tuple(c.geoType > 0, ok && file[Blank]))
        << "row " << row;
    if (!ok) continue;
    // Levels are kept by a whole load of a picture that is not blank, and by the decoded one.
    const int levelCount = (c.op == Load && !file[Blank]) || c.op == Decoded ? file[Levels] : 0;
    const size_t at =
        (c.op == Level2 ? 64 + 16 : geo.size()) + (file[Version] < 3 ? kNbnHeaderSize : kNbnLeadSize + palette.size());
    const auto* colours = reinterpret_cast<const uint8_t*>(image.palette());
    EXPECT_EQ(std::make_tuple(image.picture_format(), image.geo_type(), Bytes(colours, colours + palette.size()),
                              image.level_count(), levelOf(image, 0)),
              std::make_tuple(c.format, c.geoType, palette, levelCount,
                              file[Blank] ? Bytes(64, 204) : Bytes(&file[at], &file[at] + image.decoded_size(0))))
        << "row " << row;
  }
}

// Level 0 of four layouts becomes an image; the rest are refused. Read from memory the
// file's last byte is never seen and reads as zero, as does what a DXT picture smaller than
// a block needs beyond the container's buffer. Levels are kept: a damaged one fails the load.
TEST(NbnHandler, MapsLevelZeroOrRefuses) {
  const auto file = [](int format, int packWord, unsigned flags) {
    return nox::test::io::nbnFile(16, 8, format, packWord, flags,
                                  sampleBytes(Kind::Random, 16 * 8 * nbnFormatBytes(format), 5));
  };
  const std::tuple<Bytes, ImageFormat, std::string> cases[] = {
      {file(kNbnRgb, kNbnRaw, kNbnMipChain), FormatRGB8, ""},
      {file(kNbnRgba, kNbnRaw, 0), FormatRGBA8, ""},
      {file(kNbnRgba, kNbnDxt1, kNbnMipChain), FormatDXT1, ""},
      {file(kNbnRgba, kNbnDxt5, 0), FormatDXT5, ""},
      {nbnBytes(1, 2, kNbnRgba, kNbnDxt5, {sampleBytes(Kind::Random, 12)}), FormatDXT5, ""},
      {nbnBytes(4, 4, kNbnRgba, kNbnRaw, {Bytes(64), Bytes(16)}, {{Table1, 0}}), 0, "2: File could not be read"},
      {file(kNbnRgba, kNbnLz, 0), 0, "4: Unsupported format"},
      {file(kNbnAlpha, kNbnRaw, 0), 0, "4: Unsupported format"},
      {file(kNbnLuminance, kNbnRaw, 0), 0, "4: Unsupported format"},
      {file(kNbnLuminanceAlpha, kNbnRaw, 0), 0, "4: Unsupported format"},
      {file(kNbnIndexed, kNbnRaw, 0), 0, "4: Unsupported format: 6"}};
  for (const auto& [bytes, word, failure] : cases) {
    std::shared_ptr<IImage> image;
    const NbnHeader head = decodeNbnHeader(bytes.data());
    EXPECT_EQ(nox::test::io::failureOf([&, &bytes = bytes] {
                image = ImageHandlerNBN(bytes.data(), int32_t(bytes.size()), kHandlerOptionsDefault).load();
              }),
              failure)
        << head.pictureFormat << " " << head.packWord;
    if (!image) continue;
    const size_t size = formatImageSize(head.width, head.height, word);
    Bytes seen(bytes.begin() + kNbnLeadSize, bytes.end());
    seen.back() = 0;
    seen.resize(std::max(seen.size(), size));
    const auto* data = static_cast<const uint8_t*>(image->data());
    EXPECT_EQ(std::make_tuple(image->format(), int(image->width()), int(image->height()), Bytes(data, data + size)),
              std::make_tuple(word, head.width, head.height, Bytes(seen.begin(), seen.begin() + size)));
  }
}

}  // namespace
