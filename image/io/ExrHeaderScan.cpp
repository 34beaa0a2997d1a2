#include "image/io/ExrHeaderScan.h"

#include <cstring>

namespace nox::image::io {
namespace {

constexpr uint8_t kMagic[4] = {0x76, 0x2F, 0x31, 0x01};
constexpr size_t kHeaderStart = 8;  // magic number and version field

int32_t readLe32(const uint8_t* p) {
  return static_cast<int32_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24);
}

// The zero-terminated text at `at`; advances past it. Null when it runs past the end.
const char* takeText(const uint8_t* data, size_t size, size_t& at) {
  const void* end = at < size ? std::memchr(data + at, 0, size - at) : nullptr;
  if (end == nullptr) return nullptr;
  const char* text = reinterpret_cast<const char*>(data + at);
  at = static_cast<size_t>(static_cast<const uint8_t*>(end) - data) + 1;
  return text;
}

}  // namespace

ExrHeaderScan scanExrHeader(const uint8_t* data, size_t size) {
  ExrHeaderScan scan;
  if (data == nullptr || size < sizeof(kMagic) || std::memcmp(data, kMagic, sizeof(kMagic)) != 0) return scan;
  scan.magic = true;
  size_t at = kHeaderStart;
  for (;;) {
    const char* name = takeText(data, size, at);
    if (name == nullptr) return scan;
    if (*name == '\0') {
      scan.complete = true;
      return scan;
    }
    const char* type = takeText(data, size, at);
    if (type == nullptr || size - at < 4) return scan;
    const int32_t length = readLe32(data + at);
    at += 4;
    if (length < 0 || size - at < static_cast<size_t>(length)) return scan;
    if (std::strcmp(name, "dataWindow") == 0 && std::strcmp(type, "box2i") == 0 && length == 16) {
      const uint8_t* v = data + at;
      scan.dataWindow = ExrWindow{readLe32(v), readLe32(v + 4), readLe32(v + 8), readLe32(v + 12)};
    }
    at += static_cast<size_t>(length);
  }
}

bool exrWindowExceeds(const ExrWindow& window, uint64_t limit) {
  const int64_t width = int64_t{window.maxX} - window.minX + 1;
  const int64_t height = int64_t{window.maxY} - window.minY + 1;
  return width > 0 && height > 0 && static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > limit;
}

}  // namespace nox::image::io
