// noxdb import on real trees of files: pictures of both reading roads, a clip with its media,
// damaged and unknown files, duplicates and nested folders; usage errors. Processes importing
// into one database at once are the kill campaign's writers.

#include <algorithm>
#include <filesystem>
#include <map>
#include <tuple>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

namespace fs = std::filesystem;

class ImportToolTest : public ImportDbTest {
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

// The formats themselves are the importers' tests' concern: here a picture of each reading
// road, a clip whose media belong to it, duplicates, and the damaged and the unknown.
TEST_F(ImportToolTest, AMixedTreeGoesInExceptItsBadFiles) {
  const io::Bytes png = Png(16);
  const std::string a = Put("a.png", png);
  Put("nested/deeper/a-copy.png", png);
  const std::string hdr = Put("nested/deeper/sky.hdr", io::hdrFile(8, 4, std::vector<float>(96, 0.5f), true));
  Put("broken.png", io::Bytes(png.begin(), png.begin() + 60));
  Put("notes.txt", io::toBytes("not a picture"));
  Put("clip/thumb.png", Png(20));
  const std::string clip = WriteMedia("tree/clip/clip.bin", 3000, 2);
  WriteDescription("tree/clip/harbour.xml", CompleteFields());

  const ToolRun run = Import("--recursive --skip-duplicates --into pics --jobs 2 --keyword trip '" + Tree() + "'");
  EXPECT_EQ(run.status, 1) << run.err;
  for (const std::string& part : std::vector<std::string>{"imported: 3\nskipped as duplicates: 1\nfailed: 2\n",
                                                         "a-copy.png, a duplicate of ", "  " + Tree() + "/broken.png: Magick: ",
                                                         "  " + Tree() + "/notes.txt: "}) {
    EXPECT_TRUE(Includes(run.err, part)) << part << "\n" << run.err;
  }
  // Standard output has one line per imported file and none of the library's debug lines.
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 3) << run.out;
  // Each file carries its digest, handler-road pictures too; a clip its media's.
  const std::map<std::string, std::string> stored{
      {"a", Md5(ReadFile(a))}, {"harbour", Md5(clip)}, {"sky", Md5(ReadFile(hdr))}};
  EXPECT_EQ(Stored("pics"), stored);
  EXPECT_EQ(Info(session_->GetUuid("pics/sky", kImageType, nullptr)).keywords, std::vector<std::string>{"trip"});

  // Again: everything that went in is now a duplicate, and nothing else changes.
  fs::remove(Tree() + "/broken.png");
  fs::remove(Tree() + "/notes.txt");
  const ToolRun again = Import("--recursive --skip-duplicates --into pics '" + Tree() + "'");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_TRUE(Includes(again.err, "imported: 0\nskipped as duplicates: 4\nfailed: 0\n")) << again.err;
  EXPECT_TRUE(Includes(again.err, "a-copy.png, a duplicate of /pics/a\n")) << again.err;
  EXPECT_EQ(Stored("pics"), stored);
}

TEST_F(ImportToolTest, ArgumentsChooseTheFilesAndUsageErrorsExitTwo) {
  Put("top.png", Png(8));
  Put("top.bmp", io::stbEncode(io::StbKind::Bmp, 9, 9, 3, io::quadrantPicture(9, 9, 3)));
  Put("sub/inner.png", Png(10));
  const std::string given = Put("sub/given.jpg", io::stbEncode(io::StbKind::Jpg, 16, 16, 3, io::quadrantPicture(16, 16, 3)));
  const std::string tree = "'" + Tree() + "'";
  const std::tuple<std::string, int, std::string> rows[] = {
      {tree, 0, "top top(1) "},  // one level, a name taken by another picture gets a number
      {"--recursive --filter '*.jpg;;*.PNG' " + tree, 0, "given inner top "},
      {"--filter '*.png' '" + given + "' " + tree, 0, "given top "},  // a file named is always taken
      {"'" + Tree() + "/missing.png' " + tree, 1, "top top(1) "},
      {"--dxt1 --dxt5 " + tree, 2, ""},
      {"--jobs 0 " + tree, 2, ""},
      {"", 2, ""},
  };
  for (const auto& [args, status, names] : rows) {
    const std::string db = dir_.File("rows.noxdb");
    fs::remove(db);
    const ToolRun run = Noxdb(NOXDB_PATH, "import " + args, db);
    EXPECT_EQ(run.status, status) << args << "\n" << run.err;
    std::string stored;
    for (const auto& [name, checksum] : Stored("", db)) stored += name + " ";
    EXPECT_EQ(stored, names) << args;
  }
}

}  // namespace
}  // namespace nox::test
