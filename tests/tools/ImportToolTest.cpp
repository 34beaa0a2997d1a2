// noxdb import on real trees of files: pictures of both reading roads, a clip with its media,
// damaged and unknown files, duplicates and nested folders; usage errors; two processes on
// one database at once.

#include <algorithm>
#include <filesystem>
#include <map>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

namespace fs = std::filesystem;

class ImportToolTest : public DbTest {
 protected:
  ToolRun Import(const std::string& args) const { return Noxdb(NOXDB_PATH, "import " + args); }

  // Writes `bytes` at `relative` below the tree, making folders.
  std::string Put(const std::string& relative, const io::Bytes& bytes) const {
    const fs::path path = dir_.path() / "tree" / relative;
    fs::create_directories(path.parent_path());
    WriteFile(path.string(), io::toString(bytes));
    return path.string();
  }
  std::string Tree() const { return (dir_.path() / "tree").string(); }

  // A PNG whose bytes differ with `side`.
  static io::Bytes Png(int side) {
    return io::stbEncode(io::StbKind::Png, side, side, 3, io::quadrantPicture(side, side, 3));
  }

  // Name -> checksum of the files in the database folder `folder` of `db` (default: the
  // test's database); empty when there is no such database or folder.
  std::map<std::string, std::string> Stored(const std::string& folder, const std::string& db = "") const {
    if (!db.empty() && !fs::exists(db)) return {};
    CNoxDbI session((db.empty() ? path_ : db).c_str());
    CUUID id = session.GetRootFolder();
    if (!folder.empty() && session.FindFolder(folder.c_str(), &id) != 0) return {};
    std::vector<CNoxDbI::FolderInfo> folders;
    std::vector<CNoxDbI::FileInfo> files;
    EXPECT_EQ(session.ListFolder(id, &folders, &files), 0);
    std::map<std::string, std::string> stored;
    for (const auto& f : files) stored[f.name] = f.checksum;
    return stored;
  }
};

bool Contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST_F(ImportToolTest, AMixedTreeGoesInExceptItsBadFiles) {
  const io::Bytes png = Png(16);
  Put("a.png", png);
  Put("nested/deeper/a-copy.png", png);
  const std::string tga = Put("nested/b.tga", io::stbEncode(io::StbKind::Tga, 12, 12, 4, io::quadrantPicture(12, 12, 4)));
  const std::string hdr = Put("nested/deeper/sky.hdr", io::hdrFile(8, 4, std::vector<float>(96, 0.5f), true));
  Put("nested/c.exr", io::exrFile(8, 8, std::vector<float>(256, 0.25f)));
  Put("broken.png", io::Bytes(png.begin(), png.begin() + 60));
  Put("notes.txt", io::toBytes("not a picture"));
  // A clip, whose thumbnail and media belong to it.
  const std::string clip = Put("clip/clip.bin", io::toBytes(PseudoRandomBytes(3000, 2)));
  Put("clip/thumb.png", Png(20));
  Put("clip/harbour.xml", io::toBytes("<clip><field name=\"clipname\"><value>harbour</value></field>"
                                      "<field name=\"clip\"><value>clip.bin</value></field>"
                                      "<field name=\"thumbnail\"><value>thumb.png</value></field>"
                                      "<mode>ignore_details</mode></clip>"));

  const ToolRun run = Import("--recursive --skip-duplicates --into pics --jobs 2 --keyword trip '" + Tree() + "'");
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_TRUE(Contains(run.err, "imported: 5\nskipped as duplicates: 1\nfailed: 2\n")) << run.err;
  EXPECT_TRUE(Contains(run.err, "  " + Tree() + "/broken.png: Magick: ")) << run.err;
  EXPECT_TRUE(Contains(run.err, "  " + Tree() + "/notes.txt: ")) << run.err;
  EXPECT_TRUE(Contains(run.err, "a-copy.png, a duplicate of ")) << run.err;
  // Standard output has one line per imported file and none of the library's debug lines.
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 5) << run.out;

  const std::map<std::string, std::string> stored = Stored("pics");
  std::vector<std::string> names;
  for (const auto& [name, checksum] : stored) names.push_back(name);
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c", "harbour", "sky"}));
  // Handler-road pictures carry the file's digest too; a clip carries its media's.
  EXPECT_EQ(stored.at("sky"), Md5(ReadFile(hdr)));
  EXPECT_EQ(stored.at("b"), Md5(ReadFile(tga)));
  EXPECT_EQ(stored.at("harbour"), Md5(ReadFile(clip)));
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(session_->GetUuid("pics/c", kImageType, nullptr), &info), 0);
  EXPECT_EQ(info.keywords, std::vector<std::string>{"trip"});

  // Again: everything that went in is now a duplicate, and nothing else changes.
  fs::remove(Tree() + "/broken.png");
  fs::remove(Tree() + "/notes.txt");
  const ToolRun again = Import("--recursive --skip-duplicates --into pics '" + Tree() + "'");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_TRUE(Contains(again.err, "imported: 0\nskipped as duplicates: 6\nfailed: 0\n")) << again.err;
  EXPECT_TRUE(Contains(again.err, "a-copy.png, a duplicate of /pics/a\n")) << again.err;
  EXPECT_EQ(Stored("pics"), stored);
}

