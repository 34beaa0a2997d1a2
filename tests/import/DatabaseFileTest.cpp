// Database file handling against the real engine: the OpenDBFile decisions, unique names,
// type checks and giving up files. The token writers are pinned by the clip record.

#include "tests/import/ImportTestSupport.h"

namespace nox::test {
namespace {

enum class Id { None, NullId, Existing, Unknown };
enum class Identity { Existing, Given, Fresh };

struct OpenCase {
  const char* what;
  std::vector<std::string> existingImages;  // paths below the root; the first is "existing"
  bool overwrite;
  Id id;
  bool createWithUuid;
  bool inFolder;  // the folder F is given
  bool createFolder;
  std::string where;  // folder path and name of the resulting file
  Identity identity;
};

class OpenDBFileTest : public ImportDbTest {
 protected:
  void SetUp() override { Fresh(); }

  // A new database with the folder F, and an image importer for "pic" on it.
  void Fresh() {
    OpenFreshDatabase();
    ASSERT_EQ(session_->CreateFolder("F", &folder_), 0);
    root_ = session_->GetCurrentFolder();
    importer_ = std::make_unique<TestImporter>(*session_);
    importer_->initFileType(kImageType, "IMAGE");
    importer_->name = "pic";
  }

  // OpenDBFile, then one value written to the data unit so that a reopened file is
  // rewritten, then the file ends. Returns the result and the file's identifier.
  bool Open(TestImporter& importer, bool overwrite, const CUUID* folder, bool createWithUuid,
            CUUID* uuid, CUUID* written) {
    CNDBFile file(session_.get());
    const bool ok = importer.OpenDBFile(file, overwrite, nullptr, folder, createWithUuid, uuid,
                                        640, 360);
    if (ok) {
      EXPECT_EQ(file.SelectUnit(CNDBFile::UNIT_DATA, 0, false), 0);
      importer._writeT(file, TOK::FileToken(1433), std::string("new"));
      EXPECT_EQ(file.GetLastError(), 0);
      *written = file.GetUuid();
    }
    return ok;
  }

  std::string Where(const CUUID& id) {
    const CNoxDbI::FileInfo info = Info(id);
    return info.folderPath + (info.folderPath == "/" ? "" : "/") + info.name;
  }

