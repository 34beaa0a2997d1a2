#include "texture/DXTTables.h"

namespace nox::texture {
namespace {

constexpr int expand(int v, int bits) { return bits == 5 ? expand5(v) : expand6(v); }

// For each value, the first pair in the order (mn, then mx, both from 0 up) whose third
// point has the smallest distance to it. Walking the 256 possible third points instead of
// all pairs per value gives the same answer and keeps compile-time work small.
constexpr std::array<MatchPair, 256> buildMatch(int bits) {
  std::array<int, 256> firstOrder{};
  std::array<MatchPair, 256> firstPair{};
  for (int& order : firstOrder) order = -1;
  const int levels = 1 << bits;
  for (int mn = 0; mn < levels; ++mn) {
    for (int mx = 0; mx < levels; ++mx) {
      const int third = expand(mx, bits) + mul8(expand(mn, bits) - expand(mx, bits), 85);
      if (firstOrder[third] < 0) {
        firstOrder[third] = mn * levels + mx;
        firstPair[third] = {static_cast<uint8_t>(mx), static_cast<uint8_t>(mn)};
      }
    }
  }
  std::array<MatchPair, 256> table{};
  for (int i = 0; i < 256; ++i) {
    for (int error = 0; error < 256; ++error) {
      const int below = i - error >= 0 ? firstOrder[i - error] : -1;
      const int above = i + error < 256 ? firstOrder[i + error] : -1;
      if (below < 0 && above < 0) continue;
      const bool takeBelow = below >= 0 && (above < 0 || below < above);
      table[i] = firstPair[takeBelow ? i - error : i + error];
      break;
    }
  }
  return table;
}

constexpr std::array<uint8_t, 272> buildQuant(int bits) {
  std::array<uint8_t, 272> table{};
  for (int i = 0; i < 272; ++i) {
    int v = i - kQuantOffset;
    v = v < 0 ? 0 : (v > 255 ? 255 : v);
    table[i] = static_cast<uint8_t>(expand(mul8(v, (1 << bits) - 1), bits));
  }
  return table;
}

}  // namespace

constexpr std::array<MatchPair, 256> match5 = buildMatch(5);
constexpr std::array<MatchPair, 256> match6 = buildMatch(6);
constexpr std::array<uint8_t, 272> quant5 = buildQuant(5);
constexpr std::array<uint8_t, 272> quant6 = buildQuant(6);

}  // namespace nox::texture
