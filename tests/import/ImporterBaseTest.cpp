// The importer base: the last error, names, and the fixed steps per file.

#include <cstring>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

TEST(ImporterBase, LastErrorFileTypeAndDefaultJudgement) {
  TestImporter importer;
  EXPECT_EQ(importer.GetLastError(), nullptr) << "null, not an empty text";
  // Texts longer than a first formatting buffer are kept whole, with their zero.
  const std::string long300(300, 'x');
  importer.SetLastError(11, "%s", long300.c_str());
  EXPECT_EQ(importer.GetLastError(), long300);
  EXPECT_EQ(importer.lastError.size(), 301u);
  importer.SetLastError(-5, "100%% done, %d left", 0);
  EXPECT_STREQ(importer.GetLastError(), "100% done, 0 left");
  EXPECT_EQ(importer.GetLastErrorCode(), -5);
  importer.SetLastError(0, nullptr);
  EXPECT_EQ(importer.GetLastError(), nullptr);
  EXPECT_FALSE(importer.initFileType(0, "IMAGE"));
  EXPECT_FALSE(importer.initFileType(kImageType, nullptr));
  EXPECT_TRUE(importer.initFileType(kImageType, "IMAGE"));
  EXPECT_EQ(importer.CImporterBase::CanImport(""), 0);
  EXPECT_EQ(importer.CImporterBase::CanImport("x"), 1);
}

TEST(ImporterBase, MakeFileNameJoinsWithOneSeparator) {
  const char* const cases[][3] = {{"a", "b", "a/b"},     {"a/", "/b", "a/b"},      {"a", "\\b", "a\\b"},
                                  {"a\\", "/b", "a\\b"}, {"x\\y", "z", "x\\y/z"}, {"", "b", "/b"}};
  const auto wide = [](const char* s) { return std::wstring(s, s + std::strlen(s)); };
  TestImporter importer;
  for (const auto& c : cases) {
    EXPECT_EQ(importer.makeFileName(std::string(c[0]), std::string(c[1])), c[2]) << c[0] << "+" << c[1];
    EXPECT_EQ(importer.makeFileName(wide(c[0]), wide(c[1])), wide(c[2]));
  }
}

TEST(ImporterBase, ImportFileFlagWords) {
  const struct {
    std::map<std::string, bool> answers;
    int result;
    const char* calls;  // the slots called, in order
  } cases[] = {
      {{{"CanImport", false}}, 12, "CanImport OnFileLoaded"},
      {{{"CanImport", false}, {"OnFileLoaded", false}}, 4, "CanImport OnFileLoaded"},
      {{{"OnImport", false}}, 8, "CanImport OnImport"},
      {{}, 1, "CanImport OnImport loadFile doImport"},
      {{{"loadFile", false}}, 2, "CanImport OnImport loadFile OnImportFailed"},
      {{{"loadFile", false}, {"OnImportFailed", false}}, 10, "CanImport OnImport loadFile OnImportFailed"},
      {{{"doImport", false}}, 2, "CanImport OnImport loadFile doImport OnImportFailed"},
      {{{"doImport", false}, {"OnImportFailed", false}}, 10,
       "CanImport OnImport loadFile doImport OnImportFailed"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.calls);
    TestImporter importer;
    importer.answers = c.answers;
    importer.SetLastError(6, "stale");
    EXPECT_EQ(importer._importFile("/in/pic.png", true, nullptr, nullptr, nullptr), c.result);
    std::string calls;
    for (const auto& call : importer.calls) calls += (calls.empty() ? "" : " ") + call.substr(0, call.find(':'));
    EXPECT_EQ(calls, c.calls);
    EXPECT_EQ(importer.CallsOf("CanImport"), std::vector<std::string>{"/in/pic.png"});
    // The text is emptied only once OnImport agreed; the code stays.
    EXPECT_EQ(importer.GetLastError() == nullptr, (c.result & 3) != 0);
    EXPECT_EQ(importer.GetLastErrorCode(), 6);
  }
}

TEST(ImporterBase, ImportFilePassesItsArgumentsAndNamesTheItem) {
  TestImporter importer;
  CNOFChecksum checksum;
  const CUUID folder = CUUID::Generate();
  CUUID uuid;
  EXPECT_EQ(importer._importFile("/in/dir.v2/we*rd:name.tar.png", true, &checksum, &folder, &uuid), 1);
  EXPECT_EQ(importer.name, "we_rd_name.tar");
  EXPECT_TRUE(importer.lastOverwrite && !importer.lastCreateWithUuid);
  EXPECT_TRUE(importer.lastChecksum == &checksum && importer.lastFolder == &folder && importer.lastUuid == &uuid);
  // A name already set is kept, and still validated; a backslash also separates.
  importer.name = "keep?me";
  EXPECT_EQ(importer._importFile("C:\\in\\other.png", false, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(importer.name, "keep_me");
  EXPECT_FALSE(importer.lastOverwrite);
  importer.name.clear();
  importer._importFile("C:\\in\\other.png", false, nullptr, nullptr, nullptr);
  EXPECT_EQ(importer.name, "other");
}

}  // namespace
}  // namespace nox::test
