#include "texture/BlockDecoder.h"

#include "texture/Block.h"
#include "texture/ColourBlock.h"

namespace nox::texture {
namespace {

// RGBA byte positions of the output pixels.
constexpr int kOutRed = 0;
constexpr int kOutGreen = 1;
constexpr int kOutBlue = 2;
constexpr int kOutAlpha = 3;

void decodeColour(const uint8_t* block, int type, uint8_t* rgba) {
  const auto c0 = static_cast<uint16_t>(block[0] | block[1] << 8);
  const auto c1 = static_cast<uint16_t>(block[2] | block[3] << 8);
  const uint32_t mask = static_cast<uint32_t>(block[4]) | static_cast<uint32_t>(block[5]) << 8 |
                        static_cast<uint32_t>(block[6]) << 16 |
                        static_cast<uint32_t>(block[7]) << 24;
  const bool fourColour = c0 > c1 || type == 3;
  const Palette palette = expandPalette(c0, c1, fourColour);
  for (int i = 0; i < kBlockPixels; ++i) {
    const int index = static_cast<int>((mask >> (2 * i)) & 3);
    uint8_t* out = rgba + i * 4;
    out[kOutRed] = static_cast<uint8_t>(palette.colour[index][kRed]);
    out[kOutGreen] = static_cast<uint8_t>(palette.colour[index][kGreen]);
    out[kOutBlue] = static_cast<uint8_t>(palette.colour[index][kBlue]);
    if (type == 1) out[kOutAlpha] = !fourColour && index == 3 ? 0 : 255;
  }
}

// The interpolated block of DXT5 alpha into byte `channel` of each output pixel.
void decodeInterpolated(const uint8_t* block, uint8_t* rgba, int channel) {
  const int a0 = block[0];
  const int a1 = block[1];
  int values[8] = {a0, a1};
  if (a0 > a1) {
    for (int i = 2; i < 8; ++i) values[i] = ((8 - i) * a0 + (i - 1) * a1) / 7;
  } else {
    for (int i = 2; i < 6; ++i) values[i] = ((6 - i) * a0 + (i - 1) * a1) / 5;
    values[6] = 0;
    values[7] = 255;
  }
  uint64_t bits = 0;
  for (int k = 0; k < 6; ++k) bits |= static_cast<uint64_t>(block[2 + k]) << (8 * k);
  for (int i = 0; i < kBlockPixels; ++i) {
    rgba[i * 4 + channel] = static_cast<uint8_t>(values[(bits >> (3 * i)) & 7]);
  }
}

void decodeExplicitAlpha(const uint8_t* block, uint8_t* rgba) {
  for (int i = 0; i < kBlockPixels; ++i) {
    const int v = (block[i / 2] >> (4 * (i & 1))) & 15;
    rgba[i * 4 + kOutAlpha] = static_cast<uint8_t>(v * 17);
  }
}

}  // namespace

bool decodeBlock(const uint8_t* block, int type, uint8_t* rgba) {
  switch (type) {
    case 1:
      decodeColour(block, type, rgba);
      return true;
    case 2:
      decodeExplicitAlpha(block, rgba);
      decodeColour(block + 8, type, rgba);
      return true;
    case 3:
      decodeInterpolated(block, rgba, kOutAlpha);
      decodeColour(block + 8, type, rgba);
      return true;
    case 5:
      decodeInterpolated(block, rgba, kOutRed);
      return true;
    case 6:
      decodeInterpolated(block, rgba, kOutGreen);
      decodeInterpolated(block + 8, rgba, kOutRed);
      return true;
    default:
      return false;
  }
}

}  // namespace nox::texture
