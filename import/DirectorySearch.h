#pragma once
// A search for the names in one folder that match a wildcard pattern, behaving as the
// directory search of the platform the importers were first written for: one level, no
// attribute filter, the entries "." and ".." first when they match, then the other
// entries in byte order of their names, so that walks are repeatable.

#include <string>
#include <vector>

namespace nox::import {

// True when `name` matches `pattern`: '*' stands for any run of characters, '?' for one,
// ASCII letters match either case, and "*.*" matches every name, with or without a dot.
bool WildcardMatch(const std::wstring& pattern, const std::wstring& name);

class DirectorySearch {
 public:
  // Starts a search on `query`, a folder and a pattern joined by '/' (a query without '/'
  // searches the working folder). False when the folder cannot be read or nothing
  // matches; otherwise `name` receives the first match.
  bool First(const std::wstring& query, std::wstring& name);
  // The next match; false when there is none.
  bool Next(std::wstring& name);

 private:
  std::vector<std::wstring> matches_;
  size_t next_ = 0;
};

}  // namespace nox::import