  CUUID root_, folder_;
  std::unique_ptr<TestImporter> importer_;
};

TEST_F(OpenDBFileTest, DecisionTable) {
  const OpenCase cases[] = {
      {"new name beside an existing file", {"pic", "pic(1)"}, false, Id::None, false, false, true,
       "/pic(2)", Identity::Fresh},
      {"overwrite reopens by name", {"pic"}, true, Id::None, false, false, true, "/pic",
       Identity::Existing},
      {"overwrite opens in the old folder first", {"pic"}, true, Id::None, false, true, true,
       "/pic", Identity::Existing},
      {"overwrite of a missing file creates in the folder", {}, true, Id::None, false, true, true,
       "/F/pic", Identity::Fresh},
      {"overwrite, missing, explicit folder", {}, true, Id::None, false, true, false, "/F/pic",
       Identity::Fresh},
      {"unique name is searched in the old folder", {"pic"}, false, Id::None, false, true, true,
       "/F/pic(1)", Identity::Fresh},
      {"new file in an explicit folder", {"pic"}, false, Id::None, false, true, false, "/F/pic(1)",
       Identity::Fresh},
      {"identifier opens the file", {"other"}, false, Id::Existing, false, false, true, "/other",
       Identity::Existing},
      {"unknown identifier creates under the name", {}, false, Id::Unknown, false, false, true,
       "/pic", Identity::Fresh},
      {"null identifier counts as none", {"pic"}, false, Id::NullId, false, false, true, "/pic(1)",
       Identity::Fresh},
      {"overwrite creates by identifier", {}, true, Id::Unknown, false, false, true, "/pic",
       Identity::Given},
      {"createWithUuid creates by identifier", {}, false, Id::Unknown, true, false, true, "/pic",
       Identity::Given},
      {"creating by identifier ignores a folder to create in", {}, true, Id::Unknown, false, true,
       true, "/pic", Identity::Given},
      {"explicit folder drops the identifier", {}, true, Id::Unknown, false, true, false, "/F/pic",
       Identity::Fresh},
  };
  for (const OpenCase& c : cases) {
    SCOPED_TRACE(c.what);
    Fresh();
    std::vector<CUUID> existing;
    for (const auto& path : c.existingImages) existing.push_back(MakeFile(path, kImageType));
    importer_->SetCreateFolder(c.createFolder);
    CUUID uuid;
    if (c.id == Id::Existing) uuid = existing.at(0);
    if (c.id == Id::Unknown) uuid = CUUID::Generate();
    const CUUID given = uuid;

    CUUID written;
    ASSERT_TRUE(Open(*importer_, c.overwrite, c.inFolder ? &folder_ : nullptr, c.createWithUuid,
                     c.id == Id::None ? nullptr : &uuid, &written))
        << importer_->GetLastError();
    EXPECT_EQ(Where(written), c.where);
    switch (c.identity) {
      case Identity::Existing:
        EXPECT_EQ(written, existing.at(0));
        break;
      case Identity::Given:
        EXPECT_EQ(written, given);
        break;
      case Identity::Fresh:
        for (const CUUID& id : existing) EXPECT_NE(written, id);
        EXPECT_NE(written, given);
        break;
    }
    if (c.id != Id::None) {
      EXPECT_EQ(uuid, written) << "the identifier is handed back";
    }
    EXPECT_EQ(session_->GetCurrentFolder(), root_) << "the session's folder is restored";
    EXPECT_EQ(importer_->GetLastError(), nullptr);
  }
}

TEST_F(OpenDBFileTest, UniqueNamesCountOnlyFilesOfTheSameTypeAndFolder) {
  MakeFile("pic", kClipType);
  MakeFile("dest/pic", kImageType);
  MakeFile("dest/pic(1)", kImageType);
  CUUID id;
  ASSERT_TRUE(Open(*importer_, false, nullptr, false, nullptr, &id));
  EXPECT_EQ(Where(id), "/pic");

  importer_->SetDestinationFolder("dest/");
  ASSERT_TRUE(Open(*importer_, false, nullptr, false, nullptr, &id));
  EXPECT_EQ(Where(id), "/dest/pic(2)");
  ASSERT_TRUE(Open(*importer_, false, nullptr, false, nullptr, &id));
  EXPECT_EQ(Where(id), "/dest/pic(3)");
  // Overwriting takes the plain name, in the destination folder.
  CUUID again;
  ASSERT_TRUE(Open(*importer_, true, nullptr, false, nullptr, &again));
  EXPECT_EQ(Where(again), "/dest/pic");
}

TEST_F(OpenDBFileTest, DeclaresUnitsKeywordsAndTheLargeIconSize) {
  importer_->SetKeywords({"sea", "sky"});
  importer_->specialUnits = {"Original", "MMLevel.00"};
  CUUID id;
  ASSERT_TRUE(Open(*importer_, false, nullptr, false, nullptr, &id));
  const auto expectLayout = [&](const CUUID& file) {
    const CNoxDbI::FileInfo info = Info(file);
    std::vector<std::string> units;
    for (const auto& unit : info.units) units.push_back(unit.name);
    EXPECT_EQ(units, (std::vector<std::string>{CNDBFile::UNIT_ICON_SMALL,
                                               CNDBFile::UNIT_ICON_DEFAULT,
                                               CNDBFile::UNIT_ICON_LARGE, CNDBFile::UNIT_DATA,
                                               "Original", "MMLevel.00", CNDBFile::UNIT_VERSION}));
    ASSERT_EQ(info.units.size(), 7u);
    EXPECT_TRUE(info.units[2].hasSize);
    EXPECT_EQ(info.units[2].width, 640);
    EXPECT_EQ(info.units[2].height, 360);
    EXPECT_FALSE(info.units[0].hasSize);
    EXPECT_EQ(info.keywords, (std::vector<std::string>{"sea", "sky"}));
    EXPECT_EQ(info.type, kImageType);
  };
  expectLayout(id);

  // A reopened file gets the same list and the keywords as well.
  const CUUID old = MakeFile("old", kImageType);
  importer_->name = "old";
  CUUID reopened;
  ASSERT_TRUE(Open(*importer_, true, nullptr, false, nullptr, &reopened));
  EXPECT_EQ(reopened, old);
  expectLayout(old);
}

TEST_F(OpenDBFileTest, SilentRefusalsAndTypeRegistration) {
  CUUID id;
  TestImporter noSession;
  noSession.initFileType(kImageType, "IMAGE");
  CNoxDbI broken(dir_.File("missing/folder/db").c_str());
  TestImporter invalid(broken);
  invalid.initFileType(kImageType, "IMAGE");
  TestImporter untyped(*session_);
  TestImporter nameless(*session_);
  nameless.initFileType(kImageType, nullptr);
  for (TestImporter* importer : {&noSession, &invalid, &untyped, &nameless}) {
    importer->name = "pic";
    EXPECT_FALSE(Open(*importer, false, nullptr, false, nullptr, &id));
    EXPECT_EQ(importer->GetLastError(), nullptr);
  }
  EXPECT_FALSE(session_->ExistFileType(kImageType)) << "no name, no registration";

  importer_->specialUnitsResult = false;
  EXPECT_FALSE(Open(*importer_, false, nullptr, false, nullptr, &id));
  EXPECT_EQ(importer_->GetLastError(), nullptr);
  EXPECT_TRUE(session_->GetUuid("pic", kImageType, nullptr).IsNull()) << "nothing was created";
  importer_->specialUnitsResult = true;
  ASSERT_TRUE(Open(*importer_, false, nullptr, false, nullptr, &id));
  EXPECT_EQ(Info(id).typeName, "IMAGE");
}

TEST_F(OpenDBFileTest, TypeMismatchMessages) {
  const CUUID image = MakeFile("pic", kImageType);
  const CUUID clip = MakeFile("clip", kClipType);
  struct Case {
    int type;
    const char* typeName;
    bool overwrite;
    const CUUID* id;
    bool inFolder;
    const char* message;
  };
  const Case cases[] = {
      {kClipType, "VIDEO_CLIP", true, nullptr, true, "DB File is not of type VIDEOCLIP\n"},
      {kImageType, "IMAGE", false, &clip, false, "DB File is not of type IMAGE\n"},
      {50, "OTHER", true, nullptr, false, "DB File is not of required type\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    session_->SetCurrentFolder(root_);
    TestImporter importer(*session_);
    importer.initFileType(c.type, c.typeName);
    importer.name = "pic";
    CUUID uuid = c.id ? *c.id : CUUID();
    CUUID written;
    EXPECT_FALSE(Open(importer, c.overwrite, c.inFolder ? &folder_ : nullptr, false,
                      c.id ? &uuid : nullptr, &written));
    EXPECT_EQ(importer.GetLastErrorCode(), 11);
    EXPECT_STREQ(importer.GetLastError(), c.message);
    // The session stays where the check found the file wanting.
    EXPECT_EQ(session_->GetCurrentFolder(), c.inFolder ? folder_ : root_);
  }
  EXPECT_EQ(Info(image).units.at(0).name, "u") << "the image was not rewritten";
}

TEST_F(OpenDBFileTest, EngineFailuresCarryTheEngineText) {
  const CUUID nowhere = CUUID::Generate();
  CUUID written;
  EXPECT_FALSE(Open(*importer_, false, &nowhere, false, nullptr, &written));
  EXPECT_EQ(importer_->GetLastErrorCode(), CNDBConstants::eFolderNotFound);
  EXPECT_STREQ(importer_->GetLastError(), session_->GetLastErrorStr());
  EXPECT_EQ(session_->GetCurrentFolder(), root_);
}

TEST_F(OpenDBFileTest, IsCorrectTypeAsksOnlyForKnownFilesOfOtherTypes) {
  const CUUID image = MakeFile("pic", kImageType);
  const CUUID clip = MakeFile("clip", kClipType);
  const CUUID unknown = CUUID::Generate();
  const CUUID null;
  TestImporter noSession;
  noSession.initFileType(kImageType, "IMAGE");
  TestImporter untyped(*session_);
  struct Case {
    const TestImporter* importer;
    const CUUID* id;
    bool correct;
  };
  const Case cases[] = {{importer_.get(), nullptr, true}, {importer_.get(), &null, true},
                        {importer_.get(), &unknown, true}, {importer_.get(), &image, true},
                        {&noSession, &clip, true},        {&untyped, &clip, true},
                        {importer_.get(), &clip, false}};
  for (const Case& c : cases) {
    session_->SetLastError(0);
    EXPECT_EQ(c.importer->isCorrectType(c.id), c.correct);
    EXPECT_EQ(session_->GetLastError(), c.correct ? 0 : CNDBConstants::eWrongType);
    EXPECT_EQ(c.importer->GetLastError(), nullptr);
  }
}

TEST_F(OpenDBFileTest, DismissCorruptRemovesNewFilesAndKeepsOpenedOnes) {
  importer_->SetLastError(3, "earlier");
  CUUID id;
  {
    CNDBFile file(session_.get());
    ASSERT_TRUE(importer_->OpenDBFile(file, false, nullptr, nullptr, false, nullptr, 64, 64));
    id = file.GetUuid();
    EXPECT_FALSE(importer_->DismissCorrupt(file));
  }
  EXPECT_EQ(session_->GetTypeEx(id), 0) << "a new file is removed";
  EXPECT_EQ(importer_->GetLastErrorCode(), 11);
  EXPECT_STREQ(importer_->GetLastError(), "Caught ImportFailed\n");

  const CUUID old = MakeFile("old", kImageType);
  importer_->name = "old";
  importer_->SetLastError(0, nullptr);
  {
    CNDBFile file(session_.get());
    ASSERT_TRUE(importer_->OpenDBFile(file, true, nullptr, nullptr, false, nullptr, 64, 64));
    ASSERT_EQ(file.SelectUnit(CNDBFile::UNIT_DATA, 0, false), 0);
    importer_->_writeT(file, TOK::FileToken(7), 1);
    EXPECT_FALSE(importer_->DismissCorrupt(file));
  }
  EXPECT_EQ(Info(old).units.at(0).name, "u") << "an opened file keeps its old content";
  EXPECT_STREQ(importer_->GetLastError(), "Caught ImportFailed\n");
}

}  // namespace
}  // namespace nox::test
