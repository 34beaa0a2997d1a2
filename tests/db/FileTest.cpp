// Files: names, folders, identifiers, open modes and codes, rewrites, the compression
// reopen sequence, keywords and add-ons.

#include <thread>

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

using E = CNDBConstants;

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, EveryStore(), StoreName);

TEST_P(StoreTest, NamesAreUniquePerFolderAndTypeAndGivenIdentifiersKept) {
  const CUUID given = CUUID::Generate();
  CNDBFile f(session_.get());
  ASSERT_EQ(f.Create(given, "pic", kImageType, 0, 0xFFF, nullptr, 0), 0);
  f.Close(nullptr, true);
  const CUUID clip = MakeFile("pic", kClipType, {"u"});
  EXPECT_EQ(f.Create("pic", kImageType, 0, 0xFFF, nullptr, 0), E::eNameTaken);
  EXPECT_TRUE(Includes(session_->GetLastErrorStr(), "'pic'"));
  EXPECT_EQ(session_->GetStorageError(), 0);  // not a failure of the storage
  EXPECT_EQ(f.Create(given, "other", kImageType, 0, 0xFFF, nullptr, 0), E::eUuidTaken);
  EXPECT_EQ(session_->GetUuid("pic", kImageType, nullptr), given);
  EXPECT_EQ(session_->GetUuid("pic", kClipType, nullptr), clip);
  EXPECT_EQ(session_->GetTypeEx(given), kImageType);
  // Several processes importing into a new database each find the type missing and make it.
  EXPECT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
  EXPECT_FALSE(session_->CreateFileType(kImageType, "OTHER", false));
  EXPECT_TRUE(Includes(session_->GetLastErrorStr(), "'IMAGE'"));
  EXPECT_FALSE(session_->CreateFileType(7, "", false) || session_->CreateFileType(0, "ZERO", false));
  EXPECT_TRUE(session_->Supports(E::eFeatureChecksum, nullptr) && session_->Supports(E::eFeatureAddons, nullptr));
  EXPECT_FALSE(session_->Supports(E::EFeature(5), nullptr));
}

TEST_P(StoreTest, SlashedNamesArePathsBelowTheCurrentFolder) {
  const CUUID deep = MakeFile("a/b/pic", kImageType, {"u"});
  EXPECT_TRUE(session_->GetUuid("pic", kImageType, nullptr).IsNull());
  CUUID a, b;
  ASSERT_EQ(session_->FindFolder("a", &a), 0);
  ASSERT_EQ(session_->FindFolder("a/b", &b), 0);
  EXPECT_EQ(session_->FindFolder("a/c", &b), E::eFolderNotFound);
  CUUID made, found;
  ASSERT_EQ(session_->CreateFolder("a/new", &made), 0);
  EXPECT_TRUE(session_->FindFolder("a/new", &found) == 0 && found == made);

  session_->SetCurrentFolder(a);
  EXPECT_EQ(session_->GetUuid("b/pic", kImageType, nullptr), deep);
  EXPECT_EQ(session_->GetUuid("/a/b/pic", kImageType, nullptr), deep);
  const CUUID here = MakeFile("pic", kImageType, {"u"});  // lands in a
  session_->SetCurrentFolder(session_->GetRootFolder());
  EXPECT_EQ(session_->GetUuid("a/pic", kImageType, nullptr), here);
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  ASSERT_EQ(session_->ListFolder(a, &folders, &files), 0);
  ASSERT_EQ(folders.size() + files.size(), 3u);  // b, new and pic
  EXPECT_EQ(folders[0].name + " " + files[0].folderPath, "b /a");
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(deep, &info), 0);
  EXPECT_EQ(info.folderPath + " " + info.name + " " + info.typeName, "/a/b pic IMAGE");

  // CreateEx names the folder explicitly, whatever the current one is.
  CNDBFile f(session_.get());
  ASSERT_EQ(f.CreateEx(CUUID(), b, "other", kImageType, 0, 0xFFF, false, nullptr, 0), 0);
  f.Close(nullptr, true);
  EXPECT_EQ(session_->GetUuid("a/b/other", kImageType, nullptr), f.GetUuid());
  session_->SetCurrentFolder(CUUID::Generate());
  EXPECT_EQ(f.Create("x", kImageType, 0, 0xFFF, nullptr, 0), E::eFolderNotFound);
}

