// Files: names, folders, identifiers, open modes and codes, rewrites, the compression
// reopen sequence, checksums, keywords and add-ons.

#include <cstring>

#include "tests/support/DbFixture.h"

namespace nox::test {
namespace {

using E = CNDBConstants;

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, EveryStore(), StoreName);

TEST_P(StoreTest, NamesAreUniquePerFolderAndType) {
  const CUUID a = MakeFile("pic", kImageType, {"u"});
  CNDBFile again(session_.get());
  EXPECT_EQ(again.Create("pic", kImageType, 0, 0xFFF, nullptr, 0), E::eNameTaken);
  EXPECT_NE(std::string(session_->GetLastErrorStr()).find("pic"), std::string::npos);
  const CUUID b = MakeFile("pic", kClipType, {"u"});
  EXPECT_NE(a, b);
  EXPECT_EQ(session_->GetUuid("pic", kImageType, nullptr), a);
  EXPECT_EQ(session_->GetUuid("pic", kClipType, nullptr), b);
  EXPECT_TRUE(session_->GetUuid("pic", 50, nullptr).IsNull());
  EXPECT_TRUE(session_->GetUuid("nothing", kImageType, nullptr).IsNull());
  EXPECT_EQ(session_->GetTypeEx(a), kImageType);
  EXPECT_EQ(session_->GetTypeEx(CUUID::Generate()), 0);
}

// Several processes importing into a new database each find the type missing and make it.
TEST_P(StoreTest, FileTypeMadeMeanwhileUnderItsNameIsTaken) {
  EXPECT_TRUE(session_->CreateFileType(kImageType, "IMAGE", false));
  EXPECT_FALSE(session_->CreateFileType(kImageType, "OTHER", false));
  EXPECT_NE(std::string(session_->GetLastErrorStr()).find("'IMAGE'"), std::string::npos);
}

TEST_P(StoreTest, SlashedNamesArePathsBelowTheCurrentFolder) {
  const CUUID deep = MakeFile("a/b/pic", kImageType, {"u"});
  EXPECT_EQ(session_->GetUuid("a/b/pic", kImageType, nullptr), deep);
  EXPECT_TRUE(session_->GetUuid("pic", kImageType, nullptr).IsNull());
  CUUID a, b;
  ASSERT_EQ(session_->FindFolder("a", &a), 0);
  ASSERT_EQ(session_->FindFolder("a/b", &b), 0);
  EXPECT_EQ(session_->FindFolder("a/c", &b), E::eFolderNotFound);

  session_->SetCurrentFolder(a);
  EXPECT_EQ(session_->GetUuid("b/pic", kImageType, nullptr), deep);
  EXPECT_EQ(session_->GetUuid("/a/b/pic", kImageType, nullptr), deep);
  const CUUID here = MakeFile("pic", kImageType, {"u"});  // lands in a
  session_->SetCurrentFolder(session_->GetRootFolder());
  EXPECT_EQ(session_->GetUuid("a/pic", kImageType, nullptr), here);
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  ASSERT_EQ(session_->ListFolder(a, &folders, &files), 0);
  ASSERT_EQ(folders.size(), 1u);
  EXPECT_EQ(folders[0].name, "b");
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].folderPath, "/a");

  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(deep, &info), 0);
  EXPECT_EQ(info.folderPath, "/a/b");
  EXPECT_EQ(info.name, "pic");
  EXPECT_EQ(info.typeName, "IMAGE");

  // CreateEx names the folder explicitly, whatever the current one is.
  CNDBFile f(session_.get());
  ASSERT_EQ(f.CreateEx(CUUID(), b, "other", kImageType, 0, 0xFFF, false, nullptr, 0), 0);
  f.Close(nullptr, true);
  EXPECT_EQ(session_->GetUuid("a/b/other", kImageType, nullptr), f.GetUuid());

  CNDBFile bad(session_.get());
  session_->SetCurrentFolder(CUUID::Generate());
  EXPECT_EQ(bad.Create("x", kImageType, 0, 0xFFF, nullptr, 0), E::eFolderNotFound);
}

