// Database file handling against the real engine: the OpenDBFile decisions, unique names,
// type checks and giving up files. The token writers are pinned by the clip record.

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

class OpenDBFileTest : public ImportDbTest {
 protected:
  void SetUp() override {
    ImportDbTest::SetUp();
    NewDatabase();
  }
  // The folder F, and an image importer for "pic"; past the first call on a new database.
  void NewDatabase() {
    if (databases_++ > 0) {
      session_ = std::make_unique<CNoxDbI>(dir_.File(std::to_string(databases_) + ".noxdb").c_str());
      ASSERT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
    }
    ASSERT_EQ(session_->CreateFolder("F", &folder_), 0);
    root_ = session_->GetCurrentFolder();
    importer_ = Importer(*session_, kImageType, "IMAGE");
    importer_->SetKeywords({"sea", "sky"});
    importer_->specialUnits = {"Original", "MMLevel.00"};
  }

  static std::unique_ptr<TestImporter> Importer(CNoxDbI& session, int type, const char* typeName) {
    auto importer = std::make_unique<TestImporter>(session);
    importer->initFileType(type, typeName);
    importer->name = "pic";
    return importer;
  }

  // OpenDBFile, then one value written to the data unit so that a reopened file is
  // rewritten, then the file ends, or is given up when `dismiss`. Returns the result; the
  // file's identifier goes to `written`.
  bool Open(TestImporter& importer, bool overwrite, const CUUID* folder, bool createWithUuid, CUUID* uuid,
            CUUID* written = nullptr, bool dismiss = false) {
    CNDBFile file(importer.session ? importer.session : session_.get());
    if (!importer.OpenDBFile(file, overwrite, nullptr, folder, createWithUuid, uuid, 640, 360)) return false;
    EXPECT_EQ(file.SelectUnit(CNDBFile::UNIT_DATA, 0, false), 0);
    importer._writeT(file, TOK::FileToken(1433), std::string("new"));
    EXPECT_EQ(file.GetLastError(), 0);
    if (written) *written = file.GetUuid();
    EXPECT_TRUE(!dismiss || !importer.DismissCorrupt(file));
    return true;
  }

  std::string Where(const CUUID& id) {
    const CNoxDbI::FileInfo info = Info(id);
    return info.folderPath + (info.folderPath == "/" ? "" : "/") + info.name;
  }

  CUUID root_, folder_;
  int databases_ = 0;
  std::unique_ptr<TestImporter> importer_;
};

enum Id { None, NullId, Existing, Unknown };
enum Identity { Old, Given, Fresh };

TEST_F(OpenDBFileTest, DecisionTable) {
  const struct {
    std::vector<std::string> existingImages;  // the first is "existing"
    bool overwrite;
    Id id;
    bool createWithUuid, inFolder, createFolder;
    const char* where;  // folder path and name of the resulting file
    Identity identity;
  } cases[] = {
      {{"pic", "pic(1)"}, false, None, false, false, true, "/pic(2)", Fresh},
      {{"pic"}, true, None, false, false, true, "/pic", Old},   // overwrite reopens by name,
      {{"pic"}, true, None, false, true, true, "/pic", Old},    // first in the old folder
      {{}, true, None, false, true, true, "/F/pic", Fresh},     // or creates in the folder
      {{}, true, None, false, true, false, "/F/pic", Fresh},
      {{"pic"}, false, None, false, true, true, "/F/pic(1)", Fresh},  // unique in the old folder
      {{"pic"}, false, None, false, true, false, "/F/pic(1)", Fresh},
      {{"other"}, false, Existing, false, false, true, "/other", Old},
      {{}, false, Unknown, false, false, true, "/pic", Fresh},
      {{"pic"}, false, NullId, false, false, true, "/pic(1)", Fresh},  // a null identifier counts as none
      {{}, true, Unknown, false, false, true, "/pic", Given},
      {{}, false, Unknown, true, false, true, "/pic", Given},
      {{}, true, Unknown, false, true, true, "/pic", Given},    // ignores a folder to create in
      {{}, true, Unknown, false, true, false, "/F/pic", Fresh},  // an explicit folder drops it
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(&c - cases) + ": " + c.where);
    NewDatabase();
    std::vector<CUUID> existing;
    for (const auto& path : c.existingImages) existing.push_back(MakeFile(path, kImageType));
    importer_->SetCreateFolder(c.createFolder);
    CUUID uuid = c.id == Existing ? existing.at(0) : c.id == Unknown ? CUUID::Generate() : CUUID();
    const CUUID given = uuid;
    CUUID written;
    ASSERT_TRUE(Open(*importer_, c.overwrite, c.inFolder ? &folder_ : nullptr, c.createWithUuid,
                     c.id == None ? nullptr : &uuid, &written))
        << importer_->GetLastError();
    EXPECT_EQ(Where(written), c.where);
    // A reopened file gets the unit list and the keywords as a new one does.
    EXPECT_EQ(Layout(written), "IconSmall empty, IconDefault empty, IconLarge 640x360 empty, Data, Original empty, "
                               "MMLevel.00 empty, Version empty");
    EXPECT_EQ(Info(written).keywords, (std::vector<std::string>{"sea", "sky"}));
    existing.push_back(given);
    for (const CUUID& id : existing) {
      EXPECT_EQ(written == id, (c.identity == Old && id == existing[0]) || (c.identity == Given && id == given));
    }
    EXPECT_TRUE(c.id == None || uuid == written) << "the identifier is handed back";
    EXPECT_EQ(session_->GetCurrentFolder(), root_) << "the session's folder is restored";
    EXPECT_EQ(importer_->GetLastError(), nullptr);
  }
}

