#pragma once
// Decoder of single blocks, the counterpart of the encoders; used to check what they write.

#include <cstdint>

namespace nox::texture {

// Decodes one block of `type` 1 (DXT1, 8 bytes), 2 (DXT3), 3 (DXT5, also the layout of the
// YCoCg type 9), 5 (one channel, 8 bytes) or 6 (two channels) into 16 RGBA pixels, row by
// row, at `rgba` (64 bytes). Types 1 to 3 set all four bytes of each pixel (type 1 alpha is
// 255, or 0 at index 3 of a three-colour block); type 5 sets only red and type 6 only green
// and red. Colour blocks are in four-colour mode when c0 > c1 or for type 3. Answers false,
// writing nothing, for any other type.
bool decodeBlock(const uint8_t* block, int type, uint8_t* rgba);

}  // namespace nox::texture
