#include "import/DirectorySearch.h"

#include <dirent.h>

#include <algorithm>
#include <memory>

#include "util/Utf8.h"

namespace nox::import {
namespace {

// Case folding for names: ASCII only, since the folder walk has no locale to go by.
wchar_t Fold(wchar_t c) { return c >= L'A' && c <= L'Z' ? c - L'A' + L'a' : c; }

}  // namespace

bool WildcardMatch(const std::wstring& pattern, const std::wstring& name) {
  if (pattern == L"*.*") return true;
  // Greedy match that backtracks to the last '*' seen.
  size_t p = 0, n = 0;
  size_t starP = std::wstring::npos, starN = 0;
  while (n < name.size()) {
    if (p < pattern.size() && pattern[p] == L'*') {
      starP = p++;
      starN = n;
    } else if (p < pattern.size() && (pattern[p] == L'?' || Fold(pattern[p]) == Fold(name[n]))) {
      ++p;
      ++n;
    } else if (starP != std::wstring::npos) {
      p = starP + 1;
      n = ++starN;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == L'*') ++p;
  return p == pattern.size();
}

bool DirectorySearch::First(const std::wstring& query, std::wstring& name) {
  matches_.clear();
  next_ = 0;
  const size_t slash = query.rfind(L'/');
  const std::wstring folder = slash == std::wstring::npos ? L"."
                              : slash == 0                ? L"/"
                                                          : query.substr(0, slash);
  const std::wstring pattern = slash == std::wstring::npos ? query : query.substr(slash + 1);

  std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(util::WideToUtf8(folder).c_str()), closedir);
  if (!dir) return false;
  std::vector<std::string> entries;
  while (const dirent* entry = readdir(dir.get())) {
    const std::string entryName = entry->d_name;
    if (entryName != "." && entryName != "..") entries.push_back(entryName);
  }
  std::sort(entries.begin(), entries.end());
  entries.insert(entries.begin(), {".", ".."});
  for (const std::string& entry : entries) {
    std::wstring wide = util::Utf8ToWide(entry);
    if (WildcardMatch(pattern, wide)) matches_.push_back(std::move(wide));
  }
  return Next(name);
}

bool DirectorySearch::Next(std::wstring& name) {
  if (next_ >= matches_.size()) return false;
  name = matches_[next_++];
  return true;
}

}  // namespace nox::import
