// Reading and judging clip descriptions: the field rules, element and attribute names, mode
// keywords and numbers, time codes, paths joined to the description's folder, the judging
// rule and the three availability tests.

#include <unistd.h>

#include <functional>

#include "tests/import/ClipTestSupport.h"

namespace nox::test {
namespace {

constexpr int kClip = 3;

class ClipDescriptionTest : public ClipTest {
 protected:
  void SetUp() override {
    ClipTest::SetUp();
    WriteFile(dir_.File("clip.bin"), "clip");
    WriteFile(dir_.File("thumb.png"), "not even a picture: only its presence is tested here");
    WriteFile(dir_.File("proxy.bin"), "proxy");
  }

  // CanImport of a description made of `fields`; the record is left in importer_.
  int Judge(const Fields& fields, const std::string& mode = "") {
    return importer_->CanImport(WriteDescription("clip.xml", fields, mode).c_str());
  }

  // CanImport of an XML text.
  int JudgeXml(const std::string& xml) {
    WriteFile(dir_.File("raw.xml"), xml);
    return importer_->CanImport(dir_.File("raw.xml").c_str());
  }

  std::string Folder() const { return dir_.path().string(); }
  const ClipDescription& Read() const { return importer_->description; }
};

TEST_F(ClipDescriptionTest, FieldsFollowTheirRules) {
  using Check = std::function<void(const ClipDescription&)>;
  const std::string folder = Folder();
  const struct {
    const char* field;
    const char* text;
    Check check;
  } cases[] = {
      {"start_tc", "1:2:3", [](auto& d) { EXPECT_EQ(d.startTc, 62003u); }},
      {"start_tc", "01:02:03:040", [](auto& d) { EXPECT_EQ(d.startTc, 3723040u); }},
      // "x" and the separator after it each count as a 0: 1, 0, 0, 3.
      {"start_tc", "1:x:3", [](auto& d) { EXPECT_EQ(d.startTc, 3600003u); }},
      {"start_tc", "99999999999", [](auto& d) { EXPECT_EQ(d.startTc, 4294967295u); }},
      {"duration", "2.5", [](auto& d) { EXPECT_EQ(d.duration, 2.5); }},
      {"container", "70000", [](auto& d) { EXPECT_EQ(d.container, 70000 & 0xFFFF); }},
      {"audio_id", "-4", [](auto& d) { EXPECT_EQ(d.audioId, -4); }},
      {"width", "99999999999", [](auto& d) { EXPECT_EQ(d.width, 2147483647); }},
      {"height", "720px", [](auto& d) { EXPECT_EQ(d.height, 720); }},
      {"codec", "h264 &amp; more", [](auto& d) { EXPECT_EQ(d.codec, "h264 & more"); }},
      // Not a file of the description: handed to the add-on library as it stands.
      {"additional_meta_data", "meta/x.json",
       [](auto& d) { EXPECT_EQ(d.additionalMetaData, "meta/x.json"); }},
      {"clip", "clip.bin", [&](auto& d) { EXPECT_EQ(d.clipPath, folder + "/clip.bin"); }},
      // A path that looks absolute is relative to the description all the same.
      {"clip", "/clip.bin", [&](auto& d) { EXPECT_EQ(d.clipPath, folder + "/clip.bin"); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.field) + "=" + c.text);
    EXPECT_EQ(Judge(With(CompleteFields(), c.field, c.text), "ignore_details"), kClip);
    c.check(Read());
  }
}

TEST_F(ClipDescriptionTest, ElementNamesIgnoreCaseButAttributeAndFieldNamesDoNot) {
  const struct {
    const char* xml;
    const char* clipName;
  } cases[] = {
      {"<X><FIELD name=\"clipname\"><value>a</value></FIELD></X>", "a"},
      {"<x><field NAME=\"clipname\"><value>a</value></field></x>", ""},
      {"<x><field name=\"ClipName\"><value>a</value></field></x>", ""},
      {"<x><group><field name=\"clipname\"><value>a</value></field></group></x>", ""},
      {"<x><field name=\"clipname\"><value><![CDATA[a<b]]></value></field></x>", "a<b"},
      {"<x><field name=\"clipname\"><value>a</value></field>"
       "<field name=\"clipname\"><value>b</value></field></x>",
       "b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.xml);
    EXPECT_EQ(JudgeXml(c.xml), 0);  // judged out: only a name at most
    EXPECT_EQ(Read().clipName, c.clipName);
    EXPECT_EQ(importer_->GetLastError(), nullptr);
  }
}

TEST_F(ClipDescriptionTest, ModeKeywordsAndNumbers) {
  const struct {
    const char* modes;  // the mode elements, in order
    unsigned short mode;
  } cases[] = {
      {"<mode>0x6</mode>", 6},
      {"<mode>010</mode>", 10},
      {"<mode>no_icon,proxy_only</mode>", 5},
      {"<mode>noproxy_only</mode>", 1},
      {"<mode>Ignore_Details;No_Icon;unknown</mode>", 6},
      {"<mode>65537</mode>", 1},
      {"<mode>0x10004</mode>", 4},
      {"<mode>7</mode><mode>x</mode>", 0},
      {"<mode>7</mode><mode></mode>", 7},
  };
  std::string fields;
  for (const auto& [name, value] : CompleteFields()) {
    fields += "<field name=\"" + name + "\"><value>" + value + "</value></field>";
  }
  for (const auto& c : cases) {
    SCOPED_TRACE(c.modes);
    EXPECT_EQ(JudgeXml("<clip>" + fields + c.modes + "</clip>"), kClip);
    EXPECT_EQ(Read().mode, c.mode);
  }
}

TEST_F(ClipDescriptionTest, JudgingAndAvailability) {
  WriteFile(dir_.File("clip\xC3\xA9.bin"), "clip");
  WriteFile(dir_.File("thumb\xC3\xA9.png"), "thumb");
  WriteFile(dir_.File("proxy\xC3\xA9.bin"), "proxy");
  const Fields complete = CompleteFields();
  const Fields proxyOnly = With(Without(complete, "clip"), "proxyclip", "proxy.bin");
  const char* const noClip = "Clip is not available.";
  const char* const noIcon = "Clip icon is not available.";
  const char* const noProxy = "Specified low-res clip is not available.";
  const struct {
    const char* what;
    Fields fields;
    const char* mode;
    int result;
    const char* message;  // with code 8, or null for none
  } cases[] = {
      {"complete", complete, "", kClip, nullptr},
      {"no name", Without(complete, "clipname"), "", 0, nullptr},
      {"duration 0", With(complete, "duration", "0"), "", 0, nullptr},
      {"duration 0, details ignored", With(complete, "duration", "0"), "ignore_details", kClip,
       nullptr},
      {"empty clip value", With(complete, "clip", ""), "", 0, nullptr},
      {"no clip, proxy only", proxyOnly, "proxy_only", kClip, nullptr},
      {"no clip, proxy only, no proxy", Without(proxyOnly, "proxyclip"), "proxy_only", 0, nullptr},
      {"no clip, a proxy but no flag", proxyOnly, "", 0, nullptr},
      {"no thumbnail", Without(complete, "thumbnail"), "", 0, nullptr},
      {"no thumbnail, no icon", Without(complete, "thumbnail"), "no_icon", kClip, nullptr},
      {"clip missing", With(complete, "clip", "gone.bin"), "", 0, noClip},
      {"clip missing, proxy only", With(With(complete, "clip", "gone.bin"), "proxyclip",
                                        "proxy.bin"),
       "proxy_only", kClip, nullptr},
      {"clip missing, proxy only, proxy missing",
       With(With(complete, "clip", "gone.bin"), "proxyclip", "gone.bin"), "proxy_only", 0,
       noProxy},
      {"thumbnail missing", With(complete, "thumbnail", "gone.png"), "", 0, noIcon},
      {"thumbnail missing, no icon", With(complete, "thumbnail", "gone.png"), "no_icon", kClip,
       nullptr},
      {"proxy missing", With(complete, "proxyclip", "gone.bin"), "", 0, noProxy},
      // Clip and thumbnail are tested through a path narrowed byte by byte, the proxy not.
      {"clip beyond ASCII", With(complete, "clip", "clip\xC3\xA9.bin"), "", 0, noClip},
      {"clip beyond ASCII, proxy only",
       With(With(complete, "clip", "clip\xC3\xA9.bin"), "proxyclip", "proxy.bin"), "proxy_only",
       kClip, nullptr},
      {"thumbnail beyond ASCII", With(complete, "thumbnail", "thumb\xC3\xA9.png"), "", 0, noIcon},
      {"proxy beyond ASCII", With(complete, "proxyclip", "proxy\xC3\xA9.bin"), "", kClip, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    importer_ = std::make_unique<ClipImporter>(*session_);
    EXPECT_EQ(Judge(c.fields, c.mode), c.result);
    if (c.message == nullptr) {
      EXPECT_EQ(importer_->GetLastError(), nullptr);
    } else {
      ASSERT_NE(importer_->GetLastError(), nullptr);
      EXPECT_STREQ(importer_->GetLastError(), c.message);
      EXPECT_EQ(importer_->GetLastErrorCode(), 8);
    }
  }
}

TEST_F(ClipDescriptionTest, FilesThatAreNoDescriptionsAreRefusedSilently) {
  WriteThumbnail("picture.png", 8, 8);
  WriteFile(dir_.File("broken.xml"), "<clip><field name=\"clipname\"><value>a</value></clip>");
  WriteDescription("clip.xml", With(CompleteFields(), "container", "7"));
  for (const char* file : {"picture.png", "broken.xml", "absent.xml"}) {
    SCOPED_TRACE(file);
    ASSERT_EQ(importer_->CanImport(dir_.File("clip.xml").c_str()), kClip);
    EXPECT_EQ(importer_->CanImport(dir_.File(file).c_str()), 0);
    EXPECT_EQ(importer_->GetLastError(), nullptr);
    // The record is emptied before the file is looked at; the importer's name stays.
    EXPECT_TRUE(Read().clipName.empty() && Read().clipPath.empty());
    EXPECT_EQ(Read().container, 65535);
    EXPECT_EQ(importer_->name, "harbour");
  }
  EXPECT_EQ(importer_->CanImport(nullptr), 0);
  EXPECT_TRUE(CVideoClipImporter::IsImportable(dir_.File("clip.xml").c_str()));
  EXPECT_FALSE(CVideoClipImporter::IsImportable(dir_.File("broken.xml").c_str()));
  EXPECT_FALSE(CVideoClipImporter::IsImportable(nullptr));
}

TEST_F(ClipDescriptionTest, ADescriptionWithoutFolderJoinsToAnEmptyFolder) {
  WriteDescription("bare.xml", CompleteFields());
  char previous[4096];
  ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
  ASSERT_EQ(chdir(Folder().c_str()), 0);
  const int result = importer_->CanImport("bare.xml");
  ASSERT_EQ(chdir(previous), 0);
  // The separator is put in front all the same, so the clip is looked for at the top.
  EXPECT_EQ(Read().clipPath, "/clip.bin");
  EXPECT_EQ(result, 0);
  EXPECT_STREQ(importer_->GetLastError(), "Clip is not available.");
}

TEST_F(ClipDescriptionTest, DamagedDescriptionsAreReadOrRefused) {
  const Fields fields = With(With(With(CompleteFields(), "start_tc", "01:02:03:040"), "proxyclip",
                                   "proxy.bin"),
                             "container", "70000");
  const std::string whole = ReadFile(WriteDescription("whole.xml", fields, "0x7"));
  const std::string path = dir_.File("damaged.xml");
  const auto judge = [&](const std::string& bytes) {
    WriteFile(path, bytes);
    const int result = importer_->CanImport(path.c_str());
    EXPECT_TRUE(result == 0 || result == kClip) << bytes;
  };
  for (size_t length = 0; length < whole.size(); ++length) judge(whole.substr(0, length));
  for (size_t at = 0; at < whole.size(); ++at) {
    std::string bytes = whole;
    bytes[at] = static_cast<char>(bytes[at] ^ (at % 2 == 0 ? 0x81 : 0x20));
    judge(bytes);
  }
}


}  // namespace
}  // namespace nox::test
