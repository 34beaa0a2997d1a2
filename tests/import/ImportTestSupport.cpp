#include "tests/import/ImportTestSupport.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

#include "import/MagickInit.h"

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

CNoxDbI::FileInfo ImportDbTest::Info(const CUUID& id) {
  CNoxDbI::FileInfo info;
  EXPECT_EQ(session_->GetFileInfo(id, &info), 0) << "no file " << id.ToString();
  return info;
}

void MagickTest::SetUp() { nox::import::EnsureMagickInitialized(); }

void PrintTo(const Rgb& c, std::ostream* os) {
  *os << "(" << c.r << "," << c.g << "," << c.b << ")";
}

Rgb PixelAt(const Magick::Image& image, int x, int y) {
  const Magick::Color c = image.pixelColor(x, y);
  return {c.redQuantum(), c.greenQuantum(), c.blueQuantum()};
}

Magick::Image TwoBands(int width, int height, const std::string& top, const std::string& bottom) {
  Magick::Image image(Magick::Geometry(width, height), Magick::Color(bottom));
  image.fillColor(Magick::Color(top));
  image.draw(Magick::DrawableRectangle(0, 0, width - 1, height / 2 - 1));
  return image;
}

Magick::Image Photo(int width, int height, const std::string& map) {
  const size_t channels = map.size();
  std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char* p = &pixels[(static_cast<size_t>(y) * width + x) * channels];
      const double wave = std::sin(x * 0.05) * std::cos(y * 0.07);
      p[0] = static_cast<unsigned char>(128 + 100 * wave + (x * 7 + y * 13) % 23);
      p[1] = static_cast<unsigned char>(255 * x / std::max(1, width - 1));
      p[2] = static_cast<unsigned char>(255 * y / std::max(1, height - 1));
      if (channels == 4) p[3] = static_cast<unsigned char>(x < width / 2 ? 255 : 90);
    }
  }
  return Magick::Image(width, height, map, Magick::CharPixel, pixels.data());
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

std::string BinaryAfter(CNoxDbI& session, const CUUID& id, const std::string& unit, int token) {
  std::string found;
  int last = 0;
  WalkUnit(session, id, unit, [&](int t, const std::string& bytes) {
    if (t == TOK::Binary && last == token && found.empty()) found = bytes;
    if (t != 0 && t != TOK::Binary) last = t;
  });
  return found;
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

}  // namespace nox::test
