#pragma once
// Quantisation arithmetic and constant tables of the DXT block encoders. End points are
// 16-bit 5:6:5 values with red in the top bits. All tables are built at compile time.

#include <array>
#include <cstdint>

namespace nox::texture {

// a * b / 255 rounded, in signed arithmetic.
constexpr int mul8(int a, int b) {
  const int t = a * b + 128;
  return (t + (t >> 8)) >> 8;
}

// A 5- or 6-bit value widened to 8 bits by repeating its top bits.
constexpr int expand5(int v) { return (v << 3) | (v >> 2); }
constexpr int expand6(int v) { return (v << 2) | (v >> 4); }

// 8-bit red, green and blue rounded to 5:6:5.
constexpr uint16_t to565(int r, int g, int b) {
  return static_cast<uint16_t>(mul8(r, 31) << 11 | mul8(g, 63) << 5 | mul8(b, 31));
}

// The pair of quantised end points whose one-third point lies closest to an 8-bit value,
// so that a block of that one value is coded as index 2 between them.
struct MatchPair {
  uint8_t mx;
  uint8_t mn;
};
extern const std::array<MatchPair, 256> match5;
extern const std::array<MatchPair, 256> match6;

// Each 8-bit value rounded to 5 or 6 bits and widened back. Entry i stands for the value
// i - kQuantOffset, limited to 0..255, so indices from -8 to 263 around a value are valid.
constexpr int kQuantOffset = 8;
extern const std::array<uint8_t, 272> quant5;
extern const std::array<uint8_t, 272> quant6;

// Weight of end point 0 for the indices 0 to 3.
inline constexpr std::array<int, 4> weightTable = {3, 0, 2, 1};
// w * w << 16 | (3 - w) * (3 - w) << 8 | w * (3 - w) per index, so that one 32-bit sum
// gathers the three sums of the least squares end point fit.
inline constexpr std::array<uint32_t, 4> productTable = {0x90000, 0x900, 0x40102, 0x10402};

}  // namespace nox::texture
