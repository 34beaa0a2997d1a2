#include "tests/support/ImportFixtures.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "import/ImageImporter.h"
#include "import/MagickInit.h"
#include "tests/support/MediaSamples.h"

namespace nox::test {

std::vector<std::string> TestImporter::CallsOf(const std::string& slot) const {
  std::vector<std::string> paths;
  for (const auto& call : calls) {
    if (call.rfind(slot + ":", 0) == 0) paths.push_back(call.substr(slot.size() + 1));
  }
  return paths;
}

bool TestImporter::Answer(const std::string& slot, const char* path, bool base) {
  const std::string call = slot + ":" + (path ? path : "(null)");
  calls.push_back(call);
  for (const std::string& key : {call, slot}) {
    if (answers.count(key)) return answers.at(key);
  }
  return base;
}

int TestImporter::CanImport(const char* path) {
  return Answer("CanImport", path, CImporterBase::CanImport(path) != 0) ? 1 : 0;
}

bool TestImporter::doImport(const char* path, bool overwrite, CNOFChecksum* checksum,
                            const CUUID* folder, CUUID* uuid, bool createWithUuid) {
  lastOverwrite = overwrite;
  lastChecksum = checksum;
  lastFolder = folder;
  lastUuid = uuid;
  lastCreateWithUuid = createWithUuid;
  return Answer("doImport", path, true);
}

bool TestImporter::AddSpecialUnits(CNDBFile& file) {
  for (const auto& unit : specialUnits) file.AddAttribute(unit.c_str(), nullptr);
  return Answer("AddSpecialUnits", nullptr, true);
}

void ClipImporter::OnPacketToTransfer(int packet, unsigned int size, unsigned long long remaining) {
  packets.push_back(">" + std::to_string(packet) + " " + std::to_string(size) + " " + std::to_string(remaining));
}

void ClipImporter::OnPacketTransferred(int packet, unsigned int size, unsigned long long sent) {
  packets.push_back("=" + std::to_string(packet) + " " + std::to_string(size) + " " + std::to_string(sent));
  if (afterPacket) afterPacket(packet);
}

bool ClipImporter::AddSpecialUnits(CNDBFile& file) {
  if (onUnits) onUnits();
  return CVideoClipImporter::AddSpecialUnits(file);
}

Fields Without(Fields fields, const std::string& name) {
  fields.erase(std::remove_if(fields.begin(), fields.end(), [&](const auto& f) { return f.first == name; }),
               fields.end());
  return fields;
}

Fields With(Fields fields, const std::string& name, const std::string& value) {
  fields = Without(fields, name);
  fields.emplace_back(name, value);
  return fields;
}

Fields CompleteFields() {
  return {{"clipname", "harbour"}, {"clip", "clip.bin"}, {"thumbnail", "thumb.png"},
          {"duration", "12.5"},    {"width", "1920"},    {"height", "1080"}};
}

Rgb PixelAt(const Magick::Image& image, int x, int y) {
  const Magick::Color c = image.pixelColor(x, y);
  return {uint8_t(c.redQuantum()), uint8_t(c.greenQuantum()), uint8_t(c.blueQuantum())};
}

Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom) {
  Magick::Image image(Magick::Geometry(width, height), Magick::Color(bottom));
  image.fillColor(Magick::Color(top));
  image.draw(Magick::DrawableRectangle(0, 0, width - 1, height / 2 - 1));
  return image;
}

Magick::Image Photo(int width, int height, const std::string& map) {
  Magick::Image photo(width, height, "RGBA", Magick::CharPixel, nbn::photoRgba(width, height, 1).data());
  photo.matte(map == "RGBA");
  return photo;
}

std::string BottomUp(const Magick::Image& image, const std::string& map) {
  Magick::Image flipped(image);
  flipped.flip();
  std::string pixels(flipped.columns() * flipped.rows() * map.size(), '\0');
  flipped.write(0, 0, flipped.columns(), flipped.rows(), map, Magick::CharPixel, pixels.data());
  return pixels;
}

namespace {

// Reads `unit` of the file `id` and hands each item to `visit` (token, or 0 for plain value
// bytes and TOK::Binary for a binary value) with its bytes.
void WalkUnit(CNoxDbI& session, const CUUID& id, const std::string& unit,
              const std::function<void(int, const std::string&)>& visit) {
  CNDBFile file(&session);
  ASSERT_EQ(file.Open(id, CNDBFile::kModeRead, -1, nullptr, 0), 0) << session.GetLastErrorStr();
  ASSERT_EQ(file.SelectUnit(unit.c_str(), 0, false), 0) << unit;
  while (!file.IsEOU()) {
    const TOK::FileToken token = file.ReadNextTokenEx();
    if (token == TOK::None) break;
    if (token == TOK::Binary) {
      std::string bytes(file.GetBinarySize(), '\0');
      file.Read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
      visit(TOK::Binary, bytes);
      continue;
    }
    visit(token, "");
    std::string value;
    unsigned char byte;
    while (file.GetNextToken() == 0 && !file.IsEOU() && file.Read(&byte, 1) == 1) {
      value.push_back(static_cast<char>(byte));
    }
    if (!value.empty()) visit(0, value);
  }
}

template <typename T>
T Get(const std::string& bytes, size_t at) {
  T v;
  std::memcpy(&v, bytes.data() + at, sizeof v);
  return v;
}

}  // namespace

