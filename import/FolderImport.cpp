// CImporterBase: importing the entries of one disk folder that match a filter.

#include <cstdio>

#include "import/DirectorySearch.h"
#include "import/ImporterBase.h"
#include "util/Utf8.h"

unsigned long CImporterBase::ImportFolder(const char* path, const char* filter, bool overwrite) {
  DebugInfo(nox::util::Utf8ToWide(std::string("import from ") + (path ? path : " ") + " filter " +
                                  (filter ? filter : "*")));
  std::vector<std::wstring> patterns;
  if (parseFilter(filter, patterns) == 0) patterns.push_back(L"*.*");
  std::wstring folder = nox::util::Utf8ToWide(path ? path : "");
  unsigned long count = 0;
  // A pattern that stopped or failed does not keep the next one from running.
  for (const std::wstring& pattern : patterns) _importFolder(folder, pattern, count, overwrite);
  return count;
}

size_t CImporterBase::parseFilter(const char* filter, std::vector<std::wstring>& patterns) {
  if (filter == nullptr) return patterns.size();
  std::printf("parseFilter(%s)\n", filter);
  if (*filter == '\0') return patterns.size();
  const char* token = filter;
  for (;;) {
    const char* end = token;
    while (*end != '\0' && *end != ';') ++end;
    const int length = static_cast<int>(end - token);
    std::printf("found: (%d) <%*.*s>\n", length, length, length, token);
    patterns.push_back(nox::util::Utf8ToWide(std::string(token, end)));
    while (*end == ';') ++end;
    if (*end == '\0') return patterns.size();
    token = end;
  }
}

bool CImporterBase::_importFolder(std::wstring& folder, const std::wstring& pattern,
                                  unsigned long& count, bool overwrite) {
  DebugInfo(L"import files " + pattern + L" from " + folder);
  // An empty folder names no folder: the search cannot start.
  if (folder.empty()) return false;
  nox::import::DirectorySearch search;
  std::wstring entry;
  if (!search.First(makeFileName(folder, pattern), entry)) return false;

  // Entries are joined with '/', the separator that opens files here.
  std::string prefix = nox::util::WideToUtf8(folder);
  if (prefix.back() != '/' && prefix.back() != '\\') prefix += '/';
  bool clean = true;
  do {
    const std::string full = prefix + nox::util::WideToUtf8(entry);
    const int result = _importFile(full.c_str(), overwrite, nullptr, nullptr, nullptr);
    if (result & ImportFileDone) ++count;
    if (result & ~ImportFileDone) clean = false;
    if (result & ImportFileStop) break;
  } while (search.Next(entry));
  return clean;
}