TEST_F(ImportToolTest, ArgumentsChooseTheFilesAndUsageErrorsExitTwo) {
  Put("top.png", Png(8));
  Put("top.bmp", io::stbEncode(io::StbKind::Bmp, 9, 9, 3, io::quadrantPicture(9, 9, 3)));
  Put("sub/inner.png", Png(10));
  const std::string given = Put("sub/given.jpg", io::stbEncode(io::StbKind::Jpg, 16, 16, 3, io::quadrantPicture(16, 16, 3)));
  struct Row {
    std::string args;
    int status;
    std::vector<std::string> names;
  };
  const std::string tree = "'" + Tree() + "'";
  const Row rows[] = {
      {tree, 0, {"top", "top(1)"}},  // one level, a name taken by another picture gets a number
      {"--recursive --filter '*.jpg;;*.PNG' " + tree, 0, {"given", "inner", "top"}},
      {"--filter '*.png' '" + given + "' " + tree, 0, {"given", "top"}},  // a file named is always taken
      {"'" + Tree() + "/missing.png' " + tree, 1, {"top", "top(1)"}},
      {"--dxt1 --dxt5 " + tree, 2, {}},
      {"--jobs 0 " + tree, 2, {}},
      {"", 2, {}},
  };
  for (const Row& row : rows) {
    const std::string db = dir_.File("rows.noxdb");
    fs::remove(db);
    const ToolRun run = Noxdb(NOXDB_PATH, "import " + row.args, db);
    EXPECT_EQ(run.status, row.status) << row.args << "\n" << run.err;
    std::vector<std::string> names;
    for (const auto& [name, checksum] : Stored("", db)) names.push_back(name);
    EXPECT_EQ(names, row.names) << row.args;
  }
}

TEST_F(ImportToolTest, TwoProcessesOnOneDatabaseLoseNothing) {
  for (int i = 0; i < 8; ++i) {
    Put("one/p" + std::to_string(i) + ".png", Png(8 + i));
    Put("two/q" + std::to_string(i) + ".png", Png(24 + i));
  }
  const std::string one = dir_.File("one.err"), two = dir_.File("two.err");
  // A new database: the two also race to register the file types.
  const std::string db = dir_.File("shared.noxdb");
  const std::string command = std::string(NOXDB_PATH) + " --db '" + db + "' import --jobs 2 ";
  const ToolRun run = RunCommand("(" + command + "'" + Tree() + "/one' 2>'" + one + "' & " + command + "'" + Tree() +
                                     "/two' 2>'" + two + "'; s=$?; wait $! && exit $s)",
                                 dir_);
  EXPECT_EQ(run.status, 0) << ReadFile(one) << ReadFile(two);
  for (const std::string& err : {ReadFile(one), ReadFile(two)}) {
    EXPECT_TRUE(Contains(err, "imported: 8\nskipped as duplicates: 0\nfailed: 0\n")) << err;
    EXPECT_FALSE(Contains(err, "busy")) << err;
  }
  EXPECT_EQ(Stored("", db).size(), 16u);
}

}  // namespace
}  // namespace nox::test
