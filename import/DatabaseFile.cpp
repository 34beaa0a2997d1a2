// CImporterBase: where an item becomes a database file. OpenDBFile creates, reopens or
// refuses the file; around it stand the type checks, giving up a half-written file and
// writing single tokens with their values.

#include <string>

#include "import/ImporterBase.h"

namespace {

constexpr unsigned int kOpenForRewrite = 0x8000;
constexpr unsigned int kCreateMask = 0xFFF;
constexpr int kImageFileType = 49;
constexpr int kClipFileType = 248;
constexpr int kImportFailedCode = 11;

// An identifier counts as given when it is there and not null.
bool IsGiven(const CUUID* id) { return id != nullptr && !id->IsNull(); }

const char* TypeMismatchText(int fileType) {
  switch (fileType) {
    case kImageFileType:
      return "DB File is not of type IMAGE\n";
    case kClipFileType:
      return "DB File is not of type VIDEOCLIP\n";
    default:
      return "DB File is not of required type\n";
  }
}

template <typename T>
void WriteTokenValue(CNDBFile& file, TOK::FileToken token, const T& value) {
  file << token << value << TOK::Closing(token);
}

}  // namespace

bool CImporterBase::OpenDBFile(CNDBFile& file, bool overwrite, CNOFChecksum* checksum,
                               const CUUID* folder, bool createWithUuid, CUUID* uuid,
                               int largeIconWidth, int largeIconHeight) {
  if (session == nullptr || !session->IsValid() || fileType == 0) return false;
  if (!session->ExistFileType(fileType) &&
      (fileTypeName.empty() || !session->CreateFileType(fileType, fileTypeName.c_str(), false))) {
    return false;
  }

  const auto fullNameOf = [this](const std::string& candidate) {
    return destinationFolder.empty() ? candidate : makeFileName(destinationFolder, candidate);
  };
  std::string fullName = fullNameOf(name);
  // Only a file of the same type takes a name; the search has no upper limit.
  for (unsigned long counter = 0;
       !overwrite && !session->GetUuid(fullName.c_str(), fileType, nullptr).IsNull();) {
    fullName = fullNameOf(name + "(" + std::to_string(++counter) + ")");
  }

  for (const std::string& keyword : keywords) file.InsertKeyword(keyword.c_str(), 0);
  file.AddAttribute(CNDBFile::UNIT_ICON_SMALL, nullptr);
  file.AddAttribute(CNDBFile::UNIT_ICON_DEFAULT, nullptr);
  const tagSIZE largeIcon{largeIconWidth, largeIconHeight};
  file.AddAttribute(CNDBFile::UNIT_ICON_LARGE, &largeIcon);
  file.AddAttribute(CNDBFile::UNIT_DATA, nullptr);
  if (!AddSpecialUnits(file)) return false;
  file.AddAttribute(CNDBFile::UNIT_VERSION, nullptr);
  const int units = file.GetFileUnitCount();

  const bool idGiven = IsGiven(uuid);
  const bool folderGiven = IsGiven(folder);
  // Creating in an explicit folder lets the database choose the identifier, even when one
  // was given.
  const auto create = [&](const CUUID* id) {
    if (!createFolder && folderGiven) {
      return file.CreateEx(CUUID(), *folder, fullName.c_str(), fileType, units, kCreateMask, false,
                           checksum, 0);
    }
    return id ? file.Create(*id, fullName.c_str(), fileType, units, kCreateMask, checksum, 0)
              : file.Create(fullName.c_str(), fileType, units, kCreateMask, checksum, 0);
  };

  // First attempt, in the session's current folder.
  int result = 0;
  if (idGiven && (overwrite || createWithUuid)) {
    result = create(uuid);
  } else if (overwrite) {
    result = file.Open(fullName.c_str(), kOpenForRewrite, units, fileType, checksum, 0);
  } else if (idGiven) {
    result = file.Open(*uuid, kOpenForRewrite, units, checksum, 0);
  }
  if (result == CNDBConstants::eWrongType) return false;

  CUUID saved;
  if (folderGiven) {
    saved = session->GetCurrentFolder();
    session->SetCurrentFolder(*folder);
  }
  const bool createNow =
      idGiven || overwrite ? result == CNDBConstants::eFileNotFound : result == 0;
  if (createNow) {
    // An identifier that was not found is not reused: the new file gets its own.
    result = create(nullptr);
  } else if (file.GetType() != fileType) {
    // The session stays in the requested folder on this exit; callers rely on the
    // behaviour as it has always been.
    SetLastError(kImportFailedCode, TypeMismatchText(fileType));
    return false;
  }
  if (folderGiven) session->SetCurrentFolder(saved);
  if (result != 0) {
    SetLastError(result, session->GetLastErrorStr());
    return false;
  }
  if (uuid != nullptr) *uuid = file.GetUuid();
  return true;
}

bool CImporterBase::isCorrectType(const CUUID* uuid) const {
  if (!IsGiven(uuid) || session == nullptr || fileType == 0) return true;
  const unsigned short type = session->GetTypeEx(*uuid);
  if (type == 0 || type == fileType) return true;
  session->SetLastError(CNDBConstants::eWrongType);
  return false;
}

bool CImporterBase::DismissCorrupt(CNDBFile& file) {
  if (file.IsNew()) {
    CUUID id;
    file.Close(&id, false);
    if (!id.IsNull()) session->DeleteFileA(&id, nullptr, CNDBConstants::eDeleteRefFlags(0));
  } else {
    file.DismissCorrupt();
  }
  SetLastError(kImportFailedCode, "Caught ImportFailed\n");
  return false;
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, const tagSIZE& value) {
  file << token << static_cast<long long>(value.cx) << static_cast<long long>(value.cy)
       << TOK::Closing(token);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, const std::string& value) {
  if (!value.empty()) WriteTokenValue(file, token, value);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, short value) {
  WriteTokenValue(file, token, value);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, int value) {
  WriteTokenValue(file, token, value);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, double value) {
  WriteTokenValue(file, token, value);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, unsigned long long value) {
  WriteTokenValue(file, token, value);
}

void CImporterBase::_writeT(CNDBFile& file, TOK::FileToken token, bool value) {
  WriteTokenValue(file, token, value);
}
