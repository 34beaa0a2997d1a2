#include "image/image/ImageFormat.h"

#include <algorithm>
#include <bitset>

namespace nox::image {
namespace {

constexpr ImageFormat kChannelBits = 0x0000000Fu | 0x00E00000u;
constexpr ImageFormat kExtraChannelBits = 0x00E00000u;

bool has(ImageFormat word, unsigned bit) { return (word >> bit) & 1u; }

unsigned componentBytes(ImageFormat word) {
  if (has(word, 7)) return 1;
  if (has(word, 8)) return 2;
  if (has(word, 9)) return 3;
  if (has(word, 10)) return 4;
  return 0;
}

// Blocks along one side: none for an empty or negative side, at least one otherwise.
int64_t blocksAcross(int side) {
  if (side <= 0) return 0;
  return std::max<int64_t>((int64_t{side} + 3) / 4, 1);
}

}  // namespace

ImageFormat makeFormat(unsigned channels, int depth) {
  ImageFormat word = 32;
  switch (depth) {
    case 8: word = 160; break;
    case 16: word = 288; break;
    case 32: word = 1056; break;
    default: break;
  }
  switch (channels) {
    case 1: word |= 524289; break;
    case 2: word |= 1572867; break;
    case 3: word |= 7; break;
    case 4: word |= 15; break;
    default: break;
  }
  return word;
}

unsigned formatChannels(ImageFormat format) {
  return static_cast<unsigned>(std::bitset<32>(format & kChannelBits).count());
}

unsigned formatPixelSize(ImageFormat format) {
  const unsigned c = componentBytes(format);
  const unsigned n = formatChannels(format);
  if ((format & kExtraChannelBits) != kExtraChannelBits) return has(format, 16) ? (c + 1) * n : c * n;
  if (!has(format, 24)) return c * n;
  if (!has(format, 25)) return 0;
  return has(format, 3) ? 3 * c : 2 * c;
}

uint64_t formatImageSize(int width, int height, ImageFormat format) {
  if (!has(format, 18)) {
    return uint32_t{formatPixelSize(format)} * static_cast<uint32_t>(width) * static_cast<uint32_t>(height);
  }
  if (!isBlockCompressed(format)) return 0;
  const int64_t blockBytes = format == FormatDXT1 ? 8 : 16;
  return static_cast<uint32_t>(blocksAcross(width) * blocksAcross(height) * blockBytes);
}

}  // namespace nox::image
