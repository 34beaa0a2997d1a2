#include "texture/AlphaBlock.h"

#include "texture/Block.h"

namespace nox::texture {

void encodeAlphaBlock(uint8_t* dest, const uint8_t* block, int channel) {
  int mx = block[channel];
  int mn = mx;
  for (int i = 1; i < kBlockPixels; ++i) {
    const int v = block[i * 4 + channel];
    mx = v > mx ? v : mx;
    mn = v < mn ? v : mn;
  }
  dest[0] = static_cast<uint8_t>(mx);
  dest[1] = static_cast<uint8_t>(mn);

  const int dist = mx - mn;
  const int dist2 = dist * 2;
  const int dist4 = dist * 4;
  const int bias = 7 * mn - (dist >> 1);
  uint64_t bits = 0;
  for (int i = 0; i < kBlockPixels; ++i) {
    int a = 7 * block[i * 4 + channel] - bias;
    int ind = 0;
    if (a > dist4) {
      ind += 4;
      a -= dist4;
    }
    if (a > dist2) {
      ind += 2;
      a -= dist2;
    }
    if (a > dist) ind += 1;
    // Linear position 0..7 from the minimum up to the DXT5 index, where 0 and 1 are the ends.
    ind = -ind & 7;
    ind ^= ind < 2 ? 1 : 0;
    bits |= static_cast<uint64_t>(ind) << (3 * i);
  }
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
