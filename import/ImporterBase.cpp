// CImporterBase: construction, settings, the last error, the steps per file and names.

#include "import/ImporterBase.h"

#include <cstdarg>
#include <cstdio>
#include <filesystem>

namespace {

template <typename Char>
bool IsSeparator(Char c) {
  return c == Char('/') || c == Char('\\');
}

template <typename String>
String JoinFileName(const String& folder, const String& name) {
  using Char = typename String::value_type;
  // An empty folder has no last character to test; it counts as one without a separator.
  const int tail = !folder.empty() && IsSeparator(folder.back()) ? 1 : 0;
  const int head = !name.empty() && IsSeparator(name.front()) ? 1 : 0;
  switch (tail + head) {
    case 0:
      return folder + Char('/') + name;
    case 1:
      return folder + name;
    default:
      return folder + name.substr(1);
  }
}

}  // namespace

std::string CImporterBase::fileStem(const std::string& path) {
  size_t start = 0;
  for (size_t i = 0; i < path.size(); ++i) {
    if (IsSeparator(path[i])) start = i + 1;
  }
  return std::filesystem::path(path.substr(start)).stem().string();
}

CImporterBase::CImporterBase()
    : session(nullptr), lastErrorCode(0), fileType(0), createFolder(true) {}

CImporterBase::CImporterBase(CNoxDbI& session)
    : session(&session), lastErrorCode(0), fileType(0), createFolder(true) {}

CImporterBase::CImporterBase(const CImporterBase& other) = default;
CImporterBase& CImporterBase::operator=(const CImporterBase& other) = default;
CImporterBase::~CImporterBase() = default;

void CImporterBase::commonBaseInit() {
  session = nullptr;
  lastErrorCode = 0;
  fileType = 0;
}

int CImporterBase::CanImport(const char* path) { return path != nullptr && *path != '\0' ? 1 : 0; }

bool CImporterBase::loadFile(const char*) { return false; }
unsigned int CImporterBase::getImageFormatGL() const { return 0; }
bool CImporterBase::dualIcon() const { return false; }
bool CImporterBase::isAlphaSupported() const { return false; }
bool CImporterBase::OnImport(const char*) { return true; }
bool CImporterBase::OnImportFailed(const char*) { return true; }
bool CImporterBase::OnFileLoaded(const char*) { return true; }
bool CImporterBase::OnError(const char*, const char*) { return true; }
bool CImporterBase::AddSpecialUnits(CNDBFile&) { return true; }
void CImporterBase::DebugInfo(const std::wstring&) {}
void CImporterBase::OnPacketToTransfer(int, unsigned int, unsigned long long) {}
void CImporterBase::OnPacketTransferred(int, unsigned int, unsigned long long) {}

void CImporterBase::SetDestinationFolder(const char* folder) {
  destinationFolder = folder ? folder : "";
}

void CImporterBase::SetCreateFolder(const bool& create) { createFolder = create; }

int CImporterBase::SetKeywords(const std::vector<std::string>& list) {
  keywords = list;
  return static_cast<int>(keywords.size());
}

const char* CImporterBase::GetLastError() const {
  return lastError.empty() ? nullptr : lastError.c_str();
}

int CImporterBase::GetLastErrorCode() const { return lastErrorCode; }

void CImporterBase::SetLastError(int code, const char* format, ...) {
  lastErrorCode = code;
  // A null format is taken as a format that failed: the text stays empty.
  int length = -1;
  if (format != nullptr) {
    char scratch[256];
    va_list args;
    va_start(args, format);
    length = std::vsnprintf(scratch, sizeof scratch, format, args);
    va_end(args);
  }
  if (length < 0) length = -1;
  lastError.assign(static_cast<size_t>(length + 1), '\0');
  if (length > 0) {
    va_list args;
    va_start(args, format);
    std::vsnprintf(lastError.data(), lastError.size(), format, args);
    va_end(args);
  }
}

int CImporterBase::_importFile(const char* path, bool overwrite, CNOFChecksum* checksum,
                               const CUUID* folder, CUUID* uuid) {
  if (CanImport(path) == 0) {
    return OnFileLoaded(path) ? (ImportFileSkipped | ImportFileStop) : ImportFileSkipped;
  }
  if (!OnImport(path)) return ImportFileStop;
  lastError.clear();
  if (name.empty()) name = fileStem(path ? path : "");
  CNDBConstants::ValidatedName(name.data(), CNDBConstants::EValidate(0));
  if (loadFile(path) && doImport(path, overwrite, checksum, folder, uuid, false)) {
    return ImportFileDone;
  }
  return OnImportFailed(path) ? ImportFileFailed : (ImportFileFailed | ImportFileStop);
}

std::string CImporterBase::makeFileName(const std::string& folder, const std::string& file) {
  return JoinFileName(folder, file);
}

std::wstring CImporterBase::makeFileName(const std::wstring& folder, const std::wstring& file) {
  return JoinFileName(folder, file);
}

bool CImporterBase::initFileType(int type, const char* typeName) {
  fileType = type;
  fileTypeName = typeName ? typeName : "";
  return type != 0 && !fileTypeName.empty();
}

int CImporterBase::sizePixel(GLFormat format) const {
  switch (format) {
    case GL_COLOR_INDEX:
    case GL_RED:
    case GL_GREEN:
    case GL_BLUE:
    case GL_ALPHA:
    case GL_LUMINANCE:
      return 1;
    case GL_LUMINANCE_ALPHA:
      return 2;
    case GL_RGBA:
    case GL_BGRA:
      return 4;
    case GL_RGB16:
    case GL_RGB16F:
      return 6;
    case GL_RGBA16:
    case GL_RGBA16F:
      return 8;
    case GL_RGB32UI:
      return 12;
    case GL_RGBA32F:
    case GL_RGBA32UI:
      return 16;
    default:
      return 3;
  }
}
