#pragma once
// The fast DXT1 and DXT5 block encoders of NBN levels. Each reads a picture of 4 bytes to the
// pixel whose width and height are multiples of 4, writes its blocks to `destination`, block
// rows from top to bottom and blocks left to right in each, and returns the bytes written
// (8 a block for DXT1, 16 for DXT5). Colour end points are the pair of pixels farthest
// apart; the encoders never use the three-colour mode. Nothing fails: sizes that are not
// multiples of 4 leave their last partial block row and column out.

#include <cstddef>
#include <cstdint>

namespace nox::image::io {

// Plain order: byte 0 of each pixel is red, the 5-bit top field of a DXT colour.
size_t encode_dxt1(const uint8_t* source, uint8_t* destination, int width, int height);
size_t encode_dxt5(const uint8_t* source, uint8_t* destination, int width, int height);

// Flipping forms: the picture is taken from its last row upward (rows of each block and the
// block rows both reversed), with bytes 0 and 2 of each pixel swapped, for sources stored
// bottom row first in blue, green, red, alpha order.
size_t encode_dxt1_flipped(const uint8_t* source, uint8_t* destination, int width, int height);
size_t encode_dxt5_flipped(const uint8_t* source, uint8_t* destination, int width, int height);

}  // namespace nox::image::io
