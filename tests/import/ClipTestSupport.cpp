#include "tests/import/ClipTestSupport.h"

#include <algorithm>

#include "import/MagickInit.h"

namespace nox::test {

void ClipImporter::OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) {
  packets.push_back(">" + std::to_string(packet) + " " + std::to_string(size) + " " +
                    std::to_string(remaining));
}

void ClipImporter::OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) {
  packets.push_back("=" + std::to_string(packet) + " " + std::to_string(size) + " " +
                    std::to_string(sent));
  if (afterPacket) afterPacket(packet);
}

bool ClipImporter::AddSpecialUnits(CNDBFile& file) {
  if (onUnits) onUnits();
  return CVideoClipImporter::AddSpecialUnits(file);
}

Fields With(Fields fields, const std::string& name, const std::string& value) {
  fields = Without(fields, name);
  fields.emplace_back(name, value);
  return fields;
}

Fields Without(Fields fields, const std::string& name) {
  fields.erase(std::remove_if(fields.begin(), fields.end(),
                              [&](const auto& field) { return field.first == name; }),
               fields.end());
  return fields;
}

void ClipTest::SetUp() {
  ImportDbTest::SetUp();
  nox::import::EnsureMagickInitialized();
  importer_ = std::make_unique<ClipImporter>(*session_);
}

std::string ClipTest::WriteDescription(const std::string& file, const Fields& fields,
                                       const std::string& mode) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<clip>\n";
  for (const auto& [name, value] : fields) {
    xml += "  <field name=\"" + name + "\"><value>" + value + "</value></field>\n";
  }
  if (!mode.empty()) xml += "  <mode>" + mode + "</mode>\n";
  WriteFile(dir_.File(file), xml + "</clip>\n");
  return dir_.File(file);
}

Fields ClipTest::CompleteFields() {
  return {{"clipname", "harbour"}, {"clip", "clip.bin"}, {"thumbnail", "thumb.png"},
          {"duration", "12.5"},    {"width", "1920"},    {"height", "1080"}};
}

std::string ClipTest::WriteThumbnail(const std::string& file, int width, int height) {
  TwoBands(width, height, "red", "blue").write(dir_.File(file));
  return dir_.File(file);
}

std::string ClipTest::WriteMedia(const std::string& file, size_t size, uint32_t seed) {
  const std::string bytes = PseudoRandomBytes(size, seed);
  WriteFile(dir_.File(file), bytes);
  return bytes;
}

bool ClipTest::Import(ClipImporter& importer, const std::string& path, CUUID* id,
                      bool overwrite) {
  *id = CUUID();
  return importer.Import(path.c_str(), overwrite, nullptr, CUUID(), id);
}

std::vector<CNPBM> ClipTest::Icons(const CUUID& id, const char* unit) {
  CNDBFile file(session_.get());
  EXPECT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_EQ(file.SelectUnit(unit, 0, false), 0) << unit;
  std::vector<CNPBM> icons;
  for (TOK::FileToken token; (token = file.ReadNextTokenEx()) != TOK::None;) {
    EXPECT_EQ(token, 3) << unit;
    icons.emplace_back();
    file >> icons.back();
    EXPECT_EQ(file.ReadNextTokenEx(), 65532) << unit;
  }
  return icons;
}

std::vector<CNoxDbI::FileInfo> ClipTest::Files() {
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  EXPECT_EQ(session_->ListFolder(session_->GetRootFolder(), &folders, &files), 0);
  return files;
}

}  // namespace nox::test