TEST_F(OpenDBFileTest, UniqueNamesCountOnlyFilesOfTheSameTypeAndFolder) {
  MakeFile("pic", kClipType);
  MakeFile("dest/pic", kImageType);
  MakeFile("dest/pic(1)", kImageType);
  CUUID id;
  const auto next = [&](bool overwrite) {
    EXPECT_TRUE(Open(*importer_, overwrite, nullptr, false, nullptr, &id));
    return Where(id);
  };
  EXPECT_EQ(next(false), "/pic");
  importer_->SetDestinationFolder("dest/");
  EXPECT_EQ(next(false), "/dest/pic(2)");
  EXPECT_EQ(next(true), "/dest/pic") << "overwriting takes the plain name, in the destination folder";
}

// Refusals without a word (no session, no file type, none registered and no name to register
// it by, the special units refused), type mismatches, and the engine's failures.
TEST_F(OpenDBFileTest, RefusalsTypeMismatchesAndEngineFailures) {
  CNoxDbI bare(dir_.File("bare.noxdb").c_str());  // without file types
  CNoxDbI broken(dir_.File("missing/folder/db").c_str());
  const CUUID image = MakeFile("pic", kImageType), clip = MakeFile("clip", kClipType), nowhere = CUUID::Generate();
  const auto importer = [&](CNoxDbI* session, int type, const char* typeName, bool units = true) {
    auto made = session ? Importer(*session, type, typeName) : std::make_unique<TestImporter>();
    if (!session) made->initFileType(type, typeName);
    if (!units) made->answers["AddSpecialUnits"] = false;
    return made;
  };
  const char* const engine = "";  // the engine's text
  const struct {
    std::unique_ptr<TestImporter> importer;
    bool overwrite;
    const CUUID *id, *folder;
    int code;
    const char* message;
    const CUUID& staysIn;  // the session's folder afterwards
  } cases[] = {
      {importer(nullptr, kImageType, "IMAGE"), false, nullptr, nullptr, 0, nullptr, root_},
      {importer(&broken, kImageType, "IMAGE"), false, nullptr, nullptr, 0, nullptr, root_},
      {importer(session_.get(), 0, "IMAGE"), false, nullptr, nullptr, 0, nullptr, root_},
      {importer(&bare, kImageType, nullptr), false, nullptr, nullptr, 0, nullptr, root_},
      {importer(session_.get(), kImageType, "IMAGE", false), false, nullptr, nullptr, 0, nullptr, root_},
      {importer(session_.get(), kClipType, "T"), true, nullptr, &folder_, 11, "DB File is not of type VIDEOCLIP\n", folder_},
      {importer(session_.get(), kImageType, "T"), false, &clip, nullptr, 11, "DB File is not of type IMAGE\n", root_},
      {importer(session_.get(), 50, "T"), true, nullptr, nullptr, 11, "DB File is not of required type\n", root_},
      {importer(session_.get(), kImageType, "T"), false, nullptr, &nowhere, CNDBConstants::eFolderNotFound, engine, root_},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(&c - cases));
    session_->SetCurrentFolder(root_);
    CUUID uuid = c.id ? *c.id : CUUID();
    EXPECT_FALSE(Open(*c.importer, c.overwrite, c.folder, false, c.id ? &uuid : nullptr));
    EXPECT_EQ(c.importer->GetLastErrorCode(), c.code);
    EXPECT_STREQ(c.importer->GetLastError(), c.message == engine ? session_->GetLastErrorStr() : c.message);
    EXPECT_EQ(session_->GetCurrentFolder(), c.staysIn);
  }
  EXPECT_EQ(Info(image).units.at(0).name, "u") << "the image was not rewritten";
  EXPECT_EQ(Files().size(), 2u) << "nothing was created";
  EXPECT_FALSE(bare.ExistFileType(kImageType)) << "no name, no registration";
  CUUID id;
  ASSERT_TRUE(Open(*Importer(bare, 50, "OTHER"), false, nullptr, false, nullptr, &id));
  EXPECT_TRUE(bare.ExistFileType(50));
  // Without a session or a file type nothing is of the wrong type.
  EXPECT_TRUE(cases[0].importer->isCorrectType(&clip) && TestImporter(*session_).isCorrectType(&clip));
  EXPECT_FALSE(importer_->isCorrectType(&clip));
}

TEST_F(OpenDBFileTest, DismissCorruptRemovesNewFilesAndKeepsOpenedOnes) {
  const CUUID old = MakeFile("old", kImageType);
  for (const bool reopen : {false, true}) {
    importer_->name = reopen ? "old" : "pic";
    importer_->SetLastError(3, "earlier");
    CUUID id;
    ASSERT_TRUE(Open(*importer_, reopen, nullptr, false, nullptr, &id, true));
    EXPECT_EQ(importer_->GetLastErrorCode(), 11);
    EXPECT_STREQ(importer_->GetLastError(), "Caught ImportFailed\n");
    // A new file is removed; an opened one keeps its old content.
    EXPECT_EQ(reopen ? Info(old).units.at(0).name : std::to_string(session_->GetTypeEx(id)), reopen ? "u" : "0");
  }
}

}  // namespace
}  // namespace nox::test
