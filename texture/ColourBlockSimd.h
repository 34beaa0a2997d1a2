#pragma once
// The principal axis fit built for each SIMD instruction set: ColourBlockSimd.cpp is
// compiled once per set, and encodeColourBlock chooses among the builds at run time.

#include <cstdint>

#include "texture/ColourBlock.h"

namespace nox::texture {

// End points with the index mask that goes with them.
struct ColourFit {
  Endpoints ends;
  uint32_t mask;
};

// The undithered principal axis fits of kBatchBlocks blocks that are not all one colour,
// with the same results as the scalar fit; blocks may repeat. Each may only run on a
// processor with its instruction set.
constexpr int kBatchBlocks = 4;
void fitPrincipalAxisSse2(const uint8_t* const* blocks, ColourFit* fits);
void fitPrincipalAxisSse41(const uint8_t* const* blocks, ColourFit* fits);
void fitPrincipalAxisAvx2(const uint8_t* const* blocks, ColourFit* fits);

}  // namespace nox::texture
