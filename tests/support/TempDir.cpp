#include "tests/support/TempDir.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace nox::test {

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  const char* base = std::getenv("NOX_TEST_TMP");
  const std::filesystem::path root = base ? base : std::filesystem::temp_directory_path();
  path_ = root / ("nox-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(path_);
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string PseudoRandomBytes(size_t size, uint32_t seed) {
  std::string out(size, '\0');
  uint32_t x = seed * 2654435761u + 1;
  for (auto& c : out) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    c = static_cast<char>(x);
  }
  return out;
}

}  // namespace nox::test
