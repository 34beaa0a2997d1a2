#pragma once
// Encoders of single-channel blocks: the interpolated block of DXT5 alpha (also used for the
// one and two channel formats) and the explicit 4-bit alpha of DXT3.

#include <cstdint>

namespace nox::texture {

// Codes byte `channel` (a BlockChannel) of the 16 pixels of `block` into 8 bytes at `dest`:
// the maximum, the minimum, then a 3-bit index per pixel, first pixel in the lowest bits.
// Each value takes the nearest of the eight steps between the two.
// In SSE2, which every x86-64 processor has; encodeAlphaBlockScalar is the same in plain C++
// and the reference for it.
void encodeAlphaBlock(uint8_t* dest, const uint8_t* block, int channel);
void encodeAlphaBlockScalar(uint8_t* dest, const uint8_t* block, int channel);

// Codes the alpha of `block` as 16 4-bit values into 8 bytes at `dest`; alpha is cut to its
// top four bits, not rounded.
void encodeDXT3Alpha(uint8_t* dest, const uint8_t* block);

}  // namespace nox::texture
