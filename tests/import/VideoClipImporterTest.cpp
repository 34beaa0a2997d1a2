// Whole clip imports into a real database, read back through the engine: the token record
// in its exact order, the media bytes, the icons, the checksum and the add-ons; the packets
// of the copy; and bad input that must leave nothing behind.

#include <unistd.h>

#include <functional>

#include "tests/import/ClipTestSupport.h"

namespace nox::test {
namespace {

constexpr unsigned int kPacket = 512000;

// A clip without thumbnail, so that only the copy is at work.
Fields PlainFields(const std::string& clipName = "harbour") {
  return {{"clipname", clipName}, {"clip", "clip.bin"}, {"duration", "1"}, {"width", "2"},
          {"height", "2"}};
}

class ClipImportTest : public ClipTest {
 protected:
  std::string PlainClip() { return WriteDescription("plain.xml", PlainFields(), "no_icon"); }

  std::vector<std::string> UnitLayout(const CUUID& id) {
    std::vector<std::string> layout;
    for (const auto& u : Info(id).units) {
      layout.push_back(u.name + (u.hasSize ? " " + std::to_string(u.width) + "x" +
                                                 std::to_string(u.height)
                                           : ""));
    }
    return layout;
  }

  uint64_t UnitBytes(const CUUID& id, const std::string& unit) {
    for (const auto& u : Info(id).units) {
      if (u.name == unit) return u.bytes;
    }
    ADD_FAILURE() << "no unit " << unit;
    return 0;
  }

  std::vector<std::string> AddonNames(const CUUID& id) {
    std::vector<std::string> names;
    for (const auto& a : Info(id).addons) names.push_back(a.name);
    return names;
  }
};

std::string Md5(const std::string& bytes) {
  CNOFChecksum sum;
  sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())),
                   static_cast<unsigned int>(bytes.size()));
  sum.finalize();
  return sum.hexdigest();
}

Rgb At(const CNPBM& bitmap, int x, int y) {
  const unsigned char* p = bitmap.GetPixels() + (static_cast<size_t>(y) * bitmap.Width() + x) * 3;
  return {p[0], p[1], p[2]};
}

std::string Sized(const char* unit, int width, int height) {
  return std::string(unit) + " " + std::to_string(width) + "x" + std::to_string(height);
}

