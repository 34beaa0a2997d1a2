// Raw units: tens of megabytes stream through in packets and come back byte for byte.

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

// Tens of megabytes in packets of every size a writer uses; packet numbers count
// 51,200-byte blocks.
TEST_P(StoreTest, UnitsRoundTripInPackets) {
  const std::string data = PseudoRandomBytes(24 * 1000 * 1000 + 12345, 11);
  for (const unsigned int size : {512000u, 51200u, 102400u}) {
    CUUID id;
    {
      auto f = NewFile("clip" + std::to_string(size), {"CLIPDATA"}, kClipType);
      bool flag = true;
      for (size_t at = 0; at < data.size(); at += size) {
        const unsigned int n = static_cast<unsigned int>(std::min<size_t>(size, data.size() - at));
        ASSERT_EQ(f->RawWrite(1, static_cast<int>(at / 51200), data.data() + at, n, &flag), n);
      }
      ASSERT_EQ(f->GetLastError(), 0);
      id = f->GetUuid();
    }
    EXPECT_TRUE(StoredBytes(*session_, id, "CLIPDATA") == data) << size;
  }
}

TEST_P(StoreTest, RawWritesLeaveGapsAsZerosAndOverwriteInPlace) {
  CNDBFile f(session_.get());
  f.AddAttribute("u", nullptr);
  ASSERT_EQ(f.Create("gaps", kClipType, 1, 0xFFF, nullptr, 0), 0);
  bool flag = true;
  ASSERT_EQ(f.RawWrite(1, 12, "tail", 4, &flag), 4u);  // 614,400: inside the second chunk
  ASSERT_EQ(f.RawWrite(1, 0, "head", 4, &flag), 4u);
  ASSERT_EQ(f.RawWrite(1, 0, "H", 1, &flag), 1u);
  std::string back(614404, '\1');
  unsigned int got = 0, n;
  while ((n = f.RawRead(1, got, back.data() + got, static_cast<unsigned int>(back.size() - got), &flag)) != 0) got += n;
  ASSERT_EQ(got, 614404u);
  EXPECT_EQ(back.substr(0, 4), "Head");
  EXPECT_EQ(back.substr(614400), "tail");
  EXPECT_EQ(back.find_first_not_of('\0', 4), 614400u);
  // A stored chunk written again is replaced.
  ASSERT_EQ(f.GetLastError(), 0);
  ASSERT_EQ(f.RawWrite(1, 0, "h", 1, &flag), 1u);
  ASSERT_EQ(f.GetLastError(), 0);
  ASSERT_EQ(f.RawRead(1, 0, back.data(), 4, &flag), 4u);
  EXPECT_EQ(back.substr(0, 4), "head");
  EXPECT_EQ(f.RawRead(2, 0, back.data(), 1, &flag), 0xFFFFFFFFu);
  EXPECT_EQ(f.RawWrite(1, -1, "x", 1, &flag), 0u);
  // Written out of order, the unit's digest is read back at the end, and it matches.
  ASSERT_EQ(f.Close(nullptr, true), 0);
  CNoxDbI::CheckReport report;
  ASSERT_EQ(session_->Check("gaps", &report), 0);
  EXPECT_EQ(report.units, 1);
  EXPECT_EQ(report.undigested, 0);
  EXPECT_TRUE(report.problems.empty()) << report.problems[0];
  // The server's own check finds rows whose owner is gone, here with the foreign keys off.
  if (kind_ == StoreKind::Postgres) {
    ASSERT_EQ(session_->CreateFolder("a", nullptr), 0);
    ASSERT_EQ(OnServer("SET session_replication_role = replica; DELETE FROM " + schema_ + ".unit; DELETE FROM " +
                       schema_ + ".folder WHERE parent IS NULL"), "");
    ASSERT_EQ(session_->Check(nullptr, &report), 0);
    EXPECT_EQ(report.problems, (std::vector<std::string>{"2 chunks of a missing unit", "1 files in a missing folder",
                                                         "1 folders under a missing parent"}));
  }
}

// The recorded digest is CRC-32C, most significant byte first: "123456789" gives E3069283.
TEST_P(StoreTest, UnitDigestsAreCrc32c) {
  auto f = NewFile("crc", {"u"}, kClipType);
  bool flag = true;
  ASSERT_EQ(f->RawWrite(1, 0, "123456789", 9, &flag), 9u);
  ASSERT_EQ(f->Close(nullptr, true), 0);
  noxdb::Status st;
  auto store = noxdb::OpenStore(path_, &st, noxdb::OpenMode::ReadOnly);
  std::vector<noxdb::UnitRecord> units;
  ASSERT_TRUE(store->ListUnits(f->GetUuid().Bytes(), noxdb::UnitKind::Unit, &units).ok());
  EXPECT_EQ(units.at(0).digest, "\xE3\x06\x92\x83");
}

}  // namespace
}  // namespace nox::test
