#include "texture/AlphaBlock.h"

#include "texture/Block.h"

namespace nox::texture {

void encodeAlphaBlock(uint8_t* dest, const uint8_t* block, int channel) {
  // Plain loops without branches over 16-bit arrays of 16, which the compiler vectorises.
  int16_t values[kBlockPixels];
  for (int i = 0; i < kBlockPixels; ++i) values[i] = block[i * 4 + channel];
  int16_t mx = values[0];
  int16_t mn = mx;
  for (int i = 1; i < kBlockPixels; ++i) {
    mx = values[i] > mx ? values[i] : mx;
    mn = values[i] < mn ? values[i] : mn;
  }
  dest[0] = static_cast<uint8_t>(mx);
  dest[1] = static_cast<uint8_t>(mn);

  // All of it fits 16 bits: 7 * 255 at the most.
  const auto dist = static_cast<int16_t>(mx - mn);
  const auto dist2 = static_cast<int16_t>(dist * 2);
  const auto dist4 = static_cast<int16_t>(dist * 4);
  const auto bias = static_cast<int16_t>(7 * mn - (dist >> 1));
  int16_t indices[kBlockPixels];
  for (int i = 0; i < kBlockPixels; ++i) {
    auto a = static_cast<int16_t>(7 * values[i] - bias);
    const int16_t four = a > dist4 ? 4 : 0;
    a = static_cast<int16_t>(a - (a > dist4 ? dist4 : 0));
    const int16_t two = a > dist2 ? 2 : 0;
    a = static_cast<int16_t>(a - (a > dist2 ? dist2 : 0));
    const auto ind = static_cast<int16_t>(four + two + (a > dist ? 1 : 0));
    // Linear position 0..7 from the minimum up to the DXT5 index, where 0 and 1 are the ends.
    const auto index = static_cast<int16_t>(-ind & 7);
    indices[i] = static_cast<int16_t>(index ^ (index < 2 ? 1 : 0));
  }
  uint64_t bits = 0;
  for (int i = 0; i < kBlockPixels; ++i) bits |= static_cast<uint64_t>(indices[i]) << (3 * i);
  for (int k = 0; k < 6; ++k) dest[2 + k] = static_cast<uint8_t>(bits >> (8 * k));
}

void encodeDXT3Alpha(uint8_t* dest, const uint8_t* block) {
  for (int k = 0; k < 8; ++k) {
    const int low = block[(2 * k) * 4 + kAlpha];
    const int high = block[(2 * k + 1) * 4 + kAlpha];
    dest[k] = static_cast<uint8_t>((high & 0xF0) | (low >> 4));
  }
}

}  // namespace nox::texture
