// Token streams: values round-trip, unread values are stepped over, an item-by-item copy
// replays byte for byte, and damaged streams end reading without reading out of bounds.

#include <cstring>
#include <functional>
#include <random>

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

constexpr TOK::FileToken kOpen = TOK::FileToken(1424);
constexpr TOK::FileToken kName = TOK::FileToken(1433);
constexpr TOK::FileToken kSize = TOK::FileToken(1428);
constexpr TOK::FileToken kPixels = TOK::FileToken(1427);

std::string RawBytes(CNDBFile& file, const char* unit) { return UnitBytesOf(file, file.FindUnit(unit)); }

TEST_P(StoreTest, ValuesRoundTripAndUnreadValuesAreSteppedOver) {
  auto file = NewFile("f", {"u"});
  CNPBM icon(3, 2);
  for (int i = 0; i < 18; ++i) icon.GetPixels()[i] = static_cast<unsigned char>(i * 13);
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  *file << TOK::FileToken(1) << short(-2) << short(0) << int(-70000)
        << 4000000000u << TOK::FileToken(2) << icon << TOK::FileToken(3)
        << tagSIZE{640, 360} << TOK::FileToken(4) << 1234567890123LL << 2.5 << true
        << std::string("name") << "text" << static_cast<const char*>(nullptr) << TOK::FileToken(5000);
  ASSERT_EQ(file->GetLastError(), 0);

  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  short s = 0;
  int i = 0;
  unsigned int u = 0, width = 0, height = 0;
  unsigned short us = 1;
  EXPECT_EQ(file->ReadNextTokenEx(), 1);
  *file >> s >> us >> i >> u;
  EXPECT_EQ(s, -2);
  EXPECT_EQ(us, 0);
  EXPECT_EQ(i, -70000);
  EXPECT_EQ(u, 4000000000u);
  EXPECT_EQ(file->ReadNextTokenEx(), 2);
  CNPBM back;
  *file >> back;
  ASSERT_EQ(back.Width(), 3);
  ASSERT_EQ(back.Height(), 2);
  EXPECT_EQ(std::memcmp(back.GetPixels(), icon.GetPixels(), 18), 0);
  // A size reads back as two unsigned numbers, width first.
  EXPECT_EQ(file->ReadNextTokenEx(), 3);
  *file >> width >> height;
  EXPECT_EQ(width, 640u);
  EXPECT_EQ(height, 360u);
  // Values nobody reads are stepped over.
  EXPECT_EQ(file->ReadNextTokenEx(), 4);
  EXPECT_EQ(file->ReadNextTokenEx(), 5000);
  EXPECT_TRUE(file->IsEOU());
  EXPECT_EQ(file->ReadNextTokenEx(), 0);
  EXPECT_EQ(file->GetLastError(), 0);

  // The wider values are plain little-endian bytes, strings with a 32-bit length.
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  while (file->ReadNextTokenEx() != 4) {
  }
  unsigned char raw[8 + 8 + 1 + 4 + 4 + 4 + 4 + 4];
  ASSERT_EQ(file->Read(raw, sizeof raw), static_cast<int>(sizeof raw));
  long long ll;
  double d;
  std::memcpy(&ll, raw, 8);
  std::memcpy(&d, raw + 8, 8);
  EXPECT_EQ(ll, 1234567890123LL);
  EXPECT_EQ(d, 2.5);
  EXPECT_EQ(raw[16], 1);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(raw + 17), 8), std::string("\4\0\0\0name", 8));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(raw + 25), 8), std::string("\4\0\0\0text", 8));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(raw + 33), 4), std::string(4, '\0'));  // a null string
  // Reading past the value bytes reads nothing and reports it; so does an empty read.
  EXPECT_EQ(file->Read(raw, 1), 0);
  EXPECT_EQ(file->Read(raw, 0), 0);
  EXPECT_EQ(file->Read(nullptr, 1), 0);
  *file >> i;
  EXPECT_EQ(file->GetLastError(), CNDBConstants::eValueTruncated);
}

