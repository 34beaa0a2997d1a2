// Token streams: the stored records byte for byte, values read back and stepped over, an
// item-by-item copy that replays byte for byte, and damaged streams that end reading without
// reading out of bounds.

#include <random>
#include <tuple>

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

constexpr TOK::FileToken kOpen = TOK::FileToken(1424);
constexpr TOK::FileToken kSize = TOK::FileToken(1428);
constexpr TOK::FileToken kPixels = TOK::FileToken(1427);

// A token record, and a record of plain values or binary bytes.
std::string T(int token) { return "T" + LE(token, 2); }
std::string V(const std::string& bytes, char tag = 'V') { return tag + LE(bytes.size(), 4) + bytes; }

TEST_P(StoreTest, ValuesAreLittleEndianRecordsThatReadBackOrAreSteppedOver) {
  auto file = NewFile("f", {"u"});
  CNPBM icon(2, 1);
  for (int i = 0; i < 6; ++i) icon.GetPixels()[i] = static_cast<unsigned char>(i * 40);
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  *file << TOK::FileToken(1) << short(-2) << short(0) << int(-70000) << 4000000000u << TOK::FileToken(2) << icon
        << TOK::FileToken(3) << tagSIZE{640, 360} << TOK::FileToken(4) << 1234567890123LL << 2.5 << true
        << std::string("name") << "text" << static_cast<const char*>(nullptr) << kPixels;
  file->WriteBinary("abc", 3);
  *file << TOK::Closing(kPixels);
  const std::string pixels("\0\x28\x50\x78\xa0\xc8", 6);
  const std::string values4 =
      LE(1234567890123LL, 8) + LE(0x4004000000000000, 8) + "\1" + LE(4, 4) + "name" + LE(4, 4) + "text" + LE(0, 4);
  EXPECT_EQ(UnitBytesOf(*file, 1), T(1) + V(LE(-2, 2) + LE(0, 2) + LE(-70000, 4) + LE(4000000000u, 4)) + T(2) +
                                       V(LE(2, 2) + LE(1, 2) + pixels) + T(3) + V(LE(640, 4) + LE(360, 4)) + T(4) +
                                       V(values4) + T(kPixels) + V("abc", 'B') + T(TOK::Closing(kPixels)));

  // The next token is told without being consumed, and not while value bytes are unread.
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  EXPECT_EQ(file->GetNextToken(), 1);
  EXPECT_EQ(file->ReadNextTokenEx(), 1);
  EXPECT_EQ(file->GetNextToken(), 0);
  short s = 0;
  unsigned short us = 1;
  int i = 0;
  unsigned int u = 0, width = 0, height = 0;
  *file >> s >> us >> i >> u;
  EXPECT_EQ(std::make_tuple(s, us, i, u), std::make_tuple(-2, 0, -70000, 4000000000u));
  EXPECT_EQ(file->ReadNextTokenEx(), 2);
  CNPBM back;
  *file >> back;
  EXPECT_EQ(std::string(reinterpret_cast<char*>(back.GetPixels()), back.Width() * back.Height() * 3), pixels);
  // A size reads back as two unsigned numbers, width first.
  EXPECT_EQ(file->ReadNextTokenEx(), 3);
  *file >> width >> height;
  EXPECT_EQ(std::make_pair(width, height), std::make_pair(640u, 360u));
  // Values nobody reads are stepped over.
  EXPECT_EQ(file->ReadNextTokenEx(), 4);
  EXPECT_EQ(file->ReadNextTokenEx(), kPixels);
  EXPECT_EQ(file->GetNextToken(), TOK::Binary);
  EXPECT_EQ(file->ReadNextTokenEx(), TOK::Binary);
  EXPECT_EQ(file->GetBinarySize(), 3u);
  char raw[64];
  EXPECT_EQ(file->Read(reinterpret_cast<unsigned char*>(raw), 8), 3);
  EXPECT_EQ(std::string(raw, 3), "abc");
  EXPECT_FALSE(file->IsEOU());
  EXPECT_EQ(file->ReadNextTokenEx(), TOK::Closing(kPixels));
  EXPECT_TRUE(file->IsEOU());
  EXPECT_EQ(file->ReadNextTokenEx(), 0);
  // Raw reads of the current unit move the reading on; reading stops at the next token; a
  // value cut short reads as 0 and is reported.
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  bool flag = true;
  ASSERT_EQ(file->RawRead(1, 0, raw, 3, &flag), 3u);
  for (const int token : {2, 3, 4}) EXPECT_EQ(file->ReadNextTokenEx(), token);
  EXPECT_EQ(file->Read(reinterpret_cast<unsigned char*>(raw), 64), static_cast<int>(values4.size()));
  EXPECT_EQ(file->Read(reinterpret_cast<unsigned char*>(raw), 1) + file->Read(nullptr, 1), 0);
  EXPECT_EQ(file->GetLastError(), 0);
  *file >> i;
  EXPECT_EQ(i, 0);
  EXPECT_EQ(file->GetLastError(), CNDBConstants::eValueTruncated);
}

