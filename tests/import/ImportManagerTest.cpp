// The exported entry points and CImportManager against a real database: argument checks,
// the width of the flag word, the recursion of the plain manager, and the choice of a
// selecting manager.

#include <algorithm>
#include <filesystem>
#include <functional>

#include "import/ImportManager.h"
#include "import/NoxDbImport.h"
#include "tests/support/ImportFixtures.h"
#include "util/Utf8.h"

namespace nox::test {
namespace {

using nox::util::Utf8ToWide;

// A selecting manager whose members and protected steps the tests can reach.
class Manager : public CSelectingImportManager {
 public:
  using CSelectingImportManager::CSelectingImportManager;
  using CSelectingImportManager::clipImporter;
  using CSelectingImportManager::doImport;
  using CSelectingImportManager::imageImporter;
};

// A manager whose own answer is fixed: the members decide only when it says yes.
class FixedAnswerManager : public Manager {
 public:
  FixedAnswerManager(CNoxDbI& session, int answer) : Manager(session, 0), answer_(answer) {}
  int CanImport(const char*) override { return answer_; }

 private:
  int answer_;
};

class ImportManagerTest : public ImportDbTest {
 protected:
  // A complete clip description beside its media and a picture, in a folder whose name holds
  // "%%", which shows where a path is read as a format.
  void SetUp() override {
    ImportDbTest::SetUp();
    std::filesystem::create_directory(dir_.File("100%%"));
    WriteThumbnail("100%%/thumb.png", 32, 24);
    WriteMedia("100%%/clip.bin", 1000, 1);
    description_ = WriteDescription("100%%/harbour.xml", CompleteFields());
    picture_ = WriteThumbnail("100%%/picture.png", 16, 16);
  }

  // A picture whose name a clip holds: replacing that file fails in the image importer.
  std::string Taken() {
    MakeFile("taken", kClipType);
    WriteFile(dir_.File("taken.png"), ReadFile(picture_));
    return dir_.File("taken.png");
  }

  bool HasUnit(const CUUID& id, const std::string& unit) {
    const auto units = Info(id).units;
    return std::any_of(units.begin(), units.end(), [&](const auto& u) { return u.name == unit; });
  }

