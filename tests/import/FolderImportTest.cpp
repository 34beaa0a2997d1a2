// Folder import: filters, the emulated directory search, and where the walk stops.

#include <cwchar>
#include <filesystem>

#include "import/DirectorySearch.h"
#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

TEST(ParseFilter, SplitsAndPrints) {
  const struct {
    const char* filter;
    std::vector<std::wstring> patterns;
    std::string printed;
  } cases[] = {
      {nullptr, {}, ""},
      {"", {}, "parseFilter()\n"},
      {"*.png;;*.jpg;", {L"*.png", L"*.jpg"}, "parseFilter(*.png;;*.jpg;)\nfound: (5) <*.png>\nfound: (5) <*.jpg>\n"},
      {";*.png", {L"", L"*.png"}, "parseFilter(;*.png)\nfound: (0) <>\nfound: (5) <*.png>\n"},
      {";;", {L""}, "parseFilter(;;)\nfound: (0) <>\n"},
      {"\xC3\xA4*.png", {L"\u00E4*.png"}, "parseFilter(\xC3\xA4*.png)\nfound: (7) <\xC3\xA4*.png>\n"},
  };
  for (const auto& c : cases) {
    std::vector<std::wstring> patterns = {L"kept"};
    size_t size = 0;
    EXPECT_EQ(Printed([&] { size = TestImporter::parseFilter(c.filter, patterns); }), c.printed);
    EXPECT_EQ(size, c.patterns.size() + 1);
    EXPECT_EQ(std::vector<std::wstring>(patterns.begin() + 1, patterns.end()), c.patterns);
  }
}

TEST(DirectorySearch, WildcardsMatchAsThePlatformDid) {
  const struct {
    const wchar_t *pattern, *name;
    bool match;
  } cases[] = {
      {L"*.*", L"noext", true},        {L"*.*", L".", true},     {L"*.png", L"A.PnG", true},
      {L"*.png", L"a.png.bak", false}, {L"a?c", L"ac", false},   {L"*a*b", L"xxaYYb", true},
      {L"*a*b", L"xxaYYbc", false},    {L"", L"a", false},       {L"*.png", L".", false},
  };
  for (const auto& c : cases) EXPECT_EQ(nox::import::WildcardMatch(c.pattern, c.name), c.match) << c.name;
}

class FolderImportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* file : {"a.png", "B.PNG", "c.jpg", "d.txt", "e.png.bak"}) WriteFile(dir_.File(file), "x");
    std::filesystem::create_directory(dir_.File("sub"));
    // Only regular files are taken.
    for (const char* entry : {"/.", "/..", "/sub"}) importer_.answers["CanImport:" + folder_ + entry] = false;
  }

  std::vector<std::string> Paths(const std::vector<std::string>& names) const {
    std::vector<std::string> paths;
    for (const auto& n : names) paths.push_back(folder_ + "/" + n);
    return paths;
  }

  TempDir dir_;
  const std::string folder_ = dir_.path().string();
  TestImporter importer_;
};

TEST_F(FolderImportTest, DefaultWalkEndsAtTheFirstRefusedEntry) {
  EXPECT_EQ(Printed([&] { EXPECT_EQ(importer_.ImportFolder(folder_.c_str(), nullptr, false), 0u); }), "");
  EXPECT_EQ(importer_.calls, (std::vector<std::string>{"CanImport:" + folder_ + "/.", "OnFileLoaded:" + folder_ + "/."}));
  const std::wstring folder(folder_.begin(), folder_.end());
  EXPECT_EQ(importer_.debugTexts,
            (std::vector<std::wstring>{L"import from " + folder + L" filter *", L"import files *.* from " + folder}));
  importer_.calls.clear();
  EXPECT_EQ(Printed([&] { importer_.ImportFolder(folder_.c_str(), "", false); }), "parseFilter()\n");
  EXPECT_EQ(importer_.calls.size(), 2u) << "an empty filter also walks *.*";
  // A folder that is missing, or not given, walks nothing.
  importer_.calls.clear();
  EXPECT_EQ(importer_.ImportFolder((folder_ + "/none").c_str(), nullptr, false), 0u);
  importer_.debugTexts.clear();
  EXPECT_EQ(importer_.ImportFolder(nullptr, nullptr, false), 0u);
  EXPECT_EQ(importer_.debugTexts, (std::vector<std::wstring>{L"import from   filter *", L"import files *.* from "}));
  EXPECT_TRUE(importer_.calls.empty());
}

TEST_F(FolderImportTest, SkippingRefusedEntriesWalksAllInByteOrder) {
  importer_.answers["OnFileLoaded"] = false;
  EXPECT_EQ(Printed([&] { EXPECT_EQ(importer_.ImportFolder((folder_ + "/").c_str(), "*.*", true), 5u); }),
            "parseFilter(*.*)\nfound: (3) <*.*>\n");
  EXPECT_EQ(importer_.CallsOf("CanImport"), Paths({".", "..", "B.PNG", "a.png", "c.jpg", "d.txt", "e.png.bak", "sub"}));
  EXPECT_EQ(importer_.CallsOf("doImport"), Paths({"B.PNG", "a.png", "c.jpg", "d.txt", "e.png.bak"}));
  EXPECT_TRUE(importer_.lastOverwrite);
  EXPECT_TRUE(!importer_.lastFolder && !importer_.lastUuid && !importer_.lastChecksum);

  // A refused entry makes the pattern's walk unclean, but the count stands.
  std::wstring folder(folder_.begin(), folder_.end());
  unsigned long count = 10;
  EXPECT_FALSE(importer_._importFolder(folder, L"*", count, false));
  EXPECT_EQ(count, 15u);
  EXPECT_TRUE(importer_._importFolder(folder, L"*.PNG", count, false));
  EXPECT_EQ(count, 17u);
  EXPECT_FALSE(importer_._importFolder(folder, L"*.gif", count, false)) << "no match";
  folder.clear();
  EXPECT_FALSE(importer_._importFolder(folder, L"*.*", count, false)) << "no folder";
  EXPECT_EQ(count, 17u);
}

TEST_F(FolderImportTest, EveryPatternWalksAndCountsAndAStopEndsOnlyItsOwn) {
  const struct {
    const char* filter;
    std::map<std::string, bool> answers;
    unsigned long count;
    std::vector<std::string> imported;
  } cases[] = {
      {"*.png;;*.jpg;", {}, 3, {"B.PNG", "a.png", "c.jpg"}},
      {"*.png;*.PNG", {}, 4, {"B.PNG", "a.png", "B.PNG", "a.png"}},
      {";", {}, 0, {}},  // an empty pattern, and no default
      {"*.gif;c*", {}, 1, {"c.jpg"}},
      {"*.*;*.png", {{"OnImport:" + folder_ + "/c.jpg", false}}, 4, {"B.PNG", "a.png", "B.PNG", "a.png"}},
      {"*.png;*.jpg", {{"doImport", false}, {"OnImportFailed", false}}, 0, {"B.PNG", "c.jpg"}},
  };
  for (const auto& c : cases) {
    TestImporter importer = importer_;
    importer.answers.insert(c.answers.begin(), c.answers.end());
    importer.answers["OnFileLoaded"] = false;
    unsigned long count = 0;
    Printed([&] { count = importer.ImportFolder(folder_.c_str(), c.filter, false); });
    EXPECT_EQ(count, c.count) << c.filter;
    EXPECT_EQ(importer.CallsOf("doImport"), Paths(c.imported)) << c.filter;
  }
}

}  // namespace
}  // namespace nox::test
