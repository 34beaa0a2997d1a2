#include "texture/Block.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace nox::texture {
namespace {

// Offsets inside the block for the number of columns or rows that remain.
constexpr int kRepeat[5][4] = {
    {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 1, 0, 1}, {0, 1, 2, 0}, {0, 1, 2, 3}};

}  // namespace

void extractBlock(const uint8_t* pixels, int x, int y, int width, int height, uint8_t* block) {
  if (width - x >= 4 && height - y >= 4) {
    // A whole block: four rows of four pixels, red and blue swapped within each pixel.
    for (int row = 0; row < 4; ++row) {
      uint32_t line[4];
      std::memcpy(line, pixels + (static_cast<size_t>(y + row) * width + x) * 4, sizeof(line));
      for (uint32_t& v : line) v = (v & 0xFF00FF00u) | (v >> 16 & 0xFFu) | (v & 0xFFu) << 16;
      std::memcpy(block + row * 16, line, sizeof(line));
    }
    return;
  }
  const int* columns = kRepeat[std::min(width - x, 4)];
  const int* rows = kRepeat[std::min(height - y, 4)];
  for (int row = 0; row < 4; ++row) {
    const uint8_t* line = pixels + (static_cast<size_t>(y + rows[row]) * width + x) * 4;
    for (int column = 0; column < 4; ++column) {
      const uint8_t* p = line + columns[column] * 4;
      block[kBlue] = p[2];
      block[kGreen] = p[1];
      block[kRed] = p[0];
      block[kAlpha] = p[3];
      block += 4;
    }
  }
}

}  // namespace nox::texture
