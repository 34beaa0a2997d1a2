// The exported entry points: argument checks, wide conversions, and importers on the stack.

#include "import/NoxDbImport.h"

#include "import/ImageImporter.h"
#include "import/ImportManager.h"
#include "import/VideoClipImporter.h"
#include "util/Utf8.h"

namespace {

bool Usable(const CNoxDbI* session, const void* path) {
  return session != nullptr && session->IsValid() && path != nullptr;
}

std::string Narrow(const wchar_t* text) { return nox::util::WideToUtf8(text != nullptr ? text : L""); }

}  // namespace

int ImportClip(CNoxDbI* session, const char* path, bool overwrite) {
  if (!Usable(session, path)) return -1;
  CVideoClipImporter importer(*session);
  return importer.Import(path, overwrite, nullptr, CUUID(), nullptr) ? 0 : -1;
}

int ImportClipW(CNoxDbI* session, const wchar_t* path, bool overwrite) {
  if (!Usable(session, path)) return -1;
  return ImportClip(session, Narrow(path).c_str(), overwrite);
}

int ImportImage(CNoxDbI* session, const char* path, unsigned short flags, bool overwrite) {
  if (!Usable(session, path)) return -1;
  CImageImporter importer(*session, flags, 0);
  return importer.Import(path, overwrite, nullptr, CUUID(), nullptr) ? 0 : -1;
}

int ImportImageW(CNoxDbI* session, const wchar_t* path, unsigned short flags, bool overwrite) {
  if (!Usable(session, path)) return -1;
  return ImportImage(session, Narrow(path).c_str(), flags, overwrite);
}

int ImportFolder(CNoxDbI* session, const char* path, const char* filter, unsigned short flags,
                 bool overwrite) {
  if (!Usable(session, path)) return -1;
  CImportManager manager(*session, flags);
  return static_cast<int>(manager.ImportFolder(path, filter, overwrite));
}

int ImportFolderW(CNoxDbI* session, const wchar_t* path, const wchar_t* filter,
                  unsigned short flags, bool overwrite) {
  if (!Usable(session, path)) return -1;
  return ImportFolder(session, Narrow(path).c_str(), Narrow(filter != nullptr ? filter : L"*.*").c_str(),
                      flags, overwrite);
}

int ImporterCanImport(const char* path) {
  CImportManager manager(0);
  return manager.CanImport(path);
}

int ImporterCanImportW(const wchar_t* path) { return ImporterCanImport(Narrow(path).c_str()); }
