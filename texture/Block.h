#pragma once
// The 4 by 4 working block of the DXT encoders: 16 pixels of 4 bytes, row by row, each in
// the order blue, green, red, alpha.

#include <cstdint>

namespace nox::texture {

// The encoders read a pixel's four bytes as one 32-bit word, first byte lowest.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the block code needs little endian");

constexpr int kBlockPixels = 16;
constexpr int kBlockBytes = 64;

// Byte positions of the channels inside a block pixel.
enum BlockChannel : int { kBlue = 0, kGreen = 1, kRed = 2, kAlpha = 3 };

// Reads the block whose top left pixel is (x, y) from an RGBA picture of width by height
// pixels into `block` (64 bytes), swapping red and blue. Where fewer than 4 columns or rows
// remain, positions repeat: 1 left gives 0,0,0,0, 2 give 0,1,0,1 and 3 give 0,1,2,0, so
// levels of 2 by 2, 1 by 1 and odd sizes fill whole blocks. x < width and y < height.
void extractBlock(const uint8_t* pixels, int x, int y, int width, int height, uint8_t* block);

}  // namespace nox::texture
