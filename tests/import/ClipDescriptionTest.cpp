// Reading and judging clip descriptions: the field rules, element and attribute names, mode
// keywords and numbers, time codes, paths joined to the description's folder, the judging
// rule and the three availability tests.

#include <unistd.h>

#include <functional>

#include "tests/support/ImportFixtures.h"

namespace nox::test {
namespace {

constexpr int kClip = 3;

class ClipDescriptionTest : public ImportDbTest {
 protected:
  void SetUp() override {
    ImportDbTest::SetUp();
    for (const char* file : {"clip.bin", "thumb.png", "proxy.bin", "clip\xC3\xA9.bin", "thumb\xC3\xA9.png", "proxy\xC3\xA9.bin"}) {
      WriteFile(dir_.File(file), "only its presence is tested here");
    }
  }
  // CanImport of an XML text; the record is left in clip_.
  int JudgeXml(const std::string& xml) {
    WriteFile(dir_.File("raw.xml"), xml);
    return clip_->CanImport(dir_.File("raw.xml").c_str());
  }
  const ClipDescription& Read() const { return clip_->description; }
};

TEST_F(ClipDescriptionTest, FieldsFollowTheirRules) {
  using D = const ClipDescription&;
  const std::string folder = dir_.path().string();
  const struct {
    const char *field, *text;
    std::function<void(D)> check;
  } cases[] = {
      {"start_tc", "1:2:3", [](D d) { EXPECT_EQ(d.startTc, 62003u); }},
      {"start_tc", "01:02:03:040", [](D d) { EXPECT_EQ(d.startTc, 3723040u); }},
      // "x" and the separator after it each count as a 0: 1, 0, 0, 3.
      {"start_tc", "1:x:3", [](D d) { EXPECT_EQ(d.startTc, 3600003u); }},
      {"start_tc", "99999999999", [](D d) { EXPECT_EQ(d.startTc, 4294967295u); }},
      {"duration", "2.5", [](D d) { EXPECT_EQ(d.duration, 2.5); }},
      {"container", "70000", [](D d) { EXPECT_EQ(d.container, 70000 & 0xFFFF); }},
      {"audio_id", "-4", [](D d) { EXPECT_EQ(d.audioId, -4); }},
      {"width", "99999999999", [](D d) { EXPECT_EQ(d.width, 2147483647); }},
      {"height", "720px", [](D d) { EXPECT_EQ(d.height, 720); }},
      {"codec", "h264 &amp; more", [](D d) { EXPECT_EQ(d.codec, "h264 & more"); }},
      // Not a file of the description: handed to the add-on library as it stands.
      {"additional_meta_data", "meta/x.json", [](D d) { EXPECT_EQ(d.additionalMetaData, "meta/x.json"); }},
      {"clip", "clip.bin", [&](D d) { EXPECT_EQ(d.clipPath, folder + "/clip.bin"); }},
      // A path that looks absolute is relative to the description all the same.
      {"clip", "/clip.bin", [&](D d) { EXPECT_EQ(d.clipPath, folder + "/clip.bin"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.field) + "=" + c.text);
    const std::string path = WriteDescription("clip.xml", With(CompleteFields(), c.field, c.text), "ignore_details");
    EXPECT_EQ(clip_->CanImport(path.c_str()), kClip);
    c.check(Read());
  }
}

TEST_F(ClipDescriptionTest, ElementNamesIgnoreCaseButAttributeAndFieldNamesDoNot) {
  const char* const cases[][2] = {
      {"<X><FIELD name=\"clipname\"><value>a</value></FIELD></X>", "a"},
      {"<x><field NAME=\"clipname\"><value>a</value></field></x>", ""},
      {"<x><field name=\"ClipName\"><value>a</value></field></x>", ""},
      {"<x><group><field name=\"clipname\"><value>a</value></field></group></x>", ""},
      {"<x><field name=\"clipname\"><value><![CDATA[a<b]]></value></field></x>", "a<b"},
      {"<x><field name=\"clipname\"><value>a</value></field><field name=\"clipname\"><value>b</value></field></x>", "b"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(JudgeXml(c[0]), 0) << c[0];  // judged out: only a name at most
    EXPECT_EQ(Read().clipName, c[1]);
    EXPECT_EQ(clip_->GetLastError(), nullptr);
  }
}

TEST_F(ClipDescriptionTest, ModeKeywordsAndNumbers) {
  const std::pair<const char*, unsigned short> cases[] = {
      {"<mode>0x6</mode>", 6}, {"<mode>010</mode>", 10}, {"<mode>no_icon,proxy_only</mode>", 5},
      {"<mode>noproxy_only</mode>", 1}, {"<mode>Ignore_Details;No_Icon;unknown</mode>", 6},
      {"<mode>65537</mode>", 1}, {"<mode>0x10004</mode>", 4}, {"<mode>7</mode><mode>x</mode>", 0},
      {"<mode>7</mode><mode></mode>", 7},
  };
  std::string fields;
  for (const auto& [name, value] : CompleteFields()) fields += "<field name=\"" + name + "\"><value>" + value + "</value></field>";
  for (const auto& [modes, mode] : cases) {
    EXPECT_EQ(JudgeXml("<clip>" + fields + modes + "</clip>"), kClip) << modes;
    EXPECT_EQ(Read().mode, mode) << modes;
  }
}

TEST_F(ClipDescriptionTest, JudgingAndAvailability) {
  const Fields complete = CompleteFields();
  const Fields proxyOnly = With(Without(complete, "clip"), "proxyclip", "proxy.bin");
  const Fields clipGone = With(complete, "clip", "gone.bin"), clipBeyondAscii = With(complete, "clip", "clip\xC3\xA9.bin");
  const char *noClip = "Clip is not available.", *noIcon = "Clip icon is not available.",
             *noProxy = "Specified low-res clip is not available.";
  const struct {
    Fields fields;
    const char* mode;
    int result;
    const char* message;  // with code 8, or null for none
  } cases[] = {
      {complete, "", kClip, nullptr},
      {Without(complete, "clipname"), "", 0, nullptr},
      {With(complete, "duration", "0"), "", 0, nullptr},
      {With(complete, "duration", "0"), "ignore_details", kClip, nullptr},
      {With(complete, "width", "0"), "", 0, nullptr},
      {With(complete, "clip", ""), "", 0, nullptr},
      {proxyOnly, "proxy_only", kClip, nullptr},
      {Without(proxyOnly, "proxyclip"), "proxy_only", 0, nullptr},
      {proxyOnly, "", 0, nullptr},
      {Without(complete, "thumbnail"), "", 0, nullptr},
      {Without(complete, "thumbnail"), "no_icon", kClip, nullptr},
      {clipGone, "", 0, noClip},
      {With(clipGone, "proxyclip", "proxy.bin"), "proxy_only", kClip, nullptr},
      {With(clipGone, "proxyclip", "gone.bin"), "proxy_only", 0, noProxy},
      {With(complete, "thumbnail", "gone.png"), "", 0, noIcon},
      {With(complete, "thumbnail", "gone.png"), "no_icon", kClip, nullptr},
      {With(complete, "proxyclip", "gone.bin"), "", 0, noProxy},
      // Clip and thumbnail are tested through a path narrowed byte by byte, the proxy not.
      {clipBeyondAscii, "", 0, noClip},
      {With(clipBeyondAscii, "proxyclip", "proxy.bin"), "proxy_only", kClip, nullptr},
      {With(complete, "thumbnail", "thumb\xC3\xA9.png"), "", 0, noIcon},
      {With(complete, "proxyclip", "proxy\xC3\xA9.bin"), "", kClip, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(&c - cases));
    clip_ = std::make_unique<ClipImporter>(*session_);
    EXPECT_EQ(clip_->CanImport(WriteDescription("clip.xml", c.fields, c.mode).c_str()), c.result);
    EXPECT_STREQ(clip_->GetLastError(), c.message);
    EXPECT_EQ(clip_->GetLastErrorCode(), c.message ? 8 : 0);
  }
}

TEST_F(ClipDescriptionTest, FilesThatAreNoDescriptionsAreRefusedSilently) {
  WriteThumbnail("picture.png", 8, 8);
  WriteFile(dir_.File("broken.xml"), "<clip><field name=\"clipname\"><value>a</value></clip>");
  const std::string good = WriteDescription("clip.xml", With(CompleteFields(), "container", "7"));
  for (const std::string& file : {dir_.File("picture.png"), dir_.File("broken.xml"), dir_.File("absent.xml"), std::string()}) {
    ASSERT_EQ(clip_->CanImport(good.c_str()), kClip);
    EXPECT_EQ(clip_->CanImport(file.empty() ? nullptr : file.c_str()), 0) << file;
    EXPECT_EQ(clip_->GetLastError(), nullptr);
    // The record is emptied before the file is looked at; the importer's name stays.
    EXPECT_TRUE(Read().clipName.empty() && Read().clipPath.empty());
    EXPECT_EQ(Read().container, 65535);
    EXPECT_EQ(clip_->name, "harbour");
  }
  EXPECT_TRUE(CVideoClipImporter::IsImportable(good.c_str()));
  EXPECT_FALSE(CVideoClipImporter::IsImportable(dir_.File("broken.xml").c_str()));
  EXPECT_FALSE(CVideoClipImporter::IsImportable(nullptr));
}

TEST_F(ClipDescriptionTest, ADescriptionWithoutFolderJoinsToAnEmptyFolder) {
  WriteDescription("bare.xml", CompleteFields());
  char previous[4096];
  ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
  ASSERT_EQ(chdir(dir_.path().c_str()), 0);
  const int result = clip_->CanImport("bare.xml");
  ASSERT_EQ(chdir(previous), 0);
  // The separator is put in front all the same, so the clip is looked for at the top.
  EXPECT_EQ(Read().clipPath, "/clip.bin");
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(clip_->GetLastError(), "Clip is not available.");
}

TEST_F(ClipDescriptionTest, DamagedDescriptionsAreReadOrRefused) {
  const Fields fields = With(With(With(CompleteFields(), "start_tc", "01:02:03:040"), "proxyclip", "proxy.bin"), "container", "70000");
  const std::string whole = ReadFile(WriteDescription("whole.xml", fields, "0x7"));
  const auto judge = [&](const std::string& bytes) {
    const int result = JudgeXml(bytes);
    EXPECT_TRUE(result == 0 || result == kClip) << bytes;
  };
  for (size_t at = 0; at < whole.size(); ++at) {
    judge(whole.substr(0, at));
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ (at % 2 == 0 ? 0x81 : 0x20));
    judge(bytes);
  }
}

}  // namespace
}  // namespace nox::test
