// The noxdb tool on real databases: what it lists, shows, dumps and copies out, and how it
// fails.

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

class NoxdbTest : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    CNDBFile f(session_.get());
    f.AddAttribute("Data", nullptr);
    f.AddAttribute("raw", nullptr);
    f.InsertKeyword("beach", 0);
    CNOFChecksum sum;
    sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("x")), 1);
    sum.finalize();
    ASSERT_EQ(f.Create("trips/sea", kImageType, 2, 0xFFF, &sum, 0), 0);
    f.SelectUnit("Data", 0, false);
    f << TOK::FileToken(1424) << TOK::FileToken(1433) << std::string("sea") << TOK::FileToken(64102)
      << TOK::FileToken(1428) << tagSIZE{640, 480} << TOK::FileToken(64107) << TOK::FileToken(1427);
    f.WriteBinary("\x01\x02\x03", 3);
    f << TOK::FileToken(64108) << TOK::FileToken(64111);
    raw_ = PseudoRandomBytes(700001, 5);
    bool flag = true;
    f.RawWrite(f.FindUnit("raw"), 0, raw_.data(), static_cast<unsigned int>(raw_.size()), &flag);
    id_ = f.GetUuid();
  }
  ToolRun Run(const std::string& args) const { return Noxdb(NOXDB_PATH, args); }

  std::string raw_;
  CUUID id_;
};

TEST_F(NoxdbTest, ListsShowsDumpsAndCopiesOut) {
  ToolRun ls = Run("ls");
  EXPECT_EQ(ls.status, 0);
  EXPECT_NE(ls.out.find("trips/"), std::string::npos);
  ls = Run("ls trips");
  EXPECT_NE(ls.out.find("IMAGE"), std::string::npos);
  EXPECT_NE(ls.out.find(id_.ToString()), std::string::npos);
  EXPECT_NE(ls.out.find("9dd4e461268c8034f5c8564e155c67a6"), std::string::npos);  // md5("x")

  const ToolRun info = Run("info trips/sea");
  EXPECT_EQ(info.status, 0);
  for (const char* part : {"Data", "raw", "700001", "beach", "/trips"}) {
    EXPECT_NE(info.out.find(part), std::string::npos) << part;
  }

  const ToolRun dump = Run("dump " + id_.ToString() + " Data");
  EXPECT_EQ(dump.status, 0);
  EXPECT_NE(dump.out.find("  1424\n    1433\n      \"sea\"\n    64102\n"), std::string::npos) << dump.out;
  EXPECT_NE(dump.out.find("i32 640, 480"), std::string::npos);
  EXPECT_NE(dump.out.find("binary 3 bytes: 01 02 03"), std::string::npos);

  const ToolRun cat = Run("cat trips/sea raw");
  EXPECT_EQ(cat.status, 0);
  EXPECT_TRUE(cat.out == raw_);

  EXPECT_EQ(Run("rm trips/sea").status, 0);
  EXPECT_EQ(Run("info trips/sea").status, 1);
}

TEST_F(NoxdbTest, FailuresAreOneLineAndNonZero) {
  const struct {
    std::string db, args, message;
  } cases[] = {
      {dir_.File("absent.noxdb"), "ls", "no database at"},
      {"", "info nothing", "file not found"},
      {"", "cat trips/sea nounit", "no unit 'nounit'"},
      {"", "dump trips/sea nounit", "no unit 'nounit'"},
      {"", "ls nofolder", "folder not found"},
  };
  for (const auto& c : cases) {
    const ToolRun run = Noxdb(NOXDB_PATH, c.args, c.db);
    EXPECT_EQ(run.status, 1) << c.args;
    EXPECT_NE(run.err.find("noxdb: " + c.message), std::string::npos) << run.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir_.File("absent.noxdb")));
  EXPECT_EQ(Noxdb(NOXDB_PATH, "init", dir_.File("new.noxdb")).status, 0);
  EXPECT_TRUE(std::filesystem::exists(dir_.File("new.noxdb")));
}

}  // namespace
}  // namespace nox::test
