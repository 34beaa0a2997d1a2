#pragma once
// Scaling of a raw pixel buffer with the filters of stb_image_resize, as opposed to the plain
// bilinear edit::resize.

#include "image/image/ImageFormat.h"

namespace nox::image {

// Scales `input` (inputWidth x inputHeight tightly packed pixels of `format`) into `output`
// (room for outputWidth x outputHeight such pixels). The caller owns both; they must not
// overlap, and no size may be 0. Bit 11 and bit 8 of the word choose 8-bit, 16-bit, float or
// half components (half goes through float copies); the channel count is formatChannels.
// Alpha is filtered like colour, edges are clamped, and each axis takes Catmull-Rom when it
// grows and Mitchell otherwise. Nothing is reported: if the resampler cannot get its working
// memory, `output` stays as it was. The half path raises std::bad_alloc or
// std::length_error if its copies cannot be made.
void resizePixels(void* output, unsigned outputWidth, unsigned outputHeight, const void* input,
                  unsigned inputWidth, unsigned inputHeight, ImageFormat format);

}  // namespace nox::image
