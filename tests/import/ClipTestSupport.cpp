#include "tests/import/ClipTestSupport.h"

#include <algorithm>
#include <ostream>

#include "import/MagickInit.h"

namespace nox::test {

void PrintTo(const PacketCall& c, std::ostream* os) {
  *os << c.kind << "(" << c.packet << ", " << c.size << ", " << c.count << ")";
}

void ClipImporter::OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) {
  packets.push_back({'>', packet, size, remaining});
}

void ClipImporter::OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) {
  packets.push_back({'=', packet, size, sent});
  if (afterPacket) afterPacket(packet);
}

bool ClipImporter::AddSpecialUnits(CNDBFile& file) {
  if (onUnits) onUnits();
  return CVideoClipImporter::AddSpecialUnits(file);
}

void PrintTo(const StreamItem& item, std::ostream* os) {
  *os << item.token << " [" << item.bytes.size() << " bytes:";
  for (unsigned char c : item.bytes) *os << " " << static_cast<int>(c);
  *os << "]";
}

ExpectedStream& ExpectedStream::Open(unsigned short token) {
  items_.push_back({token, ""});
  return *this;
}

std::string ExpectedStream::Encode(const std::string& text) {
  return Encode(static_cast<uint32_t>(text.size())) + text;
}

Fields With(Fields fields, const std::string& name, const std::string& value) {
  for (auto& field : fields) {
    if (field.first == name) {
      field.second = value;
      return fields;
    }
  }
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
  xml += "</clip>\n";
  const std::string path = dir_.File(file);
  WriteFile(path, xml);
  return path;
}

Fields ClipTest::CompleteFields() {
  return {{"clipname", "harbour"}, {"clip", "clip.bin"}, {"thumbnail", "thumb.png"},
          {"duration", "12.5"},    {"width", "1920"},    {"height", "1080"}};
}

std::string ClipTest::WriteThumbnail(const std::string& file, int width, int height) {
  const std::string path = dir_.File(file);
  Magick::Image picture = TwoBands(width, height, "red", "blue");
  picture.write(path);
  return path;
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

void ClipTest::OpenUnit(CNDBFile& file, const CUUID& id, const char* unit) {
  EXPECT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  EXPECT_EQ(file.SelectUnit(unit, 0, false), 0) << unit;
}

std::vector<StreamItem> ClipTest::Stream(const CUUID& id, const char* unit) {
  CNDBFile file(session_.get());
  OpenUnit(file, id, unit);
  std::vector<StreamItem> items;
  for (TOK::FileToken token; (token = file.ReadNextTokenEx()) != TOK::None;) {
    StreamItem item{token, ""};
    unsigned char buffer[4096];
    for (int n; (n = file.Read(buffer, sizeof buffer)) > 0;) {
      item.bytes.append(reinterpret_cast<const char*>(buffer), static_cast<size_t>(n));
    }
    items.push_back(item);
  }
  return items;
}

std::string ClipTest::Raw(const CUUID& id, const char* unit) {
  CNDBFile file(session_.get());
  EXPECT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0);
  const int index = file.FindUnit(unit);
  EXPECT_GE(index, 1) << unit;
  std::string bytes;
  std::vector<char> buffer(512000);
  bool flag = false;
  for (unsigned int n;
       (n = file.RawRead(index, bytes.size(), buffer.data(), 512000, &flag)) != 0;) {
    if (n == 0xFFFFFFFF) {
      ADD_FAILURE() << "RawRead of " << unit << ": " << session_->GetLastErrorStr();
      break;
    }
    bytes.append(buffer.data(), n);
  }
  return bytes;
}

std::vector<CNPBM> ClipTest::Icons(const CUUID& id, const char* unit) {
  CNDBFile file(session_.get());
  OpenUnit(file, id, unit);
  std::vector<CNPBM> icons;
  for (TOK::FileToken token; (token = file.ReadNextTokenEx()) != TOK::None;) {
    EXPECT_EQ(token, 3) << unit;
    CNPBM bitmap;
    file >> bitmap;
    icons.push_back(bitmap);
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