TEST_P(StoreTest, NextTokenIsToldWithoutBeingConsumed) {
  auto file = NewFile("f", {"u"});
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  *file << kSize << tagSIZE{1, 2} << TOK::Closing(kSize) << kPixels;
  file->WriteBinary("abc", 3);
  *file << TOK::Closing(kPixels);
  ASSERT_EQ(file->SelectUnit("u", 0, false), 0);
  EXPECT_EQ(file->GetNextToken(), kSize);
  EXPECT_EQ(file->GetNextToken(), kSize);
  EXPECT_EQ(file->ReadNextTokenEx(), kSize);
  EXPECT_EQ(file->GetNextToken(), 0);  // value bytes follow
  unsigned char b;
  EXPECT_EQ(file->Read(&b, 1), 1);
  EXPECT_EQ(file->GetNextToken(), 0);  // inside the value
  EXPECT_EQ(file->ReadNextTokenEx(), TOK::Closing(kSize));
  EXPECT_EQ(file->ReadNextTokenEx(), kPixels);
  EXPECT_EQ(file->GetNextToken(), TOK::Binary);
  EXPECT_EQ(file->GetBinarySize(), 3u);
  EXPECT_EQ(file->ReadNextTokenEx(), TOK::Binary);
  EXPECT_EQ(file->GetBinarySize(), 3u);
  unsigned char bytes[8];
  EXPECT_EQ(file->Read(bytes, 8), 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), 3), "abc");
  EXPECT_EQ(file->GetNextToken(), TOK::Closing(kPixels));
  EXPECT_EQ(file->ReadNextTokenEx(), TOK::Closing(kPixels));
  EXPECT_TRUE(file->IsEOU());
}

