// The importer base: defaults, the last error, names, file types and the steps per file.

#include <cstring>

#include "tests/import/ImportTestSupport.h"

namespace nox::test {
namespace {

TEST(ImporterBase, DefaultsAndSetters) {
  TestImporter importer;
  EXPECT_EQ(importer.GetLastError(), nullptr) << "null, not an empty text";
  EXPECT_TRUE(importer.createFolder);
  EXPECT_EQ(importer.CanImport(nullptr), 0);
  EXPECT_EQ(importer.CImporterBase::CanImport(""), 0);
  EXPECT_EQ(importer.CImporterBase::CanImport("x"), 1);
  EXPECT_FALSE(importer.initFileType(0, "IMAGE"));
  EXPECT_FALSE(importer.initFileType(kImageType, nullptr));
  EXPECT_EQ(importer.fileType, kImageType) << "the type is kept without a name";
  EXPECT_EQ(importer.SetKeywords({"one", "two"}), 2);
  importer.SetDestinationFolder("photos");
  const TestImporter copy(importer);
  EXPECT_EQ(copy.destinationFolder, "photos");
  EXPECT_EQ(copy.keywords, (std::vector<std::string>{"one", "two"}));
  importer.SetDestinationFolder(nullptr);
  EXPECT_TRUE(importer.destinationFolder.empty());
}

TEST(ImporterBase, SetLastErrorFormatsWholeTexts) {
  TestImporter importer;
  const std::string long300(300, 'x');
  importer.SetLastError(11, "%s", long300.c_str());
  EXPECT_EQ(importer.GetLastError(), long300);
  EXPECT_EQ(importer.lastError.size(), 301u) << "the text and its zero";
  importer.SetLastError(-5, "100%% done, %d left", 0);
  EXPECT_STREQ(importer.GetLastError(), "100% done, 0 left");
  EXPECT_EQ(importer.GetLastErrorCode(), -5);
  importer.SetLastError(0, nullptr);
  EXPECT_EQ(importer.GetLastError(), nullptr);
}

TEST(ImporterBase, MakeFileNameJoinsWithOneSeparator) {
  struct Case {
    const char* folder;
    const char* name;
    const char* joined;
  };
  const Case cases[] = {
      {"a", "b", "a/b"},     {"a/", "/b", "a/b"},      {"a", "\\b", "a\\b"},
      {"a\\", "/b", "a\\b"}, {"x\\y", "z", "x\\y/z"}, {"", "b", "/b"},
  };
  TestImporter importer;
  for (const Case& c : cases) {
    EXPECT_EQ(importer.makeFileName(std::string(c.folder), std::string(c.name)), c.joined)
        << c.folder << " + " << c.name;
    const std::wstring wide(c.joined, c.joined + std::strlen(c.joined));
    EXPECT_EQ(importer.makeFileName(std::wstring(c.folder, c.folder + std::strlen(c.folder)),
                                    std::wstring(c.name, c.name + std::strlen(c.name))),
              wide);
  }
}

// One row: how the callbacks answer, and what _importFile gives and calls.
struct ImportFileCase {
  const char* what;
  bool accept, fileLoaded, onImport, load, import, importFailed;
  int result;
  std::vector<std::string> calls;
};

TEST(ImporterBase, ImportFileFlagWords) {
  const std::string p = "/in/pic.png";
  const ImportFileCase cases[] = {
      {"refused, base OnFileLoaded", false, true, true, true, true, true, 12,
       {"CanImport", "OnFileLoaded"}},
      {"refused, OnFileLoaded false", false, false, true, true, true, true, 4,
       {"CanImport", "OnFileLoaded"}},
      {"OnImport false", true, true, false, true, true, true, 8, {"CanImport", "OnImport"}},
      {"imported", true, true, true, true, true, true, 1,
       {"CanImport", "OnImport", "loadFile", "doImport"}},
      {"load fails", true, true, true, false, true, true, 2,
       {"CanImport", "OnImport", "loadFile", "OnImportFailed"}},
      {"load fails, stop", true, true, true, false, true, false, 10,
       {"CanImport", "OnImport", "loadFile", "OnImportFailed"}},
      {"import fails", true, true, true, true, false, true, 2,
       {"CanImport", "OnImport", "loadFile", "doImport", "OnImportFailed"}},
      {"import fails, stop", true, true, true, true, false, false, 10,
       {"CanImport", "OnImport", "loadFile", "doImport", "OnImportFailed"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TestImporter importer;
    importer.canImport = [&](const std::string&) { return c.accept ? 1 : 0; };
    importer.onFileLoaded = [&](const std::string&) { return c.fileLoaded; };
    importer.onImport = [&](const std::string&) { return c.onImport; };
    importer.onImportFailed = [&](const std::string&) { return c.importFailed; };
    importer.loadResult = c.load;
    importer.importResult = c.import;
    importer.SetLastError(6, "stale");
    EXPECT_EQ(importer._importFile(p.c_str(), true, nullptr, nullptr, nullptr), c.result);
    std::vector<std::string> expected;
    for (const auto& slot : c.calls) expected.push_back(slot + ":" + p);
    EXPECT_EQ(importer.calls, expected);
    // The text is emptied only once OnImport agreed; the code stays.
    EXPECT_EQ(importer.GetLastError() == nullptr, c.accept && c.onImport);
    EXPECT_EQ(importer.GetLastErrorCode(), 6);
  }
}

TEST(ImporterBase, ImportFilePassesItsArgumentsAndNamesTheItem) {
  TestImporter importer;
  CNOFChecksum checksum;
  const CUUID folder = CUUID::Generate();
  CUUID uuid;
  EXPECT_EQ(importer._importFile("/in/dir.v2/we*rd:name.tar.png", true, &checksum, &folder, &uuid),
            1);
  EXPECT_EQ(importer.name, "we_rd_name.tar");
  EXPECT_TRUE(importer.lastOverwrite);
  EXPECT_EQ(importer.lastChecksum, &checksum);
  EXPECT_EQ(importer.lastFolder, &folder);
  EXPECT_EQ(importer.lastUuid, &uuid);
  EXPECT_FALSE(importer.lastCreateWithUuid);

  // A name already set is kept, and still validated; a backslash also separates.
  importer.name = "keep?me";
  EXPECT_EQ(importer._importFile("C:\\in\\other.png", false, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(importer.name, "keep_me");
  EXPECT_FALSE(importer.lastOverwrite);
  importer.name.clear();
  EXPECT_EQ(importer._importFile("C:\\in\\other.png", false, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(importer.name, "other");
}

}  // namespace
}  // namespace nox::test
