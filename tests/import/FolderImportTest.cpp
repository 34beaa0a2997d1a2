// Folder import: filters, the emulated directory search, and where the walk stops.

#include <cwchar>
#include <filesystem>

#include "import/DirectorySearch.h"
#include "tests/import/ImportTestSupport.h"

namespace nox::test {
namespace {

class FolderImportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* file : {"a.png", "B.PNG", "c.jpg", "d.txt", "e.png.bak"}) {
      WriteFile(dir_.File(file), "x");
    }
    std::filesystem::create_directory(dir_.File("sub"));
    folder_ = dir_.path().string();
    // Only regular files are taken: ".", ".." and folders are refused.
    importer_.canImport = [](const std::string& path) {
      return std::filesystem::is_regular_file(path) ? 1 : 0;
    };
  }

  std::vector<std::string> Paths(const std::vector<std::string>& names) const {
    std::vector<std::string> paths;
    for (const auto& n : names) paths.push_back(folder_ + "/" + n);
    return paths;
  }

  TempDir dir_;
  std::string folder_;
  TestImporter importer_;
};

TEST(ParseFilter, SplitsAndPrints) {
  struct Case {
    const char* filter;
    std::vector<std::wstring> patterns;
    std::string printed;
  };
  const Case cases[] = {
      {nullptr, {}, ""},
      {"", {}, "parseFilter()\n"},
      {"*.png;;*.jpg;", {L"*.png", L"*.jpg"},
       "parseFilter(*.png;;*.jpg;)\nfound: (5) <*.png>\nfound: (5) <*.jpg>\n"},
      {";*.png", {L"", L"*.png"}, "parseFilter(;*.png)\nfound: (0) <>\nfound: (5) <*.png>\n"},
      {";;", {L""}, "parseFilter(;;)\nfound: (0) <>\n"},
      {"\xC3\xA4*.png", {L"\u00E4*.png"},
       "parseFilter(\xC3\xA4*.png)\nfound: (7) <\xC3\xA4*.png>\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::wstring> patterns = {L"kept"};
    size_t size = 0;
    EXPECT_EQ(Printed([&] { size = TestImporter::parseFilter(c.filter, patterns); }), c.printed);
    EXPECT_EQ(size, c.patterns.size() + 1);
    patterns.erase(patterns.begin());
    EXPECT_EQ(patterns, c.patterns) << (c.filter ? c.filter : "null");
  }
}

TEST(DirectorySearch, WildcardsMatchAsThePlatformDid) {
  struct Case {
    const wchar_t* pattern;
    const wchar_t* name;
    bool match;
  };
  const Case cases[] = {
      {L"*.*", L"noext", true},        {L"*.*", L".", true},     {L"*.png", L"A.PnG", true},
      {L"*.png", L"a.png.bak", false}, {L"a?c", L"ac", false},   {L"*a*b", L"xxaYYb", true},
      {L"*a*b", L"xxaYYbc", false},    {L"", L"a", false},       {L"*.png", L".", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(nox::import::WildcardMatch(c.pattern, c.name), c.match)
        << std::string(c.pattern, c.pattern + wcslen(c.pattern)) << " / "
        << std::string(c.name, c.name + wcslen(c.name));
  }
}

TEST_F(FolderImportTest, DefaultWalkEndsAtTheFirstRefusedEntry) {
  const std::string printed = Printed([&] {
    EXPECT_EQ(importer_.ImportFolder(folder_.c_str(), nullptr, false), 0u);
  });
  EXPECT_EQ(printed, "") << "a null filter prints nothing";
  EXPECT_EQ(importer_.calls,
            (std::vector<std::string>{"CanImport:" + folder_ + "/.",
                                      "OnFileLoaded:" + folder_ + "/."}));
  const std::wstring folder(folder_.begin(), folder_.end());
  EXPECT_EQ(importer_.debugTexts, (std::vector<std::wstring>{L"import from " + folder + L" filter *",
                                                             L"import files *.* from " + folder}));

  importer_.calls.clear();
  EXPECT_EQ(Printed([&] { importer_.ImportFolder(folder_.c_str(), "", false); }),
            "parseFilter()\n");
  EXPECT_EQ(importer_.calls.size(), 2u) << "an empty filter also walks *.*";
}

TEST_F(FolderImportTest, SkippingRefusedEntriesWalksAllInByteOrder) {
  importer_.onFileLoaded = [](const std::string&) { return false; };
  EXPECT_EQ(Printed([&] { EXPECT_EQ(importer_.ImportFolder(folder_.c_str(), "*.*", true), 5u); }),
            "parseFilter(*.*)\nfound: (3) <*.*>\n");
  EXPECT_EQ(importer_.CallsOf("CanImport"),
            Paths({".", "..", "B.PNG", "a.png", "c.jpg", "d.txt", "e.png.bak", "sub"}));
  EXPECT_EQ(importer_.CallsOf("doImport"), Paths({"B.PNG", "a.png", "c.jpg", "d.txt", "e.png.bak"}));
  EXPECT_TRUE(importer_.lastOverwrite);
  EXPECT_EQ(importer_.lastFolder, nullptr);
  EXPECT_EQ(importer_.lastUuid, nullptr);
  EXPECT_EQ(importer_.lastChecksum, nullptr);

  // A refused entry makes the pattern's walk unclean, but the count stands.
  std::wstring folder(folder_.begin(), folder_.end());
  unsigned long count = 10;
  EXPECT_FALSE(importer_._importFolder(folder, L"*", count, false));
  EXPECT_EQ(count, 15u);
  EXPECT_TRUE(importer_._importFolder(folder, L"*.PNG", count, false));
  EXPECT_EQ(count, 17u);
  EXPECT_FALSE(importer_._importFolder(folder, L"*.gif", count, false)) << "no match";
  EXPECT_EQ(count, 17u);
}

TEST_F(FolderImportTest, FiltersCountEveryImport) {
  struct Case {
    const char* filter;
    unsigned long count;
    std::vector<std::string> imported;
  };
  const Case cases[] = {
      {"*.png;;*.jpg;", 3, {"B.PNG", "a.png", "c.jpg"}},
      {"*.png;*.PNG", 4, {"B.PNG", "a.png", "B.PNG", "a.png"}},
      {";*.png", 2, {"B.PNG", "a.png"}},
      {";", 0, {}},  // an empty pattern, and no default
      {"*.gif;c*", 1, {"c.jpg"}},
  };
  importer_.onFileLoaded = [](const std::string&) { return false; };
  for (const Case& c : cases) {
    TestImporter importer = importer_;
    unsigned long count = 0;
    Printed([&] { count = importer.ImportFolder(folder_.c_str(), c.filter, false); });
    EXPECT_EQ(count, c.count) << c.filter;
    EXPECT_EQ(importer.CallsOf("doImport"), Paths(c.imported)) << c.filter;
  }
}

TEST_F(FolderImportTest, StopsEndOnePatternOnly) {
  importer_.onFileLoaded = [](const std::string&) { return false; };
  int asked = 0;
  importer_.onImport = [&](const std::string&) { return ++asked != 3; };
  unsigned long count = 0;
  Printed([&] { count = importer_.ImportFolder(folder_.c_str(), "*.*;*.jpg", false); });
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(importer_.CallsOf("doImport"), Paths({"B.PNG", "a.png", "c.jpg"}));
  EXPECT_EQ(importer_.CallsOf("OnImport"), Paths({"B.PNG", "a.png", "c.jpg", "c.jpg"}));

  TestImporter failing = importer_;
  failing.calls.clear();
  failing.onImport = nullptr;
  failing.loadResult = false;
  failing.onImportFailed = [](const std::string&) { return false; };
  Printed([&] { count = failing.ImportFolder(folder_.c_str(), "*.png;*.jpg", false); });
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(failing.CallsOf("OnImportFailed"), Paths({"B.PNG", "c.jpg"}));
}

TEST_F(FolderImportTest, FolderPathsAndMissingFolders) {
  importer_.onFileLoaded = [](const std::string&) { return false; };
  const std::string slashed = folder_ + "/";
  EXPECT_EQ(importer_.ImportFolder(slashed.c_str(), nullptr, false), 5u);
  EXPECT_EQ(importer_.CallsOf("doImport").front(), folder_ + "/B.PNG");

  EXPECT_EQ(importer_.ImportFolder((folder_ + "/none").c_str(), nullptr, false), 0u);
  importer_.debugTexts.clear();
  EXPECT_EQ(importer_.ImportFolder(nullptr, nullptr, false), 0u);
  EXPECT_EQ(importer_.debugTexts,
            (std::vector<std::wstring>{L"import from   filter *", L"import files *.* from "}));
}

}  // namespace
}  // namespace nox::test
