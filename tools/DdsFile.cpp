#include "tools/DdsFile.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace nox::tools {
namespace {

constexpr uint32_t kHeaderSize = 124;
constexpr uint32_t kFlagsCaps = 0x1, kFlagsHeight = 0x2, kFlagsWidth = 0x4;
constexpr uint32_t kFlagsPixelFormat = 0x1000, kFlagsMipCount = 0x20000, kFlagsLinearSize = 0x80000;
constexpr uint32_t kFourCC = 0x4;
constexpr uint32_t kCapsComplex = 0x8, kCapsTexture = 0x1000, kCapsMipmap = 0x400000;

void Put(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>(value >> (8 * i)));
}

// Turns the first `rows` pixel rows of a 4 by 4 colour block's index bytes upside down.
void FlipColourRows(unsigned char* block, int rows) {
  std::reverse(block + 4, block + 4 + rows);
}

// The same for the 3-bit alpha indices of a DXT5 alpha block, 12 bits a row.
void FlipAlphaRows(unsigned char* block, int rows) {
  uint64_t bits = 0;
  for (int i = 0; i < 6; ++i) bits |= uint64_t{block[2 + i]} << (8 * i);
  uint64_t flipped = bits;
  for (int r = 0; r < rows; ++r) {
    const uint64_t row = (bits >> (12 * r)) & 0xFFF;
    const int to = rows - 1 - r;
    flipped = (flipped & ~(uint64_t{0xFFF} << (12 * to))) | (row << (12 * to));
  }
  for (int i = 0; i < 6; ++i) block[2 + i] = static_cast<unsigned char>(flipped >> (8 * i));
}

// A level's blocks with block rows and the pixel rows inside each block turned around.
std::string FlipLevel(const Level& level, size_t blockBytes) {
  const int across = std::max(1, (level.size.cx + 3) / 4);
  const int down = std::max(1, (level.size.cy + 3) / 4);
  const int rows = std::min(4, std::max(1, level.size.cy));
  const size_t rowBytes = blockBytes * static_cast<size_t>(across);
  std::string out(level.blocks.size(), '\0');
  if (level.blocks.size() < rowBytes * static_cast<size_t>(down)) return level.blocks;
  for (int by = 0; by < down; ++by) {
    std::memcpy(&out[rowBytes * static_cast<size_t>(down - 1 - by)], &level.blocks[rowBytes * by], rowBytes);
  }
  for (size_t at = 0; at + blockBytes <= out.size(); at += blockBytes) {
    auto* block = reinterpret_cast<unsigned char*>(&out[at]);
    if (blockBytes == 16) {
      FlipAlphaRows(block, rows);
      FlipColourRows(block + 8, rows);
    } else {
      FlipColourRows(block, rows);
    }
  }
  return out;
}

}  // namespace

std::string DdsFile(const std::vector<Level>& levels, bool dxt1) {
  std::string out = "DDS ";
  if (levels.empty()) return out;
  const size_t blockBytes = dxt1 ? 8 : 16;
  const bool chain = levels.size() > 1;
  Put(out, kHeaderSize);
  Put(out, kFlagsCaps | kFlagsHeight | kFlagsWidth | kFlagsPixelFormat | kFlagsLinearSize |
               (chain ? kFlagsMipCount : 0));
  Put(out, static_cast<uint32_t>(levels[0].size.cy));
  Put(out, static_cast<uint32_t>(levels[0].size.cx));
  Put(out, static_cast<uint32_t>(levels[0].blocks.size()));
  Put(out, 0);  // depth
  Put(out, static_cast<uint32_t>(levels.size()));
  for (int i = 0; i < 11; ++i) Put(out, 0);
  Put(out, 32);  // pixel format size
  Put(out, kFourCC);
  out += dxt1 ? "DXT1" : "DXT5";
  for (int i = 0; i < 5; ++i) Put(out, 0);
  Put(out, kCapsTexture | (chain ? kCapsComplex | kCapsMipmap : 0));
  for (int i = 0; i < 4; ++i) Put(out, 0);
  for (const Level& level : levels) out += FlipLevel(level, blockBytes);
  return out;
}

}  // namespace nox::tools
