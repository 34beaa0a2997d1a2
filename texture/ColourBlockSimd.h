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

// The undithered principal axis fit of a block that is not all one colour, with the same
// result as the scalar fit. Each may only run on a processor with its instruction set.
ColourFit fitPrincipalAxisSse2(const uint8_t* block);
ColourFit fitPrincipalAxisSse41(const uint8_t* block);
ColourFit fitPrincipalAxisAvx2(const uint8_t* block);

}  // namespace nox::texture
