// The noxdb tool on real databases: what it lists, shows, dumps and copies out, and how it
// fails.

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

// A database with one image, trips/sea: a token unit, a raw unit and a keyword.
class NoxdbTest : public DbTest {
 protected:
  void SetUp() override {
    DbTest::SetUp();
    if (IsSkipped()) return;
    CNOFChecksum sum;
    sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("x")), 1);
    sum.finalize();
    CNDBFile f(session_.get());
    f.AddAttribute("Data", nullptr);
    f.AddAttribute("raw", nullptr);
    f.InsertKeyword("beach", 0);
    ASSERT_EQ(f.Create("trips/sea", kImageType, 2, 0xFFF, &sum, 0), 0);
    f.SelectUnit("Data", 0, false);
    f << TOK::FileToken(1424) << TOK::FileToken(1433) << std::string("sea") << TOK::FileToken(64102)
      << TOK::FileToken(1428) << tagSIZE{640, 480} << TOK::FileToken(64107) << TOK::FileToken(1427);
    f.WriteBinary("\x01\x02\x03", 3);
    f << TOK::FileToken(64108) << TOK::FileToken(64111);
    bool flag = true;
    f.RawWrite(2, 0, raw_.data(), static_cast<unsigned int>(raw_.size()), &flag);
    id_ = f.GetUuid();
  }
  ToolRun Run(const std::string& args, const std::string& db = "") const { return Noxdb(NOXDB_PATH, args, db); }

  const std::string raw_ = PseudoRandomBytes(700001, 5);
  CUUID id_;
};

using NoxdbStoreTest = OnEveryStore<NoxdbTest>;
INSTANTIATE_TEST_SUITE_P(Stores, NoxdbStoreTest, EveryStore(), StoreName);
TEST_P(NoxdbStoreTest, ListsShowsDumpsAndCopiesOut) {
  EXPECT_EQ(Missing(Run("ls").out, {"trips/"}), "");
  // md5("x") is the checksum
  EXPECT_EQ(Missing(Run("ls trips").out, {"IMAGE", id_.ToString(), "9dd4e461268c8034f5c8564e155c67a6"}), "");
  EXPECT_EQ(Missing(Run("info trips/sea").out, {"Data", "raw", "700001", "beach", "/trips"}), "");
  const ToolRun dump = Run("dump " + id_.ToString() + " Data");
  EXPECT_EQ(dump.status, 0);
  EXPECT_EQ(
      Missing(dump.out, {"  1424\n    1433\n      \"sea\"\n    64102\n", "i32 640, 480", "binary 3 bytes: 01 02 03"}),
      "")
      << dump.out;
  const ToolRun cat = Run("cat trips/sea raw");
  EXPECT_EQ(cat.status, 0);
  EXPECT_TRUE(cat.out == raw_);
  EXPECT_EQ(Run("rm trips/sea").status, 0);
  EXPECT_EQ(Run("info trips/sea").status, 1);
}

// check verifies every unit against the digest recorded when it was written: a byte flipped
// in the database file on disk is found and named.
TEST_F(NoxdbTest, CheckFindsAByteFlippedOnDisk) {
  MakeFile("zqxname", kImageType, {"u"});
  const ToolRun good = Run("check");
  EXPECT_EQ(good.status, 0) << good.out;
  EXPECT_EQ(Missing(good.out, {"checked 2 files, 3 units: 0 problems"}), "") << good.out;
  session_.reset();
  std::string bytes = ReadFile(path_);
  const size_t at = bytes.find(raw_.substr(300000, 64));
  ASSERT_NE(at, std::string::npos);
  bytes[at] ^= 0x20;
  WriteFile(path_, bytes);
  for (const char* args : {"check", "check trips/sea"}) {
    const ToolRun bad = Run(args);
    EXPECT_EQ(bad.status, 1) << args;
    EXPECT_EQ(Missing(bad.out, {"/trips/sea (" + id_.ToString() + "): unit 'raw' does not match"}), "") << bad.out;
  }
  // A name changed in the file's record but not in the index of names: SQLite's check says so.
  bytes[bytes.find("zqxname")] = 'Z';
  WriteFile(path_, bytes);
  const ToolRun structure = Run("check");
  EXPECT_EQ(structure.status, 1);
  EXPECT_EQ(Missing(structure.out, {"index"}), "") << structure.out;
}

// Exit status 1 with one line for failures, 2 for usage errors; only init and the importing
// commands make a database.
TEST_F(NoxdbTest, FailuresAndUsageErrorsHaveTheirOwnStatus) {
  const std::string empty = dir_.File("empty.noxdb"), absent = dir_.File("absent.noxdb");
  WriteFile(empty, "");
  const struct {
    std::string db, args, message;
    int status;
  } cases[] = {
      {absent, "ls", "noxdb: no database at", 1},
      {absent, "mkdir a", "noxdb: no database at", 1},
      {empty, "ls", "not a media database", 1},
      {empty, "mkdir a", "not a media database", 1},
      {"", "info nothing", "noxdb: file not found", 1},
      {"", "cat trips/sea nounit", "noxdb: no unit 'nounit'", 1},
      {"", "dump trips/sea nounit", "noxdb: no unit 'nounit'", 1},
      {"", "ls nofolder", "noxdb: folder not found", 1},
      {"", "info", "FILE is required", 2},
      {"", "frobnicate", "A subcommand is required", 2},
      {"", "", "A subcommand is required", 2},
  };
  for (const auto& c : cases) {
    const ToolRun run = Run(c.args, c.db);
    EXPECT_EQ(run.status, c.status) << c.args;
    EXPECT_EQ(Missing(run.err, {c.message}), "") << c.args << ": " << run.err;
  }
  EXPECT_EQ(RunCommand(std::string(NOXDB_PATH) + " ls", dir_).status, 2);
  EXPECT_EQ(RunCommand(std::string(NOXDB_PATH) + " --help", dir_).status, 0);
  EXPECT_FALSE(std::filesystem::exists(absent));
  EXPECT_EQ(std::filesystem::file_size(empty), 0u);
  EXPECT_EQ(Run("init", absent).status + Run("mkdir a/b", absent).status, 0);
  EXPECT_EQ(Missing(Run("ls a", absent).out, {"b/"}), "");
}

// A database on a read-only file system (a read-only bind mount in a private mount
// namespace) can be read by every reading command; writing commands say why they cannot.
TEST_F(NoxdbTest, ReadOnlyMediaCanBeRead) {
  session_.reset();
  const std::string folder = "'" + dir_.path().string() + "'";
  const std::string mount =
      "mount --bind " + folder + " " + folder + " && mount -o remount,bind,ro " + folder + " " + folder;
  if (RunCommand("unshare -rm sh -c \"" + mount + "\"", dir_).status != 0) {
    GTEST_SKIP() << "no private mount namespace here (unshare -rm)";
  }
  const std::string noxdb = " && " + std::string(NOXDB_PATH) + " --db '" + path_ + "' ";
  const ToolRun run = RunCommand("unshare -rm sh -c \"" + mount + noxdb + "ls trips" + noxdb + "info trips/sea" +
                                     noxdb + "dump trips/sea Data" + noxdb +
                                     "cat trips/sea raw > /dev/null && echo READ" + noxdb + "rm trips/sea\"",
                                 dir_);
  EXPECT_EQ(Missing(run.out, {id_.ToString(), "binary 3 bytes", "READ"}), "") << run.err;
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Includes(run.err, "noxdb: ") && !Includes(run.err, "readonly")) << run.err;
}

}  // namespace
}  // namespace nox::test