  std::string description_, picture_;
};

TEST_F(ImportManagerTest, ExportedFunctionsCheckTheirArgumentsAndTellOnlySuccess) {
  CNoxDbI invalid(dir_.File("no/such/folder/x.noxdb").c_str());
  ASSERT_FALSE(invalid.IsValid());
  const std::wstring picture = Utf8ToWide(picture_), clip = Utf8ToWide(description_), folder = dir_.path().wstring();
  // Each call with the path, or with null for it.
  const std::function<int(CNoxDbI*, bool)> calls[] = {
      [&](CNoxDbI* s, bool n) { return ImportImage(s, n ? nullptr : picture_.c_str(), 0, false); },
      [&](CNoxDbI* s, bool n) { return ImportImageW(s, n ? nullptr : picture.c_str(), 0, false); },
      [&](CNoxDbI* s, bool n) { return ::ImportClip(s, n ? nullptr : description_.c_str(), false); },
      [&](CNoxDbI* s, bool n) { return ImportClipW(s, n ? nullptr : clip.c_str(), false); },
      [&](CNoxDbI* s, bool n) { return ImportFolder(s, n ? nullptr : dir_.path().c_str(), "*.png", 0, false); },
      [&](CNoxDbI* s, bool n) { return ImportFolderW(s, n ? nullptr : folder.c_str(), L"*.png", 0, false); },
  };
  for (size_t i = 0; i < std::size(calls); ++i) {
    EXPECT_EQ(calls[i](nullptr, false), -1) << i;
    EXPECT_EQ(calls[i](&invalid, false), -1) << i;
    EXPECT_EQ(calls[i](session_.get(), true), -1) << i;
  }
  EXPECT_TRUE(Files().empty());
  EXPECT_EQ(calls[4](session_.get(), false), 0) << "no match counts nothing";

  EXPECT_EQ(calls[1](session_.get(), false), 0);
  EXPECT_EQ(calls[3](session_.get(), false), 0);
  EXPECT_FALSE(session_->GetUuid("picture", kImageType, nullptr).IsNull());
  EXPECT_FALSE(session_->GetUuid("harbour", kClipType, nullptr).IsNull());
  // A failed import looks like a bad argument.
  EXPECT_EQ(::ImportClip(session_.get(), picture_.c_str(), false), -1);
  EXPECT_EQ(ImportImage(session_.get(), Taken().c_str(), 0, true), -1);
}

TEST_F(ImportManagerTest, TheExportedFlagWordKeepsSixteenBits) {
  // DXT5 with mip levels asked by a bit above the sixteen: only the manager's constructor
  // takes the whole word.
  unsigned long flags = CImageImporter::CompressionDXT5 | CImageImporter::MipmapsCompressedBit;
  const std::string big = WriteThumbnail("big.png", 64, 64);
  ASSERT_EQ(ImportImage(session_.get(), big.c_str(), flags, false), 0);
  EXPECT_FALSE(HasUnit(session_->GetUuid("big", kImageType, nullptr), "MMLevel.01"));
  Manager manager(*session_, flags);
  CUUID id;
  ASSERT_EQ(manager.Import(big.c_str(), true, nullptr, nullptr, &id), 1);
  EXPECT_TRUE(HasUnit(id, "MMLevel.01"));
}

// The plain manager's choice and its CanImport call each other until the stack runs out.
TEST_F(ImportManagerTest, ThePlainManagerRecursesUntilTheProcessDies) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::wstring folder = dir_.path().wstring();
  const std::function<void()> calls[] = {
      [&] { ImporterCanImport(picture_.c_str()); },
      [] { ImporterCanImport(""); },
      [] { ImporterCanImportW(nullptr); },
      [&] { ImportFolder(session_.get(), dir_.File("100%%").c_str(), "*.png", 0, false); },
      [&] { ImportFolderW(session_.get(), folder.c_str(), nullptr, 0, false); },
      [&] { CImportManager(*session_, 0).Import(description_.c_str(), false, nullptr, nullptr, nullptr); },
  };
  for (const auto& call : calls) EXPECT_DEATH(call(), "");
}

TEST_F(ImportManagerTest, ClipsAreChosenFirstAndUnknownFilesNamed) {
  Manager manager(*session_, 0);
  const std::pair<std::string, const CImporterBase*> rows[] = {
      {description_, &manager.clipImporter}, {picture_, &manager.imageImporter}, {"", nullptr}};
  for (const auto& [path, chosen] : rows) {
    EXPECT_EQ(manager.GetImporter(path.c_str()), chosen) << path;
    EXPECT_EQ(manager.CanImport(path.c_str()), chosen ? chosen->Type() : 0) << path;
  }
  // The picture importer is asked only about what the clip importer refused.
  Manager fresh(*session_, 0);
  fresh.GetImporter(description_.c_str());
  EXPECT_EQ(fresh.imageImporter.GetLastError(), nullptr);
  EXPECT_EQ(fresh.GetLastError(), nullptr);
  fresh.GetImporter("");
  EXPECT_STREQ(fresh.imageImporter.GetLastError(), "File is not an image");

  EXPECT_EQ(manager.Import("", false, nullptr, nullptr, nullptr), 0);
  EXPECT_STREQ(manager.GetLastError(), "Unknown file type.");
  EXPECT_EQ(manager.GetLastErrorCode(), 12);
  EXPECT_EQ(manager.Type(), 0);
  EXPECT_EQ(manager.Import(Taken().c_str(), true, nullptr, nullptr, nullptr), 0);
  // The manager's own refusal is final; its yes leaves the choice to the members.
  FixedAnswerManager no(*session_, 0), yes(*session_, 1);
  EXPECT_EQ(no.GetImporter(picture_.c_str()), nullptr);
  EXPECT_EQ(no.imageImporter.GetLastError(), nullptr);
  EXPECT_EQ(yes.GetImporter(""), nullptr);
  EXPECT_STREQ(yes.GetLastError(), "Unknown file type.");
  // What the picture probe cannot open it throws about; callers catch that per file.
  EXPECT_THROW(manager.GetImporter(dir_.File("missing.png").c_str()), Magick::Exception);
}

TEST_F(ImportManagerTest, FolderAndKeywordsReachAnImporterOnlyWhenTheChoiceChanges) {
  Manager manager(*session_, 0);
  const std::string second = WriteThumbnail("second.png", 8, 8);
  struct Step {
    std::string folder, path, expectedAt;
    int type;
  };
  const Step steps[] = {
      {"first", picture_, "first/picture", kImageType},
      {"later", second, "first/second", kImageType},  // same importer: nothing is handed over
      {"later", description_, "later/harbour", kClipType},
      {"last", picture_, "last/picture", kImageType},  // the choice changed back
  };
  for (const Step& s : steps) {
    manager.SetDestinationFolder(s.folder.c_str());
    manager.SetKeywords({s.folder});
    ASSERT_EQ(manager.Import(s.path.c_str(), false, nullptr, nullptr, nullptr), 1) << s.path;
    const CUUID id = session_->GetUuid(s.expectedAt.c_str(), s.type, nullptr);
    ASSERT_FALSE(id.IsNull()) << s.expectedAt;
    EXPECT_EQ(Info(id).keywords, std::vector<std::string>{s.expectedAt.substr(0, s.expectedAt.find('/'))});
  }
}

TEST_F(ImportManagerTest, DoImportWritesWithTheChoiceAndTakesItsMessageAsAFormat) {
  Manager manager(*session_, 0);
  CUUID id;
  EXPECT_FALSE(manager.doImport(description_.c_str(), false, nullptr, nullptr, &id, true));

  // The wish to create with the given identifier is dropped: the file gets its own. The
  // picture is still loaded from the import before.
  const CUUID wished = MakeFile("other", kImageType);
  ASSERT_EQ(session_->DeleteFileA(&wished, nullptr, CNDBConstants::eDeleteRefFlags(0)), 0);
  ASSERT_EQ(manager.Import(picture_.c_str(), false, nullptr, nullptr, nullptr), 1);
  id = wished;
  ASSERT_TRUE(manager.doImport(picture_.c_str(), false, nullptr, nullptr, &id, true));
  EXPECT_FALSE(id == wished);
  EXPECT_EQ(manager.GetLastError(), nullptr);

  // A thumbnail gone between the choice and the write: the member's message, whose "%%" the
  // manager reads as a conversion.
  ASSERT_EQ(manager.GetImporter(description_.c_str()), &manager.clipImporter);
  std::filesystem::remove(dir_.File("100%%/thumb.png"));
  EXPECT_FALSE(manager.doImport(description_.c_str(), false, nullptr, nullptr, nullptr, false));
  std::string text = manager.clipImporter.GetLastError();
  ASSERT_NE(text.find("100%%"), std::string::npos) << text;
  EXPECT_EQ(manager.GetLastErrorCode(), manager.clipImporter.GetLastErrorCode());
  EXPECT_STREQ(manager.GetLastError(), text.erase(text.find("%%"), 1).c_str());
}

}  // namespace
}  // namespace nox::test