TEST_F(ClipImportTest, WholeClipGoesInAndComesBackOut) {
  const std::string clip = WriteMedia("clip.bin", 1100000, 1);
  const std::string proxy = WriteMedia("proxy.bin", 100000, 2);
  WriteThumbnail("thumb.png", 640, 480);
  WriteFile(dir_.File("take.json"), "{\"take\": 3}");
  const std::string path = WriteDescription(
      "harbour.xml", {{"clipname", "Harbour at dawn"},
                      {"clip", "clip.bin"},
                      {"proxyclip", "proxy.bin"},
                      {"thumbnail", "thumb.png"},
                      {"start_tc", "00:00:10:500"},
                      {"duration", "12.5"},
                      {"container", "3"},
                      {"codec", "h264"},
                      {"codec_id", "27"},
                      {"audio", "aac"},
                      {"audio_id", "2"},
                      {"aspect", "1.7778"},
                      {"width", "1920"},
                      {"height", "1080"},
                      {"render_source", "cam A"},
                      {"additional_meta_data", dir_.File("take.json")}});
  CUUID id;
  ASSERT_TRUE(Import(*importer_, path, &id)) << importer_->GetLastError();
  EXPECT_EQ(importer_->GetLastError(), nullptr);

  const CNoxDbI::FileInfo info = Info(id);
  EXPECT_EQ(info.name, "Harbour at dawn");
  EXPECT_EQ(info.type, kClipType);
  EXPECT_EQ(info.typeName, "VIDEO_CLIP");
  EXPECT_EQ(info.checksum, Md5(clip));
  EXPECT_EQ(UnitLayout(id),
            (std::vector<std::string>{Sized(CNDBFile::UNIT_ICON_SMALL, 64, 64),
                                      Sized(CNDBFile::UNIT_ICON_DEFAULT, 153, 115),
                                      Sized(CNDBFile::UNIT_ICON_LARGE, 480, 360),
                                      CNDBFile::UNIT_DATA, "CLIPDATA", "CLIPDATA_LORES",
                                      CNDBFile::UNIT_VERSION}));

  ExpectedStream record;
  record.Open(3024)
      .Pair(2047, std::string("Harbour at dawn"))
      .Pair(3012, dir_.File("clip.bin"))
      .Pair(3026, 10500ull)
      .Pair(3013, 12.5)
      .Pair(3014, short{3})
      .Pair(2046, 27)
      .Pair(3015, 0)
      .Pair(3016, std::string("aac"))
      .Pair(3017, 0.0)
      .Pair(3018, 1.7778)
      .Pair(3019, 1920LL, 1080LL)
      .Pair(3020, false)
      .Pair(3021, false)
      .Open(62511);
  EXPECT_EQ(Stream(id, CNDBFile::UNIT_DATA), record.items());

  EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA) == clip);
  EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA_LORES) == proxy);

  // Icons stand upright (red band on top) on their canvas.
  const std::vector<CNPBM> small = Icons(id, CNDBFile::UNIT_ICON_SMALL);
  ASSERT_EQ(small.size(), 1u);
  ASSERT_EQ(small[0].Width(), 64);
  ASSERT_EQ(small[0].Height(), 64);
  EXPECT_EQ(At(small[0], 32, 3), kIconGray);
  EXPECT_EQ(At(small[0], 32, 14), kRed);
  EXPECT_EQ(At(small[0], 32, 50), kBlue);
  const std::vector<CNPBM> large = Icons(id, CNDBFile::UNIT_ICON_LARGE);
  ASSERT_EQ(large.size(), 1u);
  ASSERT_EQ(large[0].Width() * 1000 + large[0].Height(), 480360);
  EXPECT_EQ(At(large[0], 240, 90), kRed);

  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"take.json"});
  std::string addon;
  EXPECT_EQ(NNMHAddons::ReadAddon(*session_, id, "take.json", &addon), 0);
  EXPECT_EQ(addon, "{\"take\": 3}");

  // The proxy goes in first; each packet is announced with what remains, and reported with
  // what has gone.
  EXPECT_EQ(importer_->packets, (std::vector<PacketCall>{{'>', 0, 100000, 100000},
                                                         {'=', 0, 100000, 100000},
                                                         {'>', 0, kPacket, 1100000},
                                                         {'=', 0, kPacket, kPacket},
                                                         {'>', 1, kPacket, 588000},
                                                         {'=', 1, kPacket, 2 * kPacket},
                                                         {'>', 2, 76000, 76000},
                                                         {'=', 2, 76000, 1100000}}));
}

TEST_F(ClipImportTest, ProxyOnlyClipLeavesOptionalPairsOut) {
  const std::string proxy = WriteMedia("proxy.bin", 3000, 3);
  WriteThumbnail("thumb.png", 64, 64);
  const std::string path = WriteDescription(
      "p.xml", {{"clipname", "proxy only"}, {"proxyclip", "proxy.bin"}, {"thumbnail", "thumb.png"}},
      "proxy_only,ignore_details");
  CUUID id;
  ASSERT_TRUE(Import(*importer_, path, &id)) << importer_->GetLastError();

  // No clip path and no audio: their pairs are absent. The default container reads back
  // as the short -1, and a width of 0 is still written.
  ExpectedStream record;
  record.Open(3024)
      .Pair(2047, std::string("proxy only"))
      .Pair(3026, 0ull)
      .Pair(3013, 0.0)
      .Pair(3014, short{-1})
      .Pair(2046, 0)
      .Pair(3015, 0)
      .Pair(3017, 0.0)
      .Pair(3018, 0.0)
      .Pair(3019, 0LL, 0LL)
      .Pair(3020, false)
      .Pair(3021, false)
      .Open(62511);
  EXPECT_EQ(Stream(id, CNDBFile::UNIT_DATA), record.items());
  EXPECT_EQ(Raw(id, CVideoClipImporter::UNIT_CLIPDATA), "");
  EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA_LORES) == proxy);
  EXPECT_EQ(Info(id).checksum, "");
  // A thumbnail below 360 rows keeps its size as the large icon.
  EXPECT_EQ(UnitLayout(id)[2], Sized(CNDBFile::UNIT_ICON_LARGE, 64, 64));
}

