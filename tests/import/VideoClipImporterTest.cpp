// Whole clip imports into a real database, read back through the engine: the token record
// in its exact order, the media bytes, the icons, the checksum and the add-ons; the packets
// of the copy; and bad input that must leave nothing behind.

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <functional>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

constexpr unsigned int kPacket = 512000;

// The stream text of the data unit's record: pairs of a token and its value, each closed by
// its complement.
std::string Record(const std::vector<std::pair<int, std::string>>& pairs) {
  std::string text = "3024";
  for (const auto& [token, value] : pairs) text += " " + std::to_string(token) + " " + value + " " + std::to_string(65535 - token);
  return text + " 62511";
}

// A double as the stream text shows eight bytes.
std::string Dbl(double value) {
  int32_t words[2];
  std::memcpy(words, &value, sizeof words);
  return "(" + std::to_string(words[0]) + " " + std::to_string(words[1]) + ")";
}

// The colour at x, y of a stored icon: its width and height in two bytes each, then RGB rows.
Rgb At(const std::string& icon, int x, int y) {
  const auto* p = reinterpret_cast<const uint8_t*>(icon.data());
  p += 4 + (size_t(y) * (p[0] | p[1] << 8) + x) * 3;
  return {p[0], p[1], p[2]};
}

class ClipImportTest : public ImportDbTest {
 protected:
  // A clip without thumbnail, so that only the copy is at work.
  static Fields PlainFields() {
    return {{"clipname", "harbour"}, {"clip", "clip.bin"}, {"duration", "1"}, {"width", "2"}, {"height", "2"}};
  }
  std::string PlainClip(const Fields& fields = PlainFields()) { return WriteDescription("plain.xml", fields, "no_icon"); }
  std::string Clip(const CUUID& id, bool proxy = false) {
    return StoredBytes(*session_, id, proxy ? CVideoClipImporter::UNIT_CLIPDATA_LORES : CVideoClipImporter::UNIT_CLIPDATA);
  }
  std::vector<std::string> AddonNames(const CUUID& id) {
    std::vector<std::string> names;
    for (const auto& a : Info(id).addons) names.push_back(a.name);
    return names;
  }
};

TEST_F(ClipImportTest, WholeClipGoesInAndComesBackOut) {
  const std::string clip = WriteMedia("clip.bin", 1100000, 1), proxy = WriteMedia("proxy.bin", 100000, 2);
  WriteThumbnail("thumb.png", 640, 480);
  WriteFile(dir_.File("take.json"), "{\"take\": 3}");
  const std::string path = WriteDescription(
      "harbour.xml", {{"clipname", "Harbour at dawn"}, {"clip", "clip.bin"}, {"proxyclip", "proxy.bin"},
                      {"thumbnail", "thumb.png"}, {"start_tc", "00:00:10:500"}, {"duration", "12.5"},
                      {"container", "3"}, {"codec", "h264"}, {"codec_id", "27"}, {"audio", "aac"},
                      {"audio_id", "2"}, {"aspect", "1.7778"}, {"width", "1920"}, {"height", "1080"},
                      {"render_source", "cam A"}, {"additional_meta_data", dir_.File("take.json")}});
  CUUID id;
  ASSERT_TRUE(ImportClip(path, &id)) << clip_->GetLastError();
  EXPECT_EQ(clip_->GetLastError(), nullptr);

  const CNoxDbI::FileInfo info = Info(id);
  EXPECT_EQ(info.name + "/" + std::to_string(info.type) + "/" + info.checksum, "Harbour at dawn/248/" + Md5(clip));
  EXPECT_EQ(Layout(id),
            "IconSmall 64x64, IconDefault 153x115, IconLarge 480x360, Data, CLIPDATA, CLIPDATA_LORES, Version empty");
  EXPECT_EQ(Stream(id), Record({{2047, "\"Harbour at dawn\""}, {3012, "\"" + dir_.File("clip.bin") + "\""},
                                {3026, "(10500 0)"}, {3013, Dbl(12.5)}, {3014, "=3"}, {2046, "=27"}, {3015, "=0"},
                                {3016, "\"aac\""}, {3017, Dbl(0)}, {3018, Dbl(1.7778)}, {3019, "{1920 1080}"},
                                {3020, "=0"}, {3021, "=0"}}));
  EXPECT_TRUE(Clip(id) == clip && Clip(id, true) == proxy);

  // Icons stand upright (red band on top) on their canvas.
  EXPECT_EQ(Stream(id, "IconSmall") + ", " + Stream(id, "IconDefault") + ", " + Stream(id, "IconLarge"),
            "3 icon 64x64 65532, 3 icon 153x115 65532, 3 icon 480x360 65532");
  const std::string small = ValueAfter(id, "IconSmall", 3), large = ValueAfter(id, "IconLarge", 3);
  EXPECT_EQ((std::vector<Rgb>{At(small, 32, 3), At(small, 32, 14), At(small, 32, 50), At(large, 240, 90)}),
            (std::vector<Rgb>{kIconGray, kRed, kBlue, kRed}));

  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"take.json"});

  // The proxy goes in first; each packet is announced with what remains, and reported with
  // what has gone.
  EXPECT_EQ(clip_->packets, (std::vector<std::string>{">0 100000 100000", "=0 100000 100000", ">0 512000 1100000",
                                                      "=0 512000 512000", ">1 512000 588000", "=1 512000 1024000",
                                                      ">2 76000 76000", "=2 76000 1100000"}));
}

