// CImportManager: choosing between the image and the clip importer.

#include "import/ImportManager.h"

namespace {

constexpr int kManagerType = 0;
constexpr int kUnknownTypeCode = 12;

// doImport is protected in the base; the manager reaches a member's through this.
struct MemberAccess : CImporterBase {
  static bool DoImport(CImporterBase& importer, const char* path, bool overwrite,
                       CNOFChecksum* checksum, const CUUID* folder, CUUID* uuid) {
    return (importer.*&MemberAccess::doImport)(path, overwrite, checksum, folder, uuid, false);
  }
};

}  // namespace

CImportManager::CImportManager(CNoxDbI& session, unsigned long flags)
    : CImporterBase(session), imageImporter(session, flags, 0), clipImporter(session) {
  commonInit();
}

CImportManager::CImportManager(unsigned long flags)
    : CImporterBase(), imageImporter(flags, 0), clipImporter() {
  commonInit();
}

CImportManager::CImportManager(const CImportManager& other) = default;
CImportManager& CImportManager::operator=(const CImportManager& other) = default;
CImportManager::~CImportManager() = default;

void CImportManager::commonInit() { currentImporter = nullptr; }

int CImportManager::Type() const { return kManagerType; }

int CImportManager::CanImport(const char* path) {
  return GetImporter(path) == nullptr ? 0 : currentImporter->Type();
}

CImporterBase* CImportManager::GetImporter(const char* path) {
  CImporterBase* const previous = currentImporter;
  currentImporter = nullptr;
  // Virtual on purpose: a derived manager decides whether the members are asked at all.
  if (CanImport(path) != 0) {
    if (clipImporter.CanImport(path) != 0) {
      currentImporter = &clipImporter;
    } else if (imageImporter.CanImport(path) != 0) {
      currentImporter = &imageImporter;
    }
    if (currentImporter != nullptr && currentImporter != previous) {
      currentImporter->SetDestinationFolder(destinationFolder.c_str());
      currentImporter->SetKeywords(keywords);
    }
  }
  if (currentImporter == nullptr) SetLastError(kUnknownTypeCode, "Unknown file type.");
  return currentImporter;
}

int CImportManager::Import(const char* path, bool overwrite, CNOFChecksum* checksum,
                           const CUUID* folder, CUUID* uuid) {
  int type = 0;
  if (GetImporter(path) != nullptr) {
    CImporterBase* const again = GetImporter(path);
    // A file that changed between the two choices is no longer taken.
    type = again != nullptr ? again->Type() : 0;
  }
  if (type != imageImporter.Type() && type != clipImporter.Type()) return 0;
  const CUUID destination = folder != nullptr ? *folder : CUUID();
  const bool done = type == imageImporter.Type()
                        ? imageImporter.Import(path, overwrite, checksum, destination, uuid)
                        : clipImporter.Import(path, overwrite, checksum, destination, uuid);
  return done ? 1 : 0;
}

bool CImportManager::doImport(const char* path, bool overwrite, CNOFChecksum* checksum,
                              const CUUID* folder, CUUID* uuid, bool) {
  if (currentImporter == nullptr) return false;
  const bool done = MemberAccess::DoImport(*currentImporter, path, overwrite, checksum, folder, uuid);
  // The member's text is the format: a '%' in it is read as a conversion, as it always was.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  SetLastError(currentImporter->GetLastErrorCode(), currentImporter->GetLastError());
#pragma GCC diagnostic pop
  return done;
}

int CSelectingImportManager::CanImport(const char* path) {
  if (clipImporter.CanImport(path) != 0) return clipImporter.Type();
  return imageImporter.CanImport(path) != 0 ? imageImporter.Type() : 0;
}