// A reader that knows no value types copies a token, then its value's stored bytes until the
// next token; the copy is the original byte for byte.
TEST_P(StoreTest, ItemByItemCopyReplaysByteForByte) {
  CUUID id;
  {
    auto f = NewFile("f", {"src"});
    const std::string big = PseudoRandomBytes(1300000, 7);  // spans three chunks
    ASSERT_EQ(f->SelectUnit("src", 0, false), 0);
    *f << kOpen << kSize << tagSIZE{640, 480} << TOK::Closing(kSize) << kPixels;
    f->WriteBinary(big.data(), static_cast<int>(big.size()));
    *f << TOK::Closing(kPixels) << TOK::FileToken(2909);
    f->WriteBinary("", 0);
    *f << TOK::FileToken(3) << CNPBM(64, 64) << TOK::FileToken(3019) << 1920LL << std::string() << TOK::Closing(kOpen);
    id = f->GetUuid();
  }
  CNDBFile from(session_.get());
  ASSERT_EQ(from.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  ASSERT_EQ(from.SelectUnit("src", 0, false), 0);
  auto to = NewFile("copy", {"dst"});
  ASSERT_EQ(to->SelectUnit("dst", 0, false), 0);
  for (TOK::FileToken token; !from.IsEOU() && (token = from.ReadNextTokenEx()) != TOK::None;) {
    std::string bytes;
    for (unsigned char b; from.GetNextToken() == 0 && !from.IsEOU() && from.Read(&b, 1) == 1;) bytes += char(b);
    if (token == TOK::Binary) {
      to->WriteBinary(bytes.data(), static_cast<int>(bytes.size()));
    } else {
      *to << token;
      to->Write(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    }
  }
  const std::string original = UnitBytesOf(from, 1);
  EXPECT_GT(original.size(), 1300000u);
  EXPECT_TRUE(UnitBytesOf(*to, 1) == original);
}

TEST_P(StoreTest, DamagedStreamsEndReadingCleanly) {
  const std::string stream =
      T(kOpen) + V(LE(3, 4) + "abc") + T(kPixels) + V("0123456789", 'B') + T(TOK::Closing(kPixels));
  // Every truncation and a few hundred byte flips, each in a unit of its own: reading ends,
  // never hangs or overreads.
  std::mt19937 rng(42);
  std::vector<std::string> damaged;
  for (size_t n = 0; n < stream.size(); ++n) damaged.push_back(stream.substr(0, n));
  for (int k = 0; k < 300; ++k) {
    damaged.push_back(stream);
    damaged.back()[rng() % stream.size()] ^= static_cast<char>(1 + rng() % 255);
  }
  std::vector<std::string> names;
  for (size_t k = 0; k < damaged.size(); ++k) names.push_back(std::to_string(k));
  auto f = NewFile("damaged", names);
  bool flag = true;
  for (size_t k = 0; k < damaged.size(); ++k) {
    f->RawWrite(k + 1, 0, damaged[k].data(), static_cast<unsigned int>(damaged[k].size()), &flag);
    ASSERT_EQ(f->SelectUnitByIndex(k + 1, 0, 0), 0);
    int steps = 0;
    unsigned char buffer[64];
    while (!f->IsEOU() && steps++ < 1000) {
      if (f->ReadNextTokenEx() == TOK::Binary) f->Read(buffer, std::min<int>(64, f->GetBinarySize()));
    }
    EXPECT_LT(steps, 1000);
  }
  // Garbage reports a damaged stream.
  f->RawWrite(1, 0, "\x01\x02\x03", 3, &flag);
  ASSERT_EQ(f->SelectUnitByIndex(1, 0, 0), 0);
  EXPECT_EQ(f->ReadNextTokenEx(), TOK::None);
  EXPECT_EQ(f->GetLastError(), CNDBConstants::eStreamDamaged);
  EXPECT_TRUE(f->IsEOU());
  // Icon sides the unit cannot hold are refused before any pixels are allocated, also where
  // width * height * 3 would not fit an int; so are pixels cut short by a token.
  auto icon = [](int side, const std::string& rest) { return T(3) + V(LE(side, 2) + LE(side, 2)) + rest; };
  const std::pair<std::string, int> icons[] = {
      {icon(30000, V(std::string(10, '\0'))), CNDBConstants::eDamagedData},
      {icon(5, V(std::string(10, '\0'))), CNDBConstants::eDamagedData},
      {icon(2, T(4) + V(std::string(12, '\0'))), CNDBConstants::eValueTruncated}};
  int unit = 2;  // units holding a few bytes, overwritten
  for (const auto& [bytes, error] : icons) {
    f->RawWrite(unit, 0, bytes.data(), static_cast<unsigned int>(bytes.size()), &flag);
    ASSERT_EQ(f->SelectUnitByIndex(unit++, 0, 0), 0);
    ASSERT_EQ(f->ReadNextTokenEx(), 3);
    CNPBM back;
    *f >> back;
    EXPECT_EQ(back.Width() + back.Height(), 0) << unit;
    EXPECT_EQ(f->GetLastError(), error) << unit;
  }
}

}  // namespace
}  // namespace nox::test
