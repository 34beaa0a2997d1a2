#include "tools/ImageRecord.h"

#include <cstring>

#include "import/ImageImporter.h"

namespace nox::tools {
namespace {

// Reads the plain value bytes that follow the token just read, up to the next token.
std::string Value(CNDBFile& file) {
  std::string bytes;
  unsigned char byte;
  while (file.GetNextToken() == 0 && !file.IsEOU() && file.Read(&byte, 1) == 1) {
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

// The binary value that follows the token just read, or empty.
std::string Binary(CNDBFile& file) {
  if (file.ReadNextTokenEx() != TOK::Binary) return {};
  std::string bytes(file.GetBinarySize(), '\0');
  const int got = file.Read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return bytes;
}

template <typename T>
T As(const std::string& bytes) {
  T value{};
  if (bytes.size() >= sizeof value) std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

}  // namespace

bool ReadImageRecord(CNDBFile& file, const char* unit, ImageRecord* record) {
  if (file.SelectUnit(unit, 0, false) != 0) return false;
  *record = ImageRecord();
  bool sized = false;
  while (!file.IsEOU()) {
    const TOK::FileToken token = file.ReadNextTokenEx();
    if (token == TOK::None) break;
    switch (static_cast<unsigned short>(token)) {
      case 1428: record->size = As<tagSIZE>(Value(file)); sized = true; break;
      case 1431: record->format = As<unsigned int>(Value(file)); break;
      case 1427: record->pixels = Binary(file); break;
      case 2908: record->compression = As<int>(Value(file)); break;
      case 2909: record->blocks = Binary(file); break;
      default: break;
    }
  }
  return sized && file.GetLastError() == 0;
}

std::vector<Level> ReadLevels(CNDBFile& file) {
  std::vector<Level> levels;
  for (int i = 0;; ++i) {
    const std::string unit = CImageImporter::levelName(i);
    if (file.FindUnit(unit.c_str()) < 1 || file.SelectUnit(unit.c_str(), 0, false) != 0) break;
    Level level;
    while (!file.IsEOU()) {
      const TOK::FileToken token = file.ReadNextTokenEx();
      if (token == TOK::None) break;
      if (token == 2915) level.size = As<tagSIZE>(Value(file));
      if (token == 2916 && As<unsigned int>(Value(file)) != 0) level.blocks = Binary(file);
    }
    levels.push_back(std::move(level));
  }
  return levels;
}

const char* LayoutName(unsigned int format) {
  switch (format) {
    case CImporterBase::GL_ALPHA: return "GL_ALPHA";
    case CImporterBase::GL_RGB: return "GL_RGB";
    case CImporterBase::GL_RGBA: return "GL_RGBA";
    case CImporterBase::GL_LUMINANCE: return "GL_LUMINANCE";
    case CImporterBase::GL_LUMINANCE_ALPHA: return "GL_LUMINANCE_ALPHA";
    case CImporterBase::GL_BGR: return "GL_BGR";
    case CImporterBase::GL_BGRA: return "GL_BGRA";
    case CImporterBase::GL_RGBA16: return "GL_RGBA16";
    case CImporterBase::GL_RGBA16F: return "GL_RGBA16F";
    case CImporterBase::GL_RGB16F: return "GL_RGB16F";
    case CImporterBase::GL_RGBA32F: return "GL_RGBA32F";
    case CImporterBase::GL_RGB32F: return "GL_RGB32F";
    case CImporterBase::GL_RGBA32UI: return "GL_RGBA32UI";
    default: return "unknown";
  }
}

std::string CompressionName(int compression) {
  switch (compression) {
    case 0: return "none";
    case 1: return "DXT1";
    case 3: return "DXT5";
    default: return "mode " + std::to_string(compression);
  }
}

}  // namespace nox::tools