TEST_F(ClipImportTest, ProxyOnlyClipLeavesOptionalPairsOut) {
  const std::string proxy = WriteMedia("proxy.bin", 3000, 3);
  WriteThumbnail("thumb.png", 64, 64);
  CUUID id;
  ASSERT_TRUE(ImportClip(WriteDescription("p.xml", {{"clipname", "proxy only"}, {"proxyclip", "proxy.bin"}, {"thumbnail", "thumb.png"}},
                                          "proxy_only,ignore_details"),
                         &id))
      << clip_->GetLastError();
  // No clip path and no audio: their pairs are absent. The default container reads back
  // as the short -1, and a width of 0 is still written.
  EXPECT_EQ(Stream(id), Record({{2047, "\"proxy only\""}, {3026, "(0 0)"}, {3013, Dbl(0)}, {3014, "=-1"}, {2046, "=0"},
                                {3015, "=0"}, {3017, Dbl(0)}, {3018, Dbl(0)}, {3019, "{0 0}"}, {3020, "=0"}, {3021, "=0"}}));
  EXPECT_TRUE(Clip(id).empty() && Clip(id, true) == proxy);
  EXPECT_EQ(Info(id).checksum, "");
  // A thumbnail below 360 rows keeps its size as the large icon.
  EXPECT_EQ(Layout(id), "IconSmall 64x64, IconDefault 153x115, IconLarge 64x64, Data, CLIPDATA empty, CLIPDATA_LORES, Version empty");
}

TEST_F(ClipImportTest, MediaIsCopiedInPacketsOfTheSessionBuffer) {
  ASSERT_EQ(session_->GetBufferSize(), kPacket);
  const std::pair<size_t, std::vector<std::string>> cases[] = {
      {0, {}},
      {kPacket, {">0 512000 512000", "=0 512000 512000"}},
      {kPacket + 1, {">0 512000 512001", "=0 512000 512000", ">1 1 1", "=1 1 512001"}},
  };
  const std::string path = PlainClip();
  for (const auto& [size, packets] : cases) {
    const std::string clip = WriteMedia("clip.bin", size, 7);
    ClipImporter importer(*session_);
    CUUID id;
    ASSERT_TRUE(ImportClip(path, &id, false, &importer)) << importer.GetLastError();
    EXPECT_EQ(importer.packets, packets);
    EXPECT_TRUE(Clip(id) == clip) << size;
  }
}

// A thumbnail that is no picture is found out when it is loaded: with icons waived the clip is
// stored without them, else the import fails and leaves no file. What the description itself
// refuses is judged before any import.
TEST_F(ClipImportTest, WithoutAThumbnailNoIconIsStored) {
  WriteMedia("clip.bin", 10, 1);
  WriteFile(dir_.File("garbage.png"), "this is no picture at all");
  CUUID id;
  for (const Fields& fields : {PlainFields(), With(PlainFields(), "thumbnail", "garbage.png")}) {
    ASSERT_TRUE(ImportClip(PlainClip(fields), &id));
    EXPECT_EQ(Layout(id), "IconSmall 64x64 empty, IconDefault 153x115 empty, IconLarge 0x0 empty, Data, CLIPDATA, "
                          "CLIPDATA_LORES empty, Version empty");
  }
  EXPECT_FALSE(ImportClip(WriteDescription("e.xml", With(PlainFields(), "thumbnail", "garbage.png")), &id));
  EXPECT_EQ(std::string(clip_->GetLastError() ? clip_->GetLastError() : "").rfind("Invalid image size", 0), 0u);
  EXPECT_EQ(Files().size(), 2u);
}

