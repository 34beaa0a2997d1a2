// The noxdb tool on real databases: what it lists, shows, dumps and copies out, and how it
// fails.

#include <sys/wait.h>

#include <cstdio>

#include "tests/db/DbTestSupport.h"

namespace nox::test {
namespace {

struct ToolRun {
  int status;
  std::string out;
};

// Runs noxdb with `args`; standard error joins standard output when `withErrors`.
ToolRun Noxdb(const std::string& args, bool withErrors = false) {
  const std::string command = std::string(NOXDB_PATH) + " " + args + (withErrors ? " 2>&1" : " 2>/dev/null");
  FILE* pipe = popen(command.c_str(), "r");
  ToolRun run{-1, ""};
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

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
  std::string Db() const { return "--db " + path_; }

  std::string raw_;
  CUUID id_;
};

TEST_F(NoxdbTest, ListsShowsDumpsAndCopiesOut) {
  ToolRun ls = Noxdb(Db() + " ls");
  EXPECT_EQ(ls.status, 0);
  EXPECT_NE(ls.out.find("trips/"), std::string::npos);
  ls = Noxdb(Db() + " ls trips");
  EXPECT_NE(ls.out.find("IMAGE"), std::string::npos);
  EXPECT_NE(ls.out.find(id_.ToString()), std::string::npos);
  EXPECT_NE(ls.out.find("9dd4e461268c8034f5c8564e155c67a6"), std::string::npos);  // md5("x")

  const ToolRun info = Noxdb(Db() + " info trips/sea");
  EXPECT_EQ(info.status, 0);
  for (const char* part : {"Data", "raw", "700001", "beach", "/trips"}) {
    EXPECT_NE(info.out.find(part), std::string::npos) << part;
  }

  const ToolRun dump = Noxdb(Db() + " dump " + id_.ToString() + " Data");
  EXPECT_EQ(dump.status, 0);
  EXPECT_NE(dump.out.find("  1424\n    1433\n      \"sea\"\n    64102\n"), std::string::npos) << dump.out;
  EXPECT_NE(dump.out.find("i32 640, 480"), std::string::npos);
  EXPECT_NE(dump.out.find("binary 3 bytes: 01 02 03"), std::string::npos);

  const ToolRun cat = Noxdb(Db() + " cat trips/sea raw");
  EXPECT_EQ(cat.status, 0);
  EXPECT_TRUE(cat.out == raw_);

  EXPECT_EQ(Noxdb(Db() + " rm trips/sea").status, 0);
  EXPECT_EQ(Noxdb(Db() + " info trips/sea").status, 1);
}

TEST_F(NoxdbTest, FailuresAreOneLineAndNonZero) {
  const struct {
    std::string args, message;
  } cases[] = {
      {"--db " + dir_.File("absent.noxdb") + " ls", "no database at"},
      {Db() + " info nothing", "file not found"},
      {Db() + " cat trips/sea nounit", "no unit 'nounit'"},
      {Db() + " dump trips/sea nounit", "no unit 'nounit'"},
      {Db() + " ls nofolder", "folder not found"},
  };
  for (const auto& c : cases) {
    const ToolRun run = Noxdb(c.args, true);
    EXPECT_EQ(run.status, 1) << c.args;
    EXPECT_NE(run.out.find("noxdb: " + c.message), std::string::npos) << run.out;
  }
  EXPECT_FALSE(std::filesystem::exists(dir_.File("absent.noxdb")));
  EXPECT_EQ(Noxdb("--db " + dir_.File("new.noxdb") + " init").status, 0);
  EXPECT_TRUE(std::filesystem::exists(dir_.File("new.noxdb")));
}

}  // namespace
}  // namespace nox::test
