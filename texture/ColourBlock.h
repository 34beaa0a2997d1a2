#pragma once
// The colour half of a DXT block: end point searches, index matching, least squares
// refinement and the block encoder that joins them. Blocks are the 64-byte working blocks
// of Block.h; end points are 5:6:5 values, `max16` written first.

#include <cstdint>

namespace nox::texture {

// The four colours a pair of end points stands for, each as blue, green, red.
struct Palette {
  int colour[4][3];
};

// Both end points widened to 8 bits. In four-colour mode colours 2 and 3 lie at one and two
// thirds from colour 0 to colour 1; otherwise colour 2 is their mean and colour 3 black.
Palette expandPalette(uint16_t c0, uint16_t c1, bool fourColour);

// The palette a decoder shows for c0, c1: four-colour mode when c0 > c1 as numbers.
Palette evalColours(uint16_t c0, uint16_t c1);

// 2-bit indices (first pixel lowest) that place each pixel of `block` on the line from
// colour 0 to colour 1, by thresholds half way between neighbouring stops. With `dither`
// the projection error is spread Floyd-Steinberg fashion over the block.
uint32_t matchColours(const uint8_t* block, const Palette& colours, bool dither);

// Indices for three-colour mode with transparency: alpha below 128 takes index 3, any other
// pixel the nearest of colours 0, 1 and 2 (the first of equals).
uint32_t matchColoursOneBitAlpha(const uint8_t* block, const Palette& colours);

struct Endpoints {
  uint16_t max16;
  uint16_t min16;
};

// The two pixels farthest apart, larger 5:6:5 value first.
Endpoints pairEndpoints(const uint8_t* source);
// The first brightest and the first darkest pixel by an integer luma.
Endpoints lumaEndpoints(const uint8_t* source);
// The corners of the block's colour box, pulled in by a sixteenth of each side.
Endpoints boxEndpoints(const uint8_t* source);
// The pixels at both ends of the block along its principal axis (power iteration on the
// covariance; the axis is taken with all components positive).
Endpoints pcaEndpoints(const uint8_t* source);

// Replaces both end points by the least squares fit to `source` for the indices in `mask`,
// or by the constant-colour pair of the block's mean when all indices are equal. Answers
// whether either end point changed.
bool refineEndpoints(const uint8_t* source, uint16_t& max16, uint16_t& min16, uint32_t mask);

// Writes to `dest` the colours of `block` quantised to 5:6:5 levels with error diffusion
// per channel; the alpha bytes of `dest` are left as they are.
void ditherBlock(uint8_t* dest, const uint8_t* block);

// Writes a colour block: c0, c1 and the index mask, little endian, 8 bytes at `dest`.
void writeColourBlock(uint8_t* dest, uint16_t c0, uint16_t c1, uint32_t mask);

// Implementations of the undithered principal axis fit, the default path. All give the same
// bytes; the SIMD ones run only where the processor has their instruction set.
enum class ColourPath { kScalar, kSse2, kSse41, kAvx2 };

// The fastest path this processor runs, found once; every path up to it runs as well.
ColourPath fastestColourPath();

// Encodes the colour of `block` into 8 bytes at `dest`: max16, min16, 32-bit index mask,
// little endian. `quality` 1 to 3 choose the pair, luma and box search; any other number the
// principal axis with one refinement. `oneBitAlpha` (DXT1 from a picture with alpha) puts a
// block with any alpha below 255 in three-colour mode with transparent pixels at index 3.
void encodeColourBlock(uint8_t* dest, const uint8_t* block, int quality, bool dither,
                       bool oneBitAlpha);

// encodeColourBlock on `count` blocks one after another at `blocks`, with the results
// `stride` bytes apart from `dest` and the default fit by `path`. Faster than one at a
// time: the SIMD fits run several blocks at once.
void encodeColourBlocks(uint8_t* dest, int stride, const uint8_t* blocks, int count, int quality,
                        bool dither, bool oneBitAlpha, ColourPath path);

}  // namespace nox::texture
