#include "texture/AlphaBlock.h"

#include <emmintrin.h>
#include <cstring>

#include "texture/Block.h"

namespace nox::texture {

void encodeAlphaBlockScalar(uint8_t* dest, const uint8_t* block, int channel) {
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

void encodeAlphaBlock(uint8_t* dest, const uint8_t* block, int channel) {
  // The channel's 16 values as 16-bit lanes, pixels 0 to 7 and 8 to 15.
  const __m128i shift = _mm_cvtsi32_si128(8 * channel);
  const __m128i byte = _mm_set1_epi32(255);
  __m128i words[4];
  for (int k = 0; k < 4; ++k) {
    const __m128i pixels = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 16 * k));
    words[k] = _mm_and_si128(_mm_srl_epi32(pixels, shift), byte);
  }
  const __m128i low = _mm_packs_epi32(words[0], words[1]);
  const __m128i high = _mm_packs_epi32(words[2], words[3]);
  __m128i mx = _mm_max_epi16(low, high);
  __m128i mn = _mm_min_epi16(low, high);
  mx = _mm_max_epi16(mx, _mm_shuffle_epi32(mx, 0x4E));
  mn = _mm_min_epi16(mn, _mm_shuffle_epi32(mn, 0x4E));
  mx = _mm_max_epi16(mx, _mm_shuffle_epi32(mx, 0xB1));
  mn = _mm_min_epi16(mn, _mm_shuffle_epi32(mn, 0xB1));
  mx = _mm_max_epi16(mx, _mm_srli_epi32(mx, 16));
  mn = _mm_min_epi16(mn, _mm_srli_epi32(mn, 16));
  const int top = _mm_cvtsi128_si32(mx) & 0xFFFF;
  const int bottom = _mm_cvtsi128_si32(mn) & 0xFFFF;
  dest[0] = static_cast<uint8_t>(top);
  dest[1] = static_cast<uint8_t>(bottom);

  // As in the scalar encoder, with comparisons as lane masks.
  const int dist = top - bottom;
  const __m128i dist1 = _mm_set1_epi16(static_cast<int16_t>(dist));
  const __m128i dist2 = _mm_set1_epi16(static_cast<int16_t>(dist * 2));
  const __m128i dist4 = _mm_set1_epi16(static_cast<int16_t>(dist * 4));
  const __m128i bias = _mm_set1_epi16(static_cast<int16_t>(7 * bottom - (dist >> 1)));
  __m128i indices[2];
  for (int half = 0; half < 2; ++half) {
    __m128i a = _mm_sub_epi16(_mm_mullo_epi16(half == 0 ? low : high, _mm_set1_epi16(7)), bias);
    const __m128i four = _mm_cmpgt_epi16(a, dist4);
    a = _mm_sub_epi16(a, _mm_and_si128(four, dist4));
    const __m128i two = _mm_cmpgt_epi16(a, dist2);
    a = _mm_sub_epi16(a, _mm_and_si128(two, dist2));
    const __m128i one = _mm_cmpgt_epi16(a, dist1);
    const __m128i ind = _mm_or_si128(_mm_or_si128(_mm_and_si128(four, _mm_set1_epi16(4)),
                                                  _mm_and_si128(two, _mm_set1_epi16(2))),
                                     _mm_and_si128(one, _mm_set1_epi16(1)));
    const __m128i index = _mm_and_si128(_mm_sub_epi16(_mm_setzero_si128(), ind), _mm_set1_epi16(7));
    const __m128i end = _mm_and_si128(_mm_cmpgt_epi16(_mm_set1_epi16(2), index), _mm_set1_epi16(1));
    // Neighbouring indices joined into 6 bits per 32-bit lane.
    indices[half] = _mm_madd_epi16(_mm_xor_si128(index, end), _mm_set1_epi32(1 | 8 << 16));
  }
  // 12 bits per lane, then 24: pixels 0 to 7 in lane 0, 8 to 15 in lane 1.
  const __m128i twelve = _mm_madd_epi16(_mm_packs_epi32(indices[0], indices[1]), _mm_set1_epi32(1 | 64 << 16));
  const __m128i both = _mm_madd_epi16(_mm_packs_epi32(twelve, twelve), _mm_set1_epi32(1 | 4096 << 16));
  const auto lanes = static_cast<uint64_t>(_mm_cvtsi128_si64(both));
  const uint64_t bits = (lanes & 0xFFFFFF) | (lanes >> 32) << 24;
  std::memcpy(dest + 2, &bits, 6);
}

void encodeDXT3Alpha(uint8_t* dest, const uint8_t* block) {
  for (int k = 0; k < 8; ++k) {
    const int low = block[(2 * k) * 4 + kAlpha];
    const int high = block[(2 * k + 1) * 4 + kAlpha];
    dest[k] = static_cast<uint8_t>((high & 0xF0) | (low >> 4));
  }
}

}  // namespace nox::texture
