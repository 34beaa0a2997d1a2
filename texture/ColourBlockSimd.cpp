// The pixel operations of the principal axis fit (ColourFit.h) on SIMD registers. This file
// is compiled once per instruction set, SSE2, SSE4.1 and AVX2 (see CMakeLists.txt), each
// build naming its entry point through NOX_COLOUR_FIT.
//
// Each pixel's four bytes stay together in one 32-bit lane. Masking every other byte gives
// the 16-bit pairs (blue, red) and (green, alpha), so that one multiply-add of 16-bit pairs
// weighs two channels at once: a projection on an axis is two of them per register.

#include <immintrin.h>

#include "texture/ColourFit.h"

#ifndef NOX_COLOUR_FIT
#error "NOX_COLOUR_FIT must name the entry point of this build"
#endif

namespace nox::texture {
namespace {

// 128-bit operations, and the few the folds below need at 256 bits.
// The smaller or, with `larger`, the greater of each pair of 32-bit lanes.
inline __m128i pick32(__m128i a, __m128i b, bool larger) {
#ifdef __SSE4_1__
  return larger ? _mm_max_epi32(a, b) : _mm_min_epi32(a, b);
#else
  const __m128i takeA = larger ? _mm_cmpgt_epi32(a, b) : _mm_cmpgt_epi32(b, a);
  return _mm_or_si128(_mm_and_si128(takeA, a), _mm_andnot_si128(takeA, b));
#endif
}

inline __m128i min32(__m128i a, __m128i b) { return pick32(a, b, false); }
inline __m128i max32(__m128i a, __m128i b) { return pick32(a, b, true); }
inline __m128i minU8(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
inline __m128i maxU8(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
inline __m128i add32(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }

// The register of this build, 256 bits with AVX2 and 128 otherwise. Operations that differ
// only by the width in their names are written once below, through these two macros.
#ifdef __AVX2__
using Reg = __m256i;
#define NOX_EPI(op) _mm256_##op
#define NOX_SI(op) _mm256_##op##_si256

inline Reg add32(Reg a, Reg b) { return _mm256_add_epi32(a, b); }
inline Reg min32(Reg a, Reg b) { return _mm256_min_epi32(a, b); }
inline Reg max32(Reg a, Reg b) { return _mm256_max_epi32(a, b); }
inline Reg minU8(Reg a, Reg b) { return _mm256_min_epu8(a, b); }
inline Reg maxU8(Reg a, Reg b) { return _mm256_max_epu8(a, b); }
inline int signBits(Reg a) { return _mm256_movemask_ps(_mm256_castsi256_ps(a)); }
// Two registers of 32-bit lane masks as 16-bit lane masks, in pixel order.
inline Reg pack16(const Reg* two) {
  return _mm256_permute4x64_epi64(_mm256_packs_epi32(two[0], two[1]), 0xD8);
}
inline Reg broadcast(__m128i a) { return _mm256_broadcastsi128_si256(a); }
template <class Op>
inline __m128i halves(Reg a, Op op) {
  return op(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
}
#else
using Reg = __m128i;
#define NOX_EPI(op) _mm_##op
#define NOX_SI(op) _mm_##op##_si128

inline int signBits(Reg a) { return _mm_movemask_ps(_mm_castsi128_ps(a)); }
inline Reg pack16(const Reg* two) { return _mm_packs_epi32(two[0], two[1]); }
inline Reg broadcast(__m128i a) { return a; }
template <class Op>
inline __m128i halves(Reg a, Op) {
  return a;
}
#endif

inline Reg load(const void* p) { return NOX_SI(loadu)(static_cast<const Reg*>(p)); }
inline Reg splat(int v) { return NOX_EPI(set1_epi32)(v); }
inline Reg zero() { return NOX_SI(setzero)(); }
inline Reg bitAnd(Reg a, Reg b) { return NOX_SI(and)(a, b); }
inline Reg bitOr(Reg a, Reg b) { return NOX_SI(or)(a, b); }
inline Reg bitXor(Reg a, Reg b) { return NOX_SI(xor)(a, b); }
inline Reg andNot(Reg a, Reg b) { return NOX_SI(andnot)(a, b); }
inline Reg add16(Reg a, Reg b) { return NOX_EPI(add_epi16)(a, b); }
inline Reg sub16(Reg a, Reg b) { return NOX_EPI(sub_epi16)(a, b); }
inline Reg mul16(Reg a, Reg b) { return NOX_EPI(mullo_epi16)(a, b); }
inline Reg madd(Reg a, Reg b) { return NOX_EPI(madd_epi16)(a, b); }
template <int n>
inline Reg shiftRight(Reg a) {
  return NOX_EPI(srli_epi32)(a, n);
}
template <int n>
inline Reg shiftLeft(Reg a) {
  return NOX_EPI(slli_epi32)(a, n);
}
inline Reg less(Reg a, Reg b) { return NOX_EPI(cmpgt_epi32)(b, a); }
inline Reg equal(Reg a, Reg b) { return NOX_EPI(cmpeq_epi32)(a, b); }
inline uint32_t byteSignBits(Reg a) { return static_cast<uint32_t>(NOX_EPI(movemask_epi8)(a)); }

#undef NOX_EPI
#undef NOX_SI

constexpr int kLanes = static_cast<int>(sizeof(Reg) / 4);
constexpr int kRegs = kBlockPixels / kLanes;

// `op` over all lanes of a register; every lane of the result holds the answer.
template <class Op>
inline __m128i fold(Reg a, Op op) {
  __m128i x = halves(a, op);
  x = op(x, _mm_shuffle_epi32(x, 0x4E));
  return op(x, _mm_shuffle_epi32(x, 0xB1));
}

// Lane sums of four vectors: [sum a, sum b, sum c, sum d].
inline __m128i transposedSum(__m128i a, __m128i b, __m128i c, __m128i d) {
  const __m128i ab = add32(_mm_unpacklo_epi32(a, b), _mm_unpackhi_epi32(a, b));
  const __m128i cd = add32(_mm_unpacklo_epi32(c, d), _mm_unpackhi_epi32(c, d));
  return add32(_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd));
}

inline __m128i sum4(Reg a, Reg b, Reg c, Reg d) {
  const auto add = [](__m128i x, __m128i y) { return add32(x, y); };
  return transposedSum(halves(a, add), halves(b, add), halves(c, add), halves(d, add));
}

// The sign bits of 16 lanes, pixel 0 lowest.
inline uint32_t pixelBits(const Reg* lanes) {
  uint32_t bits = 0;
  for (int k = 0; k < kRegs; ++k) {
    bits |= static_cast<uint32_t>(signBits(lanes[k])) << (k * kLanes);
  }
  return bits;
}

// 2-bit indices, pixel 0 lowest, from lane masks of their low and of their high bits: the
// masks packed to 16 bits per pixel, low byte from `low` and high byte from `high`, give
// the index bits in order as the sign bits of their bytes.
inline uint32_t indexMask(const Reg* low, const Reg* high) {
  const Reg highByte = splat(static_cast<int>(0xFF00FF00u));
  uint32_t mask = 0;
  for (int k = 0; k < kRegs / 2; ++k) {
    const Reg both = bitOr(andNot(highByte, pack16(low + 2 * k)), bitAnd(pack16(high + 2 * k), highByte));
    mask |= byteSignBits(both) << (k * 4 * kLanes);
  }
  return mask;
}

// Two 16-bit values in one 32-bit lane, `low` first.
inline int pair16(int low, int high) {
  return static_cast<int>(static_cast<uint16_t>(low) |
                          static_cast<uint32_t>(static_cast<uint16_t>(high)) << 16);
}

// The four bytes of a word as 32-bit lanes.
inline __m128i widen(__m128i word) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_unpacklo_epi16(_mm_unpacklo_epi8(word, zero), zero);
}

// a * k / 255 rounded, per 32-bit lane, for |a| and k below 2^15 (see mul8).
inline __m128i mul8(__m128i a, int k) {
  const __m128i t = add32(_mm_madd_epi16(a, _mm_set1_epi32(k)), _mm_set1_epi32(128));
  return _mm_srai_epi32(add32(t, _mm_srai_epi32(t, 8)), 8);
}

// A 5:6:5 colour widened to 8 bits per channel: lanes blue, green, red, 0.
inline __m128i expand565(uint16_t c) {
  const __m128i v = _mm_and_si128(_mm_set_epi32(0, c >> 11, c >> 5, c), _mm_set_epi32(0, 31, 63, 31));
  // (v << 3) | (v >> 2) for 5 bits, (v << 2) | (v >> 4) for 6, with multiplies by lane.
  const __m128i up = _mm_mullo_epi16(v, _mm_set_epi32(0, 8, 4, 8));
  const __m128i down = _mm_srli_epi32(_mm_mullo_epi16(v, _mm_set_epi32(0, 64, 16, 64)), 8);
  return _mm_or_si128(up, down);
}

// Lanes 0, 1 and 2 as the low 16 bits of each.
inline int lane16(__m128i v, int lane) {
  alignas(16) int lanes[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(lanes), v);
  return lanes[lane];
}

// The low and high bit of each pixel's 2-bit index in a mask.
alignas(32) constexpr uint32_t kIndexBit0[kBlockPixels] = {
    1u << 0,  1u << 2,  1u << 4,  1u << 6,  1u << 8,  1u << 10, 1u << 12, 1u << 14,
    1u << 16, 1u << 18, 1u << 20, 1u << 22, 1u << 24, 1u << 26, 1u << 28, 1u << 30};
alignas(32) constexpr uint32_t kIndexBit1[kBlockPixels] = {
    2u << 0,  2u << 2,  2u << 4,  2u << 6,  2u << 8,  2u << 10, 2u << 12, 2u << 14,
    2u << 16, 2u << 18, 2u << 20, 2u << 22, 2u << 24, 2u << 26, 2u << 28, 2u << 30};

// The pixel set of ColourFit.h over the 16 pixels in registers. The float steps do what
// the scalar planes do, operation for operation, only several lanes at a time.
class Pixels {
 public:
  explicit Pixels(const uint8_t* block) : block_(block) {
    Reg blueRed = zero();
    Reg greenAlpha = zero();
    for (int k = 0; k < kRegs; ++k) {
      w_[k] = load(block + k * static_cast<int>(sizeof(Reg)));
      blueRed = add16(blueRed, blueRedOf(w_[k]));
      greenAlpha = add16(greenAlpha, greenAlphaOf(w_[k]));
    }
    // 16 values of 255 fit a 16-bit half, so no carry crosses between the pair.
    const __m128i s = sum4(blueRed, greenAlpha, zero(), zero());
    const int both = _mm_cvtsi128_si32(s);
    sum_[kBlue] = both & 0xFFFF;
    sum_[kRed] = both >> 16;
    sum_[kGreen] = _mm_cvtsi128_si32(_mm_srli_si128(s, 4)) & 0xFFFF;
  }

  const int* sums() const { return sum_; }

  void axis(int out[3]) const {
    Reg lo = w_[0];
    Reg hi = w_[0];
    for (int k = 1; k < kRegs; ++k) {
      lo = minU8(lo, w_[k]);
      hi = maxU8(hi, w_[k]);
    }
    const __m128i range = _mm_sub_epi32(widen(fold(hi, [](__m128i a, __m128i b) { return maxU8(a, b); })),
                                        widen(fold(lo, [](__m128i a, __m128i b) { return minU8(a, b); })));

    // Covariance sums around the rounded means, from centred (blue, red) and (green, 0)
    // pairs; each product picks its two channels by zeroing or moving halves.
    const Reg meanBlueRed =
        splat(pair16((sum_[kBlue] + 8) >> 4, (sum_[kRed] + 8) >> 4));
    const Reg meanGreen = splat((sum_[kGreen] + 8) >> 4);
    const Reg lowHalf = splat(0xFFFF);
    const Reg highHalf = splat(static_cast<int>(0xFFFF0000u));
    Reg rr = zero();
    Reg rg = zero();
    Reg rb = zero();
    Reg gg = zero();
    Reg gb = zero();
    Reg bb = zero();
    for (int k = 0; k < kRegs; ++k) {
      const Reg br = sub16(blueRedOf(w_[k]), meanBlueRed);
      const Reg g = sub16(bitAnd(shiftRight<8>(w_[k]), splat(255)), meanGreen);
      rr = add32(rr, madd(br, bitAnd(br, highHalf)));
      rg = add32(rg, madd(br, shiftLeft<16>(g)));
      rb = add32(rb, madd(br, shiftRight<16>(br)));
      gg = add32(gg, madd(g, g));
      gb = add32(gb, madd(br, g));
      bb = add32(bb, madd(br, bitAnd(br, lowHalf)));
    }
    // The covariance by the channel it multiplies: each new component of the iterated
    // vector is red times its column, plus green times its column, plus blue times its.
    const __m128 c255 = _mm_set1_ps(255.0f);
    const __m128 byBlue = _mm_div_ps(_mm_cvtepi32_ps(sum4(bb, gb, rb, zero())), c255);
    const __m128 byGreen = _mm_div_ps(_mm_cvtepi32_ps(sum4(gb, gg, rg, zero())), c255);
    const __m128 byRed = _mm_div_ps(_mm_cvtepi32_ps(sum4(rb, rg, rr, zero())), c255);
    __m128 v = _mm_cvtepi32_ps(range);
    for (int iteration = 0; iteration < 4; ++iteration) {
      const __m128 red = _mm_mul_ps(_mm_shuffle_ps(v, v, 0xAA), byRed);
      const __m128 green = _mm_mul_ps(_mm_shuffle_ps(v, v, 0x55), byGreen);
      const __m128 blue = _mm_mul_ps(_mm_shuffle_ps(v, v, 0x00), byBlue);
      v = _mm_add_ps(_mm_add_ps(red, green), blue);
    }
    v = _mm_and_ps(v, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
    __m128 magnitude = _mm_max_ps(v, _mm_shuffle_ps(v, v, 0x4E));
    magnitude = _mm_max_ps(magnitude, _mm_shuffle_ps(magnitude, magnitude, 0xB1));
    if (_mm_cvtss_f32(magnitude) >= 4.0f) {
      const __m128i scaled = _mm_cvttps_epi32(_mm_mul_ps(v, _mm_div_ps(_mm_set1_ps(512.0f), magnitude)));
      for (int ch = 0; ch < 3; ++ch) out[ch] = lane16(scaled, ch);
    } else {
      out[kRed] = 148;
      out[kGreen] = 300;
      out[kBlue] = 58;
    }
  }

  void extremes(const int axis[3], int& lowest, int& highest) const {
    Reg dots[kRegs];
    project(splat(pair16(axis[kBlue], axis[kRed])), splat(axis[kGreen]), dots);
    Reg lo = dots[0];
    Reg hi = dots[0];
    for (int k = 1; k < kRegs; ++k) {
      lo = min32(lo, dots[k]);
      hi = max32(hi, dots[k]);
    }
    lo = broadcast(fold(lo, [](__m128i a, __m128i b) { return min32(a, b); }));
    hi = broadcast(fold(hi, [](__m128i a, __m128i b) { return max32(a, b); }));
    Reg atLow[kRegs];
    Reg atHigh[kRegs];
    for (int k = 0; k < kRegs; ++k) {
      atLow[k] = equal(dots[k], lo);
      atHigh[k] = equal(dots[k], hi);
    }
    lowest = __builtin_ctz(pixelBits(atLow));
    highest = __builtin_ctz(pixelBits(atHigh));
  }

  // to565 of one pixel, in 16-bit lanes.
  uint16_t pixel565(int i) const {
    int word;
    __builtin_memcpy(&word, block_ + i * 4, 4);
    const __m128i v = _mm_unpacklo_epi8(_mm_cvtsi32_si128(word), _mm_setzero_si128());
    const __m128i t = _mm_add_epi16(_mm_mullo_epi16(v, _mm_set_epi16(0, 0, 0, 0, 0, 31, 63, 31)),
                                    _mm_set1_epi16(128));
    const __m128i q = _mm_srli_epi16(_mm_add_epi16(t, _mm_srli_epi16(t, 8)), 8);
    const __m128i placed = _mm_madd_epi16(q, _mm_set_epi16(0, 0, 0, 0, 0, 2048, 32, 1));
    return static_cast<uint16_t>(_mm_cvtsi128_si32(add32(placed, _mm_srli_si128(placed, 4))));
  }

  uint32_t indices(Endpoints ends) const {
    // The palette, each colour as lanes blue, green, red, 0.
    const __m128i a = expand565(ends.max16);
    const __m128i b = expand565(ends.min16);
    __m128i third = _mm_srai_epi32(add32(a, b), 1);
    __m128i twoThirds = _mm_setzero_si128();
    if (ends.max16 > ends.min16) {
      const __m128i d = _mm_sub_epi32(b, a);
      third = add32(a, mul8(d, 85));
      twoThirds = add32(a, mul8(d, 170));
    }
    const __m128i dir = _mm_sub_epi32(a, b);
    const __m128i stops = transposedSum(_mm_madd_epi16(a, dir), _mm_madd_epi16(b, dir),
                                        _mm_madd_epi16(third, dir), _mm_madd_epi16(twoThirds, dir));
    // c0Point, halfPoint and c3Point: (s1 + s3) >> 1, (s3 + s2) >> 1, (s2 + s0) >> 1.
    const __m128i points = _mm_srai_epi32(
        add32(_mm_shuffle_epi32(stops, 0x2D), _mm_shuffle_epi32(stops, 0x0B)), 1);
    const Reg c0Point = broadcast(_mm_shuffle_epi32(points, 0x00));
    const Reg halfPoint = broadcast(_mm_shuffle_epi32(points, 0x55));
    const Reg c3Point = broadcast(_mm_shuffle_epi32(points, 0xAA));

    const __m128i blueRed = _mm_shuffle_epi32(dir, 0x88);
    Reg dots[kRegs];
    project(broadcast(_mm_packs_epi32(blueRed, blueRed)),
            broadcast(_mm_and_si128(_mm_shuffle_epi32(dir, 0x55), _mm_set1_epi32(0xFFFF))), dots);
    // Below half way: index 1 (bits 01) below c0Point, else 3 (11); above: 2 (10) below
    // c3Point, else 0.
    Reg lowBits[kRegs];
    Reg highBits[kRegs];
    for (int k = 0; k < kRegs; ++k) {
      const Reg belowHalf = less(dots[k], halfPoint);
      lowBits[k] = belowHalf;
      highBits[k] = bitOr(andNot(less(dots[k], c0Point), belowHalf),
                          andNot(belowHalf, less(dots[k], c3Point)));
    }
    return indexMask(lowBits, highBits);
  }

  Endpoints leastSquares(uint32_t mask) const {
    const Reg bits = splat(static_cast<int>(mask));
    Reg blueRed = zero();
    Reg green = zero();
    Reg weights = zero();
    Reg squares = zero();
    for (int k = 0; k < kRegs; ++k) {
      const Reg bit0 = load(kIndexBit0 + k * kLanes);
      const Reg bit1 = load(kIndexBit1 + k * kLanes);
      const Reg low = equal(bitAnd(bits, bit0), bit0);
      const Reg high = equal(bitAnd(bits, bit1), bit1);
      // Weight of end point 0 for index 0 to 3: 3, 0, 2, 1, that is the high bit when the
      // low bit is set, else 3 minus it.
      const Reg w = bitXor(bitAnd(high, splat(1)), andNot(low, splat(3)));
      blueRed = add16(blueRed, mul16(blueRedOf(w_[k]), bitOr(w, shiftLeft<16>(w))));
      green = add32(green, madd(greenAlphaOf(w_[k]), w));
      weights = add32(weights, w);
      squares = add32(squares, madd(w, w));
    }
    const __m128i s = sum4(blueRed, green, weights, squares);
    // At most 16 * 3 * 255 in each half of the (blue, red) sum.
    const int bothAt1 = _mm_cvtsi128_si32(s);
    const __m128i at1 = _mm_set_epi32(0, bothAt1 >> 16, lane16(s, 1), bothAt1 & 0xFFFF);
    const __m128i sum = _mm_set_epi32(0, sum_[kRed], sum_[kGreen], sum_[kBlue]);
    const __m128i at2 = _mm_sub_epi32(add32(sum, add32(sum, sum)), at1);
    // The sums of w * w, (3 - w) * (3 - w) and w * (3 - w) over the pixels.
    const int sumW = lane16(s, 2);
    const int sumW2 = lane16(s, 3);
    const int xx = sumW2;
    const int yy = 16 * 9 - 6 * sumW + sumW2;
    const int xy = 3 * sumW - sumW2;
    const float f = 0.3647059f / static_cast<float>(yy * xx - xy * xy);
    const float fGreen = f * 63.0f / 31.0f;

    // at1 * yy - at2 * xy and at2 * xx - at1 * xy from the pairs (at1, at2), both below 2^15.
    const __m128i pairs = _mm_or_si128(at1, _mm_slli_epi32(at2, 16));
    const __m128i hiSums = _mm_madd_epi16(pairs, _mm_set1_epi32(pair16(yy, -xy)));
    const __m128i loSums = _mm_madd_epi16(pairs, _mm_set1_epi32(pair16(-xy, xx)));
    const __m128 scale = _mm_set_ps(0.0f, f, fGreen, f);
    const __m128 top = _mm_set_ps(0.0f, 31.0f, 63.0f, 31.0f);
    // Limited to 0..top with a NaN going to 0, then truncated.
    const auto limit = [&](__m128i sums) {
      const __m128 v = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(sums), scale), _mm_set1_ps(0.5f));
      return _mm_cvttps_epi32(_mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), top));
    };
    const __m128i hi = limit(hiSums);
    const __m128i lo = limit(loSums);
    return {static_cast<uint16_t>(lane16(hi, kRed) << 11 | lane16(hi, kGreen) << 5 | lane16(hi, kBlue)),
            static_cast<uint16_t>(lane16(lo, kRed) << 11 | lane16(lo, kGreen) << 5 | lane16(lo, kBlue))};
  }

 private:
  static Reg blueRedOf(Reg w) { return bitAnd(w, splat(0x00FF00FF)); }
  static Reg greenAlphaOf(Reg w) { return bitAnd(shiftRight<8>(w), splat(0x00FF00FF)); }

  // Each pixel's dot product with an axis given as the pairs (blue, red) and (green, 0).
  void project(Reg blueRed, Reg green, Reg* dots) const {
    for (int k = 0; k < kRegs; ++k) {
      dots[k] = add32(madd(blueRedOf(w_[k]), blueRed), madd(greenAlphaOf(w_[k]), green));
    }
  }

  const uint8_t* block_;
  Reg w_[kRegs];
  int sum_[3];
};

}  // namespace

void NOX_COLOUR_FIT(const uint8_t* const* blocks, ColourFit* fits) {
  const Pixels pixels[kBatchBlocks] = {Pixels(blocks[0]), Pixels(blocks[1]), Pixels(blocks[2]),
                                       Pixels(blocks[3])};
  fitPrincipalAxis<kBatchBlocks>(
      pixels, [&pixels](int i, Endpoints ends) { return matchedMask(pixels[i], ends); }, fits);
}

}  // namespace nox::texture