TEST_P(StoreTest, OpenAndCreateReportTheCodesImportersActOn) {
  const CUUID image = MakeFile("pic", kImageType, {"u"});
  CNDBFile f(session_.get());
  EXPECT_EQ(f.Open(CUUID::Generate(), CNDBFile::kModeRewrite, 0, nullptr, 0), E::eFileNotFound);
  EXPECT_EQ(f.Open("missing", CNDBFile::kModeRewrite, 0, kImageType, nullptr, 0), E::eFileNotFound);
  EXPECT_EQ(f.Open("no/such/folder/pic", CNDBFile::kModeRead, 0, kImageType, nullptr, 0), E::eFileNotFound);
  EXPECT_EQ(f.Create("t", 77, 0, 0xFFF, nullptr, 0), E::eUnknownFileType);
  EXPECT_EQ(f.Create("", kImageType, 0, 0xFFF, nullptr, 0), E::eInvalidArgument);
  // A refused Create leaves nothing behind, not even the folders of its path.
  EXPECT_EQ(f.Create(image, "new/pic", kImageType, 0, 0xFFF, nullptr, 0), E::eUuidTaken);
  CUUID none;
  EXPECT_EQ(session_->FindFolder("new", &none), E::eFolderNotFound);
  unsigned char byte;
  EXPECT_EQ(f.Read(&byte, 1), 0);
  EXPECT_TRUE(f.IsEOU());
  // Only a file of another type: that one opens, and its type tells.
  ASSERT_EQ(f.Open("pic", CNDBFile::kModeRewrite, 0, kClipType, nullptr, 0), 0);
  EXPECT_EQ(f.GetType(), kImageType);
  f.Close(nullptr, true);

  ASSERT_EQ(f.Open(image, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_TRUE(f.IsReadable() && !f.IsWritable());
  EXPECT_EQ(f.SelectUnit("nope", 0, false), E::eUnitNotFound);
  ASSERT_EQ(f.SelectUnit("u", 0, false), 0);
  EXPECT_EQ(f.Write(&byte, 1), 0);
  f << TOK::FileToken(1);
  EXPECT_EQ(f.GetLastError(), E::eNotWritable);
  bool flag = true;
  EXPECT_EQ(f.RawWrite(1, 0, "x", 1, &flag), 0u);
  EXPECT_EQ(f.Open(image, CNDBFile::kModeRead, -1, nullptr, 0), E::eAlreadyOpen);
  f.Close(nullptr, true);

  // One session writes one file at a time: a second writer on it is told at once; another
  // session waits for the writer to end.
  CNDBFile second(session_.get());
  ASSERT_EQ(f.Create("first", kImageType, 0, 0xFFF, nullptr, 0), 0);
  EXPECT_EQ(second.Create("second", kImageType, 0, 0xFFF, nullptr, 0), E::eSessionBusy);
  int waited = -1;
  std::thread other([&] {
    CNoxDbI session(path_.c_str());
    waited = CNDBFile(&session).Create("other", kImageType, 0, 0xFFF, nullptr, 0);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // usually long enough to be waiting
  f.Close(nullptr, true);
  other.join();
  EXPECT_EQ(waited, 0);
  EXPECT_EQ(second.Create("second", kImageType, 0, 0xFFF, nullptr, 0), 0);
  second.Close(nullptr, true);

  CNoxDbI broken(dir_.File("no/such/folder/db").c_str());
  EXPECT_FALSE(broken.IsValid() || broken.CreateFileType(1, "T", false) || broken.ExistFileType(kImageType));
  EXPECT_TRUE(Includes(broken.GetLastErrorStr(), "no/such/folder"));
  CNoxDbI server("postgres://me:secret@/db?host=/no/such/folder");
  EXPECT_TRUE(Includes(server.GetLastErrorStr(), "'postgres://me:***@/db?host=/no/such/folder': connection"))
      << server.GetLastErrorStr();

  // A session for reading is refused every change; a database of another schema version
  // does not open.
  CNoxDbI readOnly(path_.c_str(), noxdb::OpenMode::ReadOnly);
  CNDBFile write(&readOnly);
  EXPECT_EQ(write.Create("ro", kImageType, 0, 0xFFF, nullptr, 0), E::eReadOnly) << readOnly.GetLastErrorStr();
  EXPECT_TRUE(Includes(readOnly.GetLastErrorStr(), "can only be read here"));
  EXPECT_EQ(readOnly.GetStorageError(), E::eReadOnly);
  noxdb::Status st;
  auto store = noxdb::OpenStore(path_, &st);
  ASSERT_TRUE(store->Begin().ok() && store->SetMeta("root_folder", "x").ok() && store->Commit().ok());
  EXPECT_TRUE(Includes(CNoxDbI(path_.c_str()).GetLastErrorStr(), "the database has no root folder"));
  ASSERT_TRUE(store->Begin().ok() && store->SetMeta("schema_version", "99").ok() && store->Commit().ok());
  CNoxDbI newer(path_.c_str());
  EXPECT_FALSE(newer.IsValid());
  EXPECT_TRUE(Includes(newer.GetLastErrorStr(), "unsupported database schema version '99'"));
}

// A file changes only once something is written and the file ends: a new file given up or
// dismissed disappears; a rewrite's declared units replace the old ones, and its keywords
// join the old ones.
TEST_P(StoreTest, FilesChangeOnlyOnceWrittenAndEnded) {
  enum How { kNothing, kDismissed, kGivenUp, kEnded };
  bool exists = false;
  CUUID id;
  auto write = [&](const std::string& word, How how) {
    CNDBFile f(session_.get());
    f.AddAttribute(word.c_str(), nullptr);
    f.InsertKeyword(word.c_str(), 0);
    f.InsertKeyword(word.c_str(), 0);
    ASSERT_EQ(exists ? f.Open("pic", CNDBFile::kModeRewrite, 1, kImageType, nullptr, 0)
                     : f.Create("pic", kImageType, 1, 0xFFF, nullptr, 0),
              0);
    EXPECT_EQ(f.IsNew(), !exists);
    EXPECT_EQ(f.FindUnit("sky"), word == "sky" ? 1 : 0);
    ASSERT_EQ(f.SelectUnit(word.c_str(), 0, false), 0);
    if (how != kNothing) f << TOK::FileToken(100) << word << TOK::FileToken(65435);
    if (how == kDismissed) f.DismissCorrupt();
    EXPECT_EQ(f.Close(&id, how != kGivenUp), 0);
    exists = exists || how == kEnded;
  };
  write("gone", kGivenUp);
  EXPECT_EQ(session_->GetTypeEx(id), 0);
  EXPECT_EQ(session_->DeleteFileA(&id, nullptr, CNDBConstants::eDeleteDefault), E::eFileNotFound);
  write("gone", kDismissed);
  EXPECT_EQ(session_->GetTypeEx(id), 0);
  write("sky", kEnded);
  for (How how : {kNothing, kDismissed, kGivenUp}) write("x", how);
  EXPECT_EQ(ReadBack(id), (Units{{"sky", TextUnit("sky")}}));
  write("sea", kEnded);
  EXPECT_EQ(ReadBack(id), (Units{{"sea", TextUnit("sea")}}));
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  EXPECT_EQ(info.keywords, (std::vector<std::string>{"sea", "sky"}));
  EXPECT_EQ(session_->DeleteFileA(&id, nullptr, CNDBConstants::eDeleteDefault), 0);
  EXPECT_EQ(session_->GetTypeEx(id), 0);
}

TEST_P(StoreTest, DeclarationsKeepOrderSizesAndInsertions) {
  CNDBFile f(session_.get());
  EXPECT_TRUE(f.InsertSizeAttribute("icon", 64, 64));  // before the unit is declared
  f.AddAttribute("icon", nullptr);
  const tagSIZE large{640, 360};
  f.AddAttribute("large", &large);
  f.AddAttribute("data", nullptr);
  f.AddAttribute("data", nullptr);
  EXPECT_TRUE(f.InsertUnit("version", "data"));
  EXPECT_TRUE(f.InsertUnit("middle", "icon"));
  EXPECT_FALSE(f.InsertUnit("middle", "data") || f.InsertUnit("x", "no-anchor"));
  EXPECT_FALSE(f.AddAttribute("", nullptr) || f.InsertSizeAttribute("", {1, 1}) || f.InsertKeyword("", 0));
  const std::vector<std::vector<std::string>> expected = {
      {"icon", "64x64"}, {"middle"}, {"large", "640x360"}, {"data"}, {"version"}};
  ASSERT_EQ(f.GetFileUnitCount(), expected.size());
  for (unsigned i = 0; i < expected.size(); ++i) EXPECT_EQ(*f.GetAttribute(i), expected[i]);
  EXPECT_EQ(f.GetAttribute(5), nullptr);
  tagSIZE size;
  EXPECT_TRUE(f.GetSizeAttribute("large", size, false) && size.cx == 640);
  EXPECT_FALSE(f.GetSizeAttribute("data", size, false));

  ASSERT_EQ(f.Create("d", kImageType, 5, 0xFFF, nullptr, 0), 0);
  f.Close(nullptr, true);
  CNDBFile r(session_.get());
  ASSERT_EQ(r.Open(f.GetUuid(), CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_TRUE(r.GetSizeAttribute("icon", size, false) && size.cy == 64);
}

// The sequence by which a stored image is compressed in place: read every unit of an open
// file, declare a new list on the same object, close, and reopen it to rewrite in place.
TEST_P(StoreTest, ReopenToRewriteInPlaceOnTheSameObject) {
  CNOFChecksum sum;
  sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("source")), 6);
  sum.finalize();
  const CUUID id =
      MakeFile("pic", kImageType, {CNDBFile::UNIT_ICON_SMALL, CNDBFile::UNIT_ICON_DEFAULT, CNDBFile::UNIT_DATA}, &sum);
  CNDBFile f(session_.get());
  ASSERT_EQ(f.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  FileState state;
  ASSERT_TRUE(f.GetFileStatus(state));
  for (const auto& unit : state.units) EXPECT_EQ(unit.status(), 0) << unit.name();
  std::map<std::string, std::string> saved;
  for (const auto& unit : state.units) {
    ASSERT_EQ(f.SelectUnit(unit.name().c_str(), 0, true), 0);
    saved[unit.name()] = UnitBytesOf(f, f.GetCurrentUnit());
    f.AddAttribute(unit.name().c_str(), nullptr);
  }
  f.AddAttribute("Original", nullptr);
  f.AddAttribute("MMLevel.00", nullptr);
  EXPECT_TRUE(f.InsertUnit(CNDBFile::UNIT_VERSION, "MMLevel.00"));
  EXPECT_EQ(f.Close(nullptr, true), 0);
  EXPECT_EQ(f.GetCurrentUnit(), 0);
  EXPECT_TRUE(f.InsertUnit(CNDBFile::UNIT_ICON_LARGE, CNDBFile::UNIT_ICON_DEFAULT));
  ASSERT_EQ(f.Open(id, CNDBFile::kModeRewriteInPlace, 7, state.Checksum(), 0), 0);
  ASSERT_TRUE(f.GetFileStatus(state));
  for (const auto& unit : state.units) {
    ASSERT_EQ(f.SelectUnitByIndex(unit.index(), 0, 0), 0);
    const std::string& bytes = saved[unit.name()];
    bool flag = true;
    if (!bytes.empty()) {
      EXPECT_EQ(f.RawWrite(f.GetCurrentUnit(), 0, bytes.data(), bytes.size(), &flag), bytes.size());
    } else if (unit.name() != CNDBFile::UNIT_VERSION) {
      f << TOK::FileToken(100) << ("new " + unit.name()) << TOK::FileToken(65435);
    }
  }
  EXPECT_EQ(f.Close(nullptr, true), 0);
  auto text = [](const std::string& prefix, const std::string& unit) {
    return std::make_pair(unit, TextUnit(prefix + unit));
  };
  EXPECT_EQ(ReadBack(id), (Units{text("content of ", CNDBFile::UNIT_ICON_SMALL),
                                 text("content of ", CNDBFile::UNIT_ICON_DEFAULT),
                                 text("new ", CNDBFile::UNIT_ICON_LARGE),
                                 text("content of ", CNDBFile::UNIT_DATA),
                                 text("new ", "Original"),
                                 text("new ", "MMLevel.00"),
                                 {CNDBFile::UNIT_VERSION, ""}}));
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  EXPECT_EQ(info.checksum, sum.hexdigest());
  // Equal checksums are stored and listed, not refused.
  MakeFile("copy", kImageType, {}, &sum);
  std::vector<CUUID> found;
  ASSERT_EQ(session_->FindFilesByChecksum(sum, &found), 0);
  EXPECT_EQ(found.size(), 2u);
}

TEST(ValidatedName, ReplacesWhatCannotStandInANameKeepingTheLength) {
  const struct {
    std::string in, out;
  } cases[] = {
      {"plain name.png", "plain name.png"},
      {"a/b\\c:d*e?f\"g<h>i|j", "a_b_c_d_e_f_g_h_i_j"},
      {std::string("tab\there\x01\x7f"), "tab_here__"},
      {"caf\xC3\xA9", "caf\xC3\xA9"},
  };
  for (const auto& c : cases) {
    std::string buffer = c.in;
    EXPECT_EQ(CNDBConstants::ValidatedName(buffer.data(), CNDBConstants::eValidateName), buffer.data());
    EXPECT_EQ(buffer, c.out);
  }
  EXPECT_EQ(CNDBConstants::ValidatedName(nullptr, CNDBConstants::eValidateName), nullptr);
}

// Add-ons given to a clip still being written join its transaction and land with it; they
// are replaced by name, kept over rewrites, and removed.
TEST_P(StoreTest, AddonsLandWithTheirFileAreReplacedKeptOverRewritesAndRemoved) {
  std::filesystem::create_directories(dir_.path() / "meta/sub");
  WriteFile(dir_.File("meta/b.xml"), "<b/>");
  WriteFile(dir_.File("meta/a.txt"), PseudoRandomBytes(700000, 3));
  WriteFile(dir_.File("b.xml"), "<b>2</b>");
  CNDBConstants::DBERROR error;
  auto import = [&](const CUUID& id, const std::string& path, bool (*go)(void*) = nullptr) {
    return NNMHAddons::ImportAddons(*session_, id, dir_.File(path), NMH_TRANSFER_COPY, error, go, nullptr);
  };
  auto has = [&](const CUUID& id) {
    bool has = false;
    EXPECT_EQ(NNMHAddons::HasAddons(*session_, id, has, error, nullptr, nullptr), NMH_OK);
    return has;
  };
  auto f = NewFile("clip", {"u"}, kClipType);
  const CUUID id = f->GetUuid();
  EXPECT_FALSE(has(id));
  ASSERT_EQ(import(id, "meta"), NMH_OK);
  EXPECT_EQ(CNoxDbI(path_.c_str()).GetTypeEx(id), 0);  // not visible before the file ends
  f.reset();
  ASSERT_EQ(import(id, "b.xml"), NMH_OK);
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  ASSERT_EQ(info.addons.size(), 2u);
  EXPECT_EQ(info.addons[0].name + " " + info.addons[1].name, "a.txt b.xml");
  std::string a, b;
  ASSERT_EQ(NNMHAddons::ReadAddon(*session_, id, "a.txt", &a) + NNMHAddons::ReadAddon(*session_, id, "b.xml", &b), 0);
  EXPECT_TRUE(a == PseudoRandomBytes(700000, 3) && b == "<b>2</b>");

  {  // Rewriting the file's units keeps its add-ons.
    CNDBFile g(session_.get());
    g.AddAttribute("v", nullptr);
    ASSERT_EQ(g.Open(id, CNDBFile::kModeRewrite, 1, nullptr, 0), 0);
    g.SelectUnit("v", 0, false);
    g << TOK::FileToken(1);
  }
  EXPECT_TRUE(has(id));
  EXPECT_EQ(import(id, "missing"), NMH_SOURCE_UNREADABLE);
  EXPECT_EQ(error.code, E::eAddonSourceUnreadable);
  EXPECT_EQ(import(CUUID::Generate(), "b.xml"), NMH_FILE_NOT_FOUND);
  EXPECT_EQ(import(id, "meta", [](void*) { return false; }), NMH_CANCELLED);
  ASSERT_EQ(NNMHAddons::RemoveAddons(*session_, id, error, nullptr, nullptr), NMH_OK);
  EXPECT_FALSE(has(id));
}

}  // namespace
}  // namespace nox::test
