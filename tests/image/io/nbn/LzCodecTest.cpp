// The pixel codecs of NBN levels: the LZ stream and the fast DXT encoders.

#include <gtest/gtest.h>
#include <squish.h>

#include <memory>
#include <tuple>

#include "image/io/nbn/FastDxt.h"
#include "image/io/nbn/LzCodec.h"
#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::nbn;

uint32_t le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

// Unpacks from and into buffers of exactly the given sizes: the bytes written, none on failure.
Bytes unpack(const Bytes& block, size_t capacity) {
  const Bytes in(block.begin(), block.end());
  Bytes out(capacity);
  out.resize(lz_unpack(in.data(), in.size(), out.data(), capacity));
  return out;
}

uint32_t fnv1a(const Bytes& bytes) {
  uint32_t h = 2166136261u;
  for (const uint8_t b : bytes) h = (h ^ b) * 16777619u;
  return h;
}

// Inputs of every character and length pack to a block whose header tells its form (3 bytes
// up to 215 input bytes, 9 beyond) and unpack to themselves, and not into one byte less.
TEST(LzCodec, EveryInputUnpacksToItself) {
  EXPECT_TRUE(lzPacked({}).empty());
  for (const Kind kind : {Kind::Text, Kind::Image, Kind::Random, Kind::Runs, Kind::Mixed})
    for (const size_t n : {1,  2,  3,  4,  5,  9,  10,  11,  12,  13,  14,   15,   17,   20,    31,    32,
                           33, 34, 62, 63, 64, 65, 100, 215, 216, 217, 1000, 4095, 4096, 65536, 70001, 300000}) {
      const Bytes input = sampleBytes(kind, n, uint32_t(n));
      const Bytes b = lzPacked(input);
      const bool longHeader = n > 215;
      ASSERT_EQ(b[0] & 0xFE, longHeader ? 0x4E : 0x4C) << n;
      EXPECT_EQ(b.size(), longHeader ? le32(&b[1]) : b[1]) << n;
      EXPECT_EQ(n, longHeader ? le32(&b[5]) : b[2]) << n;
      EXPECT_EQ(unpack(b, n), input) << n;
      EXPECT_TRUE(unpack(b, n - 1).empty()) << n;
    }
}

// Whole blocks, as lengths and digests. Random bytes are stored as they stand once a full
// control word past three quarters of the input shows no gain; inputs too short to fill one
// there are packed all the same, and a packed body is never counted below 9 bytes.
TEST(LzCodec, BlocksAreExact) {
  const Bytes small = toBytes("abcdefabcdefabcdef0123456789");
  // Flags and lengths; a control word with a match after six literals; six literals, a match
  // of 12 at distance 6, ten literals.
  const Bytes block = lzPacked(small);
  EXPECT_EQ(block, fromHex("4D191C 40000080 616263646566 A601 30313233343536373839"));
  // A block cut short is refused, not read beyond its end.
  EXPECT_TRUE(unpack(Bytes(block.begin(), block.end() - 1), small.size()).empty());
  // Our packer ends a block with literals; one that ends in a match is read all the same.
  EXPECT_EQ(unpack(fromHex("4D0B06 08000080 616263 0C"), 6), toBytes("abcabc"));
  const std::tuple<Kind, size_t, size_t, uint32_t> cases[] = {
      {Kind::Random, 150, 153, 130681400},   {Kind::Random, 215, 218, 270513161},
      {Kind::Random, 216, 225, 168087653},   {Kind::Random, 100000, 100009, 1286038705},
      {Kind::Text, 1, 12, 1668856956},       {Kind::Text, 5, 12, 1645335047},
      {Kind::Text, 6, 13, 1987494376},       {Kind::Text, 3000, 812, 3297437759},
      {Kind::Mixed, 70001, 31323, 499914950}};
  for (const auto& [kind, length, blockLength, digest] : cases) {
    const Bytes b = lzPacked(sampleBytes(kind, length, 9));
    EXPECT_EQ(std::make_tuple(b.size(), fnv1a(b)), std::make_tuple(blockLength, digest)) << length;
  }
}

using Encode = size_t (*)(const uint8_t*, uint8_t*, int, int);

Bytes encoded(Encode encode, const Bytes& picture, int side) {
  Bytes out(size_t(side) * side);
  out.resize(encode(picture.data(), out.data(), side, side));
  return out;
}

// A flat block has equal end points, colour indices 0 and alpha indices 1 (the second end
// point); the flipping encoders swap red and blue. Blocks of two colours and one alpha come
// back exactly through libsquish (DXT1 drops the alpha). A photo pins the rest, among it the
// flipping encoders' rows taken from the bottom up.
TEST(FastDxt, BlocksAreExact) {
  Bytes flat;
  for (int i = 0; i < 16; ++i) flat.insert(flat.end(), {200, 100, 50, 77});
  const Bytes exact = blockExactRgba(8, 8, 2);
  const Bytes photo = photoRgba(8, 8, 4);
  const std::tuple<Encode, int, const char*, uint32_t> cases[] = {
      {encode_dxt1, squish::kDxt1, "26CB26CB00000000", 546953082},
      {encode_dxt5, squish::kDxt5, "4D4D499224499224 26CB26CB00000000", 2035809182},
      {encode_dxt1_flipped, 0, "3933393300000000", 180293412},
      {encode_dxt5_flipped, 0, "4D4D499224499224 3933393300000000", 1565334712}};
  for (const auto& [encode, kind, flatHex, photoDigest] : cases) {
    EXPECT_EQ(std::make_tuple(encoded(encode, flat, 4), fnv1a(encoded(encode, photo, 8))),
              std::make_tuple(fromHex(flatHex), photoDigest));
    if (!kind) continue;
    Bytes decoded(exact.size());
    squish::DecompressImage(decoded.data(), 8, 8, encoded(encode, exact, 8).data(), kind);
    Bytes want = exact;
    for (size_t i = 3; i < want.size() && kind == squish::kDxt1; i += 4) want[i] = 255;
    EXPECT_EQ(decoded, want);
  }
}

}  // namespace
