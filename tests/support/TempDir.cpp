#include "tests/support/TempDir.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace nox::test {

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  const char* base = std::getenv("NOX_TEST_TMP");
  path_ = std::filesystem::path(base ? base : std::filesystem::temp_directory_path()) /
          ("nox-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string PseudoRandomBytes(size_t size, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string out(size, '\0');
  for (auto& c : out) c = static_cast<char>(rng());
  return out;
}

}  // namespace nox::test