TEST_F(ClipImportTest, MediaIsCopiedInPacketsOfTheSessionBuffer) {
  ASSERT_EQ(session_->GetBufferSize(), kPacket);
  const struct {
    size_t size;
    std::vector<PacketCall> packets;
  } cases[] = {
      {0, {}},
      {1, {{'>', 0, 1, 1}, {'=', 0, 1, 1}}},
      {kPacket, {{'>', 0, kPacket, kPacket}, {'=', 0, kPacket, kPacket}}},
      {kPacket + 1,
       {{'>', 0, kPacket, kPacket + 1},
        {'=', 0, kPacket, kPacket},
        {'>', 1, 1, 1},
        {'=', 1, 1, kPacket + 1}}},
  };
  const std::string path = PlainClip();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    const std::string clip = WriteMedia("clip.bin", c.size, 7);
    ClipImporter importer(*session_);
    CUUID id;
    ASSERT_TRUE(Import(importer, path, &id)) << importer.GetLastError();
    EXPECT_EQ(importer.packets, c.packets);
    EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA) == clip);
    EXPECT_EQ(Info(id).checksum, Md5(clip));
  }
}

TEST_F(ClipImportTest, WithoutIconsAnImportStoresNoIcon) {
  WriteMedia("clip.bin", 10, 1);
  WriteFile(dir_.File("garbage.png"), "this is no picture at all");
  const struct {
    const char* what;
    const char* thumbnail;  // null: no thumbnail field
  } cases[] = {{"no thumbnail named", nullptr}, {"thumbnail unreadable", "garbage.png"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Fields fields = PlainFields();
    if (c.thumbnail) fields.emplace_back("thumbnail", c.thumbnail);
    ClipImporter importer(*session_);
    CUUID id;
    ASSERT_TRUE(Import(importer, WriteDescription("c.xml", fields, "no_icon"), &id));
    for (const char* unit :
         {CNDBFile::UNIT_ICON_SMALL, CNDBFile::UNIT_ICON_DEFAULT, CNDBFile::UNIT_ICON_LARGE}) {
      EXPECT_EQ(UnitBytes(id, unit), 0u) << unit;
    }
    EXPECT_EQ(UnitLayout(id)[2], Sized(CNDBFile::UNIT_ICON_LARGE, 0, 0));
  }
}

TEST_F(ClipImportTest, BadInputGivesAClearErrorAndStoresNothing) {
  WriteMedia("clip.bin", 1000, 1);
  WriteThumbnail("thumb.png", 32, 32);
  WriteFile(dir_.File("garbage.png"), "this is no picture at all");
  const auto with = [](const std::string& name, const std::string& value) {
    return With(CompleteFields(), name, value);
  };
  WriteFile(dir_.File("malformed.xml"), "<clip><field name=\"clipname\"><value>x</value></clip>");
  const struct {
    std::string path;
    const char* message;  // null: refused without a word
  } cases[] = {
      {dir_.File("malformed.xml"), nullptr},
      {WriteDescription("b.xml", with("clip", "gone.bin")), "Clip is not available."},
      {WriteDescription("e.xml", with("thumbnail", "garbage.png")), "Invalid image size"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    ClipImporter importer(*session_);
    CUUID id;
    EXPECT_FALSE(Import(importer, c.path, &id));
    if (c.message == nullptr) {
      EXPECT_EQ(importer.GetLastError(), nullptr);
    } else {
      ASSERT_NE(importer.GetLastError(), nullptr);
      EXPECT_EQ(std::string(importer.GetLastError()).rfind(c.message, 0), 0u)
          << importer.GetLastError();
    }
    EXPECT_TRUE(importer.packets.empty());
    EXPECT_TRUE(Files().empty());
  }
}

// A clip removed while it is copied is still read whole through the open descriptor; one
// that shrinks ends its copy after the packets that could be read, and the import's outcome
// is the database file's error alone.
TEST_F(ClipImportTest, AClipRemovedOrShrunkDuringTheCopy) {
  const std::string clip = WriteMedia("clip.bin", 2 * kPacket + 100, 4);
  const std::string path = PlainClip();
  struct Case {
    const char* name;
    std::function<void()> change;
    size_t stored;
  };
  const Case cases[] = {
      {"removed", [&] { ASSERT_EQ(unlink(dir_.File("clip.bin").c_str()), 0); }, clip.size()},
      {"shrunk", [&] { ASSERT_EQ(truncate(dir_.File("clip.bin").c_str(), 1000), 0); }, kPacket},
  };
  for (const Case& c : cases) {
    WriteFile(dir_.File("clip.bin"), clip);
    ClipImporter importer(*session_);
    importer.afterPacket = [&](int packet) {
      if (packet == 0) c.change();
    };
    CUUID id;
    EXPECT_TRUE(Import(importer, path, &id, true)) << c.name << ": " << importer.GetLastError();
    EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA) == clip.substr(0, c.stored)) << c.name;
  }
}

