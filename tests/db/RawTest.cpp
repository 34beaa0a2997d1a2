// Raw units: tens of megabytes stream through in packets and come back byte for byte.

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

// Tens of megabytes in packets of every size a writer uses; packet numbers count
// 51,200-byte blocks.
TEST_P(StoreTest, UnitsRoundTripInPackets) {
  const std::string data = PseudoRandomBytes(24 * 1000 * 1000 + 12345, 11);
  for (const unsigned int size : {512000u, 51200u, 102400u}) {
    auto f = NewFile("clip" + std::to_string(size), {"CLIPDATA"}, kClipType);
    bool flag = true;
    for (size_t at = 0; at < data.size(); at += size) {
      const unsigned int n = static_cast<unsigned int>(std::min<size_t>(size, data.size() - at));
      ASSERT_EQ(f->RawWrite(1, static_cast<int>(at / 51200), data.data() + at, n, &flag), n);
    }
    ASSERT_EQ(f->Close(nullptr, true), 0);
    EXPECT_TRUE(StoredBytes(*session_, f->GetUuid(), "CLIPDATA") == data) << size;
  }
}

// Written out of order, a unit's digest (CRC-32C, most significant byte first) is read back
// at the end, and it matches.
TEST_P(StoreTest, RawWritesLeaveGapsAsZerosOverwriteInPlaceAndAreDigested) {
  auto f = NewFile("gaps", {"u", "crc"}, kClipType);
  bool flag = true;
  ASSERT_EQ(f->RawWrite(1, 12, "tail", 4, &flag), 4u);  // 614,400: inside the second chunk
  ASSERT_EQ(f->RawWrite(1, 0, "head", 4, &flag), 4u);
  ASSERT_EQ(f->RawWrite(1, 0, "H", 1, &flag), 1u);
  const std::string gap(614396, '\0');
  EXPECT_TRUE(UnitBytesOf(*f, 1) == "Head" + gap + "tail");
  ASSERT_EQ(f->GetLastError(), 0);  // the chunks are stored now, and replaced by the next write
  ASSERT_EQ(f->RawWrite(1, 0, "h", 1, &flag), 1u);
  ASSERT_EQ(f->RawWrite(2, 0, "123456789", 9, &flag), 9u);
  char byte;
  EXPECT_EQ(f->RawRead(3, 0, &byte, 1, &flag), 0xFFFFFFFFu);
  EXPECT_EQ(f->RawWrite(1, -1, "x", 1, &flag), 0u);
  ASSERT_EQ(f->Close(nullptr, true), 0);
  EXPECT_TRUE(ReadBack(f->GetUuid()) == (Units{{"u", "head" + gap + "tail"}, {"crc", "123456789"}}));
  CNoxDbI::CheckReport report;
  for (const std::string& missing : {CUUID::Generate().ToString(), std::string("no/such")}) {
    EXPECT_EQ(session_->Check(missing.c_str(), &report), CNDBConstants::eFileNotFound);
  }
  ASSERT_EQ(session_->Check(f->GetUuid().ToString().c_str(), &report), 0);
  EXPECT_EQ(report.units, 2);
  EXPECT_EQ(report.undigested, 0);
  EXPECT_TRUE(report.problems.empty()) << report.problems[0];
  noxdb::Status st;
  auto store = noxdb::OpenStore(path_, &st);
  std::vector<noxdb::UnitRecord> units;
  ASSERT_TRUE(store->ListUnits(f->GetUuid().Bytes(), noxdb::UnitKind::Unit, &units).ok());
  EXPECT_EQ(units.at(1).digest, "\xE3\x06\x92\x83");
  // Bytes changed behind the engine's back no longer match.
  ASSERT_TRUE(store->Begin().ok() &&
              store->WriteChunk(units[1].id, 0, reinterpret_cast<const uint8_t*>("123456780"), 9).ok() &&
              store->Commit().ok());
  ASSERT_EQ(session_->Check("gaps", &report), 0);
  EXPECT_EQ(report.problems,
            std::vector<std::string>{"/gaps (" + f->GetUuid().ToString() +
                                     "): unit 'crc' does not match the digest recorded when it was written"});
  // The server's own check finds rows whose owner is gone, here with the foreign keys off.
  if (kind_ == StoreKind::Postgres) {
    ASSERT_EQ(session_->CreateFolder("a", nullptr), 0);
    ASSERT_EQ(OnServer("SET session_replication_role = replica; DELETE FROM " + schema_ + ".unit; DELETE FROM " +
                       schema_ + ".folder WHERE parent IS NULL"),
              "");
    ASSERT_EQ(session_->Check(nullptr, &report), 0);
    EXPECT_EQ(report.problems, (std::vector<std::string>{"3 chunks of a missing unit", "1 files in a missing folder",
                                                         "1 folders under a missing parent"}));
  }
}

}  // namespace
}  // namespace nox::test
