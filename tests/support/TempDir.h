#pragma once
// A fresh folder for one test, removed with everything in it when the test ends.

#include <filesystem>
#include <string>

namespace nox::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // A path inside the folder.
  std::string File(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// Writes bytes to a file, replacing it.
void WriteFile(const std::string& path, const std::string& bytes);
// Reads a whole file; empty when it cannot be read.
std::string ReadFile(const std::string& path);
// Repeatable bytes that do not compress well.
std::string PseudoRandomBytes(size_t size, uint32_t seed);

}  // namespace nox::test