TEST_P(StoreTest, IdentifiersGivenToCreateAreKeptAndUnique) {
  const CUUID id = CUUID::Generate();
  CNDBFile f(session_.get());
  ASSERT_EQ(f.Create(id, "given", kImageType, 0, 0xFFF, nullptr, 0), 0);
  EXPECT_EQ(f.GetUuid(), id);
  EXPECT_TRUE(f.IsNew());
  f.Close(nullptr, true);
  CNDBFile g(session_.get());
  EXPECT_EQ(g.Create(id, "other", kImageType, 0, 0xFFF, nullptr, 0), E::eUuidTaken);

  CUUID parsed;
  ASSERT_TRUE(CUUID::Parse(id.ToString(), &parsed));
  EXPECT_EQ(parsed, id);
  EXPECT_FALSE(CUUID::Parse("not-a-uuid", &parsed));
}

TEST_P(StoreTest, OpenReportsTheCodesImportersActOn) {
  const CUUID image = MakeFile("pic", kImageType, {"u"});
  CNDBFile byId(session_.get());
  EXPECT_EQ(byId.Open(CUUID::Generate(), CNDBFile::kModeRewrite, 0, nullptr, 0), E::eFileNotFound);
  CNDBFile byName(session_.get());
  EXPECT_EQ(byName.Open("missing", CNDBFile::kModeRewrite, 0, kImageType, nullptr, 0), E::eFileNotFound);
  EXPECT_EQ(byName.Open("no/such/folder/pic", CNDBFile::kModeRead, 0, kImageType, nullptr, 0),
            E::eFileNotFound);
  // Only a file of another type: that one opens, and its type tells.
  CNDBFile other(session_.get());
  ASSERT_EQ(other.Open("pic", CNDBFile::kModeRewrite, 0, kClipType, nullptr, 0), 0);
  EXPECT_EQ(other.GetType(), kImageType);
  EXPECT_EQ(other.GetUuid(), image);
  other.Close(nullptr, true);

  CNDBFile reader(session_.get());
  ASSERT_EQ(reader.Open(image, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_TRUE(reader.IsReadable());
  EXPECT_FALSE(reader.IsWritable());
  EXPECT_EQ(reader.SelectUnit("nope", 0, false), E::eUnitNotFound);
  ASSERT_EQ(reader.SelectUnit("u", 0, false), 0);
  EXPECT_EQ(reader.Write(reinterpret_cast<const unsigned char*>("x"), 1), 0);
  reader << TOK::FileToken(1);
  EXPECT_EQ(reader.GetLastError(), E::eNotWritable);
  bool flag = true;
  EXPECT_EQ(reader.RawWrite(1, 0, "x", 1, &flag), 0u);
  EXPECT_EQ(reader.Open(image, CNDBFile::kModeRead, -1, nullptr, 0), E::eAlreadyOpen);

  CNDBFile refused(session_.get());
  EXPECT_EQ(refused.Create("t", 77, 0, 0xFFF, nullptr, 0), E::eUnknownFileType);
  EXPECT_EQ(refused.Create("", kImageType, 0, 0xFFF, nullptr, 0), E::eInvalidArgument);
  // A refused Create leaves nothing behind, not even the folders of its path.
  EXPECT_EQ(refused.Create(image, "new/pic", kImageType, 0, 0xFFF, nullptr, 0), E::eUuidTaken);
  CUUID none;
  EXPECT_EQ(session_->FindFolder("new", &none), E::eFolderNotFound);
  unsigned char byte;
  EXPECT_EQ(refused.Read(&byte, 1), 0);
  EXPECT_TRUE(refused.IsEOU());

  // One session writes one file at a time; a second writer is told at once.
  CNDBFile first(session_.get()), second(session_.get());
  ASSERT_EQ(first.Create("first", kImageType, 0, 0xFFF, nullptr, 0), 0);
  EXPECT_EQ(second.Create("second", kImageType, 0, 0xFFF, nullptr, 0), E::eSessionBusy);
  first.Close(nullptr, true);
  EXPECT_EQ(second.Create("second", kImageType, 0, 0xFFF, nullptr, 0), 0);
  second.Close(nullptr, true);

  CNoxDbI broken(dir_.File("no/such/folder/db").c_str());
  EXPECT_FALSE(broken.IsValid());
  EXPECT_NE(std::string(broken.GetLastErrorStr()).find("no/such/folder"), std::string::npos);
  CNoxDbI server("postgres://me:secret@/db?host=/no/such/folder");
  EXPECT_NE(std::string(server.GetLastErrorStr()).find("'postgres://me:***@/db?host=/no/such/folder': connection"),
            std::string::npos) << server.GetLastErrorStr();

  // A session for reading is refused every change; a database of another schema version
  // does not open.
  CNoxDbI readOnly(path_.c_str(), noxdb::OpenMode::ReadOnly);
  CNDBFile write(&readOnly);
  EXPECT_EQ(write.Create("ro", kImageType, 0, 0xFFF, nullptr, 0), E::eReadOnly) << readOnly.GetLastErrorStr();
  EXPECT_NE(std::string(readOnly.GetLastErrorStr()).find("can only be read here"), std::string::npos);
  noxdb::Status st;
  auto store = noxdb::OpenStore(path_, &st);
  ASSERT_TRUE(store->Begin().ok() && store->SetMeta("schema_version", "99").ok() && store->Commit().ok());
  CNoxDbI newer(path_.c_str());
  EXPECT_FALSE(newer.IsValid());
  EXPECT_NE(std::string(newer.GetLastErrorStr()).find("unsupported database schema version '99'"), std::string::npos);
}

TEST_P(StoreTest, RewriteReplacesUnitsOnlyOnceSomethingIsWritten) {
  const CUUID id = MakeFile("pic", kImageType, {"a", "b"});
  ASSERT_EQ(session_->CreateFolder("keep", nullptr), 0);
  {  // Opened for rewriting, nothing written: the file stays as it was.
    CNDBFile f(session_.get());
    f.AddAttribute("c", nullptr);
    f.InsertKeyword("ignored", 0);
    ASSERT_EQ(f.Open(id, CNDBFile::kModeRewrite, 1, nullptr, 0), 0);
    ASSERT_EQ(f.SelectUnit("c", 0, false), 0);
    EXPECT_EQ(f.FindUnit("a"), 0);
  }
  EXPECT_EQ(UnitText(id, "a"), "content of a");
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  EXPECT_TRUE(info.keywords.empty());

  {  // Written and then given up: the old content stays.
    CNDBFile f(session_.get());
    f.AddAttribute("c", nullptr);
    ASSERT_EQ(f.Open(id, CNDBFile::kModeRewrite, 1, nullptr, 0), 0);
    ASSERT_EQ(f.SelectUnit("c", 0, false), 0);
    f << TOK::FileToken(100) << std::string("new") << TOK::FileToken(65435);
    f.DismissCorrupt();
  }
  EXPECT_EQ(UnitText(id, "b"), "content of b");

  {  // Written and ended: the declared units replace the old ones.
    CNDBFile f(session_.get());
    f.AddAttribute("c", nullptr);
    ASSERT_EQ(f.Open("pic", CNDBFile::kModeRewrite, 1, kImageType, nullptr, 0), 0);
    EXPECT_FALSE(f.IsNew());
    ASSERT_EQ(f.SelectUnit("c", 0, false), 0);
    f << TOK::FileToken(100) << std::string("new") << TOK::FileToken(65435);
  }
  EXPECT_EQ(UnitText(id, "c"), "new");
  EXPECT_EQ(UnitText(id, "a"), "");
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  ASSERT_EQ(info.units.size(), 1u);
  EXPECT_EQ(info.units[0].name, "c");
}

TEST_P(StoreTest, NewFileGivenUpDisappears) {
  auto f = NewFile("gone", {"u"});
  ASSERT_EQ(f->SelectUnit("u", 0, false), 0);
  *f << TOK::FileToken(1) << 5;
  CUUID id;
  EXPECT_EQ(f->Close(&id, false), 0);
  EXPECT_FALSE(id.IsNull());
  EXPECT_EQ(id, f->GetUuid());
  EXPECT_EQ(session_->GetTypeEx(id), 0);
  EXPECT_EQ(session_->DeleteFileA(&id, nullptr, CNDBConstants::eDeleteDefault), E::eFileNotFound);
  const CUUID kept = MakeFile("kept", kImageType, {"u"});
  EXPECT_EQ(session_->DeleteFileA(&kept, nullptr, CNDBConstants::eDeleteDefault), 0);
  EXPECT_EQ(session_->GetTypeEx(kept), 0);
}

TEST_P(StoreTest, DeclarationsKeepOrderSizesAndInsertions) {
  CNDBFile f(session_.get());
  EXPECT_TRUE(f.InsertSizeAttribute("icon", 64, 64));  // before the unit is declared
  f.AddAttribute("icon", nullptr);
  const tagSIZE large{640, 360};
  f.AddAttribute("large", &large);
  f.AddAttribute("data", nullptr);
  f.AddAttribute("data", nullptr);
  EXPECT_EQ(f.GetFileUnitCount(), 3);
  EXPECT_TRUE(f.InsertUnit("version", "data"));
  EXPECT_TRUE(f.InsertUnit("middle", "icon"));
  EXPECT_FALSE(f.InsertUnit("middle", "data"));
  EXPECT_FALSE(f.InsertUnit("x", "no-anchor"));
  EXPECT_FALSE(f.AddAttribute("", nullptr) || f.InsertSizeAttribute("", {1, 1}) || f.InsertKeyword("", 0));
  const std::vector<std::vector<std::string>> expected = {
      {"icon", "64x64"}, {"middle"}, {"large", "640x360"}, {"data"}, {"version"}};
  ASSERT_EQ(f.GetFileUnitCount(), expected.size());
  for (unsigned i = 0; i < expected.size(); ++i) EXPECT_EQ(*f.GetAttribute(i), expected[i]);
  EXPECT_EQ(f.GetAttribute(5), nullptr);
  tagSIZE size;
  EXPECT_TRUE(f.GetSizeAttribute("large", size, false));
  EXPECT_EQ(size.cx, 640);
  EXPECT_FALSE(f.GetSizeAttribute("data", size, false));
  EXPECT_EQ(f.FindUnit("large"), 3);

  ASSERT_EQ(f.Create("d", kImageType, 5, 0xFFF, nullptr, 0), 0);
  FileState state;
  ASSERT_TRUE(f.GetFileStatus(state));
  ASSERT_EQ(state.units.size(), 5u);
  EXPECT_EQ(state.units[2].name(), "large");
  EXPECT_EQ(state.units[2].index(), 3);
  EXPECT_EQ(state.units[2].status(), 0);
  f.Close(nullptr, true);
  CNDBFile r(session_.get());
  ASSERT_EQ(r.Open(f.GetUuid(), CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_TRUE(r.GetSizeAttribute("icon", size, false));
  EXPECT_EQ(size.cy, 64);
}

// The sequence by which a stored image is compressed in place: read every unit of an open
// file, declare a new list on the same object, close, and reopen it to rewrite in place.
TEST_P(StoreTest, ReopenToRewriteInPlaceOnTheSameObject) {
  CNOFChecksum sum;
  sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("source")), 6);
  sum.finalize();
  const CUUID id = MakeFile("pic", kImageType, {CNDBFile::UNIT_ICON_SMALL, CNDBFile::UNIT_ICON_DEFAULT, CNDBFile::UNIT_DATA}, &sum);
  CNDBFile f(session_.get());
  ASSERT_EQ(f.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  FileState state;
  ASSERT_TRUE(f.GetFileStatus(state));
  EXPECT_NE(f.SelectUnit("MMLevel.00", 0, true), 0);
  std::map<std::string, std::string> saved;
  for (const auto& unit : state.units) {
    ASSERT_EQ(f.SelectUnit(unit.name().c_str(), 0, true), 0);
    saved[unit.name()] = UnitBytesOf(f, f.GetCurrentUnit());
    f.AddAttribute(unit.name().c_str(), nullptr);
    if (unit.name() == CNDBFile::UNIT_DATA) {
      f.AddAttribute("Original", nullptr);
      f.AddAttribute("MMLevel.00", nullptr);
    }
  }
  const int units = f.GetFileUnitCount();
  EXPECT_TRUE(f.InsertUnit(CNDBFile::UNIT_VERSION, f.GetAttribute(units - 1)->front().c_str()));
  EXPECT_EQ(f.Close(nullptr, true), 0);
  EXPECT_EQ(f.GetCurrentUnit(), 0);
  EXPECT_TRUE(f.InsertUnit(CNDBFile::UNIT_ICON_LARGE, CNDBFile::UNIT_ICON_DEFAULT));
  ASSERT_EQ(f.Open(id, CNDBFile::kModeRewriteInPlace, units, state.Checksum(), 0), 0);
  FileState state2;
  ASSERT_TRUE(f.GetFileStatus(state2));
  for (const auto& unit : state2.units) {
    ASSERT_EQ(f.SelectUnitByIndex(unit.index(), 0, 0), 0);
    auto it = saved.find(unit.name());
    bool flag = true;
    if (it != saved.end()) {
      const auto n = static_cast<unsigned int>(it->second.size());
      EXPECT_EQ(f.RawWrite(f.GetCurrentUnit(), 0, it->second.data(), n, &flag), n);
    } else if (unit.name() != CNDBFile::UNIT_VERSION) {
      f << TOK::FileToken(100) << ("new " + unit.name()) << TOK::FileToken(65435);
    }
  }
  EXPECT_EQ(f.GetLastError(), 0);
  EXPECT_EQ(f.Close(nullptr, true), 0);

  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  std::vector<std::string> names;
  for (const auto& u : info.units) names.push_back(u.name);
  EXPECT_EQ(names, (std::vector<std::string>{CNDBFile::UNIT_ICON_SMALL, CNDBFile::UNIT_ICON_DEFAULT,
                                             CNDBFile::UNIT_ICON_LARGE, CNDBFile::UNIT_DATA,
                                             "Original", "MMLevel.00", CNDBFile::UNIT_VERSION}));
  EXPECT_EQ(info.checksum, sum.hexdigest());
  EXPECT_EQ(UnitText(id, CNDBFile::UNIT_DATA), std::string("content of ") + CNDBFile::UNIT_DATA);
  EXPECT_EQ(UnitText(id, "Original"), "new Original");
  // Equal checksums are stored and listed, not refused.
  MakeFile("copy", kImageType, {}, &sum);
  std::vector<CUUID> found;
  ASSERT_EQ(session_->FindFilesByChecksum(sum, &found), 0);
  EXPECT_EQ(found.size(), 2u);
}

TEST(Checksum, IsMd5OfTheBytesFromMemoryOrFile) {
  TempDir dir;
  for (const std::string& data : {std::string("abc"), std::string(), std::string(200000, 'x')}) {
    CNOFChecksum mem;
    mem.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>(data.data())),
                     static_cast<unsigned int>(data.size()));
    EXPECT_FALSE(mem.finalized());
    mem.finalize();
    EXPECT_TRUE(data != "abc" || mem.hexdigest() == "900150983cd24fb0d6963f7d28e17f72");
    WriteFile(dir.File("f"), data);
    FILE* in = fopen(dir.File("f").c_str(), "rb");
    CNOFChecksum disk;
    disk.calcChecksum(in);
    fclose(in);
    EXPECT_EQ(disk.hexdigest(), mem.hexdigest());
    EXPECT_EQ(CNOFChecksum::FromDigest(disk.digest()).hexdigest(), mem.hexdigest());
  }
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

TEST_P(StoreTest, KeywordsAccumulateOverRewrites) {
  CUUID id;
  for (const char* word : {"sky", "sea"}) {
    CNDBFile f(session_.get());
    f.AddAttribute("u", nullptr);
    f.InsertKeyword(word, 0);
    f.InsertKeyword(word, 0);
    const int rc = id.IsNull() ? f.Create("kw", kImageType, 1, 0xFFF, nullptr, 0)
                               : f.Open(id, CNDBFile::kModeRewrite, 1, nullptr, 0);
    ASSERT_EQ(rc, 0);
    f.SelectUnit("u", 0, false);
    f << TOK::FileToken(1);
    id = f.GetUuid();
  }
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  EXPECT_EQ(info.keywords, (std::vector<std::string>{"sea", "sky"}));
}

TEST_P(StoreTest, AddonsAreStoredReplacedKeptOverRewritesAndRemoved) {
  const CUUID id = MakeFile("clip", kClipType, {"u"});
  ASSERT_TRUE(std::filesystem::create_directories(dir_.path() / "meta"));
  WriteFile(dir_.File("meta/b.xml"), "<b/>");
  WriteFile(dir_.File("meta/a.txt"), PseudoRandomBytes(700000, 3));
  std::filesystem::create_directories(dir_.path() / "meta/sub");
  CNDBConstants::DBERROR error;
  bool has = true;
  EXPECT_EQ(NNMHAddons::HasAddons(*session_, id, has, error, nullptr, nullptr), NMH_OK);
  EXPECT_FALSE(has);
  ASSERT_EQ(NNMHAddons::ImportAddons(*session_, id, dir_.File("meta"), NMH_TRANSFER_COPY, error, nullptr, nullptr), NMH_OK);
  WriteFile(dir_.File("b.xml"), "<b>2</b>");
  ASSERT_EQ(NNMHAddons::ImportAddons(*session_, id, dir_.File("b.xml"), NMH_TRANSFER_COPY, error, nullptr, nullptr), NMH_OK);
  CNoxDbI::FileInfo info;
  ASSERT_EQ(session_->GetFileInfo(id, &info), 0);
  ASSERT_EQ(info.addons.size(), 2u);
  EXPECT_EQ(info.addons[0].name, "a.txt");
  EXPECT_EQ(info.addons[1].name, "b.xml");
  std::string bytes;
  ASSERT_EQ(NNMHAddons::ReadAddon(*session_, id, "a.txt", &bytes), 0);
  EXPECT_TRUE(bytes == PseudoRandomBytes(700000, 3));
  ASSERT_EQ(NNMHAddons::ReadAddon(*session_, id, "b.xml", &bytes), 0);
  EXPECT_EQ(bytes, "<b>2</b>");

  {  // Rewriting the file's units keeps its add-ons.
    CNDBFile f(session_.get());
    f.AddAttribute("v", nullptr);
    ASSERT_EQ(f.Open(id, CNDBFile::kModeRewrite, 1, nullptr, 0), 0);
    f.SelectUnit("v", 0, false);
    f << TOK::FileToken(1);
  }
  EXPECT_EQ(NNMHAddons::HasAddons(*session_, id, has, error, nullptr, nullptr), NMH_OK);
  EXPECT_TRUE(has);

  EXPECT_EQ(NNMHAddons::ImportAddons(*session_, id, dir_.File("missing"), NMH_TRANSFER_COPY, error, nullptr, nullptr),
            NMH_SOURCE_UNREADABLE);
  EXPECT_EQ(error.code, E::eAddonSourceUnreadable);
  EXPECT_EQ(NNMHAddons::ImportAddons(*session_, CUUID::Generate(), dir_.File("b.xml"), NMH_TRANSFER_COPY, error, nullptr, nullptr),
            NMH_FILE_NOT_FOUND);
  auto cancel = [](void*) { return false; };
  EXPECT_EQ(NNMHAddons::ImportAddons(*session_, id, dir_.File("meta"), NMH_TRANSFER_COPY, error, cancel, nullptr),
            NMH_CANCELLED);
  ASSERT_EQ(NNMHAddons::RemoveAddons(*session_, id, error, nullptr, nullptr), NMH_OK);
  EXPECT_EQ(NNMHAddons::HasAddons(*session_, id, has, error, nullptr, nullptr), NMH_OK);
  EXPECT_FALSE(has);
}

// A clip import assigns add-ons while its file is still open for writing on the session:
// they join the file's transaction and land with it.
TEST_P(StoreTest, AddonsOfAFileBeingWrittenLandWithIt) {
  WriteFile(dir_.File("side.xml"), "<x/>");
  CNDBConstants::DBERROR error;
  CUUID id;
  {
    auto f = NewFile("clip", {"u"}, kClipType);
    f->SelectUnit("u", 0, false);
    *f << TOK::FileToken(1);
    id = f->GetUuid();
    ASSERT_EQ(NNMHAddons::ImportAddons(*session_, id, dir_.File("side.xml"), NMH_TRANSFER_COPY, error, nullptr, nullptr), NMH_OK);
    CNoxDbI outside(path_.c_str());
    EXPECT_EQ(outside.GetTypeEx(id), 0);  // not visible before the file ends
  }
  bool has = false;
  EXPECT_EQ(NNMHAddons::HasAddons(*session_, id, has, error, nullptr, nullptr), NMH_OK);
  EXPECT_TRUE(has);
}

}  // namespace
}  // namespace nox::test