// Copies the current unit of `from` into the current unit of `to` the way a reader that
// knows no value types must: a token, then its value's stored bytes until the next token.
void CopyItemByItem(CNDBFile& from, CNDBFile& to) {
  while (!from.IsEOU()) {
    const TOK::FileToken token = from.ReadNextTokenEx();
    if (token == TOK::None) break;
    std::string bytes;
    unsigned char b;
    if (token <= 32768) {
      while (from.GetNextToken() == 0 && !from.IsEOU() && from.Read(&b, 1) == 1) bytes.push_back(static_cast<char>(b));
    }
    if (token == TOK::Binary) {
      to.WriteBinary(bytes.data(), static_cast<int>(bytes.size()));
    } else {
      to << token;
      to.Write(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    }
  }
}

TEST_P(StoreTest, ItemByItemCopyReplaysByteForByte) {
  CUUID source;
  {
    auto file = NewFile("f", {"src"});
    CNPBM icon(64, 64);
    const std::string big = PseudoRandomBytes(1300000, 7);  // spans three chunks
    ASSERT_EQ(file->SelectUnit("src", 0, false), 0);
    *file << kOpen << kName << std::string("picture") << TOK::Closing(kName)
          << TOK::FileToken(1426) << TOK::FileToken(1425) << kSize << tagSIZE{640, 480}
          << TOK::Closing(kSize) << TOK::FileToken(1431) << 6408u
          << TOK::Closing(TOK::FileToken(1431)) << kPixels;
    file->WriteBinary(big.data(), static_cast<int>(big.size()));
    *file << TOK::Closing(kPixels) << TOK::FileToken(2907) << 0u
          << TOK::Closing(TOK::FileToken(2907)) << TOK::FileToken(2909);
    file->WriteBinary("", 0);
    *file << TOK::Closing(TOK::FileToken(2909)) << TOK::FileToken(3) << icon
          << TOK::Closing(TOK::FileToken(3)) << TOK::FileToken(3019) << 1920LL << 1080LL
          << TOK::Closing(TOK::FileToken(3019)) << TOK::FileToken(2047) << std::string()
          << TOK::Closing(TOK::FileToken(2047)) << TOK::Closing(kOpen);
    ASSERT_EQ(file->GetLastError(), 0);
    source = file->GetUuid();
  }
  CNDBFile from(session_.get());
  ASSERT_EQ(from.Open(source, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  ASSERT_EQ(from.SelectUnit("src", 0, false), 0);
  auto to = NewFile("copy", {"dst"});
  ASSERT_EQ(to->SelectUnit("dst", 0, false), 0);
  CopyItemByItem(from, *to);
  ASSERT_EQ(to->GetLastError(), 0);
  const std::string original = RawBytes(from, "src");
  const std::string copied = RawBytes(*to, "dst");
  EXPECT_GT(original.size(), 1300000u);
  EXPECT_EQ(copied.size(), original.size());
  EXPECT_TRUE(copied == original);
}

TEST_P(StoreTest, DamagedStreamsEndReadingCleanly) {
  std::string stream;
  {
    auto file = NewFile("f", {"good"});
    ASSERT_EQ(file->SelectUnit("good", 0, false), 0);
    *file << kOpen << kName << std::string("abc") << TOK::Closing(kName) << kPixels;
    file->WriteBinary("0123456789", 10);
    *file << TOK::Closing(kPixels) << TOK::Closing(kOpen);
    stream = RawBytes(*file, "good");
  }

  // Every truncation and a few hundred byte flips: reading ends, never hangs or overreads.
  std::mt19937 rng(42);
  std::vector<std::string> damaged;
  for (size_t n = 0; n < stream.size(); ++n) damaged.push_back(stream.substr(0, n));
  for (int k = 0; k < 300; ++k) {
    std::string s = stream;
    s[rng() % s.size()] ^= static_cast<char>(1 + rng() % 255);
    damaged.push_back(s);
  }
  for (size_t k = 0; k < damaged.size(); ++k) {
    const std::string& bytes = damaged[k];
    auto f = NewFile("d" + std::to_string(k), {"bad"});
    bool flag = true;
    f->RawWrite(1, 0, bytes.data(), static_cast<unsigned int>(bytes.size()), &flag);
    ASSERT_EQ(f->SelectUnit("bad", 0, false), 0);
    int steps = 0;
    unsigned char buffer[64];
    while (!f->IsEOU() && steps++ < 1000) {
      if (f->ReadNextTokenEx() == TOK::Binary) f->Read(buffer, std::min<int>(64, f->GetBinarySize()));
    }
    EXPECT_LT(steps, 1000);
  }
  // Icon sides the unit cannot hold are refused before any pixels are allocated, also where
  // width * height * 3 would not fit an int.
  for (const unsigned short side : {65535, 30000, 5}) {
    auto f = NewFile("icon" + std::to_string(side), {"icon"});
    ASSERT_EQ(f->SelectUnit("icon", 0, false), 0);
    *f << TOK::FileToken(3) << short(side) << short(side) << 1234567890123LL << short(0);
    ASSERT_EQ(f->SelectUnit("icon", 0, false), 0);
    ASSERT_EQ(f->ReadNextTokenEx(), 3);
    CNPBM icon;
    *f >> icon;
    EXPECT_FALSE(icon.IsValid()) << side;
    EXPECT_EQ(f->GetLastError(), CNDBConstants::eDamagedData) << side;
  }
  // Garbage reports a damaged stream.
  auto f = NewFile("garbage", {"u"});
  bool flag = true;
  f->RawWrite(1, 0, "\x01\x02\x03", 3, &flag);
  ASSERT_EQ(f->SelectUnit("u", 0, false), 0);
  EXPECT_EQ(f->ReadNextTokenEx(), TOK::None);
  EXPECT_EQ(f->GetLastError(), CNDBConstants::eStreamDamaged);
  EXPECT_TRUE(f->IsEOU());
}

}  // namespace
}  // namespace nox::test