// A clip removed while it is copied is still read whole through the open descriptor; one
// that shrinks ends its copy after the packets that could be read, and the import's outcome
// is the database file's error alone.
TEST_F(ClipImportTest, AClipRemovedOrShrunkDuringTheCopy) {
  const std::string clip = WriteMedia("clip.bin", 2 * kPacket + 100, 4), path = PlainClip(), file = dir_.File("clip.bin");
  const std::pair<std::function<int()>, size_t> cases[] = {
      {[&] { return unlink(file.c_str()); }, clip.size()},
      {[&] { return truncate(file.c_str(), 1000); }, kPacket},
  };
  for (const auto& [change, stored] : cases) {
    WriteFile(file, clip);
    ClipImporter importer(*session_);
    importer.afterPacket = [&](int packet) { ASSERT_TRUE(packet != 0 || change() == 0); };
    CUUID id;
    EXPECT_TRUE(ImportClip(path, &id, true, &importer)) << importer.GetLastError();
    EXPECT_TRUE(Clip(id) == clip.substr(0, stored)) << stored;
  }
}

TEST_F(ClipImportTest, OverwritingReplacesTheFileAndKeepsAddOnsUnlessNew) {
  WriteMedia("clip.bin", 100, 1);
  WriteFile(dir_.File("a.json"), "a");
  WriteFile(dir_.File("b.json"), "b");
  const auto describe = [&](const std::string& addon) {
    return PlainClip(addon.empty() ? PlainFields() : With(PlainFields(), "additional_meta_data", dir_.File(addon)));
  };
  CUUID id, next;
  ASSERT_TRUE(ImportClip(describe("a.json"), &id));
  const std::string replacement = WriteMedia("clip.bin", 700, 2);
  ASSERT_TRUE(ImportClip(describe(""), &next, true));
  EXPECT_EQ(next, id);
  EXPECT_TRUE(Clip(id) == replacement);
  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"a.json"});
  ASSERT_TRUE(ImportClip(describe("b.json"), &next, true));
  EXPECT_EQ(AddonNames(id), std::vector<std::string>{"b.json"});
  // An add-on that cannot be read fails the import, but the new file stays complete.
  EXPECT_FALSE(ImportClip(describe("absent.json"), &next));
  EXPECT_NE(clip_->GetLastError(), nullptr);
  const CUUID failed = session_->GetUuid("harbour(1)", kClipType, nullptr);
  EXPECT_TRUE(Clip(failed) == replacement);
  EXPECT_TRUE(AddonNames(failed).empty());
}

TEST_F(ClipImportTest, ACallersChecksumIsStoredAndAnIdentifierOfAnotherTypeIsRefused) {
  WriteMedia("clip.bin", 100, 1);
  CNOFChecksum given;
  given.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>("x")), 1);
  given.finalize();
  CUUID id;
  ASSERT_TRUE(clip_->Import(PlainClip().c_str(), false, &given, CUUID(), &id));
  EXPECT_EQ(Info(id).checksum, "9dd4e461268c8034f5c8564e155c67a6");  // md5("x"), not of the clip

  CUUID image = MakeFile("picture", kImageType);
  const CUUID before = image;
  EXPECT_FALSE(clip_->Import(PlainClip().c_str(), false, nullptr, CUUID(), &image));
  EXPECT_EQ(session_->GetLastError(), CNDBConstants::eWrongType);
  EXPECT_EQ(image, before);
  EXPECT_EQ(Files().size(), 2u);
}

// The thumbnail is loaded twice, before and after the unit list is made: one that appears in
// between gives an empty large icon behind the default icon, one that goes leaves nothing.
TEST_F(ClipImportTest, AThumbnailThatComesOrGoesBetweenItsTwoLoads) {
  WriteMedia("clip.bin", 100, 1);
  clip_->onUnits = [&] { WriteThumbnail("late.png", 40, 20); };
  CUUID id;
  ASSERT_TRUE(ImportClip(PlainClip(With(PlainFields(), "thumbnail", "late.png")), &id)) << clip_->GetLastError();
  EXPECT_EQ(Stream(id, CNDBFile::UNIT_ICON_DEFAULT), "3 icon 153x115 65532 3 =0 65532");
  EXPECT_EQ(Layout(id), "IconSmall 64x64, IconDefault 153x115, IconLarge 0x0 empty, Data, CLIPDATA, CLIPDATA_LORES empty, Version empty");

  clip_->onUnits = [&] { std::filesystem::remove(dir_.File("late.png")); };
  EXPECT_FALSE(ImportClip(WriteDescription("v.xml", With(PlainFields(), "thumbnail", "late.png")), &id));
  EXPECT_STREQ(clip_->GetLastError(), "Caught ImportFailed\n");
  EXPECT_EQ(Files().size(), 1u);
}

}  // namespace
}  // namespace nox::test