std::string StreamText(CNoxDbI& session, const CUUID& id, const std::string& unit) {
  std::ostringstream out;
  WalkUnit(session, id, unit, [&](int token, const std::string& b) {
    if (out.tellp() > 0) out << ' ';
    const size_t n = b.size();
    if (token == TOK::Binary) {
      out << '[' << n << ']';
    } else if (token != 0) {
      out << token;
    } else if (n > 4 && Get<uint32_t>(b, 0) == n - 4 &&
               std::all_of(b.begin() + 4, b.end(), [](char c) { return c >= 0x20; })) {
      out << '"' << b.substr(4) << '"';
    } else if (n > 8 && size_t{Get<uint16_t>(b, 0)} * Get<uint16_t>(b, 2) * 3 + 4 == n) {
      out << "icon " << Get<uint16_t>(b, 0) << 'x' << Get<uint16_t>(b, 2);
    } else if (n == 16) {
      out << '{' << Get<int64_t>(b, 0) << ' ' << Get<int64_t>(b, 8) << '}';
    } else if (n == 8) {
      out << '(' << Get<int32_t>(b, 0) << ' ' << Get<int32_t>(b, 4) << ')';
    } else if (n == 4 || n == 2 || n == 1) {
      out << '=' << (n == 4 ? Get<int32_t>(b, 0) : n == 2 ? Get<int16_t>(b, 0) : Get<int8_t>(b, 0));
    } else {
      out << '<' << n << '>';
    }
  });
  return out.str();
}

std::string ValueAfter(CNoxDbI& session, const CUUID& id, const std::string& unit, int token) {
  std::string found;
  int state = 0;  // 1 after the first `token`, 2 past its values
  WalkUnit(session, id, unit, [&](int t, const std::string& bytes) {
    if (t == 0 || t == TOK::Binary) {
      if (state == 1) found = bytes;
    } else {
      state = t == token && state == 0 ? 1 : state == 1 ? 2 : state;
    }
  });
  return found;
}

std::string Md5(const std::string& bytes) {
  CNOFChecksum sum;
  sum.calcChecksum(reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())), static_cast<unsigned int>(bytes.size()));
  sum.finalize();
  return sum.hexdigest();
}

std::string Printed(const std::function<void()>& action) {
  testing::internal::CaptureStdout();
  try {
    action();
  } catch (...) {
    testing::internal::GetCapturedStdout();
    throw;
  }
  return testing::internal::GetCapturedStdout();
}

void ImportDbTest::SetUp() {
  DbTest::SetUp();
  nox::import::EnsureMagickInitialized();
  clip_ = std::make_unique<ClipImporter>(*session_);
}

CNoxDbI::FileInfo ImportDbTest::Info(const CUUID& id) {
  CNoxDbI::FileInfo info;
  EXPECT_EQ(session_->GetFileInfo(id, &info), 0) << "no file " << id.ToString();
  return info;
}

std::string ImportDbTest::Layout(const CUUID& id, bool sizes) {
  std::string layout;
  for (const auto& u : Info(id).units) {
    layout += (layout.empty() ? "" : sizes ? ", " : " ") + u.name;
    if (!sizes) continue;
    if (u.hasSize) layout += " " + std::to_string(u.width) + "x" + std::to_string(u.height);
    if (u.bytes == 0) layout += " empty";
  }
  return layout;
}

std::vector<CNoxDbI::FileInfo> ImportDbTest::Files() {
  std::vector<CNoxDbI::FolderInfo> folders;
  std::vector<CNoxDbI::FileInfo> files;
  EXPECT_EQ(session_->ListFolder(session_->GetRootFolder(), &folders, &files), 0);
  return files;
}

std::string ImportDbTest::WriteDescription(const std::string& file, const Fields& fields, const std::string& mode) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<clip>\n";
  for (const auto& [name, value] : fields) xml += "  <field name=\"" + name + "\"><value>" + value + "</value></field>\n";
  if (!mode.empty()) xml += "  <mode>" + mode + "</mode>\n";
  WriteFile(dir_.File(file), xml + "</clip>\n");
  return dir_.File(file);
}

std::string ImportDbTest::WriteThumbnail(const std::string& file, int width, int height) {
  TwoBands(width, height, "red", "blue").write(dir_.File(file));
  return dir_.File(file);
}

std::string ImportDbTest::WriteMedia(const std::string& file, size_t size, uint32_t seed) {
  const std::string bytes = PseudoRandomBytes(size, seed);
  WriteFile(dir_.File(file), bytes);
  return bytes;
}

bool ImportDbTest::ImportClip(const std::string& path, CUUID* id, bool overwrite, ClipImporter* importer) {
  *id = CUUID();
  return (importer ? importer : clip_.get())->Import(path.c_str(), overwrite, nullptr, CUUID(), id);
}

CUUID ImportDbTest::ImportPicture(const std::string& path, uint32_t settings) {
  CImageImporter importer(*session_, settings, 0);
  CUUID id;
  bool ok = false;
  printed_ = Printed([&] { ok = importer.Import(path.c_str(), false, nullptr, CUUID(), &id); });
  error_ = importer.GetLastError() ? importer.GetLastError() : "";
  code_ = importer.GetLastErrorCode();
  return ok ? id : CUUID();
}

}  // namespace nox::test
