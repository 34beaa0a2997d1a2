#pragma once
// Encoder of YCoCg pictures in the DXT5 layout: luma in alpha, Co in red, Cg in green.

#include <cstdint>

namespace nox::texture {

// Encodes `block` (64-byte working block, Co in the red and Cg in the green byte, luma in
// alpha) into 16 bytes at `dest`: the interpolated alpha block, then a colour block whose
// blue bits carry the chroma scale (factor 1, 2 or 4 as 0, 1 or 3) and whose end points are
// written as they are, without the usual ordering.
void encodeYCoCgBlock(uint8_t* dest, const uint8_t* block);

}  // namespace nox::texture
