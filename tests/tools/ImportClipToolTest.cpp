// noxdb import-clip on real files: the bundled sample, progress for large media, failures
// and replacing a clip.

#include <algorithm>

#include "db/storage/FaultStore.h"
#include "tests/support/DbFixture.h"
#include "tools/ClipImport.h"

namespace nox::test {
namespace {

class ImportClipToolTest : public DbTest {
 protected:
  // Runs noxdb on the test's database in the folder `cwd`.
  ToolRun Noxdb(const std::string& args, const std::string& cwd = ".") const {
    return DbTest::Noxdb("cd '" + cwd + "' && " + NOXDB_PATH, args);
  }

  // A description of a clip without icons, in the test's folder beside its media.
  std::string Describe(const std::string& file, const std::string& clipName, const std::string& clipFile = "clip.bin") {
    WriteFile(dir_.File(file), "<clip><field name=\"clipname\"><value>" + clipName +
                                   "</value></field><field name=\"clip\"><value>" + clipFile +
                                   "</value></field><mode>no_icon,ignore_details</mode></clip>");
    return dir_.File(file);
  }
};

TEST_F(ImportClipToolTest, ImportsTheBundledSample) {
  const std::string import = std::string("import-clip ") + NOX_SAMPLE_CLIP;
  const ToolRun run = Noxdb(import);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Missing(run.out, {"imported ", "  Harbour at dawn\n"}), "") << run.out;
  // The library's debug lines stay off the tool's output unless asked for.
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1) << run.out;
  EXPECT_EQ(run.err, "");
  const ToolRun verbose = Noxdb("--verbose " + import);
  EXPECT_TRUE(Includes(verbose.err, "scale to ")) << verbose.err;
  EXPECT_EQ(std::count(verbose.out.begin(), verbose.out.end(), '\n'), 1) << verbose.out;

  // The name is taken (by the verbose run too): --overwrite replaces the first.
  EXPECT_TRUE(Includes(Noxdb("import-clip --overwrite " + std::string(NOX_SAMPLE_CLIP)).out, "  Harbour at dawn\n"));
  EXPECT_FALSE(Includes(Noxdb("ls").out, "dawn(2)"));
}

TEST_F(ImportClipToolTest, LargeMediaShowProgressOnStandardError) {
  const std::string big = PseudoRandomBytes(12'000'000, 3);
  WriteFile(dir_.File("clip.bin"), big);
  Describe("big.xml", "big");
  // A bare file name works: media are found beside the description.
  const ToolRun run = Noxdb("import-clip big.xml", dir_.path().string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Missing(run.err, {"\rcopying big:   0% of 12.0 MB", "\rcopying big: 100% of 12.0 MB\n"}), "") << run.err;
  // Written once into the database file itself: that file alone holds the clip.
  EXPECT_FALSE(std::filesystem::exists(path_ + "-wal"));
  EXPECT_LT(std::filesystem::file_size(path_), big.size() + big.size() / 20 + (1u << 20));
  std::filesystem::copy_file(path_, dir_.File("alone.noxdb"));
  EXPECT_TRUE(DbTest::Noxdb(NOXDB_PATH, "cat big CLIPDATA", dir_.File("alone.noxdb")).out == big);

  WriteFile(dir_.File("clip.bin"), "small");
  const ToolRun quiet = Noxdb("import-clip " + Describe("small.xml", "small"));
  EXPECT_EQ(quiet.status, 0);
  EXPECT_EQ(quiet.err, "");
}

TEST_F(ImportClipToolTest, FailuresPrintTheReasonAndStoreNothing) {
  WriteFile(dir_.File("clip.bin"), "bytes");
  WriteFile(dir_.File("broken.xml"), "<clip><field>");
  const struct {
    std::string args;
    std::string message;
  } cases[] = {
      {"import-clip broken.xml", "noxdb: 'broken.xml' is not an importable clip description\n"},
      {"import-clip absent.xml", "noxdb: 'absent.xml': no such file\n"},
      {"import-clip .", "noxdb: '.': a folder\n"},
      // The importer's own reason, as it gives it.
      {"import-clip " + Describe("clip.xml", "c", "gone.bin"), "noxdb: Clip is not available.\n"},
  };
  for (const auto& c : cases) {
    const ToolRun run = Noxdb(c.args, dir_.path().string());
    EXPECT_EQ(run.status, 1) << c.args;
    EXPECT_EQ(run.err, c.message) << c.args;
  }
  EXPECT_FALSE(Includes(Noxdb("ls").out, "VIDEO_CLIP"));
}

// Importers running at once choose the names they would choose one after another, on
// every store.
using ConcurrentImportTest = OnEveryStore<ImportClipToolTest>;
INSTANTIATE_TEST_SUITE_P(Stores, ConcurrentImportTest, EveryStore(), StoreName);
TEST_P(ConcurrentImportTest, ConcurrentImportsOfOneNameGetTheSequentialNames) {
  WriteFile(dir_.File("clip.bin"), PseudoRandomBytes(3'000'000, 6));
  const std::string xml = Describe("same.xml", "same");
  std::string script;
  for (int i = 0; i < 4; ++i) {
    script += "(" + std::string(NOXDB_PATH) + " --db '" + path_ + "' import-clip '" + xml + "' || echo FAILED) 2>&1 & ";
  }
  const ToolRun runs = RunCommand(script + "wait", dir_);
  EXPECT_FALSE(Includes(runs.out, "FAILED")) << runs.out;
  EXPECT_EQ(Missing(Noxdb("ls").out, {"  same\n", "  same(1)\n", "  same(2)\n", "  same(3)\n"}), "");
}

// A device that fills up at any point of an import: the reason says so, and the database
// stays as it was.
TEST_F(ImportClipToolTest, AFullDeviceIsNamedAndChangesNothing) {
  WriteFile(dir_.File("clip.bin"), PseudoRandomBytes(3'000'000, 4));
  const std::string xml = Describe("full.xml", "full");
  for (int n : {1, 4, 9}) {
    noxdb::Status st;
    auto store = std::make_unique<noxdb::FaultStore>(noxdb::OpenSqliteStore(path_, &st));
    store->FailFrom(n, CNDBConstants::eDiskFull);
    CNoxDbI session(std::move(store));
    CUUID id;
    const std::string reason = nox::tools::ImportClip(session, path_, xml, false, &id);
    EXPECT_TRUE(Includes(reason, "no space left on device")) << n << ": " << reason;
  }
  EXPECT_FALSE(Includes(Noxdb("ls").out, "full"));
}

}  // namespace
}  // namespace nox::test
