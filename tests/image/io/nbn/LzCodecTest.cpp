#include "image/io/nbn/LzCodec.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "tests/support/MediaSamples.h"

namespace {

using namespace nox::image::io;
using namespace nox::test::nbn;

uint32_t le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

struct Packed {
  Bytes block;
  size_t header;
};

// Packs into a destination of exactly lz_pack_bound bytes, so that a write past it shows.
Packed pack(const Bytes& input) {
  static auto work = std::make_unique<LzWorkMemory>();
  Bytes block(lz_pack_bound(input.size()));
  const size_t length = lz_pack(input.data(), block.data(), input.size(), *work);
  block.resize(length);
  return {block, length == 0 ? 0 : (block[0] & 2) ? size_t(9) : size_t(3)};
}

// Unpacks from and into buffers of exactly the given sizes.
size_t unpack(const Bytes& block, size_t capacity, Bytes* out = nullptr) {
  auto in = std::make_unique<uint8_t[]>(block.size());
  std::copy(block.begin(), block.end(), in.get());
  auto dest = std::make_unique<uint8_t[]>(capacity);
  const size_t n = lz_unpack(in.get(), block.size(), dest.get(), capacity);
  if (out) out->assign(dest.get(), dest.get() + std::min(n, capacity));
  return n;
}

struct Item {
  size_t position;  // in the output
  bool match;
  size_t distance;
  size_t length;
  size_t tokenSize;
};

// The items of a packed body, read one at a time by the rules of the format.
std::vector<Item> walk(const Packed& packed, size_t outLength) {
  const uint8_t* body = packed.block.data() + packed.header;
  std::vector<Item> items;
  size_t r = 0;
  size_t w = 0;
  uint32_t c = 1;
  while (w < outLength) {
    if (c == 1) {
      c = le32(body + r);
      r += 4;
    }
    if (!(c & 1)) {
      items.push_back({w, false, 0, 1, 1});
      c >>= 1;
      ++r;
      ++w;
      continue;
    }
    c >>= 1;
    const uint32_t v = le32(body + r);
    Item item;
    if ((v & 3) == 0) item = {w, true, (v & 0xFF) >> 2, 3, 1};
    else if ((v & 3) == 1) item = {w, true, (v & 0xFFFF) >> 2, 3, 2};
    else if ((v & 3) == 2) item = {w, true, (v & 0xFFFF) >> 6, ((v >> 2) & 15) + 3, 2};
    else if ((v & 127) != 3) item = {w, true, (v >> 7) & 0x1FFFF, ((v >> 2) & 31) + 2, 3};
    else item = {w, true, v >> 15, ((v >> 7) & 255) + 3, 4};
    items.push_back(item);
    r += item.tokenSize;
    w += item.length;
  }
  return items;
}

struct BlockCase {
  Kind kind;
  size_t length;
  uint8_t header;  // 0x4C/0x4D: 3-byte header, 0x4E/0x4F: 9-byte header; bit 0: packed
  size_t blockLength;
};

// Random bytes are stored as they stand. Packing gives up at a full control word past three
// quarters of the input, so inputs too short to reach one are packed all the same. A packed
// body (control word and literals) is never counted below 9 bytes.
TEST(LzCodec, HeaderAndBlockLength) {
  EXPECT_TRUE(pack({}).block.empty());
  const BlockCase cases[] = {{Kind::Random, 150, 0x4C, 153},     {Kind::Random, 215, 0x4C, 218},
                             {Kind::Random, 216, 0x4E, 225},     {Kind::Random, 5000, 0x4E, 5009},
                             {Kind::Random, 100000, 0x4E, 100009}, {Kind::Text, 1, 0x4D, 12},
                             {Kind::Text, 4, 0x4D, 12},          {Kind::Text, 5, 0x4D, 12},
                             {Kind::Text, 6, 0x4D, 13},          {Kind::Text, 10, 0x4D, 17}};
  for (const BlockCase& c : cases) {
    const Bytes input = sampleBytes(c.kind, c.length, c.kind == Kind::Random ? 9 : 1);
    const Packed packed = pack(input);
    EXPECT_EQ(packed.block[0], c.header) << c.length;
    ASSERT_EQ(packed.block.size(), c.blockLength) << c.length;
    EXPECT_TRUE((c.header & 1) || std::equal(input.begin(), input.end(), packed.block.begin() + packed.header));
    Bytes out;
    EXPECT_EQ(unpack(packed.block, c.length, &out), c.length);
    EXPECT_EQ(out, input);
  }
}

TEST(LzCodec, NeverMatchesAtDistanceOneOrTwo) {
  for (const char* unit : {"a", "ab", "abc", "abcd"}) {
    std::string s;
    while (s.size() < 3000) s += unit;
    const Bytes input = toBytes(s);
    const Packed packed = pack(input);
    ASSERT_EQ(packed.block[0] & 1, 1) << unit;
    size_t matches = 0;
    for (const Item& item : walk(packed, input.size())) {
      if (!item.match) continue;
      ++matches;
      EXPECT_GE(item.distance, 3u) << unit;
    }
    EXPECT_GT(matches, 0u) << unit;
    Bytes out;
    EXPECT_EQ(unpack(packed.block, input.size(), &out), input.size());
    EXPECT_EQ(out, input) << unit;
  }
}

struct TokenCase {
  size_t distance;
  size_t length;
  size_t tokenSize;  // 0: the repeat is too far back and stays literal
};

class LzTokenForm : public testing::TestWithParam<TokenCase> {};

// A pattern at 0 and again `distance` later, with zeros between, which pack to long runs.
TEST_P(LzTokenForm, UsesTheShortestTokenThatFits) {
  const TokenCase tc = GetParam();
  Bytes input(tc.distance + tc.length + 40, 0);
  for (size_t i = 0; i < tc.length; ++i) input[i] = input[tc.distance + i] = uint8_t(100 + i);
  input[tc.length] = 0x11;
  input[tc.distance + tc.length] = 0x22;
  const Packed packed = pack(input);
  ASSERT_EQ(packed.block[0] & 1, 1);

  bool found = false;
  for (const Item& item : walk(packed, input.size())) {
    if (item.position != tc.distance) continue;
    found = true;
    EXPECT_EQ(item.match, tc.tokenSize != 0);
    if (!item.match) continue;
    EXPECT_EQ(item.distance, tc.distance);
    EXPECT_EQ(item.length, tc.length);
    EXPECT_EQ(item.tokenSize, tc.tokenSize);
  }
  EXPECT_TRUE(found);
  Bytes out;
  EXPECT_EQ(unpack(packed.block, input.size(), &out), input.size());
  EXPECT_EQ(out, input);
}

INSTANTIATE_TEST_SUITE_P(Forms, LzTokenForm,
                         testing::Values(TokenCase{10, 3, 1}, TokenCase{63, 3, 1},
                                         TokenCase{64, 3, 2}, TokenCase{16383, 3, 2},
                                         TokenCase{500, 10, 2}, TokenCase{1023, 18, 2},
                                         TokenCase{1024, 4, 3}, TokenCase{20000, 3, 3},
                                         TokenCase{5000, 33, 3}, TokenCase{5000, 34, 4},
                                         TokenCase{131070, 200, 4}, TokenCase{131071, 20, 0},
                                         TokenCase{140000, 50, 0}));

class LzRoundTrip : public testing::TestWithParam<std::tuple<Kind, size_t>> {};

TEST_P(LzRoundTrip, UnpacksToTheInput) {
  const auto [kind, n] = GetParam();
  const Bytes input = sampleBytes(kind, n, uint32_t(n));
  const Packed packed = pack(input);
  const Bytes& b = packed.block;
  ASSERT_FALSE(b.empty());
  // Inputs up to 215 bytes get the 3-byte header, longer ones the 9-byte one.
  const bool longHeader = n > 215;
  EXPECT_EQ(b[0] & 0xFE, longHeader ? 0x4E : 0x4C);
  EXPECT_EQ(b.size(), longHeader ? le32(&b[1]) : b[1]);
  EXPECT_EQ(n, longHeader ? le32(&b[5]) : b[2]);
  Bytes out;
  ASSERT_EQ(unpack(packed.block, n, &out), n);
  EXPECT_EQ(out, input);
  // A destination one byte short is refused rather than overrun.
  EXPECT_EQ(unpack(packed.block, n - 1), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, LzRoundTrip,
    testing::Combine(testing::Values(Kind::Text, Kind::Image, Kind::Random, Kind::Runs, Kind::Mixed),
                     testing::Values(1, 2, 3, 4, 5, 9, 10, 11, 12, 13, 14, 15, 17, 20, 31, 32, 33,
                                     34, 62, 63, 64, 65, 100, 215, 216, 217, 1000, 4095, 4096,
                                     65536, 70001, 300000)),
    [](const auto& info) {
      return std::string(kindName(std::get<0>(info.param))) + "_" +
             std::to_string(std::get<1>(info.param));
    });

}  // namespace
