#pragma once
// The steps of the principal axis fit, written once over a pixel set: the scalar planes of
// ColourBlock.cpp, which are the reference, and the registers of each SIMD build of
// ColourBlockSimd.cpp. Everything here has internal linkage on purpose: each of those files
// is compiled for its own instruction set, and code built for AVX2 must never be merged by
// the linker with the copy that a plain SSE2 caller runs. For the same reason nothing here
// calls inline library code.
//
// A pixel set provides:
//   const int* sums() const;            per channel sums over the 16 pixels
//   void axis(int out[3]) const;        the principal axis, scaled to integers
//   void extremes(const int axis[3], int& lowest, int& highest) const;
//       first positions of the smallest and of the largest projection on `axis`
//   uint16_t pixel565(int i) const;
//   uint32_t indices(Endpoints ends) const;      undithered 2-bit indices, ends differ
//   Endpoints leastSquares(uint32_t mask) const; fit for indices that are not all equal
// Arrays of three are in block channel order (blue, green, red).

#include <cstdint>

#include "texture/Block.h"
#include "texture/ColourBlock.h"
#include "texture/ColourBlockSimd.h"
#include "texture/DXTTables.h"

namespace nox::texture {
namespace {

inline bool operator!=(Endpoints a, Endpoints b) {
  return a.max16 != b.max16 || a.min16 != b.min16;
}

// The constant-colour pair of one colour: its one-third point lies closest to the colour.
inline Endpoints matchedPair(int r, int g, int b) {
  return {static_cast<uint16_t>(match5[r].mx << 11 | match6[g].mx << 5 | match5[b].mx),
          static_cast<uint16_t>(match5[r].mn << 11 | match6[g].mn << 5 | match5[b].mn)};
}

// Undithered indices for end points found by a search: none are needed when both are equal.
template <class P>
uint32_t matchedMask(const P& px, Endpoints ends) {
  return ends.max16 != ends.min16 ? px.indices(ends) : 0;
}

// Least squares end points for the indices in `mask`, or the constant-colour pair of the
// mean when all indices are equal. Answers whether either end point changed.
template <class P>
bool refine(const P& px, Endpoints& ends, uint32_t mask) {
  const Endpoints old = ends;
  if (((mask * 4) ^ mask) < 4) {
    const int* sum = px.sums();
    ends = matchedPair((sum[kRed] + 8) >> 4, (sum[kGreen] + 8) >> 4, (sum[kBlue] + 8) >> 4);
  } else {
    ends = px.leastSquares(mask);
  }
  return ends != old;
}

// For each of `n` pixel sets: the pixels at both ends of the principal axis, one least
// squares refinement, and the indices for the result, where `match(i, ends)` gives the
// indices of set i for a pair of end points. Each step runs for all sets before the next,
// so that the processor overlaps their long chains of dependent instructions.
template <int n, class P, class Match>
void fitPrincipalAxis(const P* px, Match match, ColourFit* fits) {
  int axis[n][3];
  for (int i = 0; i < n; ++i) px[i].axis(axis[i]);
  int lowest[n];
  int highest[n];
  for (int i = 0; i < n; ++i) px[i].extremes(axis[i], lowest[i], highest[i]);
  for (int i = 0; i < n; ++i) fits[i].ends = {px[i].pixel565(highest[i]), px[i].pixel565(lowest[i])};
  for (int i = 0; i < n; ++i) fits[i].mask = match(i, fits[i].ends);
  bool changed[n];
  for (int i = 0; i < n; ++i) changed[i] = refine(px[i], fits[i].ends, fits[i].mask);
  // End points that the refinement leaves alone would give the same mask again.
  for (int i = 0; i < n; ++i) {
    if (changed[i]) fits[i].mask = match(i, fits[i].ends);
  }
}

}  // namespace
}  // namespace nox::texture