TEST_F(ClipImportTest, OverwritingReplacesTheFileAndKeepsAddOnsUnlessNew) {
  WriteMedia("clip.bin", 100, 1);
  WriteFile(dir_.File("a.json"), "a");
  WriteFile(dir_.File("b.json"), "b");
  const auto describe = [&](const std::string& addon) {
    Fields fields = PlainFields();
    if (!addon.empty()) fields.emplace_back("additional_meta_data", dir_.File(addon));
    return WriteDescription("o.xml", fields, "no_icon");
  };
  CUUID id, next;
  ASSERT_TRUE(Import(*importer_, describe("a.json"), &id));
  const std::string replacement = WriteMedia("clip.bin", 700, 2);
  ASSERT_TRUE(Import(*importer_, describe(""), &next, true));
  EXPECT_EQ(next, id);
  EXPECT_TRUE(Raw(id, CVideoClipImporter::UNIT_CLIPDATA) == replacement);
  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"a.json"});
  ASSERT_TRUE(Import(*importer_, describe("b.json"), &next, true));
  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"b.json"});
  ASSERT_TRUE(Import(*importer_, describe(""), &next));
  EXPECT_NE(next, id);
  EXPECT_EQ(Info(next).name, "harbour(1)");
}

TEST_F(ClipImportTest, AFailedAddOnLeavesTheCompleteFile) {
  const std::string clip = WriteMedia("clip.bin", 100, 1);
  const std::string path = WriteDescription(
      "x.xml", With(PlainFields(), "additional_meta_data", dir_.File("absent.json")), "no_icon");
  CUUID id;
  EXPECT_FALSE(Import(*importer_, path, &id));
  EXPECT_NE(importer_->GetLastError(), nullptr);
  ASSERT_EQ(Files().size(), 1u);
  EXPECT_TRUE(Raw(Files()[0].uuid, CVideoClipImporter::UNIT_CLIPDATA) == clip);
  EXPECT_TRUE(Files()[0].addons.empty());
}

TEST_F(ClipImportTest, ACallersChecksumIsStoredAndTheClipNotDigested) {
  WriteMedia("clip.bin", 100, 1);
  CNOFChecksum given;
  given.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("x")), 1);
  given.finalize();
  CUUID id;
  ASSERT_TRUE(importer_->Import(PlainClip().c_str(), false, &given, CUUID(), &id));
  EXPECT_EQ(Info(id).checksum, "9dd4e461268c8034f5c8564e155c67a6");  // md5("x")
}

TEST_F(ClipImportTest, AnIdentifierOfAnotherTypeIsRefused) {
  WriteMedia("clip.bin", 100, 1);
  CUUID id = MakeFile("picture", kImageType);
  const CUUID image = id;
  EXPECT_FALSE(importer_->Import(PlainClip().c_str(), false, nullptr, CUUID(), &id));
  EXPECT_EQ(session_->GetLastError(), CNDBConstants::eWrongType);
  EXPECT_EQ(id, image);
  ASSERT_EQ(Files().size(), 1u);
  EXPECT_EQ(Files()[0].type, kImageType);
}

TEST_F(ClipImportTest, AnEmptyLargeIconLandsBehindTheDefaultIcon) {
  // The first load of the thumbnail fails and the second succeeds: the thumbnail appears
  // while the unit list is made.
  WriteMedia("clip.bin", 100, 1);
  const std::string path =
      WriteDescription("late.xml", With(PlainFields(), "thumbnail", "late.png"), "no_icon");
  importer_->onUnits = [&] { WriteThumbnail("late.png", 40, 20); };
  CUUID id;
  ASSERT_TRUE(Import(*importer_, path, &id)) << importer_->GetLastError();
  EXPECT_EQ(Icons(id, CNDBFile::UNIT_ICON_SMALL).size(), 1u);
  const std::vector<CNPBM> standard = Icons(id, CNDBFile::UNIT_ICON_DEFAULT);
  ASSERT_EQ(standard.size(), 2u);
  EXPECT_EQ(standard[0].Width(), 153);
  EXPECT_FALSE(standard[1].IsValid());
  EXPECT_EQ(UnitBytes(id, CNDBFile::UNIT_ICON_LARGE), 0u);
}

}  // namespace
}  // namespace nox::test
