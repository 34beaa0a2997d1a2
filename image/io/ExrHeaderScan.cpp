#include "image/io/ExrHeaderScan.h"

#include <algorithm>
#include <cstring>

namespace nox::image::io {
namespace {

constexpr uint8_t kMagic[4] = {0x76, 0x2F, 0x31, 0x01};
constexpr size_t kHeaderStart = 8;  // magic number and version field
constexpr uint32_t kTiledFlag = 0x200;
constexpr uint32_t kMultipartFlag = 0x1000;

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

// The library reads typed values by their own layout, whatever size the attribute names, and
// allocates by sizes inside some of them: a value must fill its attribute exactly, and every
// size inside it must lie within it, or the library and this scan part ways.
bool valueFits(const char* type, const uint8_t* v, size_t length) {
  static constexpr struct {
    const char* type;
    size_t size;
  } kFixed[] = {{"box2i", 16}, {"box2f", 16}, {"v2i", 8},        {"v2f", 8},          {"v2d", 16},
                {"v3i", 12},   {"v3f", 12},   {"v3d", 24},       {"m33f", 36},        {"m44f", 64},
                {"m33d", 72},  {"m44d", 128}, {"int", 4},        {"float", 4},        {"double", 8},
                {"rational", 8}, {"timecode", 8}, {"keycode", 28}, {"chromaticities", 32},
                {"compression", 1}, {"lineOrder", 1}, {"envmap", 1}, {"deepImageState", 1},
                {"tiledesc", 9}};
  for (const auto& fixed : kFixed) {
    if (std::strcmp(type, fixed.type) == 0) return length == fixed.size;
  }
  if (std::strcmp(type, "preview") == 0) {
    // Width and height, then four bytes a pixel.
    if (length < 8) return false;
    const uint64_t pixels = uint64_t{static_cast<uint32_t>(readLe32(v))} * static_cast<uint32_t>(readLe32(v + 4));
    return pixels == (length - 8) / 4 && length % 4 == 0;
  }
  size_t at = 0;
  if (std::strcmp(type, "chlist") == 0) {
    // Channels of a name and 16 bytes each, up to an empty name that ends the value.
    for (;;) {
      const char* name = takeText(v, length, at);
      if (name == nullptr) return false;
      if (*name == '\0') return at == length;
      if (length - at < 16) return false;
      at += 16;
    }
  }
  if (std::strcmp(type, "stringvector") == 0) {
    while (at < length) {
      if (length - at < 4) return false;
      const int32_t size = readLe32(v + at);
      at += 4;
      if (size < 0 || length - at < static_cast<size_t>(size)) return false;
      at += static_cast<size_t>(size);
    }
  }
  return true;
}

}  // namespace

ExrHeaderScan scanExrHeader(const uint8_t* data, size_t size) {
  ExrHeaderScan scan;
  if (data == nullptr || size < kHeaderStart || std::memcmp(data, kMagic, sizeof(kMagic)) != 0) {
    scan.magic = data != nullptr && size >= sizeof(kMagic) && std::memcmp(data, kMagic, sizeof(kMagic)) == 0;
    return scan;
  }
  scan.magic = true;
  const uint32_t flags = static_cast<uint32_t>(readLe32(data + 4));
  const bool multipart = (flags & kMultipartFlag) != 0;
  scan.tiled = (flags & kTiledFlag) != 0;
  size_t at = kHeaderStart;
  for (int header = 0;; ++header) {
    // A multi-part file ends its list of headers with an empty one.
    if (multipart && header > 0) {
      if (at >= size) return scan;
      if (data[at] == 0) break;
    }
    for (;;) {
      const char* name = takeText(data, size, at);
      if (name == nullptr) return scan;
      if (*name == '\0') break;
      const char* type = takeText(data, size, at);
      if (type == nullptr || size - at < 4) return scan;
      const int32_t length = readLe32(data + at);
      at += 4;
      if (length < 0 || size - at < static_cast<size_t>(length)) return scan;
      const uint8_t* v = data + at;
      if (!valueFits(type, v, static_cast<size_t>(length))) return scan;
      if (header == 0 && std::strcmp(name, "dataWindow") == 0 && std::strcmp(type, "box2i") == 0 && length == 16)
        scan.dataWindow = ExrWindow{readLe32(v), readLe32(v + 4), readLe32(v + 8), readLe32(v + 12)};
      if (header == 0 && std::strcmp(name, "compression") == 0 && length == 1) scan.compression = v[0];
      if (header == 0 && std::strcmp(type, "tiledesc") == 0) scan.tiled = true;
      at += static_cast<size_t>(length);
    }
    if (!multipart) break;
  }
  scan.complete = true;
  scan.headerEnd = multipart ? at + 1 : at;
  return scan;
}

uint64_t exrMinimumPixelBytes(const ExrWindow& window, uint8_t compression, bool tiled) {
  const int64_t width = int64_t{window.maxX} - window.minX + 1;
  const int64_t height = int64_t{window.maxY} - window.minY + 1;
  if (width < 1 || height < 1) return 0;
  // Scanlines per chunk and the best ratio of each compression, by its number: none, RLE,
  // ZIPS, ZIP, PIZ, PXR24, B44, B44A, DWAA, DWAB. DWA packs the mean of each 8 x 8 block
  // with zlib, hence 64 x 1032.
  static constexpr uint64_t kLinesPerChunk[10] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256};
  static constexpr uint64_t kBestRatio[10] = {1, 64, 1032, 1032, 2048, 1032, 10, 10, 66048, 66048};
  if (compression >= 10) return 0;  // the library refuses it itself
  const auto lines = static_cast<uint64_t>(height);
  const uint64_t table = tiled ? 0 : 8 * ((lines + kLinesPerChunk[compression] - 1) / kLinesPerChunk[compression]);
  const uint64_t pixels = static_cast<uint64_t>(width) * lines;
  return std::max(table, 2 * pixels / kBestRatio[compression]);
}

bool exrWindowExceeds(const ExrWindow& window, uint64_t limit) {
  const int64_t width = int64_t{window.maxX} - window.minX + 1;
  const int64_t height = int64_t{window.maxY} - window.minY + 1;
  return width > 0 && height > 0 && static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > limit;
}

}  // namespace nox::image::io
